#include "replies.h"

#include <climits>

namespace {

using scripted::sysrepo;
using support::Output;
using support::Outputs;
using support::Record;
using support::Reply;
using support::summary_block;
using support::summary_entry;
using support::Values;

// The payload with this block and these entries, whose number is in the block.
std::string summary(Record block, const std::vector<Record> &entries) {
    std::string bytes =
        block.put("neighbor_number", static_cast<std::uint32_t>(entries.size())).bytes();
    for (const Record &entry : entries) {
        bytes += entry.bytes();
    }
    return bytes;
}

std::string summary_of(unsigned entries) {
    std::vector<Record> records;
    for (unsigned i = 0; i < entries; ++i) {
        records.emplace_back(summary_entry, i + 1);
    }
    return summary(Record(summary_block, 0), records);
}

Record plain_block() {
    return Record(summary_block)
        .put("as", "65001")
        .put("router_id", "1.1.1.1")
        .put("version", 12)
        .put("as_path_number", 3)
        .put("community_number", 4294967295U);
}

Record plain_entry() {
    return Record(summary_entry)
        .put("neighbor", "10.0.0.2")
        .put("version", 4)
        .put("AS", "65002")
        .put("msg_recvd", 101)
        .put("msg_send", 102)
        .put("tblver", 103)
        .put("inq", 104)
        .put("outq", 3000000000U)
        .put("up_down", "01:02:03")
        .put("state_pfxrcd", "Established");
}

class SummaryReply : public support::ReplyTest {
  protected:
    SummaryReply() : ReplyTest(ip_bgp_summary_output_parse, BGP_SUB_RPC_IP_BGP_SUMMARY) {}
};

TEST_F(SummaryReply, EveryFieldIsPublished) {
    Values values;
    EXPECT_EQ(parse(values, summary(plain_block(), {plain_entry()})), SR_ERR_OK);
    EXPECT_EQ(
        values.outputs(),
        (Outputs{
            {"/ip-bgp-summary/neighbors/as", SR_STRING_T, "65001"},
            {"/ip-bgp-summary/neighbors/router-id", SR_STRING_T, "1.1.1.1"},
            {"/ip-bgp-summary/neighbors/version", SR_UINT32_T, "12"},
            {"/ip-bgp-summary/neighbors/as-path-number", SR_UINT32_T, "3"},
            {"/ip-bgp-summary/neighbors/community-number", SR_UINT32_T, "4294967295"},
            {"/ip-bgp-summary/neighbors/neighbor-number", SR_UINT32_T, "1"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/version", SR_UINT8_T, "4"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/AS", SR_STRING_T, "65002"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/msg-recvd", SR_UINT32_T, "101"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/msg-sent", SR_UINT32_T, "102"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/tblver", SR_UINT32_T, "103"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/inq", SR_UINT32_T, "104"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/outq", SR_UINT32_T,
             "3000000000"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/up-down", SR_STRING_T,
             "01:02:03"},
            {"/ip-bgp-summary/neighbors/entry[neighbor='10.0.0.2']/state-pfxrcd", SR_STRING_T,
             "Established"},
        }));
    EXPECT_EQ(values.size(), 15U);
}

TEST_F(SummaryReply, EntriesFollowOneAnother) {
    const std::string payload = summary_of(3);
    Values values;
    EXPECT_EQ(parse(values, payload), SR_ERR_OK);
    EXPECT_EQ(values.size(), 33U);
    Outputs expected = Record(summary_block, 0).put("neighbor_number", 3).outputs({});
    for (unsigned i = 1; i <= 3; ++i) {
        const Record entry(summary_entry, i);
        append(expected, entry.outputs({entry.text("neighbor")}));
    }
    EXPECT_EQ(values.outputs(), expected);
    EXPECT_EQ(payload.substr(404), Record(summary_entry, 3).bytes());
}

TEST_F(SummaryReply, ArrayIsSizedOnceToWhatTheBlockAnnounces) {
    struct Row {
        unsigned entries;
        std::size_t before, after;
    };
    for (const Row &row : {Row{1, 0, 15}, Row{3, 0, 33}, Row{3, 5, 33}, Row{1, 40, 15}}) {
        sysrepo().reallocs.clear();
        Values values(row.before);
        EXPECT_EQ(parse(values, summary_of(row.entries)), SR_ERR_OK);
        EXPECT_EQ(sysrepo().reallocs,
                  (std::vector<std::pair<std::size_t, std::size_t>>{{row.before, row.after}}));
        EXPECT_EQ(values.size(), row.after);
    }
}

TEST_F(SummaryReply, WithoutNeighborsNothingIsWrittenAndTheCountStays) {
    for (const std::size_t before : {std::size_t{0}, std::size_t{2}}) {
        sysrepo().reallocs.clear();
        Values values(before);
        const support::CapturedOutput output;
        EXPECT_EQ(parse(values, summary(plain_block(), {})), SR_ERR_OK);
        EXPECT_EQ(values.size(), before);
        EXPECT_EQ(values.written_count(), 0U);
        EXPECT_EQ(sysrepo().reallocs,
                  (std::vector<std::pair<std::size_t, std::size_t>>{{before, 6}}));
        EXPECT_EQ(output.text(), "");
    }
}

TEST_F(SummaryReply, AnnouncedNeighborsThatDidNotComeHaveNothingInTheirFields) {
    Values values;
    EXPECT_EQ(
        parse(values, plain_block().put("neighbor_number", 2).bytes() + plain_entry().bytes()),
        SR_ERR_OK);
    Outputs expected = plain_block().put("neighbor_number", 2).outputs({});
    append(expected, plain_entry().outputs({"10.0.0.2"}));
    append(expected, Record(summary_entry).outputs({""}));
    EXPECT_EQ(values.outputs(), expected);
}

// --- Traces ----------------------------------------------------------------------

constexpr const char *block_trace =
    "ip_bgp_summary_output_parse neighbor information begin---------------\n"
    "as                  :65001\n"
    "router_id           :1.1.1.1\n"
    "version             :12\n"
    "as_path_number      :3\n"
    "community_number    :-1\n"
    "neighbor_number     :";
constexpr const char *block_trace_end =
    "\nip_bgp_summary_output_parse neighbor information end-----------------\n";

TEST_F(SummaryReply, IsTraced) {
    set_switches(1, 0);
    EXPECT_EQ(printed(summary(plain_block(), {plain_entry().put("version", 200)})),
              std::string("ip_bgp_summary_output_parse,module:3,subMod:21\n"
                          "*output_cnt:0 add_count:15\n") +
                  block_trace + "1" + block_trace_end +
                  "ip_bgp_summary_output_parse entry information begin---------------\n"
                  "neighbor        :10.0.0.2\n"
                  "version         :200\n"
                  "AS              :65002\n"
                  "msg_recvd       :101\n"
                  "msg_send        :102\n"
                  "tblver          :103\n"
                  "inq             :104\n"
                  "outq            :-1294967296\n"
                  "up_down         :01:02:03\n"
                  "state_pfxrcd    :Established\n"
                  "ip_bgp_summary_output_parse entry information end-----------------\n"
                  "ip_bgp_summary_output_parse cnt:15\n");
}

TEST_F(SummaryReply, WithoutNeighborsTheTraceEndsWithTheBlock) {
    set_switches(1, 0);
    EXPECT_EQ(printed(summary(plain_block(), {})),
              std::string("ip_bgp_summary_output_parse,module:3,subMod:21\n"
                          "*output_cnt:0 add_count:6\n") +
                  block_trace + "0" + block_trace_end);
}

TEST_F(SummaryReply, FailedResizingIsTracedWithTheCounts) {
    set_switches(1, 0);
    sysrepo().realloc_result = SR_ERR_NOMEM;
    Values values(4);
    const support::CapturedOutput output;
    parse(values, summary_of(2));
    EXPECT_EQ(output.text(), "ip_bgp_summary_output_parse,module:3,subMod:21\n"
                             "*output_cnt:4 add_count:24\n"
                             "bgp info realloc failed!\n");
}

} // namespace
