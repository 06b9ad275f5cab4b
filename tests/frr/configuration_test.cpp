// The lines that messages become for bgpd, and the results that bgpd's answers become. Needs no
// bgpd.
#include "frr/configuration.h"

#include "frr/commands.h"
#include "frr/refusal.h"
#include "frr/running_config.h"
#include "settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using configd::Message;
using configd::frr::Configuration;
using configd::frr::VtyAnswer;
using nlohmann::ordered_json;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using namespace settings;

namespace {

constexpr const char *vrfs_line = "show bgp vrfs json";

// Answers lines as the test says, all others with 0 and no text.
struct ScriptedVty {
    std::map<std::string, VtyAnswer> answers;
    std::vector<std::string> lines{}; // received

    explicit ScriptedVty(std::map<std::string, VtyAnswer> script) : answers{std::move(script)} {}

    configd::ApplyResult apply(const Message &message) {
        Configuration configuration{[this](const std::string &line) {
                                        lines.push_back(line);
                                        const auto answer = answers.find(line);
                                        return answer == answers.end() ? VtyAnswer{}
                                                                       : answer->second;
                                    },
                                    {}};
        return configuration.apply(message);
    }
};

// A bgpd with an instance outside VRFs.
ScriptedVty running_bgpd() {
    return ScriptedVty{{{vrfs_line, {R"({"vrfs":{"default":{"type":"DFLT"}}})", 0}}}};
}

struct StatusCase {
    int status;
    std::int32_t code;

    friend void PrintTo(const StatusCase &row, std::ostream *out) { *out << row.status; }
};

class StatusTest : public testing::TestWithParam<StatusCase> {};

TEST_P(StatusTest, OfBgpdBecomesAResultCode) {
    ScriptedVty vty = running_bgpd();
    vty.answers["bgp router-id 1.1.1.1"] = {"% Some\n reason\n", GetParam().status};
    const auto [code, note] = vty.apply(router_id_message(set, as, "1.1.1.1"));
    EXPECT_EQ(code, GetParam().code);
    EXPECT_EQ(note, code == 0 ? "" : "bgp router-id 1.1.1.1: % Some  reason");
}

INSTANTIATE_TEST_SUITE_P(
    Statuses, StatusTest,
    testing::Values(StatusCase{0, 0}, StatusCase{1, 0}, StatusCase{2, SR_ERR_INVALID_VALUE},
                    StatusCase{3, SR_ERR_INVALID_VALUE}, StatusCase{4, SR_ERR_INVALID_VALUE},
                    StatusCase{13, SR_ERR_CONFIG_FAILED}, StatusCase{7, SR_ERR_CONFIG_FAILED},
                    StatusCase{VtyAnswer::unreachable, SR_ERR_SOCKET_FAILED}));

TEST(Configuration, LooksBeforeItEntersAnInstance) {
    ScriptedVty vty{{{vrfs_line, {R"({"vrfs":{}})", 0}}}};
    EXPECT_EQ(vty.apply(router_id_message(set, as, "1.1.1.1")).code, SR_ERR_CONFIG_FAILED);
    EXPECT_THAT(vty.lines, ElementsAre(vrfs_line));
}

TEST(Configuration, AnInvalidListOfVrfsIsAFailure) {
    for (const char *text : {"", "%", "[]", "{}", R"({"vrfs":3})", R"({"vrfs":{"red":1}})",
                             R"({"vrfs":{"default":{"type":3}}})"}) {
        ScriptedVty vty{{{vrfs_line, {text, 0}}}};
        EXPECT_EQ(vty.apply(router_id_message(set, as, "1.1.1.1")).code, SR_ERR_CONFIG_FAILED)
            << text;
    }
}

TEST(Configuration, EntersALineWhereItBelongs) {
    ScriptedVty vty = running_bgpd();
    EXPECT_EQ(vty.apply(redistribute(set, "ospf", "3", "MAP")).code, 0);
    EXPECT_THAT(vty.lines, ElementsAre(vrfs_line, "configure terminal", "router bgp 100",
                                       "address-family ipv4 unicast", "no redistribute ospf 3",
                                       "redistribute ospf 3 route-map MAP"));
}

TEST(Configuration, CreatesAnInstanceWithItsBaselineAndLines) {
    std::vector<std::string> lines;
    Configuration configuration{[&](const std::string &line) {
                                    lines.push_back(line);
                                    return VtyAnswer{line == vrfs_line ? "{}" : "", 0};
                                },
                                {"timers bgp 1 3"}};
    EXPECT_EQ(configuration.apply(as_message(set, as)).code, 0);
    EXPECT_THAT(lines, ElementsAre(vrfs_line, "end", "configure terminal", "router bgp 100",
                                   "no bgp ebgp-requires-policy", "no bgp network import-check",
                                   "no bgp default ipv4-unicast", "timers bgp 1 3", "end",
                                   "configure terminal", "router bgp 100"));
}

TEST(Configuration, RemovesANewInstanceWhoseLinesBgpdRefuses) {
    ScriptedVty vty{{{"no bgp network import-check", {"%", 13}}}};
    EXPECT_EQ(vty.apply(as_message(set, as)).code, SR_ERR_CONFIG_FAILED);
    EXPECT_EQ(vty.lines.back(), "no router bgp 100");
}

TEST(Configuration, EndsTheMessageWhenBgpdGoesAway) {
    ScriptedVty vty = running_bgpd();
    vty.answers["configure terminal"] = {"gone", VtyAnswer::unreachable};
    EXPECT_EQ(vty.apply(router_id_message(set, as, "1.1.1.1")).code, SR_ERR_SOCKET_FAILED);
    EXPECT_EQ(vty.lines.back(), "configure terminal");
}

TEST(Configuration, FindsLinesByWholeWords) {
    ScriptedVty vty = running_bgpd();
    vty.answers["no redistribute table 1"] = {"%", 13};
    vty.answers["show running-config"] = {R"(router bgp 100
 address-family ipv4 unicast
  redistribute table 10
exit
router bgp 100 vrf red
 segment-routing srv6
  locator main
 exit
 address-family ipv4 unicast
  neighbor 10.0.0.1 activate
  neighbor 10.0.0.10 activate
 exit-address-family
 address-family ipv6 unicast
  neighbor 10.0.0.10 activate
)",
                                          0};
    EXPECT_EQ(vty.apply(redistribute(erase, "table", "1")).code, 0) << "another table is there";
    EXPECT_EQ(vty.apply(vrf(erase)).code, 0);
    EXPECT_THAT(vty.lines, Contains("no neighbor 10.0.0.1"));
    EXPECT_THAT(vty.lines, Contains("no neighbor 10.0.0.10 activate"));
}

