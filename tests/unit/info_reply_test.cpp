// What is particular to the reply of route information: the size of its array, and its traces.
// RandomReply compares the values.
#include "replies.h"

namespace {

using scripted::sysrepo;
using support::CapturedOutput;
using support::network_record;
using support::next_hop_record;
using support::packed;
using support::Record;
using support::table_record;
using support::Values;
using Reallocs = std::vector<std::pair<std::size_t, std::size_t>>;

Record table(std::uint32_t networks) {
    return Record(table_record, 1).put("version", 4000000000U).put("prefix_number", networks);
}
Record network(std::uint32_t next_hops) {
    return Record(network_record, 2).put("nextop_num", next_hops);
}
Record next_hop() {
    return Record(next_hop_record, 3);
}

// The payload with networks of that many next hops, and more of them announced than there are.
std::string info(const std::vector<std::uint32_t> &networks, std::uint32_t more = 0) {
    std::uint32_t total = more;
    std::string records;
    for (const std::uint32_t next_hops : networks) {
        records += network(next_hops).bytes();
        for (std::uint32_t i = 0; i < next_hops; ++i, ++total) {
            records += next_hop().bytes();
        }
    }
    return packed(total) + table(static_cast<std::uint32_t>(networks.size())).bytes() + records;
}

class InfoReply : public support::ReplyTest {
  protected:
    InfoReply() : ReplyTest(ip_bgp_info_output_parse, BGP_SUB_RPC_IP_BGP_INFO) {}
};

TEST_F(InfoReply, ArrayIsSizedOnceForAllThatTheReplyAnnounces) {
    struct Row {
        std::vector<std::uint32_t> networks;
        std::uint32_t more;
        std::size_t before, room, after;
    };
    const Row rows[] = {
        {{}, 0, 0, 3, 0},  {{}, 0, 5, 8, 5},    {{}, 9, 4, 52, 4},      {{0}, 0, 0, 4, 4},
        {{1}, 0, 0, 9, 9}, {{1}, 10, 0, 59, 9}, {{2, 1}, 0, 0, 20, 20}, {{2, 1}, 0, 7, 27, 20},
    };
    for (const Row &row : rows) {
        sysrepo().reallocs.clear();
        Values values(row.before);
        EXPECT_EQ(parse(values, info(row.networks, row.more)), SR_ERR_OK);
        EXPECT_EQ(sysrepo().reallocs, (Reallocs{{row.before, row.room}}));
        EXPECT_EQ(values.size(), row.after);
    }
}

// --- Traces ----------------------------------------------------------------------

std::string table_trace(std::uint32_t next_hops, std::uint32_t networks) {
    return "ip_bgp_info_output_parse,module:3,subMod:19\n"
           "next_hop_num              :" +
           std::to_string(next_hops) +
           "\n"
           "ip_bgp_info_output_parse network information begin--------------\n" +
           table(networks).traced("", 26) +
           "ip_bgp_info_output_parse network information end----------------\n";
}
// `position` is what the first line has from the offset on.
std::string network_trace(const std::string &position, std::uint32_t next_hops) {
    return "ip_bgp_info_output_parse\t1996\t" + position +
           "\n"
           "ip_bgp_info_output_parse\t2001\thand struct:56 network struct:56  next-hop struct:92\n"
           "ip_bgp_info_output_parse entry information begin------------\n" +
           network(next_hops).traced("", 26) +
           "ip_bgp_info_output_parse entry information end--------------\n";
}
std::string next_hop_trace(const std::string &position) {
    return "ip_bgp_info_output_parse\t2024\t" + position +
           "\n"
           "ip_bgp_info_output_parse next-hop information begin------------\n" +
           next_hop().traced("", 26) +
           "ip_bgp_info_output_parse next-hop information end--------------\n";
}

class InfoReplyTrace : public InfoReply {
  protected:
    InfoReplyTrace() { set_switches(1, 0); }
};

TEST_F(InfoReplyTrace, OfNetworksAndTheirNextHops) {
    EXPECT_EQ(printed(info({2, 1})),
              table_trace(3, 2) + "*output_cnt:0 network_num:2  next_hop_num:3 add_count:20\n" +
                  network_trace("offset:60 i:0\tnext_hop_cnt_all:0", 2) +
                  next_hop_trace("offset:116 i:0\tnext_hop_cnt_all:0  next_hop_cnt:0") +
                  next_hop_trace("offset:208 i:0\tnext_hop_cnt_all:0  next_hop_cnt:1") +
                  network_trace("offset:300 i:1\tnext_hop_cnt_all:2", 1) +
                  next_hop_trace("offset:356 i:1\tnext_hop_cnt_all:2  next_hop_cnt:0") +
                  "ip_bgp_info_output_parse cnt:20\n");
}

TEST_F(InfoReplyTrace, OfAnEmptyTableEndsWithTheCounts) {
    Values values(4);
    const CapturedOutput output;
    parse(values, info({}));
    EXPECT_EQ(output.text(), table_trace(0, 0) + "*output_cnt:4 network_num:0  next_hop_num:0 "
                                                 "add_count:7\n");
}

TEST_F(InfoReplyTrace, OfAFailedResizingHasTheCounts) {
    sysrepo().realloc_result = SR_ERR_NOMEM;
    EXPECT_EQ(printed(info({0})), table_trace(0, 1) +
                                      "*output_cnt:0 network_num:1  next_hop_num:0 add_count:4\n"
                                      "bgp info realloc failed!\n");
}

} // namespace
