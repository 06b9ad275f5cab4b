// The replies that bgpd's answers become.
#include "frr/queries.h"

#include "file_bytes.h"
#include "plugin_public.h"
#include "query_replies.h"
#include "records.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <string>
#include <utility>
#include <vector>

using configd::Message;
using configd::QueryResult;
using configd::frr::VtyAnswer;
using nlohmann::ordered_json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// The answers of a bgpd with three neighbors: one of another AS in four families, one of its own
// AS, and one that is not there. The VRF red has another one that is not there.
std::string said(const std::string &file) {
    return configd::read_file(FRR_ANSWERS "/" + file);
}

constexpr const char *summary_command = "show bgp summary json";
constexpr const char *memory_command = "show bgp memory";
constexpr const char *neighbors_command = "show bgp vrf all neighbors json";
constexpr const char *ipv4_command = "show bgp ipv4 unicast json";
constexpr const char *ipv6_command = "show bgp ipv6 unicast json";
constexpr const char *evpn_command = "show bgp l2vpn evpn route detail json";
constexpr const char *vrfs_command = "show bgp vrfs json";

class FrrQueryTest : public testing::Test {
  protected:
    FrrQueryTest()
        : answers{{summary_command, {said("summary.json")}},
                  {"show bgp vrf red summary json", {said("summary_of_vrf.json")}},
                  {memory_command, {said("memory.txt")}},
                  {neighbors_command, {said("neighbors.json")}},
                  {ipv4_command, {said("ipv4_routes.json")}},
                  {ipv6_command, {said("ipv6_routes.json")}},
                  {evpn_command, {said("evpn_routes.json")}},
                  {vrfs_command, {said("vrfs.json")}}} {}

    QueryResult ask(const Message &query) {
        return configd::frr::answer_query(query, [this](const std::string &command) {
            commands.push_back(command);
            const auto answer = answers.find(command);
            return answer == answers.end() ? VtyAnswer{} : answer->second;
        });
    }

    QueryResult summary(const char *vrf = "") { return ask(summary_query(vrf, 0)); }
    QueryResult neighbors(std::uint32_t all, const char *address = "", const char *vrf = "") {
        return ask(neighbor_query(all, address, vrf));
    }
    QueryResult all_info() { return ask(all_info_query()); }
    QueryResult evpn(std::uint32_t type, const char *route = "") {
        return ask(evpn_query(type, route));
    }
    QueryResult clear(const char *vrf, std::uint32_t all, std::uint32_t reconfig_type = 0) {
        return ask(clear_query(all, vrf, reconfig_type));
    }

    // The replies to one of each query, each for everything.
    std::vector<QueryResult> everything() {
        return {summary(), neighbors(1), all_info(), evpn(all_types), clear("", 1)};
    }

    std::map<std::string, VtyAnswer> answers;
    std::vector<std::string> commands;
};

// Summary.

TEST_F(FrrQueryTest, SummaryShowsTheInstanceAndItsNeighborsInAllFamilies) {
    const SummaryReply reply{summary().payload};
    EXPECT_EQ(shown(reply.instance), "65001 192.0.2.1 5 2 1 3");
    // 127.0.0.2 sends 3 prefixes for IPv4 and 1 for IPv6, 127.0.0.3 2 for IPv4 and 2 for EVPN.
    EXPECT_THAT(shown(reply.entries), ElementsAre("10.9.9.9 4 65001 0 0 0 0 0 never Active",
                                                  "127.0.0.2 4 65002 20 20 0 0 0 00:00:08 4",
                                                  "127.0.0.3 4 65001 11 13 0 0 0 00:00:05 4"));
}

TEST_F(FrrQueryTest, SummaryOfAVrfAsksForIt) {
    const SummaryReply reply{summary("red").payload};
    EXPECT_STREQ(reply.instance.router_id, "192.0.2.3");
    ASSERT_EQ(reply.entries.size(), 1U);
    EXPECT_STREQ(reply.entries[0].neighbor, "10.8.8.8");
    EXPECT_THAT(commands, ElementsAre("show bgp vrf red summary json", memory_command));
}

TEST_F(FrrQueryTest, SummaryLeavesOutFamiliesWithoutANumber) {
    answers[summary_command].text =
        R"({"ipv4Vpn": {"as": 1, "peers": {"192.0.2.7": {"state": "Idle"}}}})";
    EXPECT_THAT(SummaryReply{summary().payload}.entries, IsEmpty());
}

