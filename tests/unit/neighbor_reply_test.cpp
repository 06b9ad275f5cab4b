#include "replies.h"

#include <gmock/gmock.h>

namespace {

using scripted::sysrepo;
using support::CapturedOutput;
using support::family_record;
using support::Outputs;
using support::peer_record;
using support::Record;
using support::Reply;
using support::Values;
using Reallocs = std::vector<std::pair<std::size_t, std::size_t>>;

// A peer and the records of its address families, which it counts.
struct Peer {
    Record peer;
    std::vector<Record> families = {};
};

std::string neighbors(std::vector<Peer> peers) {
    std::string bytes = support::packed(static_cast<std::uint32_t>(peers.size()));
    for (Peer &item : peers) {
        const auto count = static_cast<std::uint32_t>(item.families.size());
        bytes += item.peer.put("address_family_cnt", count).bytes();
        for (const Record &family : item.families) {
            bytes += family.bytes();
        }
    }
    return bytes;
}

Record plain_peer() {
    return Record(peer_record)
        .put("neighbor_addr", "10.0.0.2")
        .put("vrf_name", "red")
        .put("remote_as", 65002)
        .put("local_as", 4200000000U)
        .put("version", 4)
        .put("remote_router_id", "2.2.2.2")
        .put("state", "Established")
        .put("home_time", 180)
        .put("interval", 60)
        .put("messages_in", 201)
        .put("notifications_in", 202)
        .put("queue_in", 203)
        .put("messages_out", 204)
        .put("notifications_out", 205)
        .put("queue_out", 206)
        .put("refresh_in", 207)
        .put("refresh_out", 208)
        .put("adver_interval", 30)
        .put("update_source", "loopback0")
        .put("connection_established", 209)
        .put("connection_dropped", 210)
        .put("next_connect_timer", 211);
}

Record plain_family(std::uint32_t afi = 1, std::uint32_t safi = 1) {
    return Record(family_record)
        .put("op", 1)
        .put("bgp_id", 77)
        .put("afi", afi)
        .put("safi", safi)
        .put("vrf_name", "blue")
        .put("table_version", 301)
        .put("neighbor_version", 302)
        .put("index", 303)
        .put("offset", 200)
        .put("mask", 24)
        .put("route_reflector_client", 2)
        .put("community_attribute", 0)
        .put("prefix_accepted_statis", 304)
        .put("prefix_announced_statis", 4294967295U);
}

// A family whose fields differ from those of every other family.
Record family(unsigned seed, std::uint32_t afi, std::uint32_t safi) {
    return Record(family_record, seed).put("afi", afi).put("safi", safi);
}

Outputs family_outputs(const Record &peer, const Record &record, const std::string &afi,
                       const std::string &safi) {
    return record.outputs({peer.text("neighbor_addr"), peer.text("vrf_name"), afi, safi});
}
Outputs peer_outputs(const Record &peer) {
    return peer.outputs({peer.text("neighbor_addr"), peer.text("vrf_name")});
}

class NeighborReply : public support::ReplyTest {
  protected:
    NeighborReply() : ReplyTest(ip_bgp_neighbor_output_parse, BGP_SUB_RPC_IP_BGP_NEIGHBOR) {}

