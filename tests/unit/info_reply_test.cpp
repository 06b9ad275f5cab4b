#include "replies.h"

#include <gmock/gmock.h>

#include <climits>

namespace {

using scripted::sysrepo;
using support::CapturedOutput;
using support::network_record;
using support::next_hop_record;
using support::Output;
using support::Outputs;
using support::packed;
using support::Record;
using support::Reply;
using support::table_record;
using support::Values;
using Reallocs = std::vector<std::pair<std::size_t, std::size_t>>;

// A network and the records of its next hops, which it counts.
struct Network {
    Record network;
    std::vector<Record> next_hops = {};
};

// The payload with this table and these networks, which table and total count.
std::string info(Record table, const std::vector<Network> &networks) {
    std::uint32_t total = 0;
    std::string records;
    for (const Network &item : networks) {
        Record network = item.network;
        const auto count = static_cast<std::uint32_t>(item.next_hops.size());
        records += network.put("nextop_num", count).bytes();
        for (const Record &next_hop : item.next_hops) {
            records += next_hop.bytes();
        }
        total += count;
    }
    const auto networks_count = static_cast<std::uint32_t>(networks.size());
    return packed(total) + table.put("prefix_number", networks_count).bytes() + records;
}

Record plain_table() {
    return Record(table_record).put("version", 4000000000U).put("router_id", "1.1.1.1");
}

Record plain_network() {
    return Record(network_record).put("network", "10.1.0.0").put("mask_len", 16);
}

Record plain_next_hop() {
    return Record(next_hop_record)
        .put("nexthop", "10.0.0.2")
        .put("metric", "20")
        .put("path", "65002 65003")
        .put("loc_prf", 100)
        .put("weight", 32768)
        .put("valid_flag", 1)
        .put("select_flag", 1)
        .put("source_type", 2);
}

// The values of a whole table.
Outputs table_outputs(Record table, const std::vector<Network> &networks) {
    Outputs outputs =
        table.put("prefix_number", static_cast<std::uint32_t>(networks.size())).outputs({});
    for (const Network &item : networks) {
        const std::string key = item.network.text("network");
        append(outputs, item.network.outputs({key}));
        for (const Record &next_hop : item.next_hops) {
            append(outputs, next_hop.outputs({key, next_hop.text("nexthop"),
                                              next_hop.text("metric"), next_hop.text("path")}));
        }
    }
    return outputs;
}

class InfoReply : public support::ReplyTest {
  protected:
    InfoReply() : ReplyTest(ip_bgp_info_output_parse, BGP_SUB_RPC_IP_BGP_INFO) {}