TEST_F(FrrQueryTest, SummaryAcceptsAnAsInDotNotation) {
    answers[summary_command].text =
        R"({"ipv4Unicast": {"as": "1.10", "peers": {"192.0.2.7": {"remoteAs": "1.11"}}}})";
    const SummaryReply reply{summary().payload};
    EXPECT_STREQ(reply.instance.as, "1.10");
    ASSERT_EQ(reply.entries.size(), 1U);
    EXPECT_STREQ(reply.entries[0].AS, "1.11");
}

// Neighbors.

TEST_F(FrrQueryTest, NeighborIsShownWithTheValuesOfBgpd) {
    const auto result = neighbors(0, "127.0.0.2");
    EXPECT_EQ(result.note, "");
    const NeighborReply reply{result.payload};
    ASSERT_EQ(reply.peers.size(), 1U);
    const auto &[peer, families] = reply.peers[0];
    EXPECT_EQ(shown(peer), "127.0.0.2 - 65002 65001 4 192.0.2.2 Established "
                           "3 1 20 0 0 20 0 0 0 0 0 - 1 0 0 4");
    EXPECT_THAT(shown(families),
                ElementsAre("0 0 1 1 - 0 0 0 0 0 0 1 3 5", "0 0 1 2 - 0 0 0 0 0 0 1 0 0",
                            "0 0 2 1 - 0 0 0 0 0 0 1 1 2", "0 0 3 5 - 0 0 0 0 0 0 1 0 2"));
}

TEST_F(FrrQueryTest, NeighborCountsAndTimersComeFromSeparateMembers) {
    answers[neighbors_command].text = R"({"red": {"vrfId": 7, "2001:db8::7": {
        "messageStats": {"totalRecv": 1, "notificationsRecv": 2, "depthInq": 3, "totalSent": 4,
                         "notificationsSent": 5, "depthOutq": 6, "routeRefreshRecv": 7,
                         "routeRefreshSent": 8},
        "minBtwnAdvertisementRunsTimerMsecs": 30000, "nextConnectTimerDueInMsecs": 9999,
        "updateSource": "lo", "connectionsDropped": 10,
        "addressFamilyInfo": {"l2VpnEvpn": {"routeReflectorClient": true},
                              "ipv4LabeledUnicast": {}}}}})";
    const NeighborReply reply{neighbors(0, "", "red").payload};
    ASSERT_EQ(reply.peers.size(), 1U);
    const auto &[peer, families] = reply.peers[0];
    EXPECT_EQ(shown(peer), "2001:db8::7 red 0 0 0 - - 0 0 1 2 3 4 5 6 7 8 30 lo 0 10 9 1");
    EXPECT_THAT(shown(families), ElementsAre("0 0 3 5 red 0 0 0 0 0 1 0 0 0"))
        << "labeled unicast has no number";
}

TEST_F(FrrQueryTest, NeighborsAreChosenByAddressAndVrf) {
    const auto chosen = [this](std::uint32_t all, const char *address, const char *vrf) {
        std::vector<std::string> names;
        for (const auto &[peer, families] :
             NeighborReply{neighbors(all, address, vrf).payload}.peers) {
            names.push_back(fmt::format("{}/{}", peer.vrf_name, peer.neighbor_addr));
        }
        return names;
    };
    EXPECT_THAT(chosen(1, "", ""),
                ElementsAre("/10.9.9.9", "/127.0.0.2", "/127.0.0.3", "red/10.8.8.8"));
    EXPECT_THAT(chosen(0, "10.8.8.8", ""), ElementsAre("red/10.8.8.8"));
    EXPECT_THAT(chosen(0, "", "red"), ElementsAre("red/10.8.8.8"));
    EXPECT_THAT(chosen(0, "127.0.0.2", "red"), IsEmpty());
    EXPECT_THAT(chosen(0, "", ""), IsEmpty());
}

// Routes.

TEST_F(FrrQueryTest, TableHasEachNetworkWithItsPaths) {
    const auto result = all_info();
    EXPECT_EQ(result.note, "");
    const InfoReply reply{result.payload};
    EXPECT_EQ(shown(reply.table), "5 192.0.2.1 5");
    EXPECT_EQ(reply.next_hop_count, 7U);
    ASSERT_EQ(reply.networks.size(), 5U);
    const auto &[network, next_hops] = reply.networks[0];
    EXPECT_EQ(shown(network), "10.1.0.0 16 3");
    // The routes of the neighbors of the same AS and of another one, and the own one, the best.
    EXPECT_THAT(shown(next_hops),
                ElementsAre("127.0.0.3 70 200 0 ? 1 0 1", "127.0.0.2 0 0 0 65002 i 1 0 0",
                            "0.0.0.0 0 0 32768 i 1 1 2"));
}

