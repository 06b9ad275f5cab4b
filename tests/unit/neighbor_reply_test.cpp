// What is particular to the reply of neighbors: the size of its array, and its traces. RandomReply
// compares the values.
#include "replies.h"

#include <gmock/gmock.h>

namespace {

using scripted::sysrepo;
using support::CapturedOutput;
using support::family_record;
using support::peer_record;
using support::Record;
using support::Reply;
using support::Values;
using Reallocs = std::vector<std::pair<std::size_t, std::size_t>>;

// A peer and the records of its address families, which it counts.
struct ReportedPeer {
    Record peer;
    std::vector<Record> families = {};
};

std::string neighbors(std::vector<ReportedPeer> peers) {
    std::string bytes = support::packed(static_cast<std::uint32_t>(peers.size()));
    for (ReportedPeer &item : peers) {
        const auto count = static_cast<std::uint32_t>(item.families.size());
        bytes += item.peer.put("address_family_cnt", count).bytes();
        for (const Record &family : item.families) {
            bytes += family.bytes();
        }
    }
    return bytes;
}

// A family whose fields differ from those of every other family.
Record family(unsigned seed, std::uint32_t afi, std::uint32_t safi) {
    return Record(family_record, seed).put("afi", afi).put("safi", safi);
}

class NeighborReply : public support::ReplyTest {
  protected:
    NeighborReply() : ReplyTest(ip_bgp_neighbor_output_parse, BGP_SUB_RPC_IP_BGP_NEIGHBOR) {}
};

TEST_F(NeighborReply, ArrayIsSizedOnceFromTheLengthOfTheReply) {
    struct Row {
        std::size_t peers, families_each, before;
        std::int64_t length; // 0: as it is
        std::size_t room;
    };
    for (const Row &row : {
             Row{0, 0, 0, 0, 0}, Row{0, 0, 3, 0, 3}, Row{1, 0, 0, 0, 20}, Row{1, 1, 0, 0, 29},
             Row{2, 3, 0, 0, 94}, Row{2, 3, 7, 0, 101}, // existing values count, too
             Row{1, 0, 0, 4 + 312 + 108 * 3, 47},       // room for three families
             Row{1, 0, 5, 4 + 312 + 108 * 3, 52},       //
             Row{1, 0, 0, 312 + 107, 20},               // one byte short of a family
             Row{1, 0, 0, 312 + 108, 29},               // and just long enough
             Row{0, 0, 0, 16 + 4 + 107 - 20, 0},        //
             Row{33, 0, 0, 16 + 4 + 33 * 312, 33 * 20}, //
         }) {
        sysrepo().reallocs.clear();
        std::vector<ReportedPeer> peers;
        for (std::size_t i = 0; i < row.peers; ++i) {
            peers.push_back({Record(peer_record, 1), {row.families_each, family(2, 1, 1)}});
        }
        Reply reply(sub_mod_, neighbors(peers));
        if (row.length != 0) {
            reply.length(row.length);
        }
        Values values(row.before);
        EXPECT_EQ(parse(values, reply), SR_ERR_OK);
        EXPECT_EQ(sysrepo().reallocs, (Reallocs{{row.before, row.room}}));
        EXPECT_EQ(values.size(), row.peers * (20 + 9 * row.families_each));
    }
}

// --- Traces ----------------------------------------------------------------------

std::string peer_trace(Record peer, std::uint32_t families) {
    return "ip_bgp_neighbor_output_parse neighbor information begin--------------\n" +
           peer.put("address_family_cnt", families).traced("neighbor.", 32) +
           "ip_bgp_neighbor_output_parse neighbor information end----------------\n";
}

std::string family_trace(const Record &family) {
    constexpr std::size_t behind_the_keys = 84;
    return "ip_bgp_neighbor_output_parse entry information begin--------------\n"
           "entry.address_family.afi        :" +
           std::to_string(family.number("afi")) +
           "\n"
           "entry.address_family.safi       :" +
           std::to_string(family.number("safi")) + "\n" +
           family.traced("entry.", 32, behind_the_keys) +
           "ip_bgp_neighbor_output_parse entry information end----------------\n";
}

class NeighborReplyTrace : public NeighborReply {
  protected:
    NeighborReplyTrace() { set_switches(1, 0); }

    // Numbers are traced in full, and with a sign.
    const Record peer =
        Record(peer_record, 1).put("remote_as", 131073).put("local_as", 4200000000U);
};

TEST_F(NeighborReplyTrace, OfPeersAndTheFirstAddressFamilyOfEach) {
    const Record first = family(2, 1, 1).put("prefix_announced_statis", 4294967295U);
    const Record second(peer_record, 4);
    const Record its_family = family(5, 3, 71);
    const std::string twice = family_trace(first) + "afi_str:AFI_IP  safi_str:SAFI_UNICAST\n";
    EXPECT_EQ(printed(neighbors({{peer, {first, family(3, 3, 5)}}, {second, {its_family}}})),
              "ip_bgp_info_neighbor_parse,module:3,subMod:20\n"
              "peer_cnt:2 entry_cnt:3 add_count:67\n" +
                  peer_trace(peer, 2) + twice + twice + peer_trace(second, 1) +
                  family_trace(its_family) + "afi_str:AFI_L2VPN  safi_str:SAFI_VRF\n");
}

TEST_F(NeighborReplyTrace, OfAnAddressFamilyWithoutANameEndsWithIt) {
    EXPECT_THAT(printed(neighbors({{peer, {family(2, 4, 1)}}})),
                testing::EndsWith(family_trace(family(2, 4, 1)) + "afi is NULL!\n"));
    EXPECT_THAT(printed(neighbors({{peer, {family(2, 1, 3)}}})),
                testing::EndsWith(family_trace(family(2, 1, 3)) + "safi is NULL!\n"));
}

TEST_F(NeighborReplyTrace, OfAFailedResizingHasTheCounts) {
    sysrepo().realloc_result = SR_ERR_NOMEM;
    Values values(6);
    const CapturedOutput output;
    parse(values, neighbors({{peer, {family(2, 1, 1)}}}));
    EXPECT_EQ(output.text(), "ip_bgp_info_neighbor_parse,module:3,subMod:20\n"
                             "peer_cnt:1 entry_cnt:1 add_count:35\n"
                             "bgp neighbor realloc failed!\n");
}

} // namespace