    Outputs outputs(const std::vector<Network> &networks) {
        Values values;
        EXPECT_EQ(parse(values, info(plain_table(), networks)), SR_ERR_OK);
        return values.outputs();
    }
};

TEST_F(InfoReply, EveryFieldIsPublished) {
    EXPECT_EQ(
        outputs({{plain_network(), {plain_next_hop()}}}),
        (Outputs{
            // clang-format off
            {"/ip-bgp-info/bgp-info/version", SR_UINT32_T, "4000000000"},
            {"/ip-bgp-info/bgp-info/router-id", SR_STRING_T, "1.1.1.1"},
            {"/ip-bgp-info/bgp-info/prefix-number", SR_UINT32_T, "1"},
            {"/ip-bgp-info/bgp-info/entry[network='10.1.0.0']/mask-len", SR_UINT16_T, "16"},
            {"/ip-bgp-info/bgp-info/entry[network='10.1.0.0']/next-hop-information[next-hop='10.0.0.2'][metric='20'][path='65002 65003']/valid-flag", SR_ENUM_T, "valid"},
            {"/ip-bgp-info/bgp-info/entry[network='10.1.0.0']/next-hop-information[next-hop='10.0.0.2'][metric='20'][path='65002 65003']/select-flag", SR_ENUM_T, "best"},
            {"/ip-bgp-info/bgp-info/entry[network='10.1.0.0']/next-hop-information[next-hop='10.0.0.2'][metric='20'][path='65002 65003']/source-type", SR_ENUM_T, "local"},
            {"/ip-bgp-info/bgp-info/entry[network='10.1.0.0']/next-hop-information[next-hop='10.0.0.2'][metric='20'][path='65002 65003']/loc-prf", SR_UINT32_T, "100"},
            {"/ip-bgp-info/bgp-info/entry[network='10.1.0.0']/next-hop-information[next-hop='10.0.0.2'][metric='20'][path='65002 65003']/weight", SR_UINT32_T, "32768"},
            // clang-format on
        }));
}

TEST_F(InfoReply, NetworksFollowTheNextHopsOfTheOnesBefore) {
    const std::vector<Network> networks = {
        {Record(network_record, 1), {Record(next_hop_record, 2), Record(next_hop_record, 3)}},
        {Record(network_record, 4), {Record(next_hop_record, 5)}},
        {Record(network_record, 6), {}},
        {Record(network_record, 7), {Record(next_hop_record, 8)}},
    };
    const std::string payload = info(plain_table(), networks);
    EXPECT_EQ(Record::at(network_record, payload, 300).text("network"), "4-network");
    Values values;
    EXPECT_EQ(parse(values, payload), SR_ERR_OK);
    EXPECT_EQ(values.outputs(), table_outputs(plain_table(), networks));
}

TEST_F(InfoReply, LocalPreferenceOfZeroIsNotPublished) {
    for (const std::uint32_t preference : {0U, 1U, 4294967295U}) {
        const std::vector<Network> networks = {
            {plain_network(), {plain_next_hop().put("loc_prf", preference)}}};
        const Outputs found = outputs(networks);
        EXPECT_EQ(found, table_outputs(plain_table(), networks));
        EXPECT_EQ(found.size(), preference == 0 ? 8U : 9U);
    }
}

TEST_F(InfoReply, FlagsAreNamed) {
    struct Row {
        std::uint32_t flag;
        const char *valid, *select, *source;
    };
    for (const Row &row : {Row{0, "other", "other", "other"}, Row{1, "valid", "best", "internal"},
                           Row{2, "other", "other", "local"}, Row{3, "other", "other", "other"},
                           Row{255, "other", "other", "other"}}) {
        const Outputs found = outputs({{plain_network(),
                                        {plain_next_hop()
                                             .put("valid_flag", row.flag)
                                             .put("select_flag", row.flag)
                                             .put("source_type", row.flag)}}});
        EXPECT_EQ(found.at(4).value, row.valid);
        EXPECT_EQ(found.at(5).value, row.select);
        EXPECT_EQ(found.at(6).value, row.source);
    }
}

TEST_F(InfoReply, ArrayIsSizedOnceForAllThatTheReplyAnnounces) {
    const Record hop = plain_next_hop();
    struct Row {
        std::vector<Network> networks;
        std::size_t before, after;
    };
    const Row rows[] = {
        {{}, 0, 3},
        {{}, 5, 8},
        {{{plain_network()}}, 0, 4},
        {{{plain_network(), {hop}}}, 0, 9},
        {{{plain_network(), {hop, hop}}, {plain_network(), {hop}}}, 0, 20},
        {{{plain_network(), {hop, hop}}, {plain_network(), {hop}}}, 7, 27},
    };
    for (const Row &row : rows) {
        sysrepo().reallocs.clear();
        Values values(row.before);
        EXPECT_EQ(parse(values, info(plain_table(), row.networks)), SR_ERR_OK);
        EXPECT_EQ(sysrepo().reallocs, (Reallocs{{row.before, row.after}}));
    }
}

TEST_F(InfoReply, ArrayIsSizedFromTheTotalNotFromTheNetworks) {
    std::string payload = info(plain_table(), {{plain_network(), {plain_next_hop()}}});
    payload.replace(0, 4, packed(std::uint32_t{11}));
    Values values;
    EXPECT_EQ(parse(values, payload), SR_ERR_OK);
    EXPECT_EQ(sysrepo().reallocs, (Reallocs{{0, 59}}));
    EXPECT_EQ(values.size(), 9U);
}

TEST_F(InfoReply, EmptyTableWritesNothingAndLeavesTheCount) {
    for (const std::size_t before : {std::size_t{0}, std::size_t{4}}) {
        // The announced total does not matter.
        for (const std::uint32_t total : {0U, 9U}) {
            std::string payload = info(plain_table(), {});
            payload.replace(0, 4, packed(total));
            sysrepo().reallocs.clear();
            Values values(before);
            const CapturedOutput output;
            EXPECT_EQ(parse(values, payload), SR_ERR_OK);
            EXPECT_EQ(output.text(), "");
            EXPECT_EQ(values.size(), before);
            EXPECT_EQ(values.written_count(), 0U);
            EXPECT_EQ(sysrepo().reallocs, (Reallocs{{before, before + 3 + 5 * total}}));
        }
    }
}

// --- Traces ----------------------------------------------------------------------

std::string table_trace(const std::string &total, const std::string &networks,
                        const std::string &counts) {
    return "ip_bgp_info_output_parse,module:3,subMod:19\n"
           "next_hop_num              :" +
           total +
           "\n"
           "ip_bgp_info_output_parse network information begin--------------\n"
           "version                   :-294967296\n"
           "router_id                 :1.1.1.1\n"
           "prefix_number             :" +
           networks +
           "\n"
           "ip_bgp_info_output_parse network information end----------------\n" +
           counts;
}

// `position` is what the first line has from the offset on.
std::string network_trace(const std::string &position, const std::string &next_hops) {
    return "ip_bgp_info_output_parse\t1996\t" + position +
           "\n"
           "ip_bgp_info_output_parse\t2001\thand struct:56 network struct:56  next-hop struct:92\n"
           "ip_bgp_info_output_parse entry information begin------------\n"
           "network                   :10.1.0.0\n"
           "mask_len                  :16\n"
           "nextop_num                :" +
           next_hops +
           "\n"
           "ip_bgp_info_output_parse entry information end--------------\n";
}

class InfoReplyTrace : public InfoReply {
  protected:
    InfoReplyTrace() { set_switches(1, 0); }
};

TEST_F(InfoReplyTrace, OfNetworksWithoutNextHops) {
    EXPECT_EQ(printed(info(plain_table(), {{plain_network()}, {plain_network()}})),
              table_trace("0", "2", "*output_cnt:0 network_num:2  next_hop_num:0 add_count:5\n") +
                  network_trace("offset:60 i:0\tnext_hop_cnt_all:0", "0") +
                  network_trace("offset:116 i:1\tnext_hop_cnt_all:0", "0") +
                  "ip_bgp_info_output_parse cnt:5\n");
}

TEST_F(InfoReplyTrace, OfNextHops) {
    const auto next_hop = [](const std::string &position) {
        return "ip_bgp_info_output_parse\t2024\t" + position +
               "\n"
               "ip_bgp_info_output_parse next-hop information begin------------\n"
               "nexthop                   :10.0.0.2\n"
               "metric                    :20\n"
               "loc_prf                   :100\n"
               "weight                    :32768\n"
               "path                      :65002 65003\n"
               "valid_flag                :1\n"
               "select_flag               :1\n"
               "source_type               :2\n"
               "ip_bgp_info_output_parse next-hop information end--------------\n";
    };
    EXPECT_EQ(printed(info(plain_table(), {{plain_network(), {plain_next_hop(), plain_next_hop()}},
                                           {plain_network(), {plain_next_hop()}}})),
              table_trace("3", "2", "*output_cnt:0 network_num:2  next_hop_num:3 add_count:20\n") +
                  network_trace("offset:60 i:0\tnext_hop_cnt_all:0", "2") +
                  next_hop("offset:116 i:0\tnext_hop_cnt_all:0  next_hop_cnt:0") +
                  next_hop("offset:208 i:0\tnext_hop_cnt_all:0  next_hop_cnt:1") +
                  network_trace("offset:300 i:1\tnext_hop_cnt_all:2", "1") +
                  next_hop("offset:356 i:1\tnext_hop_cnt_all:2  next_hop_cnt:0") +
                  "ip_bgp_info_output_parse cnt:20\n");
}

TEST_F(InfoReplyTrace, OfAnEmptyTableEndsWithTheCounts) {
    Values values(4);
    const CapturedOutput output;
    parse(values, info(plain_table(), {}));
    EXPECT_EQ(output.text(),
              table_trace("0", "0", "*output_cnt:4 network_num:0  next_hop_num:0 add_count:7\n"));
}

TEST_F(InfoReplyTrace, OfAFailedResizingHasTheCounts) {
    sysrepo().realloc_result = SR_ERR_NOMEM;
    EXPECT_EQ(printed(info(plain_table(), {{plain_network()}})),
              table_trace("0", "1",
                          "*output_cnt:0 network_num:1  next_hop_num:0 add_count:4\n"
                          "bgp info realloc failed!\n"));
}

} // namespace