TEST_F(FrrQueryTest, TableOfAnotherFamilyOrVrfIsAskedFor) {
    const InfoReply reply{ask(info_query(2)).payload};
    ASSERT_EQ(reply.networks.size(), 2U);
    EXPECT_STREQ(reply.networks[1].entry.network, "2001:db8:2::");
    EXPECT_EQ(reply.networks[1].entry.mask_len, 48);
    ask(info_query(2, "red"));
    EXPECT_THAT(commands, ElementsAre(ipv6_command, "show bgp vrf red ipv6 unicast json"));
}

TEST_F(FrrQueryTest, TableIsSearchedForAPrefixOrAnAddress) {
    ASSERT_EQ(InfoReply{ask(info_query(0, "", "", "203.0.113.0/25")).payload}.networks.size(), 1U);
    const InfoReply reply{ask(info_query(0, "", "203.0.113.200")).payload};
    ASSERT_EQ(reply.networks.size(), 1U);
    EXPECT_STREQ(reply.networks[0].entry.network, "203.0.113.128");
}

TEST_F(FrrQueryTest, ShowsTheNextHopThatIsUsed) {
    answers[ipv4_command].text = R"({"routes": {
        "10.1.0.0/16": [{"nexthops": [{"ip": "fe80::1"}, {"ip": "2001:db8::1", "used": true}]}],
        "10.2.0.0/16": [{"nexthops": [{"ip": "fe80::2"}, {"ip": "2001:db8::2"}]}],
        "10.3.0.0/16": [{}]}})";
    const InfoReply reply{all_info().payload};
    ASSERT_EQ(reply.networks.size(), 3U);
    EXPECT_STREQ(reply.networks[0].next_hops.at(0).nexthop, "2001:db8::1");
    EXPECT_STREQ(reply.networks[1].next_hops.at(0).nexthop, "fe80::2");
    EXPECT_STREQ(reply.networks[2].next_hops.at(0).nexthop, "");
}

TEST_F(FrrQueryTest, TextsThatAreTooLongAreCutAndCounted) {
    answers[ipv4_command].text =
        R"({"routes": {"10.1.0.0/16": [{"path": "4200000001 4200000002 4200000003"},
                                       {"path": "4200000001 4200000002", "metric": 4294967295}]}})";
    const auto result = all_info();
    EXPECT_EQ(result.note, "1 texts are cut to their fields");
    const auto next_hops = InfoReply{result.payload}.networks.at(0).next_hops;
    EXPECT_EQ(std::string(next_hops[0].path, 21), "4200000001 4200000002");
    EXPECT_STREQ(next_hops[1].metric, "4294967295");
}

TEST_F(FrrQueryTest, TableThatDoesNotFitIsCutAtANetwork) {
    constexpr std::size_t total = 80'000;
    constexpr std::size_t fitting = (BUF_SIZE_MAX - 16 - 60) / (56 + 92);
    std::string table = R"({"routes": {)";
    for (std::size_t i = 0; i < total; ++i) {
        table += fmt::format(R"({}"10.{}.{}.{}/32": [{{}}])", i == 0 ? "" : ",", i >> 16,
                             i >> 8 & 0xFF, i & 0xFF);
    }
    answers[ipv4_command].text = table + "}}";
    const auto result = all_info();
    EXPECT_EQ(result.note, fmt::format("the reply is full with {} of {} networks", fitting, total));
    const InfoReply reply{result.payload};
    EXPECT_EQ(reply.networks.size(), fitting);
    EXPECT_EQ(reply.next_hop_count, fitting);
}

// EVPN.

TEST_F(FrrQueryTest, EvpnRoutesAreShownForEachDistinguisher) {
    const EvpnReply reply{evpn(all_types).payload};
    EXPECT_EQ(reply.value_count, 2 * (3 + 2 + 4U));
    EXPECT_THAT(reply.texts,
                ElementsAre("192.0.2.9:5", "[5]:[0]:[16]:[10.9.0.0]", "valid", "best", "internal",
                            "Rmac:02:00:00:00:00:06", "8001", "0.0.0.0", "0 100 0", "i",
                            "192.0.2.33:8", "[5]:[0]:[16]:[10.8.0.0]", "valid", "best", "internal",
                            "Rmac:02:00:00:00:00:06", "9601", "0.0.0.0", "0 100 0", "i"));
}

TEST_F(FrrQueryTest, EvpnRoutesAreChosenByTypeAndText) {
    EXPECT_EQ(EvpnReply{evpn(5).payload}.value_count, 18U);
    EXPECT_EQ(EvpnReply{evpn(2).payload}.value_count, 0U);
    EXPECT_EQ(EvpnReply{evpn(0, "[5]:[0]:[16]:[10.8.0.0]").payload}.value_count, 9U);
}

