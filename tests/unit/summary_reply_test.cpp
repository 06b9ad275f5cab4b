// What is particular to the reply of the summary: the size of its array, and its traces.
// RandomReply compares the values.
#include "replies.h"

namespace {

using scripted::sysrepo;
using support::Record;
using support::summary_block;
using support::summary_entry;
using support::Values;
using Reallocs = std::vector<std::pair<std::size_t, std::size_t>>;

// Negative when it is traced.
constexpr std::uint32_t large = 3000000000U;

Record block(std::uint32_t entries) {
    return Record(summary_block, 1).put("community_number", large).put("neighbor_number", entries);
}
Record entry(unsigned seed) {
    return Record(summary_entry, seed).put("outq", large);
}

// The payload of that many entries.
std::string summary_reply(unsigned entries) {
    std::string bytes = block(entries).bytes();
    for (unsigned i = 0; i < entries; ++i) {
        bytes += entry(i + 2).bytes();
    }
    return bytes;
}

class SummaryReply : public support::ReplyTest {
  protected:
    SummaryReply() : ReplyTest(ip_bgp_summary_output_parse, BGP_SUB_RPC_IP_BGP_SUMMARY) {}
};

TEST_F(SummaryReply, ArrayIsSizedOnceToWhatTheBlockAnnounces) {
    struct Row {
        unsigned entries;
        std::size_t before, room, after;
    };
    for (const Row &row : {Row{1, 0, 15, 15}, Row{3, 0, 33, 33}, Row{3, 5, 33, 33},
                           Row{1, 40, 15, 15}, Row{0, 0, 6, 0}, Row{0, 2, 6, 2}}) {
        sysrepo().reallocs.clear();
        Values values(row.before);
        EXPECT_EQ(parse(values, summary_reply(row.entries)), SR_ERR_OK);
        EXPECT_EQ(sysrepo().reallocs, (Reallocs{{row.before, row.room}}));
        EXPECT_EQ(values.size(), row.after);
    }
}

// --- Traces ----------------------------------------------------------------------

std::string block_trace(std::uint32_t entries) {
    return "ip_bgp_summary_output_parse neighbor information begin---------------\n" +
           block(entries).traced("", 20) +
           "ip_bgp_summary_output_parse neighbor information end-----------------\n";
}
std::string entry_trace(unsigned seed) {
    return "ip_bgp_summary_output_parse entry information begin---------------\n" +
           entry(seed).traced("", 16) +
           "ip_bgp_summary_output_parse entry information end-----------------\n";
}

class SummaryReplyTrace : public SummaryReply {
  protected:
    SummaryReplyTrace() { set_switches(1, 0); }
};

TEST_F(SummaryReplyTrace, OfTheBlockAndEachEntry) {
    EXPECT_EQ(printed(summary_reply(2)), "ip_bgp_summary_output_parse,module:3,subMod:21\n"
                                         "*output_cnt:0 add_count:24\n" +
                                             block_trace(2) + entry_trace(2) + entry_trace(3) +
                                             "ip_bgp_summary_output_parse cnt:24\n");
}

TEST_F(SummaryReplyTrace, WithoutNeighborsEndsWithTheBlock) {
    EXPECT_EQ(printed(summary_reply(0)), "ip_bgp_summary_output_parse,module:3,subMod:21\n"
                                         "*output_cnt:0 add_count:6\n" +
                                             block_trace(0));
}

TEST_F(SummaryReplyTrace, OfAFailedResizingHasTheCounts) {
    sysrepo().realloc_result = SR_ERR_NOMEM;
    Values values(4);
    const support::CapturedOutput output;
    parse(values, summary_reply(2));
    EXPECT_EQ(output.text(), "ip_bgp_summary_output_parse,module:3,subMod:21\n"
                             "*output_cnt:4 add_count:24\n"
                             "bgp info realloc failed!\n");
}

} // namespace
