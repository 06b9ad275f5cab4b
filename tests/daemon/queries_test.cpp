#include "queries.h"

#include "bytes.h"
#include "records.h"

#include "plugin_public.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <vector>

using configd::State;
using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace bytes;

namespace {

const json instance = json::parse(R"({
  "as": 65001,
  "bgp": {
    "router-id": "192.0.2.1",
    "bgp-globle-neighbors": {
      "globle-neighbor[neighbor-address='192.0.2.11']":
        {"remote-as": "64496", "update-source": "loopback0"},
      "globle-neighbor[neighbor-address='2001:db8::11']": {"remote-as": "4200000000"}}},
  "bgp-address-family": {
    "address-family[afi='AFI_IP'][safi='SAFI_UNICAST']": {
      "bgp-family-neighbors": {
        "family-neighbor[neighbor-address='192.0.2.11']":
          {"activate": true, "route-reflector-client": true},
        "family-neighbor[neighbor-address='192.0.2.99']": {"activate": true}},
      "bgp-family-networks": {
        "family-network[prefix='198.51.100.0/24']": {"route-map": "map"},
        "family-network[prefix='203.0.113.0/25']": {},
        "family-network[prefix='203.0.0.0/16']": {}}},
    "address-family[afi='AFI_IP'][safi='SAFI_MULTICAST']":
      {"bgp-family-networks": {"family-network[prefix='224.0.0.0/4']": {}}},
    "address-family[afi='AFI_L2VPN'][safi='SAFI_EVPN']":
      {"bgp-family-neighbors":
        {"family-neighbor[neighbor-address='192.0.2.11']": {"activate": true}}},
    "address-family[afi='AFI_IPV6'][safi='SAFI_UNICAST']":
      {"bgp-family-networks": {"family-network[prefix='2001:db8:1::/48']": {}}}},
  "bgp-address-family-vrf": {
    "address-family-vrf[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']": {
      "bgp-family-vrf-neighbors": {
        "family-vrf-neighbor[neighbor-address='10.1.0.1']": {"activate": true},
        "family-vrf-neighbor[neighbor-address='10.1.0.2']": {"remote-as": "64522"}},
      "bgp-family-vrf-networks": {"family-vrf-network[prefix='10.1.0.0/16']": {}}},
    "address-family-vrf[afi='AFI_IP'][safi='SAFI_UNICAST'][vrf-name='red']": {
      "bgp-family-vrf-neighbors":
        {"family-vrf-neighbor[neighbor-address='10.1.0.1']": {"remote-as": "64521"}},
      "bgp-family-vrf-networks": {"family-vrf-network[prefix='10.1.0.0/16']": {}}},
    "address-family-vrf[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='blue']": {
      "bgp-family-vrf-neighbors": {
        "family-vrf-neighbor[neighbor-address='10.1.0.1']":
          {"remote-as": "1.10", "update-source": "vlan201"}}}}
})");

class QueryTest : public testing::Test {
  protected:
    // The answer to the query, which must not be a refusal.
    std::string payload(const configd::Message &query) {
        const auto result = configd::answer_query(query, configuration, state);
        EXPECT_EQ(result.res_value, 0);
        note = result.note;
        return result.payload;
    }

    void know(const char *document) { state = configd::state_from_json(json::parse(document)); }

    json configuration = instance;
    State state;
    std::string note;
};

// Summary.

class SummaryTest : public QueryTest {
  protected:
    std::string summary(const char *vrf = "") { return payload(summary_query(vrf)); }

    // The addresses of the neighbors in their order.
    std::vector<std::string> addresses(const char *vrf) {
        const std::string bytes = summary(vrf);
        std::vector<std::string> names;
        for (std::size_t offset = sizeof(bgp_rpc_ip_bgp_summary_output_neighbors);
             offset < bytes.size(); offset += sizeof(bgp_rpc_ip_bgp_summary_output_entry)) {
            names.emplace_back(bytes.data() + offset);
        }
        EXPECT_EQ(u32_at(bytes, 80), names.size());
        return names;
    }
};

std::string summary_block(const char *as, const char *router_id, std::uint32_t neighbors) {
    return text(as, 21) + text(router_id, 47) + zeros(12) + u32(neighbors);
}

std::string idle_entry(const char *address, const char *as) {
    return text(address, 47) + u8(4) + text(as, 21) + zeros(23) + text("never", 33) +
           text("Idle", 35);
}

