// What is particular to the reply of EVPN routes: the size of its array, and its traces.
// RandomReply compares the values.
#include "replies.h"

#include <algorithm>

namespace {

using scripted::sysrepo;
using support::CapturedOutput;
using support::evpn_payload;
using support::EvpnDistinguisher;
using support::Reply;
using support::Values;
using Reallocs = std::vector<std::pair<std::size_t, std::size_t>>;

// A route with all optional parts.
const EvpnDistinguisher whole = {"65001:1",
                                 {{"[2]:[0]",
                                   1,
                                   1,
                                   2,
                                   {1, "RT:65001:1"},
                                   {1, "10001"},
                                   {{"10.0.0.2", 4294967295U, 100, 32768, "65002 65003"}}}}};

class EvpnReply : public support::ReplyTest {
  protected:
    EvpnReply() : ReplyTest(ip_bgp_evpn_output_parse, BGP_SUB_RPC_IP_BGP_EVPN) {}
};

TEST_F(EvpnReply, ArrayIsSizedOnceToTheCountInTheReply) {
    struct Row {
        std::uint32_t announced;
        std::size_t before;
    };
    for (const Row &row : {Row{9, 0}, Row{9, 5}, Row{9, 40}, Row{1000, 0}, Row{1000, 7}}) {
        sysrepo().reallocs.clear();
        Values values(row.before);
        EXPECT_EQ(parse(values, evpn_payload(row.announced, {whole})), SR_ERR_OK);
        EXPECT_EQ(sysrepo().reallocs, (Reallocs{{row.before, row.announced}}))
            << "the count before is not added";
        EXPECT_EQ(values.size(), 9U) << "what was written counts, not what was announced";
    }
}

TEST_F(EvpnReply, FailedResizingAssumesTheCountInTheReplyForAnArrayWithoutACount) {
    sysrepo().realloc_result = SR_ERR_NOMEM;
    for (const std::uint32_t announced : {9U, 12U, 5U, 0U}) {
        Values values(12);
        const int rc = values.fill([&](sr_val_t **array, size_t *count) {
            *count = 0;
            const Reply reply(sub_mod_, evpn_payload(announced, {whole}));
            const CapturedOutput output;
            const int result = ip_bgp_evpn_output_parse(array, count, reply.message());
            EXPECT_EQ(output.text(), "realloc failed\n");
            return result;
        });
        EXPECT_EQ(rc, SR_ERR_OK);
        EXPECT_EQ(values.size(), std::min<std::size_t>(announced, 9));
        EXPECT_EQ(values.written_count(), values.size());
    }
}

TEST_F(EvpnReply, FailedResizingWritesNothingToAMissingArray) {
    sysrepo().realloc_result = SR_ERR_NOMEM;
    sr_val_t *array = nullptr;
    size_t count = 100; // that the array has not
    const Reply reply(sub_mod_, evpn_payload(9, {whole}));
    const CapturedOutput output;
    EXPECT_EQ(ip_bgp_evpn_output_parse(&array, &count, reply.message()), SR_ERR_OK);
    EXPECT_EQ(output.text(), "realloc failed\n");
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(count, 0U);
}

// --- Traces ----------------------------------------------------------------------

constexpr const char *header_trace = "ip_bgp_evpn_output_parse,module:3,subMod:18\n";

TEST_F(EvpnReply, IsTraced) {
    set_switches(1, 0);
    EvpnDistinguisher plain = {"65001:2", {{"[3]", -1, 0, -128}, {"[4]", 0, 0, 0}}};
    plain.routes[1].next_hops = {{"10.0.0.3", 3000000000U, 2147483648U, 4294967294U, ""}};
    EXPECT_EQ(printed(evpn_payload(100, {whole, plain, {"empty"}})),
              std::string(header_trace) + "rd_number:3\n"
                                          "rd:65001:1\n"
                                          "route number:1\n"
                                          "     route:[2]:[0]\n"
                                          "     valid:1 select_flag:1 source_type:2\n"
                                          "     external community: RT:65001:1\n"
                                          "     lable-info: 10001\n"
                                          "     nexthop_number:1\n"
                                          "          nexthop:10.0.0.2\n"
                                          "          metric:-1 locPrf:100 weight:32768\n"
                                          "          aspath_str:65002 65003\n"
                                          "rd:65001:2\n"
                                          "route number:2\n"
                                          "     route:[3]\n"
                                          "     valid:-1 select_flag:0 source_type:-128\n"
                                          "     nexthop_number:0\n"
                                          "     route:[4]\n"
                                          "     valid:0 select_flag:0 source_type:0\n"
                                          "     nexthop_number:1\n"
                                          "          nexthop:10.0.0.3\n"
                                          "          metric:-1294967296 locPrf:-2147483648 "
                                          "weight:-2\n"
                                          "          aspath_str:\n"
                                          "rd:empty\n"
                                          "route number:0\n");
}

TEST_F(EvpnReply, FailedResizingIsTracedBeforeTheTree) {
    set_switches(1, 0);
    sysrepo().realloc_result = SR_ERR_NOMEM;
    EXPECT_EQ(printed(evpn_payload(9, {})),
              std::string(header_trace) + "realloc failed\nrd_number:0\n");
}

} // namespace