    Outputs outputs(const std::vector<Peer> &peers) {
        Values values;
        EXPECT_EQ(parse(values, neighbors(peers)), SR_ERR_OK);
        return values.outputs();
    }
};

TEST_F(NeighborReply, EveryFieldOfAPeerAndOfItsAddressFamilyIsPublished) {
    EXPECT_EQ(
        outputs({{plain_peer(), {plain_family()}}}),
        (Outputs{
            // clang-format off
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/remote-as", SR_UINT16_T, "65002"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/local-as", SR_UINT32_T, "4200000000"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/version", SR_UINT32_T, "4"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/remote-router-id", SR_STRING_T, "2.2.2.2"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/state", SR_STRING_T, "Established"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/hold-time", SR_UINT32_T, "180"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/interval", SR_UINT32_T, "60"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/messages-in", SR_UINT32_T, "201"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/notifications-in", SR_UINT32_T, "202"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/queue-in", SR_UINT32_T, "203"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/messages-out", SR_UINT32_T, "204"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/notifications-out", SR_UINT32_T, "205"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/queue-out", SR_UINT32_T, "206"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/refresh-in", SR_UINT32_T, "207"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/refresh-out", SR_UINT32_T, "208"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/adver-interval", SR_UINT32_T, "30"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/update-source", SR_STRING_T, "loopback0"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/connection-established", SR_UINT32_T, "209"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/connection-dropped", SR_UINT32_T, "210"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/next-connect-timer", SR_UINT32_T, "211"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/table-version", SR_UINT32_T, "301"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/neighbor-version", SR_UINT32_T, "302"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/index", SR_UINT32_T, "303"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/offset", SR_UINT8_T, "200"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/mask", SR_UINT8_T, "0"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/route-reflector-client", SR_BOOL_T, "true"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/community-attribute", SR_BOOL_T, "false"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/prefix-accepted-statis", SR_UINT32_T, "304"},
            {"/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='10.0.0.2'][vrf-name='red']/address-familys/afi-safi[afi='AFI_IP'][safi='SAFI_UNICAST']/prefix-announced-statis", SR_UINT32_T, "4294967295"},
            // clang-format on
        }));
}

TEST_F(NeighborReply, WithoutPeersTheCountIsSetToZero) {
    for (const std::size_t before : {std::size_t{0}, std::size_t{3}}) {
        sysrepo().reallocs.clear();
        Values values(before);
        EXPECT_EQ(parse(values, neighbors({})), SR_ERR_OK);
        EXPECT_EQ(values.size(), 0U);
        EXPECT_EQ(values.written_count(), 0U);
        EXPECT_EQ(sysrepo().reallocs, (Reallocs{{before, before}}));
    }
}

TEST_F(NeighborReply, FirstAddressFamilyOfAPeerIsPublishedForEachOfThem) {
    const Record peer(peer_record, 1);
    const Record first = family(2, 1, 1);
    Outputs expected = peer_outputs(peer);
    for (int times = 0; times < 2; ++times) {
        append(expected, family_outputs(peer, first, "AFI_IP", "SAFI_UNICAST"));
    }
    EXPECT_EQ(expected.size(), 38U);
    EXPECT_EQ(outputs({{peer, {first, family(3, 3, 5)}}}), expected);
    // The parser does not use the second one, not even a family without a name.
    EXPECT_EQ(outputs({{peer, {first, family(4, 99, 99)}}}), expected);
}

TEST_F(NeighborReply, NextPeerFollowsAllAddressFamiliesOfTheOneBefore) {
    struct Row {
        std::size_t families; // of the first peer
        std::size_t second_peer, its_family;
    };
    for (const Row &row : {Row{0, 316, 628}, Row{1, 424, 736}, Row{3, 640, 952}}) {
        const Record first(peer_record, 1);
        const Record second(peer_record, 2);
        const Record third(peer_record, 3);
        const std::vector<Record> families(row.families, family(4, 2, 2));
        const Record its_family = family(5, 3, 71);
        const std::string payload = neighbors({{first, families}, {second, {its_family}}, {third}});
        EXPECT_EQ(payload.substr(row.second_peer, 308), second.bytes().substr(0, 308));
        EXPECT_EQ(payload.substr(row.its_family, 108), its_family.bytes());

        Outputs expected = peer_outputs(first);
        for (const Record &record : families) {
            append(expected, family_outputs(first, record, "AFI_IPV6", "SAFI_MULTICAST"));
        }
        append(expected, peer_outputs(second));
        append(expected, family_outputs(second, its_family, "AFI_L2VPN", "SAFI_VRF"));
        append(expected, peer_outputs(third));
        Values values;
        EXPECT_EQ(parse(values, payload), SR_ERR_OK);
        EXPECT_EQ(values.outputs(), expected);
    }
}