TEST_F(SummaryTest, OfNothingIsABlockWithoutNeighbors) {
    configuration = json::object();
    EXPECT_EQ(summary(), summary_block("0", "", 0));
}

TEST_F(SummaryTest, HasTheNeighborsOutsideVrfsThatTheInstanceHas) {
    EXPECT_EQ(summary(), summary_block("65001", "192.0.2.1", 2) +
                             idle_entry("192.0.2.11", "64496") +
                             idle_entry("2001:db8::11", "4200000000"));
    EXPECT_EQ(payload(summary_query("", 0)), summary()) << "whether all are asked for or not";
}

TEST_F(SummaryTest, HasEachNeighborOfAVrfOnceWithWhatAnyOfItsFamiliesSays) {
    EXPECT_EQ(summary("red"), summary_block("65001", "192.0.2.1", 2) +
                                  idle_entry("10.1.0.1", "64521") +
                                  idle_entry("10.1.0.2", "64522"));
    EXPECT_THAT(addresses("blue"), ElementsAre("10.1.0.1"));
}

TEST_F(SummaryTest, OfAnUnknownVrfIsABlockWithoutNeighbors) {
    EXPECT_THAT(addresses("green"), IsEmpty());
    EXPECT_THAT(addresses("re"), IsEmpty());
}

TEST_F(SummaryTest, ShowsTheValuesOfTheState) {
    know(R"({"table-version": 42, "as-path-number": 7, "community-number": 3,
             "neighbors": [{"neighbor-addr": "10.1.0.1", "vrf-name": "blue", "version": 3,
                            "state": "Established", "messages-in": 1, "messages-out": 2,
                            "tblver": 3, "queue-in": 4, "queue-out": 5, "up-down": "01:02:03",
                            "state-pfxrcd": "118"}]})");
    EXPECT_EQ(summary("blue"), text("65001", 21) + text("192.0.2.1", 47) + u32(42, 7, 3, 1) +
                                   text("10.1.0.1", 47) + u8(3) + text("1.10", 21) + zeros(3) +
                                   u32(1, 2, 3, 4, 5) + text("01:02:03", 33) + text("118", 33) +
                                   zeros(2));
}

TEST_F(SummaryTest, ShowsTheStateOfASessionWithoutPrefixes) {
    know(R"({"neighbors": [{"neighbor-addr": "192.0.2.11", "state": "Active"}]})");
    EXPECT_EQ(summary().substr(84 + 125, 33), text("Active", 33));
}

TEST_F(SummaryTest, CutsTextsToTheirFields) {
    const std::string longest(100, '7');
    configuration["bgp"]["router-id"] = longest;
    configuration["bgp"]["bgp-globle-neighbors"] = {
        {"globle-neighbor[neighbor-address='" + longest + "']", {{"remote-as", longest}}}};
    EXPECT_EQ(summary(), summary_block("65001", longest.c_str(), 1) +
                             idle_entry(longest.c_str(), longest.c_str()));
}

TEST_F(SummaryTest, ReadsAQueryWhoseNameFillsItsField) {
    const std::string name(64, 'v');
    configuration["bgp-address-family-vrf"] = {
        {"address-family-vrf[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='" + name + "']",
         {{"bgp-family-vrf-neighbors",
           {{"family-vrf-neighbor[neighbor-address='10.0.0.1']", json::object()}}}}}};
    EXPECT_THAT(addresses(name.c_str()), ElementsAre("10.0.0.1"));
}