TEST_F(FrrQueryTest, EvpnRouteIsAsItsBestPathIs) {
    answers[evpn_command].text = R"({"192.0.2.9:5": {"rd": "192.0.2.9:5", "[5]:[0]:[8]:[10.0.0.0]":
        {"paths": [[{"valid": true, "peer": {"type": "internal"}, "nexthops": [{"ip": "192.0.2.1"}],
                     "aspath": {"string": "64496"}, "origin": "EGP", "metric": 7}],
                   [{"bestpath": {"overall": true}, "local": true, "weight": 32768,
                     "nexthops": [{"ip": "192.0.2.2"}], "VNI": 10100}]]}}})";
    const auto shown =
        ElementsAre("192.0.2.9:5", "[5]:[0]:[8]:[10.0.0.0]", "other", "best", "local", "10100",
                    "192.0.2.1", "7 0 0", "64496 e", "192.0.2.2", "0 0 32768", "");
    std::string &answer = answers[evpn_command].text;
    EXPECT_THAT(EvpnReply{evpn(all_types).payload}.texts, shown);
    answer.replace(answer.find("VNI"), 3, "vni"); // as FRRouting 10 spells it
    EXPECT_THAT(EvpnReply{evpn(all_types).payload}.texts, shown);
}

// Clearing.

TEST_F(FrrQueryTest, ClearingIsForOneVrfOutsideVrfsOrForAll) {
    for (const auto &[vrf, all] : {std::pair{"", 0U}, {"red", 0U}, {"", 1U}}) {
        EXPECT_EQ(clear(vrf, all).res_value, 0);
    }
    EXPECT_THAT(commands, ElementsAre("clear bgp *", "clear bgp vrf red *", vrfs_command,
                                      "clear bgp *", "clear bgp vrf red *"));
}

TEST_F(FrrQueryTest, ClearingMayKeepTheSession) {
    for (const std::uint32_t type : {1U, 2U, 3U}) {
        clear("", 0, type);
    }
    EXPECT_THAT(commands, ElementsAre("clear bgp * in", "clear bgp * out", "clear bgp * soft"));
    EXPECT_EQ(clear("", 0, 4).res_value, SR_ERR_INVALID_VALUE);
    EXPECT_EQ(commands.size(), 3U);
}

// Failures.

TEST_F(FrrQueryTest, ATextThatIsNoWordIsRefusedWithoutAQuery) {
    for (const char *text : {"red json", "a\nclear bgp *", "a\rb", "a\tb", "|cat", "red |x"}) {
        for (const auto &result : {summary(text), neighbors(0, text), neighbors(0, "", text),
                                   ask(info_query(0, text)), evpn(0, text), clear(text, 0)}) {
            EXPECT_EQ(result.res_value, SR_ERR_INVALID_VALUE) << text;
        }
        EXPECT_THAT(commands, IsEmpty()) << text;
    }
}

TEST_F(FrrQueryTest, CodesWithoutARowAreRefusedWithoutAQuery) {
    for (const std::int32_t code : {0, +BGP_SUB_BGP_AS, +BGP_SUB_MAX}) {
        EXPECT_EQ(ask(message_with(code, bgp_as_val{})).res_value, SR_ERR_NOT_SUPPORT) << code;
    }
    EXPECT_THAT(commands, IsEmpty());
}

TEST_F(FrrQueryTest, AnAbsentBgpdIsQueriedOnceAndTheReplyHasNoEntries) {
    for (auto &[command, answer] : answers) {
        answer = {"nobody there", VtyAnswer::unreachable};
    }
    const auto results = everything();
    EXPECT_EQ(commands.size(), results.size());
    for (const auto &result : results) {
        EXPECT_EQ(result.res_value, SR_ERR_SOCKET_FAILED);
        EXPECT_EQ(result.note, "nobody there");
    }
    EXPECT_THAT(SummaryReply{results[0].payload}.entries, IsEmpty());
    EXPECT_THAT(NeighborReply{results[1].payload}.peers, IsEmpty());
    EXPECT_THAT(InfoReply{results[2].payload}.networks, IsEmpty());
    EXPECT_THAT(EvpnReply{results[3].payload}.texts, IsEmpty());
    EXPECT_EQ(results[4].payload, "");
}

TEST_F(FrrQueryTest, ARefusalIsLogged) {
    answers[ipv4_command] = {"% Unknown command:\n  show bgp\n", 2};
    const auto result = all_info();
    EXPECT_EQ(result.res_value, SR_ERR_OPERATION_FAILED);
    EXPECT_EQ(result.note, "bgpd refuses \"show bgp ipv4 unicast json\": "
                           "% Unknown command: show bgp ");
}