TEST(Configuration, HasNothingToDoForAMove) {
    ScriptedVty vty = running_bgpd();
    EXPECT_EQ(vty.apply(as_message(moved, as)).code, 0);
    EXPECT_EQ(vty.apply(network(moved, "10.0.0.0/8")).code, 0);
    EXPECT_THAT(vty.lines, IsEmpty());
}

// A message that is refused before anything is sent.
struct RefusedMessage {
    const char *name;
    Message message;
    std::int32_t code;

    friend void PrintTo(const RefusedMessage &row, std::ostream *out) { *out << row.name; }
};

Message description(const char *text, std::int32_t op = set) {
    bgp_globle_neighbor_config record{};
    record.op = op;
    record.bgp_id = as;
    put(record.neighbor_ip_or_tag, "10.0.0.1");
    put(record.description, text);
    return message_with(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, record);
}

Message globle_value(std::int32_t sub_mod, const char *text) {
    bgp_globle_neighbor_config record{};
    record.op = set;
    record.bgp_id = as;
    put(record.neighbor_ip_or_tag, "10.0.0.1");
    put(record.remote_as, text);
    put(record.update_source, text);
    return message_with(sub_mod, record);
}

std::vector<RefusedMessage> refused_messages() {
    constexpr std::int32_t invalid = SR_ERR_INVALID_VALUE;
    constexpr std::int32_t unknown = SR_ERR_NOT_SUPPORT;
    return {
        {"code_none", configd::make_message(MODULE_ID_BGP, BGP_SUB_MAX, ""), unknown},
        {"code_of_a_query", summary_query(), unknown},
        {"operation", as_message(2, as), invalid},
        {"router_id_blank", router_id_message(set, as, "1.1.1.1 x"), invalid},
        {"router_id_line", router_id_message(set, as, "1.1.1.1\nno router bgp"), invalid},
        {"router_id_none", router_id_message(set, as, ""), invalid},
        {"neighbor_blank", globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set, "10.0.0.1 x"),
         invalid},
        {"neighbor_line_of_a_deletion",
         globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, erase, "10.0.0.1\nexit"), invalid},
        {"neighbor_none", globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set, ""), invalid},
        {"remote_as_blank", globle_value(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, "200 x"), invalid},
        {"source_blank", globle_value(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, "lo x"), invalid},
        {"source_pipe", globle_value(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, "|lo"), invalid},
        {"description_line", description("peer\nno router bgp 100"), invalid},
        {"description_return", description("peer\r"), invalid},
        {"description_tab", description("a\tb"), invalid},
        {"description_delete", description("a\x7f"), invalid},
        {"description_pipe", description("peer | include x"), invalid},
        {"description_first_pipe", description("| include x"), invalid},
        {"description_none", description(""), invalid},
        {"prefix_blank", network(set, "10.0.0.0/8 backdoor"), invalid},
        {"prefix_line", network(set, "10.0.0.0/8\nexit"), invalid},
        {"prefix_line_of_a_deletion", network(erase, "10.0.0.0/8\nexit"), invalid},
        {"prefix_without_length", network(set, "10.0.0.0"), invalid},
        {"prefix_too_long", network(set, "10.0.0.0/33"), invalid},
        {"prefix_negative", network(set, "10.0.0.0/-1"), invalid},
        {"prefix_length_and_more", network(set, "10.0.0.0/8x"), invalid},
        {"prefix_of_ipv6", network(set, "2001:db8::/32"), invalid},
        {"prefix_of_ipv4", network(set, "10.0.0.0/8", "", 0, {2, 1}), invalid},
        {"map_blank", network(set, "10.0.0.0/8", "MAP backdoor"), invalid},
        {"backdoor_of_ipv6", network(set, "2001:db8::/32", "", 1, {2, 1}), unknown},
        {"network_of_evpn", network(set, "10.0.0.0/8", "", 0, {3, 5}), unknown},
        {"protocol_line", redistribute(set, "rip\nexit", ""), invalid},
        {"protocol_abbreviated", redistribute(set, "stat", ""), unknown},
        {"protocol_of_ipv4", redistribute(set, "ospf", "1", "", {2, 1}), unknown},
        {"protocol_of_ipv6", redistribute(set, "ospf6", "1"), unknown},
        {"protocol_of_multicast", redistribute(set, "static", "", "", {1, 2}), unknown},
        {"protocol_of_evpn", redistribute(set, "static", "", "", {3, 5}), unknown},
        {"process_blank", redistribute(set, "ospf", "1 x"), invalid},
        {"table_none", redistribute(set, "table", ""), invalid},
        {"redistribution_map_blank", redistribute(set, "static", "", "MAP x"), invalid},
        {"family_unknown", neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, set, {9, 1}), unknown},
        {"family_none", neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, set, {2, 2}), unknown},
        {"vrf_family_outside", neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, set, {1, 71}), unknown},
        {"vrf_of_l2vpn", vrf(set, {3, 71, "red"}), unknown},
        {"vrf_blank", vrf(set, {1, 71, "red x"}), invalid},
        {"vrf_line", vrf(erase, {1, 71, "red\nexit"}), invalid},
        {"vrf_default", vrf(erase, {1, 71, "default"}), unknown},
        {"vrf_all", vrf(set, {1, 71, "all"}), unknown},
        {"vrf_of_a_session", neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, set, {1, 71, "a b"}),
         invalid},
    };
}