TEST_F(SummaryTest, ReadsKeysWhateverTheyHold) {
    configuration["bgp"]["bgp-globle-neighbors"] = {
        {R"(globle-neighbor[neighbor-address="it's"])", json::object()},
        {"globle-neighbor[neighbor-address='a]b']", json::object()},
        {"globle-neighbor[neighbor-address='']", json::object()}};
    EXPECT_THAT(addresses(""), ElementsAre("", "a]b", "it's"));
}

// Neighbors in detail.

std::string family_bytes(std::uint32_t afi, std::uint32_t safi, const char *vrf,
                         bool is_client = false) {
    return zeros(8) + u32(afi, safi) + text(vrf, 65) + zeros(3 + 14) + u8(is_client) + zeros(9);
}

std::string idle_peer(const char *address, const char *vrf, std::uint32_t remote_as,
                      const char *update_source, std::uint32_t families) {
    return text(address, 47) + text(vrf, 65) + u32(remote_as, 65001) + u16(4) + zeros(47) +
           text("Idle", 35) + u32(180, 60) + zeros(32) + u32(30) + text(update_source, 48) +
           zeros(12) + u32(families);
}

const std::string peer_11 = idle_peer("192.0.2.11", "", 64496, "loopback0", 2) +
                            family_bytes(1, 1, "", true) + family_bytes(3, 5, "");
const std::string peer_v6 = idle_peer("2001:db8::11", "", 4200000000, "", 0);
const std::string blue_1 =
    idle_peer("10.1.0.1", "blue", 65546, "vlan201", 1) + family_bytes(1, 71, "blue");
const std::string red_1 = idle_peer("10.1.0.1", "red", 64521, "", 2) + family_bytes(1, 1, "red") +
                          family_bytes(1, 71, "red");
const std::string red_2 = idle_peer("10.1.0.2", "red", 64522, "", 1) + family_bytes(1, 71, "red");

class NeighborTest : public QueryTest {
  protected:
    std::string neighbors(std::uint32_t all, const char *address = "", const char *vrf = "") {
        return payload(neighbor_query(all, address, vrf));
    }
};

TEST_F(NeighborTest, AreChosenByAddressAndVrf) {
    EXPECT_EQ(neighbors(1), u32(5) + peer_11 + peer_v6 + blue_1 + red_1 + red_2);
    EXPECT_EQ(neighbors(0), u32(0));
    EXPECT_EQ(neighbors(0, "192.0.2.11"), u32(1) + peer_11);
    EXPECT_EQ(neighbors(0, "10.1.0.1"), u32(2) + blue_1 + red_1);
    EXPECT_EQ(neighbors(0, "192.0.2.1"), u32(0));
    EXPECT_EQ(neighbors(0, "", "red"), u32(2) + red_1 + red_2);
    EXPECT_EQ(neighbors(0, "", "green"), u32(0));
    EXPECT_EQ(neighbors(0, "10.1.0.1", "blue"), u32(1) + blue_1);
    configuration = json::object();
    EXPECT_EQ(neighbors(1), u32(0));
}

TEST_F(NeighborTest, IsShownWithTheValuesOfTheState) {
    know(R"({"neighbors": [{
        "neighbor-addr": "192.0.2.11", "version": 3, "remote-router-id": "192.0.2.111",
        "state": "Established", "hold-time": 90, "interval": 20, "messages-in": 1,
        "notifications-in": 2, "queue-in": 3, "messages-out": 4, "notifications-out": 5,
        "queue-out": 6, "refresh-in": 7, "refresh-out": 8, "adver-interval": 15,
        "connection-established": 9, "connection-dropped": 10, "next-connect-timer": 11,
        "address-familys": [
            {"afi": "AFI_L2VPN", "safi": "SAFI_EVPN", "table-version": 20, "neighbor-version": 21,
             "index": 22, "offset": 23, "mask": 24, "community-attribute": true,
             "prefix-accepted-statis": 25, "prefix-announced-statis": 26},
            {"afi": "AFI_IPV6", "safi": "SAFI_UNICAST", "index": 1}]}]})");
    EXPECT_EQ(neighbors(0, "192.0.2.11"),
              u32(1) + text("192.0.2.11", 47) + zeros(65) + u32(64496, 65001) + u16(3) +
                  text("192.0.2.111", 47) + text("Established", 33) + zeros(2) +
                  u32(90, 20, 1, 2, 3, 4, 5, 6, 7, 8, 15) + text("loopback0", 47) + zeros(1) +
                  u32(9, 10, 11, 2) + family_bytes(1, 1, "", true) + zeros(8) + u32(3, 5) +
                  zeros(68) + u32(20, 21, 22) + u8(23, 24, 0, 1) + u32(25, 26));
}

TEST_F(NeighborTest, TheStateOfAnUnconfiguredNeighborIsNotShown) {
    know(R"({"neighbors": [{"neighbor-addr": "192.0.2.77"}, {"neighbor-addr": "10.1.0.1"}]})");
    EXPECT_EQ(neighbors(0, "192.0.2.77"), u32(0));
    EXPECT_EQ(neighbors(0, "10.1.0.1"), u32(2) + blue_1 + red_1);
}