TEST_F(NeighborReply, AddressFamilyWithoutANameEndsTheRpcWithTheValuesWrittenSoFar) {
    struct Row {
        std::uint32_t afi, safi;
        const char *line;
    };
    for (const Row &row : {Row{4, 1, "afi is NULL!\n"}, Row{0, 1, "afi is NULL!\n"},
                           Row{71, 3, "afi is NULL!\n"}, Row{1, 3, "safi is NULL!\n"},
                           Row{3, 0, "safi is NULL!\n"}, Row{2, 4294967295U, "safi is NULL!\n"}}) {
        const Record first(peer_record, 1);
        const Record good = family(2, 1, 1);
        const Record second(peer_record, 3);
        Outputs expected = peer_outputs(first);
        append(expected, family_outputs(first, good, "AFI_IP", "SAFI_UNICAST"));
        append(expected, peer_outputs(second));
        for (const std::size_t before : {std::size_t{0}, std::size_t{5}}) {
            Values values(before);
            const CapturedOutput output;
            EXPECT_EQ(parse(values, neighbors({{first, {good}},
                                               {second, {family(4, row.afi, row.safi)}},
                                               {Record(peer_record, 5)}})),
                      SR_ERR_INVAL_ARG);
            EXPECT_EQ(output.text(), row.line);
            EXPECT_EQ(values.size(), before);
            EXPECT_EQ(values.written(), expected);
        }
    }
}

TEST_F(NeighborReply, RemoteAsIsPublishedModulo65536) {
    struct Row {
        std::uint32_t as;
        const char *published;
    };
    for (const Row &row : {Row{65001, "65001"}, Row{65535, "65535"}, Row{65536, "0"},
                           Row{65537, "1"}, Row{4294967295U, "65535"}}) {
        const Outputs found =
            outputs({{plain_peer().put("remote_as", row.as).put("local_as", row.as)}});
        EXPECT_EQ(found.at(0).type, SR_UINT16_T);
        EXPECT_EQ(found.at(0).value, row.published);
        EXPECT_EQ(found.at(1).type, SR_UINT32_T);
        EXPECT_EQ(found.at(1).value, std::to_string(row.as));
    }
}

TEST_F(NeighborReply, MaskIsAlwaysZero) {
    for (const std::uint32_t mask : {0U, 1U, 24U, 32U, 128U, 255U}) {
        // The values before the call have all bits set: the zero is written.
        for (const std::size_t before : {std::size_t{0}, std::size_t{40}}) {
            Values values(before);
            parse(values, neighbors({{plain_peer(), {plain_family().put("mask", mask)}}}));
            ASSERT_EQ(values.size(), 29U);
            EXPECT_EQ(values.at(24).type, SR_UINT8_T);
            EXPECT_EQ(values.at(24).data.uint8_val, 0);
        }
    }
}