class RefusedMessageTest : public testing::TestWithParam<RefusedMessage> {};

TEST_P(RefusedMessageTest, SendsNothing) {
    ScriptedVty vty = running_bgpd();
    const auto [code, note] = vty.apply(GetParam().message);
    EXPECT_EQ(code, GetParam().code);
    EXPECT_THAT(note, Not(IsEmpty()));
    EXPECT_THAT(vty.lines, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Messages, RefusedMessageTest, testing::ValuesIn(refused_messages()),
                         [](const auto &row) { return row.param.name; });

TEST(SettingOf, RefusesCodesWithoutARow) {
    for (const std::int32_t code : {+BGP_SUB_BGP_AS, +BGP_SUB_NETWORK, +BGP_SUB_MAX}) {
        try {
            configd::frr::setting_of(code, true, bgp_globle_config{});
            ADD_FAILURE() << code;
        } catch (const configd::frr::Refusal &refusal) {
            EXPECT_EQ(refusal.code(), SR_ERR_NOT_SUPPORT) << code;
        }
    }
}

constexpr const char *two_instances = R"(frr version 8.4.4
!
router bgp 100
 bgp router-id 1.1.1.1
 neighbor 10.0.0.1 remote-as 200
 neighbor 10.0.0.1 description two words
 neighbor 10.0.0.1 ebgp-multihop 2
 neighbor 10.0.0.1 update-source lo
 neighbor 10.0.0.1 timers 1 3
 !
 address-family ipv4 unicast
  network 10.0.0.0/8 route-map MAP backdoor
  network 11.0.0.0/8
  redistribute ospf 3 route-map MAP
  redistribute static
  neighbor 10.0.0.1 activate
  neighbor 10.0.0.1 next-hop-self
  maximum-paths 4
 exit-address-family
 !
 address-family l2vpn evpn
  neighbor 10.0.0.1 activate
  vni 5
   rd 1:1
  exit-vni
 exit-address-family
exit
!
router bgp 100 view glass
 neighbor 10.0.0.9 remote-as 900
exit
!
router bgp 100 vrf red
 bgp router-id 2.2.2.2
 neighbor 10.0.1.1 remote-as 300
 neighbor 10.0.1.2 remote-as 300
 !
 address-family ipv6 unicast
  network 2001:db8::/32
  neighbor 10.0.1.1 activate
 exit-address-family
exit
!
end
)";