TEST_F(NeighborTest, ARemoteAsWithADotIsANumberAndAnyOtherTextIsZero) {
    for (const auto &[remote_as, number] : {std::pair{"1.10", 65546U},
                                            {"0.7", 7U},
                                            {"65535.65535", 4294967295U},
                                            {"", 0U},
                                            {"64496x", 0U},
                                            {"-1", 0U},
                                            {"4294967296", 0U},
                                            {"1.65536", 0U},
                                            {".7", 0U},
                                            {"7.", 0U},
                                            {"1.2.3", 0U},
                                            {"as", 0U}}) {
        configuration["bgp"]["bgp-globle-neighbors"] = {
            {"globle-neighbor[neighbor-address='192.0.2.12']", {{"remote-as", remote_as}}}};
        EXPECT_EQ(u32_at(neighbors(0, "192.0.2.12"), 4 + 112), number) << remote_as;
    }
}

// Routes.

// A network with one next hop.
constexpr std::size_t network_size =
    sizeof(bgp_rpc_ip_bgp_info_output_entry) + sizeof(bgp_rpc_ip_bgp_info_next_hop_output_entry);

class InfoTest : public QueryTest {
  protected:
    // The networks of a reply, as address and mask length.
    std::vector<std::string> networks(const configd::Message &query) {
        const std::string bytes = payload(query);
        std::vector<std::string> names;
        for (std::size_t offset = 60; offset < bytes.size(); offset += network_size) {
            std::uint16_t mask_len = 0;
            std::memcpy(&mask_len, bytes.data() + offset + 48, sizeof mask_len);
            names.push_back(std::string{bytes.data() + offset} + "/" + std::to_string(mask_len));
        }
        EXPECT_EQ(u32_at(bytes, 0), names.size());
        EXPECT_EQ(u32_at(bytes, 56), names.size());
        return names;
    }

    std::vector<std::string> with_address(const char *address, std::uint32_t ip_type = 0) {
        return networks(info_query(ip_type, "", address));
    }

    std::vector<std::string> with_prefix(const char *prefix, std::uint32_t ip_type = 0) {
        return networks(info_query(ip_type, "", "", prefix));
    }
};

std::string local_route(const char *network, std::uint16_t mask_len, const char *next_hop) {
    return text(network, 48) + u16(mask_len) + zeros(2) + u32(1) + text(next_hop, 47) +
           text("0", 13) + u32(0, 32768) + text("i", 21) + u8(1, 1, 2);
}

TEST_F(InfoTest, HasTheNetworksOfTheIpTypeAsRoutesOfTheSwitchItself) {
    state.table_version = 42;
    const std::string ipv4 =
        u32(3, 42) + text("192.0.2.1", 48) + u32(3) + local_route("198.51.100.0", 24, "0.0.0.0") +
        local_route("203.0.0.0", 16, "0.0.0.0") + local_route("203.0.113.0", 25, "0.0.0.0");
    EXPECT_EQ(payload(info_query(1)), ipv4);
    EXPECT_EQ(payload(info_query(0)), ipv4);
    EXPECT_EQ(payload(info_query(2)),
              u32(1, 42) + text("192.0.2.1", 48) + u32(1) + local_route("2001:db8:1::", 48, "::"));
}

TEST_F(InfoTest, HasEachNetworkOfAVrfOnce) {
    EXPECT_THAT(networks(info_query(1, "red")), ElementsAre("10.1.0.0/16"));
    EXPECT_THAT(networks(info_query(2, "red")), IsEmpty());
    EXPECT_THAT(networks(info_query(1, "blue")), IsEmpty());
    EXPECT_THAT(networks(info_query(1, "green")), IsEmpty());
}

TEST_F(InfoTest, OfNothingIsATableWithoutNetworks) {
    configuration = json::object();
    EXPECT_EQ(payload(info_query(1)), zeros(60));
}

TEST_F(InfoTest, AnAddressChoosesTheLongestNetworkThatHoldsIt) {
    EXPECT_THAT(with_address("203.0.113.127"), ElementsAre("203.0.113.0/25"));
    EXPECT_THAT(with_address("203.0.113.128"), ElementsAre("203.0.0.0/16"));
    EXPECT_THAT(with_address("203.0.113.0"), ElementsAre("203.0.113.0/25"));
    EXPECT_THAT(with_address("203.1.0.0"), IsEmpty());
    EXPECT_THAT(with_address("no address"), IsEmpty());
    EXPECT_THAT(with_address("1234567890.234567"), IsEmpty());
    EXPECT_THAT(with_address("203.0.113.1", 2), IsEmpty()) << "no network of IPv6";
}

