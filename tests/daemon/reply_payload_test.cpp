// Full replies. The tests of the queries cover the contents of replies.
#include "reply_payload.h"

#include "bytes.h"
#include "field_text.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

constexpr std::size_t longest_payload = BUF_SIZE_MAX - 16;

std::string full(std::size_t fitting, std::size_t all, const std::string &units) {
    return "the reply is full with " + std::to_string(fitting) + " of " + std::to_string(all) +
           " " + units;
}

TEST(SummaryReply, IsCutAtANeighbor) {
    using Block = bgp_rpc_ip_bgp_summary_output_neighbors;
    using Entry = bgp_rpc_ip_bgp_summary_output_entry;
    constexpr std::size_t fitting = (longest_payload - sizeof(Block)) / sizeof(Entry);
    const std::vector<Entry> entries(fitting + 1);
    const auto result = configd::summary_reply({}, entries);
    EXPECT_EQ(result.payload.size(), sizeof(Block) + fitting * sizeof(Entry));
    EXPECT_EQ(u32_at(result.payload, 80), fitting);
    EXPECT_EQ(result.note, full(fitting, fitting + 1, "neighbors"));
}

TEST(NeighborReply, IsCutAtANeighborWithItsFamilies) {
    using Peer = bgp_rpc_ip_bgp_neighbor_output_neighbor;
    constexpr std::size_t unit =
        sizeof(Peer) + 3 * sizeof(bgp_rpc_ip_bgp_neighbor_output_addrsss_family);
    constexpr std::size_t fitting = (longest_payload - 4) / unit;
    configd::PeerFacts facts{};
    facts.families.resize(3);
    const auto result =
        configd::neighbor_reply(std::vector<configd::PeerFacts>(fitting + 5, facts));
    EXPECT_EQ(result.payload.size(), 4 + fitting * unit);
    EXPECT_EQ(u32_at(result.payload, 0), fitting);
    EXPECT_EQ(u32_at(result.payload, 4 + offsetof(Peer, address_family_cnt)), 3U);
    EXPECT_EQ(result.note, full(fitting, fitting + 5, "neighbors"));
}

TEST(InfoReply, CountsTheNextHopsOfTheNetworksThatFit) {
    using Table = bgp_rpc_ip_bgp_info_output_public;
    using Network = bgp_rpc_ip_bgp_info_output_entry;
    constexpr std::size_t head = 4 + sizeof(Table);
    constexpr std::size_t unit =
        sizeof(Network) + 2 * sizeof(bgp_rpc_ip_bgp_info_next_hop_output_entry);
    constexpr std::size_t fitting = (longest_payload - head) / unit;
    configd::NetworkFacts facts{};
    facts.next_hops.resize(2);
    const auto result =
        configd::info_reply({}, std::vector<configd::NetworkFacts>(fitting + 1, facts));
    EXPECT_EQ(result.payload.size(), head + fitting * unit);
    EXPECT_EQ(u32_at(result.payload, 0), 2 * fitting);
    EXPECT_EQ(u32_at(result.payload, 4 + offsetof(Table, prefix_number)), fitting);
    EXPECT_EQ(u32_at(result.payload, head + offsetof(Network, nextop_num)), 2U);
    EXPECT_EQ(result.note, full(fitting, fitting + 1, "networks"));
}

TEST(InfoReply, TakesNetworksWithoutNextHops) {
    const auto result = configd::info_reply({}, std::vector<configd::NetworkFacts>(2));
    EXPECT_EQ(result.payload, bytes::zeros(56) + bytes::u32(2) + bytes::zeros(2 * 56));
    EXPECT_EQ(result.note, "");
}

// 100 bytes on the wire, 4 values.
configd::EvpnRoute labeled_route() {
    configd::EvpnRoute route;
    route.text = std::string(80, 'r');
    route.label = "1234567890";
    route.label.resize(100 - 81 - 9 - 1, '0');
    return route;
}

TEST(EvpnReply, IsCutAtARouteAndLeavesOutLaterDistinguishers) {
    const std::size_t fitting = (longest_payload - 8 - (3 + 4) - (3 + 4) - 100) / 100;
    const configd::EvpnDistinguisher first{"rd", {labeled_route()}};
    const configd::EvpnDistinguisher second{
        "rd", std::vector<configd::EvpnRoute>(fitting + 2, labeled_route())};
    const auto result = configd::evpn_reply({first, second, first});
    EXPECT_EQ(result.payload.size(), 8 + 7 + 100 + 7 + fitting * 100);
    EXPECT_LE(result.payload.size(), longest_payload);
    EXPECT_EQ(u32_at(result.payload, 0), 4 * (1 + fitting));
    EXPECT_EQ(u32_at(result.payload, 4), 2U);
    EXPECT_EQ(u32_at(result.payload, 8 + 7 + 100 + 3), fitting);
    EXPECT_EQ(result.note, full(fitting + 1, fitting + 4, "routes"));
}

TEST(EvpnReply, LeavesOutADistinguisherOfWhichNoRouteFits) {
    configd::EvpnRoute large;
    large.text = std::string(longest_payload, 'r');
    const auto result = configd::evpn_reply(
        {{"first", {labeled_route()}}, {"second", {large}}, {"third", {labeled_route()}}});
    EXPECT_EQ(result.payload.size(), 8 + 6 + 4 + 100U);
    EXPECT_EQ(u32_at(result.payload, 0), 4U);
    EXPECT_EQ(u32_at(result.payload, 4), 1U);
    EXPECT_EQ(result.note, "the reply is full with 1 of 3 routes");
}

TEST(EvpnReply, FillsTheLongestMessageToItsLastByte) {
    configd::EvpnRoute route;
    route.text = std::string(longest_payload - 8 - 7 - 10, 'r');
    const auto fitting = configd::evpn_reply({{"rd", {route}}});
    EXPECT_EQ(fitting.payload.size(), longest_payload);
    EXPECT_EQ(fitting.note, "");
    route.text += 'r';
    EXPECT_EQ(configd::evpn_reply({{"rd", {route}}}).payload, bytes::u32(0, 0));
}

TEST(EvpnReply, EndsATextAtItsFirstNul) {
    configd::EvpnRoute route;
    route.text = std::string("a\0b", 3);
    EXPECT_EQ(configd::evpn_reply({{"rd", {route}}}).payload, bytes::u32(3, 1) + bytes::text("rd") +
                                                                  bytes::u32(1) + bytes::text("a") +
                                                                  bytes::zeros(9));
}

TEST(FieldText, FillsTheFieldAndNoMore) {
    char field[] = {'1', '2', '3', '4', '5'};
    configd::put_text(field, "ab");
    EXPECT_EQ(std::memcmp(field, "ab\0\0\0", 5), 0);
    EXPECT_EQ(configd::text_of(field), "ab");
    configd::put_text(field, "abcdefg");
    EXPECT_EQ(configd::text_of(field), "abcde");
}

} // namespace
