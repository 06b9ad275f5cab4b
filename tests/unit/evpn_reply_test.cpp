#include "replies.h"

#include <climits>

namespace {

using scripted::sysrepo;
using support::CapturedOutput;
using support::evpn_payload;
using support::EvpnDistinguisher;
using support::EvpnNextHop;
using support::EvpnRoute;
using support::EvpnText;
using support::Output;
using support::Outputs;
using support::packed;
using support::Reply;
using support::Values;
using Reallocs = std::vector<std::pair<std::size_t, std::size_t>>;

const EvpnNextHop next_hop = {"10.0.0.2", 4294967295U, 100, 32768, "65002 65003"};

// A route with all optional parts.
const EvpnDistinguisher whole = {
    "65001:1", {{"[2]:[0]", 1, 1, 2, {1, "RT:65001:1"}, {1, "10001"}, {next_hop}}}};

// The values of the flags of a route, and nothing else.
Outputs flags_of(const std::string &distinguisher, const std::string &route,
                 const std::string &valid = "valid", const std::string &select = "best",
                 const std::string &source = "local") {
    const std::string entry = "/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher"
                              "[route-distinguisher='" +
                              distinguisher + "']/list-evpn-route-brief[evpn-route='" + route +
                              "']/";
    return {{entry + "valid-flag", SR_ENUM_T, valid},
            {entry + "select-flag", SR_ENUM_T, select},
            {entry + "source-type", SR_ENUM_T, source}};
}

class EvpnReply : public support::ReplyTest {
  protected:
    EvpnReply() : ReplyTest(ip_bgp_evpn_output_parse, BGP_SUB_RPC_IP_BGP_EVPN) {}

    Outputs outputs(const std::vector<EvpnDistinguisher> &items) {
        Values values;
        EXPECT_EQ(parse(values, evpn_payload(1000, items)), SR_ERR_OK);
        return values.outputs();
    }
    Outputs outputs(const EvpnRoute &route) { return outputs({EvpnDistinguisher{"rd", {route}}}); }
};

TEST_F(EvpnReply, EverythingOfARouteIsPublished) {
    EXPECT_EQ(
        outputs({whole}),
        (Outputs{
            // clang-format off
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/valid-flag", SR_ENUM_T, "valid"},
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/select-flag", SR_ENUM_T, "best"},
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/source-type", SR_ENUM_T, "local"},
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/ext-community", SR_STRING_T, "RT:65001:1"},
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/lable-info", SR_STRING_T, "10001"},
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/list-nexthop-brief[nexthop-address='10.0.0.2']/metric", SR_UINT32_T, "4294967295"},
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/list-nexthop-brief[nexthop-address='10.0.0.2']/LocPrf", SR_UINT32_T, "100"},
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/list-nexthop-brief[nexthop-address='10.0.0.2']/Weight", SR_UINT32_T, "32768"},
            {"/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='65001:1']/list-evpn-route-brief[evpn-route='[2]:[0]']/list-nexthop-brief[nexthop-address='10.0.0.2']/path", SR_STRING_T, "65002 65003"},
            // clang-format on
        }));
}

TEST_F(EvpnReply, WithoutDistinguishersTheCountIsSetToZero) {
    for (const std::size_t before : {std::size_t{0}, std::size_t{4}}) {
        for (const std::uint32_t announced : {0U, 5U}) {
            Values values(before);
            EXPECT_EQ(parse(values, evpn_payload(announced, {})), SR_ERR_OK);
            EXPECT_EQ(values.size(), 0U);
            EXPECT_EQ(values.written_count(), 0U);
        }
    }
}

TEST_F(EvpnReply, FlagsAreNamed) {
    struct Row {
        signed char flag;
        const char *valid, *select, *source;
    };
    for (const Row &row : {Row{0, "other", "other", "other"}, Row{1, "valid", "best", "internal"},
                           Row{2, "other", "other", "local"}, Row{3, "other", "other", "other"},
                           Row{127, "other", "other", "other"}, Row{-1, "other", "other", "other"},
                           Row{-128, "other", "other", "other"}}) {
        EXPECT_EQ(outputs(EvpnRoute{"r", row.flag, row.flag, row.flag}),
                  flags_of("rd", "r", row.valid, row.select, row.source));
    }
}

TEST_F(EvpnReply, PresenceOfATextIsNotItsLength) {
    for (const int presence : {1, 2, 5, 127, -1, -128}) {
        for (const std::string &content :
             {std::string("abc"), std::string(300, 'x'), std::string()}) {
            const EvpnText text = {static_cast<char>(presence), content};
            const Outputs community = outputs(EvpnRoute{"r", 1, 1, 2, text});
            ASSERT_EQ(community.size(), 4U);
            EXPECT_EQ(community[3].type, SR_STRING_T);
            EXPECT_EQ(community[3].value, content);
            const Outputs label = outputs(EvpnRoute{"r", 1, 1, 2, {}, text});
            ASSERT_EQ(label.size(), 4U);
            EXPECT_EQ(label[3].type, SR_STRING_T);
            EXPECT_EQ(label[3].value, content);
            EXPECT_NE(label[3].xpath, community[3].xpath);
        }
    }
}

TEST_F(EvpnReply, KeysAreNotEscapedAndMayBeEmpty) {
    EXPECT_EQ(outputs({EvpnDistinguisher{"it's [%s]/", {{"", 1, 1, 2}}}}),
              flags_of("it's [%s]/", ""));
}

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

TEST_F(EvpnReply, FailedResizingContinuesWithTheOldArray) {
    const Outputs all = outputs({whole});
    for (const int code : {int{SR_ERR_NOMEM}, int{SR_ERR_INTERNAL}, -1}) {
        for (const std::size_t before : {0U, 1U, 3U, 8U, 9U, 12U}) {
            sysrepo().realloc_result = code;
            Values values(before);
            const CapturedOutput output;
            EXPECT_EQ(parse(values, evpn_payload(9, {whole})), SR_ERR_OK);
            EXPECT_EQ(output.text(), "realloc failed\n");
            const std::size_t kept = std::min<std::size_t>(before, 9);
            EXPECT_EQ(values.size(), kept);
            const auto end = all.begin() + static_cast<std::ptrdiff_t>(kept);
            EXPECT_EQ(values.outputs(), Outputs(all.begin(), end));
        }
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