TEST_F(FrrQueryTest, AWarningIsNoFailure) {
    answers[evpn_command] = {"", 1};
    answers[ipv4_command] = {R"({"warning":"Default BGP instance not found"})", 1};
    answers["clear bgp vrf blue *"] = {"Can't find BGP instance blue\n", 1};
    for (const auto &result : {evpn(all_types), all_info(), clear("blue", 0)}) {
        EXPECT_EQ(result.res_value, 0);
        EXPECT_THAT(result.note, HasSubstr("bgpd warns of"));
    }
}

TEST_F(FrrQueryTest, AnAnswerThatIsNoJsonIsAFailure) {
    for (const char *text : {"", "{", "[}", "text"}) {
        answers[ipv4_command].text = text;
        const auto result = all_info();
        EXPECT_EQ(result.res_value, SR_ERR_OPERATION_FAILED) << text;
        EXPECT_THAT(InfoReply{result.payload}.networks, IsEmpty());
    }
}

TEST_F(FrrQueryTest, AnEvpnAnswerThatBeginsWithACommaHasNoRoutes) {
    answers[evpn_command].text = "{\n,\"numPrefix\":0,\"numPaths\":0}\n";
    const auto result = evpn(all_types);
    EXPECT_EQ(result.res_value, 0) << result.note;
    EXPECT_THAT(EvpnReply{result.payload}.texts, IsEmpty());
}

TEST_F(FrrQueryTest, ADescriptionInLatin1DoesNotHideTheNeighbors) {
    answers[neighbors_command].text =
        "{\"default\": {\"192.0.2.7\": {\"nbrDesc\": \"Z\xFCrich\", \"remoteAs\": 7}}}";
    const NeighborReply reply{neighbors(1).payload};
    ASSERT_EQ(reply.peers.size(), 1U);
    EXPECT_EQ(reply.peers[0].peer.remote_as, 7U);
}

TEST_F(FrrQueryTest, ANumberThatDoesNotFitItsFieldIsTheLargestOrZero) {
    answers[neighbors_command].text =
        R"({"default": {"192.0.2.7": {"remoteAs": 4294967296, "localAs": -1}}})";
    const NeighborReply reply{neighbors(1).payload};
    ASSERT_EQ(reply.peers.size(), 1U);
    EXPECT_EQ(reply.peers[0].peer.remote_as, 4294967295U);
    EXPECT_EQ(reply.peers[0].peer.local_as, 0U);
}

// For each value in the document, calls `use` once without the value and once with each other value
// that it may have.
void change_each(ordered_json &document, ordered_json &node, const std::function<void()> &use) {
    const ordered_json others[] = {nullptr,
                                   true,
                                   -1,
                                   1e300,
                                   18446744073709551615U,
                                   "text",
                                   ordered_json::array(),
                                   ordered_json::object(),
                                   {{"a", {1}}}};
    for (const ordered_json &other : others) {
        const ordered_json before = std::exchange(node, other);
        use();
        node = before;
    }
    if (!node.is_structured()) {
        return;
    }
    for (auto &item : node.items()) {
        change_each(document, item.value(), use);
    }
    const ordered_json whole = node;
    for (const auto &item : whole.items()) {
        if (node.is_object()) {
            node.erase(item.key());
            use();
            node = whole;
        }
    }
}

class OddAnswerTest : public FrrQueryTest, public testing::WithParamInterface<const char *> {};

TEST_P(OddAnswerTest, IsNoReasonForAnOddReply) {
    std::string &text = answers.at(GetParam()).text;
    ordered_json document = ordered_json::parse(text);
    std::size_t changes = 0;
    change_each(document, document, [&] {
        text = document.dump();
        // Each of these readers fails the test when counts and size do not agree.
        if (GetParam() == std::string{summary_command}) {
            SummaryReply{summary().payload};
        } else if (GetParam() == std::string{neighbors_command}) {
            NeighborReply{neighbors(1).payload};
        } else if (GetParam() == std::string{ipv4_command}) {
            InfoReply{all_info().payload};
        } else if (GetParam() == std::string{evpn_command}) {
            EvpnReply{evpn(all_types).payload};
        } else {
            EXPECT_EQ(clear("", 1).payload, "");
        }
        ++changes;
    });
    EXPECT_GT(changes, 100U);
}

INSTANTIATE_TEST_SUITE_P(Of, OddAnswerTest,
                         testing::Values(summary_command, neighbors_command, ipv4_command,
                                         evpn_command, vrfs_command));

} // namespace