TEST_F(InfoTest, APrefixSelectsTheNetworkWithTheSameText) {
    EXPECT_THAT(with_prefix("203.0.113.0/25"), ElementsAre("203.0.113.0/25"));
    EXPECT_THAT(with_prefix("203.0.113.0"), IsEmpty());
    EXPECT_THAT(with_prefix("2001:db8:1::/48", 2), ElementsAre("2001:db8:1::/48"));
}

TEST_F(InfoTest, APrefixAndAnAddressMustBothFitUnlessAllAreAskedFor) {
    EXPECT_THAT(networks(info_query(0, "", "203.0.113.1", "203.0.0.0/16")),
                ElementsAre("203.0.0.0/16"));
    EXPECT_THAT(networks(info_query(0, "", "198.51.100.1", "203.0.0.0/16")), IsEmpty());
    EXPECT_THAT(networks(info_query(0, "", "198.51.100.1", "203.0.0.0/16", 2)),
                ElementsAre("198.51.100.0/24", "203.0.0.0/16", "203.0.113.0/25"));
}

TEST_F(InfoTest, ReadsOddPrefixesAsFarAsTheyGo) {
    configuration["bgp-address-family"]["address-family[afi='AFI_IP'][safi='SAFI_UNICAST']"]
                 ["bgp-family-networks"] = {
                     {"family-network[prefix='0.0.0.0/0']", json::object()},
                     {"family-network[prefix='192.0.2.7']", json::object()},
                     {"family-network[prefix='198.51.100.0/65536']", json::object()},
                     {"family-network[prefix='198.51.100.0/99']", json::object()},
                     {"family-network[prefix='198.51.100.0/x']", json::object()},
                     {"family-network[prefix='office']", json::object()}};
    EXPECT_THAT(networks(info_query(1)),
                ElementsAre("0.0.0.0/0", "192.0.2.7/32", "198.51.100.0/0", "198.51.100.0/99",
                            "198.51.100.0/0", "office/32"));
    EXPECT_THAT(with_address("192.0.2.7"), ElementsAre("192.0.2.7/32"));
    EXPECT_THAT(with_address("192.0.2.8"), ElementsAre("0.0.0.0/0"));
}

// EVPN routes.

constexpr const char *evpn_state = R"({"evpn": [
    {"route-distinguisher": "192.0.2.1:100",
     "routes": [
        {"evpn-route": "[2]:[0]:[48]:[a]", "valid-flag": "valid", "select-flag": "best",
         "source-type": "local", "ext-community": "RT:1:100", "lable-info": "10100",
         "next-hops": [
            {"nexthop-address": "192.0.2.21", "metric": 1, "LocPrf": 2, "Weight": 3,
             "path": "64496 i"},
            {"nexthop-address": "192.0.2.22"}]},
        {"evpn-route": "[25]:x"}]},
    {"route-distinguisher": "192.0.2.2:100", "routes": [{"evpn-route": "[3]:y"}]},
    {"route-distinguisher": "192.0.2.3:100"}]})";

const std::string mac_route = text("[2]:[0]:[48]:[a]") + u8(1, 1, 2, 1) + text("RT:1:100") + u8(1) +
                              text("10100") + u32(2) + text("192.0.2.21") + u32(1, 2, 3) +
                              text("64496 i") + text("192.0.2.22") + zeros(12) + text("");

std::string bare_route(const char *route) {
    return text(route) + zeros(9);
}

class EvpnTest : public QueryTest {
  protected:
    EvpnTest() { know(evpn_state); }

    std::string evpn(std::uint32_t type, const char *route = "") {
        return payload(evpn_query(type, route));
    }

    const std::string nothing = u32(0, 0);
    const std::string first = text("192.0.2.1:100");
    const std::string second = text("192.0.2.2:100") + u32(1) + bare_route("[3]:y");
};

TEST_F(EvpnTest, AllSelectsEveryDistinguisherWithRoutes) {
    EXPECT_EQ(evpn(all_types),
              u32(13 + 3 + 3, 2) + first + u32(2) + mac_route + bare_route("[25]:x") + second);
    state = {};
    EXPECT_EQ(evpn(all_types), nothing);
}