TEST_F(NeighborReply, ArrayIsSizedOnceFromTheLengthOfTheReply) {
    struct Row {
        std::size_t peers, families_each, before;
        std::int64_t length; // 0: as it is
        std::size_t room;
    };
    for (const Row &row : {
             Row{1, 0, 0, 0, 20}, Row{1, 1, 0, 0, 29}, Row{2, 3, 0, 0, 94},
             Row{2, 3, 7, 0, 101},                      // existing values count, too
             Row{1, 0, 0, 4 + 312 + 108 * 3, 47},       // room for three families
             Row{1, 0, 5, 4 + 312 + 108 * 3, 52},       //
             Row{1, 0, 0, 312 + 107, 20},               // one byte short of a family
             Row{1, 0, 0, 312 + 108, 29},               // and just long enough
             Row{0, 0, 0, 16 + 4 + 107 - 20, 0},        //
             Row{33, 0, 0, 16 + 4 + 33 * 312, 33 * 20}, //
         }) {
        sysrepo().reallocs.clear();
        std::vector<Peer> peers;
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

constexpr const char *peer_trace =
    "ip_bgp_neighbor_output_parse neighbor information begin--------------\n"
    "neighbor.neighbor_addr          :10.0.0.2\n"
    "neighbor.vrf_name               :red\n"
    "neighbor.remote_as              :131073\n"
    "neighbor.local_as               :-94967296\n"
    "neighbor.version                :4\n"
    "neighbor.remote_router_id       :2.2.2.2\n"
    "neighbor.state                  :Established\n"
    "neighbor.home_time              :180\n"
    "neighbor.interval               :60\n"
    "neighbor.messages_in            :201\n"
    "neighbor.notifications_in       :202\n"
    "neighbor.queue_in               :203\n"
    "neighbor.messages_out           :204\n"
    "neighbor.notifications_out      :205\n"
    "neighbor.queue_out              :206\n"
    "neighbor.refresh_in             :207\n"
    "neighbor.refresh_out            :208\n"
    "neighbor.adver_interval         :30\n"
    "neighbor.update_source          :loopback0\n"
    "neighbor.connection_established :209\n"
    "neighbor.connection_dropped     :210\n"
    "neighbor.next_connect_timer     :211\n"
    "neighbor.address_family_cnt     :";
constexpr const char *peer_trace_end =
    "\nip_bgp_neighbor_output_parse neighbor information end----------------\n";

std::string family_trace(const std::string &afi, const std::string &safi) {
    return "ip_bgp_neighbor_output_parse entry information begin--------------\n"
           "entry.address_family.afi        :" +
           afi +
           "\n"
           "entry.address_family.safi       :" +
           safi +
           "\n"
           "entry.table_version             :301\n"
           "entry.neighbor_version          :302\n"
           "entry.index                     :303\n"
           "entry.offset                    :200\n"
           "entry.mask                      :24\n"
           "entry.route_reflector_client    :2\n"
           "entry.community_attribute       :0\n"
           "entry.prefix_accepted_statis    :304\n"
           "entry.prefix_announced_statis   :-1\n"
           "ip_bgp_neighbor_output_parse entry information end----------------\n";
}

class NeighborReplyTrace : public NeighborReply {
  protected:
    NeighborReplyTrace() { set_switches(1, 0); }

    const Record peer = plain_peer().put("remote_as", 131073); // traced in full
};

TEST_F(NeighborReplyTrace, OfAPeerWithTwoAddressFamilies) {
    const std::string family = family_trace("1", "1") + "afi_str:AFI_IP  safi_str:SAFI_UNICAST\n";
    EXPECT_EQ(printed(neighbors({{peer, {plain_family(), plain_family(3, 5)}}})),
              std::string("ip_bgp_info_neighbor_parse,module:3,subMod:20\n"
                          "peer_cnt:1 entry_cnt:2 add_count:38\n") +
                  peer_trace + "2" + peer_trace_end + family + family);
}

TEST_F(NeighborReplyTrace, OfEveryPeerInTurn) {
    EXPECT_EQ(printed(neighbors({{peer, {plain_family(3, 71)}}, {peer}})),
              std::string("ip_bgp_info_neighbor_parse,module:3,subMod:20\n"
                          "peer_cnt:2 entry_cnt:1 add_count:49\n") +
                  peer_trace + "1" + peer_trace_end + family_trace("3", "71") +
                  "afi_str:AFI_L2VPN  safi_str:SAFI_VRF\n" + peer_trace + "0" + peer_trace_end);
}

TEST_F(NeighborReplyTrace, OfNoPeers) {
    EXPECT_EQ(printed(neighbors({})), "ip_bgp_info_neighbor_parse,module:3,subMod:20\n"
                                      "peer_cnt:0 entry_cnt:0 add_count:0\n");
}

TEST_F(NeighborReplyTrace, OfAnAddressFamilyWithoutANameEndsWithIt) {
    EXPECT_THAT(printed(neighbors({{peer, {plain_family(4, 1)}}})),
                testing::EndsWith(family_trace("4", "1") + "afi is NULL!\n"));
    EXPECT_THAT(printed(neighbors({{peer, {plain_family(1, 3)}}})),
                testing::EndsWith(family_trace("1", "3") + "safi is NULL!\n"));
}

TEST_F(NeighborReplyTrace, OfAFailedResizingHasTheCounts) {
    sysrepo().realloc_result = SR_ERR_NOMEM;
    Values values(6);
    const CapturedOutput output;
    parse(values, neighbors({{peer, {plain_family()}}}));
    EXPECT_EQ(output.text(), "ip_bgp_info_neighbor_parse,module:3,subMod:20\n"
                             "peer_cnt:1 entry_cnt:1 add_count:35\n"
                             "bgp neighbor realloc failed!\n");
}

} // namespace