TEST(RunningConfig, HasItsInstancesWithoutViews) {
    const auto instances = configd::frr::instances_in(two_instances);
    ASSERT_THAT(instances, SizeIs(2));
    EXPECT_EQ(instances[0].as, 100U);
    EXPECT_EQ(instances[0].vrf, "");
    EXPECT_EQ(instances[0].lines[0].text, "bgp router-id 1.1.1.1");
    EXPECT_EQ(instances[0].lines[6].family, "ipv4 unicast");
    EXPECT_EQ(instances[0].block[6], "address-family ipv4 unicast");
    EXPECT_EQ(instances[1].vrf, "red");
    EXPECT_THAT(instances[1].block, SizeIs(7));
}

TEST(RunningConfig, ReadsAsTheConfigurationOfTheModel) {
    EXPECT_EQ(configd::frr::configuration_of(configd::frr::instances_in(two_instances)),
              ordered_json::parse(R"({
        "as": 100,
        "bgp": {
          "router-id": "1.1.1.1",
          "bgp-globle-neighbors": {
            "globle-neighbor[neighbor-address='10.0.0.1']":
              {"remote-as": "200", "description": "two words", "ebgp-multihop": 2,
               "update-source": "lo"}}},
        "bgp-address-family": {
          "address-family[afi='AFI_IP'][safi='SAFI_UNICAST']": {
            "bgp-family-networks": {
              "family-network[prefix='10.0.0.0/8']": {"route-map": "MAP", "backdoor": true},
              "family-network[prefix='11.0.0.0/8']": {}},
            "bgp-family-redistributes": {
              "family-redistribute[protocol='ospf'][process='3']": {"route-map": "MAP"},
              "family-redistribute[protocol='static'][process='']": {}},
            "bgp-family-neighbors": {
              "family-neighbor[neighbor-address='10.0.0.1']":
                {"activate": true, "next-hop-self": true}}},
          "address-family[afi='AFI_L2VPN'][safi='SAFI_EVPN']": {
            "bgp-family-neighbors":
              {"family-neighbor[neighbor-address='10.0.0.1']": {"activate": true}}}},
        "bgp-address-family-vrf": {
          "address-family-vrf[afi='AFI_IPV6'][safi='SAFI_VRF'][vrf-name='red']": {
            "bgp-family-vrf-neighbors":
              {"family-vrf-neighbor[neighbor-address='10.0.1.1']":
                {"remote-as": "300", "activate": true}},
            "bgp-family-vrf-networks":
              {"family-vrf-network[prefix='2001:db8::/32']": {}}}}
      })"));
}

TEST(RunningConfig, MayBeAnyText) {
    for (const char *text : {"", "\n", "router bgp", "router bgp x vrf", " network 10.0.0.0/8\n",
                             "router bgp 1\n neighbor\n network\n address-family ipv4 unicast\n"
                             "  network\n  redistribute\n  neighbor\n  neighbor x\n"}) {
        EXPECT_NO_THROW(configd::frr::configuration_of(configd::frr::instances_in(text))) << text;
    }
}

} // namespace
