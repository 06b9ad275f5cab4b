// Full replies. The tests of the queries cover the contents of replies.
#include "reply_payload.h"

#include "bytes.h"
#include "field_text.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

constexpr std::size_t longest_payload = BUF_SIZE_MAX - 16;

TEST(SummaryReply, IsCutAtANeighbour) {
    constexpr std::size_t fitting = (longest_payload - 84) / 160;
    const std::vector<bgp_rpc_ip_bgp_summary_output_entry> entries(fitting + 1);
    const auto result = configd::summary_reply({}, entries);
    EXPECT_EQ(result.payload.size(), 84 + fitting * 160);
    EXPECT_EQ(u32_at(result.payload, 80), fitting);
    EXPECT_EQ(result.note, "the reply is full with 65535 of 65536 neighbours");
}

TEST(NeighborReply, IsCutAtANeighbourWithItsFamilies) {
    constexpr std::size_t fitting = (longest_payload - 4) / (312 + 3 * 108);
    configd::PeerFacts facts{};
    facts.families.resize(3);
    const auto result =
        configd::neighbor_reply(std::vector<configd::PeerFacts>(fitting + 5, facts));
    EXPECT_EQ(result.payload.size(), 4 + fitting * (312 + 3 * 108));
    EXPECT_EQ(u32_at(result.payload, 0), fitting);
    EXPECT_EQ(u32_at(result.payload, 4 + 308), 3U);
    EXPECT_EQ(result.note, "the reply is full with 16487 of 16492 neighbours");
}

TEST(InfoReply, CountsTheNextHopsOfTheNetworksThatFit) {
    constexpr std::size_t fitting = (longest_payload - 60) / (56 + 2 * 92);
    configd::NetworkFacts facts{};
    facts.next_hops.resize(2);
    const auto result =
        configd::info_reply({}, std::vector<configd::NetworkFacts>(fitting + 1, facts));
    EXPECT_EQ(result.payload.size(), 60 + fitting * (56 + 2 * 92));
    EXPECT_EQ(u32_at(result.payload, 0), 2 * fitting);
    EXPECT_EQ(u32_at(result.payload, 56), fitting);
    EXPECT_EQ(u32_at(result.payload, 60 + 52), 2U);
}

TEST(InfoReply, TakesNetworksWithoutNextHops) {
    const auto result = configd::info_reply({}, std::vector<configd::NetworkFacts>(2));
    EXPECT_EQ(result.payload, Bytes{}.zeros(56).u32(2).zeros(2 * 56).str());
    EXPECT_EQ(result.note, "");
}

// 100 bytes on the wire, 4 values.
configd::EvpnRoute labelled_route() {
    configd::EvpnRoute route;
    route.text = std::string(80, 'r');
    route.label = "1234567890";
    route.label.resize(100 - 81 - 9 - 1, '0');
    return route;
}

TEST(EvpnReply, IsCutAtARouteAndLeavesOutLaterDistinguishers) {
    const std::size_t fitting = (longest_payload - 8 - (3 + 4) - (3 + 4) - 100) / 100;
    const configd::EvpnDistinguisher first{"rd", {labelled_route()}};
    const configd::EvpnDistinguisher second{
        "rd", std::vector<configd::EvpnRoute>(fitting + 2, labelled_route())};
    const auto result = configd::evpn_reply({first, second, first});
    EXPECT_EQ(result.payload.size(), 8 + 7 + 100 + 7 + fitting * 100);
    EXPECT_LE(result.payload.size(), longest_payload);
    EXPECT_EQ(u32_at(result.payload, 0), 4 * (1 + fitting));
    EXPECT_EQ(u32_at(result.payload, 4), 2U);
    EXPECT_EQ(u32_at(result.payload, 8 + 7 + 100 + 3), fitting);
    EXPECT_EQ(result.note, "the reply is full with " + std::to_string(fitting + 1) + " of " +
                               std::to_string(fitting + 4) + " routes");
}

TEST(EvpnReply, LeavesOutADistinguisherOfWhichNoRouteFits) {
    configd::EvpnRoute large;
    large.text = std::string(longest_payload, 'r');
    const auto result = configd::evpn_reply(
        {{"first", {labelled_route()}}, {"second", {large}}, {"third", {labelled_route()}}});
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
    EXPECT_EQ(configd::evpn_reply({{"rd", {route}}}).payload, Bytes{}.u32(0).u32(0).str());
}

TEST(EvpnReply, EndsATextAtItsFirstNul) {
    configd::EvpnRoute route;
    route.text = std::string("a\0b", 3);
    EXPECT_EQ(configd::evpn_reply({{"rd", {route}}}).payload,
              Bytes{}.u32(3).u32(1).string("rd").u32(1).string("a").zeros(9).str());
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