TEST_F(EvpnTest, ATypeChoosesTheRoutesThatBeginWithItAndATextTheRouteWithTheSameText) {
    EXPECT_EQ(evpn(2), u32(13, 1) + first + u32(1) + mac_route);
    EXPECT_EQ(evpn(3), u32(3, 1) + second);
    EXPECT_EQ(evpn(5), nothing);
    EXPECT_EQ(evpn(0, "[3]:y"), u32(3, 1) + second);
    EXPECT_EQ(evpn(0, "[3]:"), nothing);
    EXPECT_EQ(evpn(0, "[3]:y "), nothing);
    EXPECT_EQ(evpn(3, "[3]:y"), u32(3, 1) + second);
    EXPECT_EQ(evpn(2, "[3]:y"), nothing);
    EXPECT_EQ(evpn(0), nothing);
}

// Clearing.

class ClearTest : public QueryTest {
  protected:
    using Peer = bgp_rpc_ip_bgp_neighbor_output_neighbor;

    ClearTest() {
        know(R"({"neighbors": [
            {"neighbor-addr": "192.0.2.11", "state": "Established"},
            {"neighbor-addr": "2001:db8::11", "state": "Active"},
            {"neighbor-addr": "192.0.2.77", "state": "Established"},
            {"neighbor-addr": "10.1.0.1", "vrf-name": "red", "state": "Established"}]})");
    }

    void clear(std::uint32_t all, const char *vrf = "", std::uint32_t reconfig_type = 0) {
        EXPECT_EQ(payload(clear_query(all, vrf, reconfig_type)), "");
    }

    const Peer &peer(const char *address, const char *vrf = "") const {
        return state.neighbors.at({vrf, address}).peer;
    }
};

TEST_F(ClearTest, DropsEveryEstablishedSessionThatIsConfigured) {
    clear(1);
    EXPECT_EQ(note, "cleared 2 of 5 sessions");
    EXPECT_EQ(peer("192.0.2.11").connection_dropped, 1U);
    EXPECT_EQ(peer("192.0.2.11").connection_established, 1U);
    EXPECT_EQ(peer("10.1.0.1", "red").connection_dropped, 1U);
    EXPECT_EQ(peer("2001:db8::11").connection_dropped, 0U);
    EXPECT_EQ(peer("192.0.2.77").connection_dropped, 0U);
}

TEST_F(ClearTest, IsForTheSessionsOfOneVrfOrOutsideVrfs) {
    clear(0, "red");
    EXPECT_EQ(note, "cleared 1 of 2 sessions");
    EXPECT_EQ(peer("10.1.0.1", "red").connection_dropped, 1U);
    EXPECT_EQ(peer("192.0.2.11").connection_dropped, 0U);
    clear(0);
    EXPECT_EQ(note, "cleared 1 of 2 sessions");
    EXPECT_EQ(peer("192.0.2.11").connection_dropped, 1U);
    EXPECT_EQ(peer("10.1.0.1", "red").connection_dropped, 1U);
    clear(0, "green");
    EXPECT_EQ(note, "cleared 0 of 0 sessions");
    configuration = json::object();
    clear(1);
    EXPECT_EQ(note, "cleared 0 of 0 sessions");
}

TEST_F(ClearTest, CountsWhatEachReconfigurationSends) {
    struct Case {
        std::uint32_t type, refresh_out, messages_out;
    };
    for (const Case &expected : {Case{1, 1, 0}, Case{2, 1, 1}, Case{3, 2, 2}}) {
        clear(0, "", expected.type);
        EXPECT_EQ(peer("192.0.2.11").refresh_out, expected.refresh_out);
        EXPECT_EQ(peer("192.0.2.11").messages_out, expected.messages_out);
    }
    EXPECT_EQ(peer("192.0.2.11").connection_dropped, 0U);
}

TEST_F(ClearTest, RefusesAnUnknownReconfiguration) {
    const auto result = configd::answer_query(clear_query(1, "", 4), configuration, state);
    EXPECT_EQ(result.res_value, SR_ERR_INVALID_VALUE);
    EXPECT_EQ(result.payload, "");
    EXPECT_EQ(peer("192.0.2.11").connection_dropped, 0U);
}

} // namespace
