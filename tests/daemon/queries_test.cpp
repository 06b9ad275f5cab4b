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

namespace {

const json instance{
    {"as", 65001},
    {"bgp",
     {{"router-id", "192.0.2.1"},
      {"bgp-globle-neighbors",
       {{"globle-neighbor[neighbor-address='192.0.2.11']",
         {{"remote-as", "64496"}, {"update-source", "loopback0"}}},
        {"globle-neighbor[neighbor-address='2001:db8::11']", {{"remote-as", "4200000000"}}}}}}},
    {"bgp-address-family",
     {{"address-family[afi='AFI_IP'][safi='SAFI_UNICAST']",
       {{"bgp-family-neighbors",
         {{"family-neighbor[neighbor-address='192.0.2.11']",
           {{"activate", true}, {"route-reflector-client", true}}},
          {"family-neighbor[neighbor-address='192.0.2.99']", {{"activate", true}}}}},
        {"bgp-family-networks",
         {{"family-network[prefix='198.51.100.0/24']", {{"route-map", "map"}}},
          {"family-network[prefix='203.0.113.0/25']", json::object()},
          {"family-network[prefix='203.0.0.0/16']", json::object()}}}}},
      {"address-family[afi='AFI_IP'][safi='SAFI_MULTICAST']",
       {{"bgp-family-networks", {{"family-network[prefix='224.0.0.0/4']", json::object()}}}}},
      {"address-family[afi='AFI_L2VPN'][safi='SAFI_EVPN']",
       {{"bgp-family-neighbors",
         {{"family-neighbor[neighbor-address='192.0.2.11']", {{"activate", true}}}}}}},
      {"address-family[afi='AFI_IPV6'][safi='SAFI_UNICAST']",
       {{"bgp-family-networks", {{"family-network[prefix='2001:db8:1::/48']", json::object()}}}}}}},
    {"bgp-address-family-vrf",
     {{"address-family-vrf[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']",
       {{"bgp-family-vrf-neighbors",
         {{"family-vrf-neighbor[neighbor-address='10.1.0.1']", {{"activate", true}}},
          {"family-vrf-neighbor[neighbor-address='10.1.0.2']", {{"remote-as", "64522"}}}}},
        {"bgp-family-vrf-networks",
         {{"family-vrf-network[prefix='10.1.0.0/16']", json::object()}}}}},
      {"address-family-vrf[afi='AFI_IP'][safi='SAFI_UNICAST'][vrf-name='red']",
       {{"bgp-family-vrf-neighbors",
         {{"family-vrf-neighbor[neighbor-address='10.1.0.1']", {{"remote-as", "64521"}}}}},
        {"bgp-family-vrf-networks",
         {{"family-vrf-network[prefix='10.1.0.0/16']", json::object()}}}}},
      {"address-family-vrf[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='blue']",
       {{"bgp-family-vrf-neighbors",
         {{"family-vrf-neighbor[neighbor-address='10.1.0.1']",
           {{"remote-as", "1.10"}, {"update-source", "vlan201"}}}}}}}}}};

class QueryTest : public testing::Test {
  protected:
    // The answer to the record, which must not be a refusal.
    template <typename Record>
    std::string payload(std::int32_t sub_mod, const Record &record) {
        const auto result =
            configd::answer_query(message_with(sub_mod, record), configuration, state);
        EXPECT_EQ(result.res_value, 0);
        note = result.note;
        return result.payload;
    }

    void know(const json &document) { state = configd::state_from_json(document); }

    json configuration = instance;
    State state;
    std::string note;
};

// Summary.

class SummaryTest : public QueryTest {
  protected:
    std::string summary(const char *vrf = "") {
        bgp_rpc_ip_bgp_summary_input query{};
        put(query.vrf_name, vrf);
        query.all = 1;
        return payload(BGP_SUB_RPC_IP_BGP_SUMMARY, query);
    }

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

Bytes summary_block(const char *as, const char *router_id, std::uint32_t neighbors) {
    return Bytes{}.text(as, 21).text(router_id, 47).zeros(12).u32(neighbors);
}

Bytes idle_entry(const char *address, const char *as) {
    return Bytes{}
        .text(address, 47)
        .u8(4)
        .text(as, 21)
        .zeros(23)
        .text("never", 33)
        .text("Idle", 35);
}

TEST_F(SummaryTest, OfNothingIsABlockWithoutNeighbors) {
    configuration = json::object();
    EXPECT_EQ(summary(), summary_block("0", "", 0).str());
}

TEST_F(SummaryTest, HasTheNeighborsOutsideVrfsThatTheInstanceHas) {
    EXPECT_EQ(summary(), summary_block("65001", "192.0.2.1", 2)
                             .then(idle_entry("192.0.2.11", "64496"))
                             .then(idle_entry("2001:db8::11", "4200000000"))
                             .str());
}

TEST_F(SummaryTest, HasEachNeighborOfAVrfOnceWithWhatAnyOfItsFamiliesSays) {
    EXPECT_EQ(summary("red"), summary_block("65001", "192.0.2.1", 2)
                                  .then(idle_entry("10.1.0.1", "64521"))
                                  .then(idle_entry("10.1.0.2", "64522"))
                                  .str());
    EXPECT_THAT(addresses("blue"), ElementsAre("10.1.0.1"));
}

TEST_F(SummaryTest, OfAnUnknownVrfIsABlockWithoutNeighbors) {
    EXPECT_THAT(addresses("green"), IsEmpty());
    EXPECT_THAT(addresses("re"), IsEmpty());
}

TEST_F(SummaryTest, ShowsTheValuesOfTheState) {
    know({{"table-version", 42},
          {"as-path-number", 7},
          {"community-number", 3},
          {"neighbors",
           {{{"neighbor-addr", "10.1.0.1"},
             {"vrf-name", "blue"},
             {"version", 3},
             {"state", "Established"},
             {"messages-in", 1},
             {"messages-out", 2},
             {"tblver", 3},
             {"queue-in", 4},
             {"queue-out", 5},
             {"up-down", "01:02:03"},
             {"state-pfxrcd", "118"}}}}});
    EXPECT_EQ(summary("blue"), Bytes{}
                                   .text("65001", 21)
                                   .text("192.0.2.1", 47)
                                   .u32(42)
                                   .u32(7)
                                   .u32(3)
                                   .u32(1)
                                   .text("10.1.0.1", 47)
                                   .u8(3)
                                   .text("1.10", 21)
                                   .zeros(3)
                                   .u32(1)
                                   .u32(2)
                                   .u32(3)
                                   .u32(4)
                                   .u32(5)
                                   .text("01:02:03", 33)
                                   .text("118", 33)
                                   .zeros(2)
                                   .str());
}

TEST_F(SummaryTest, ShowsTheStateOfASessionWithoutPrefixes) {
    know({{"neighbors", {{{"neighbor-addr", "192.0.2.11"}, {"state", "Active"}}}}});
    EXPECT_EQ(summary().substr(84 + 125, 33), Bytes{}.text("Active", 33).str());
}

TEST_F(SummaryTest, CutsTextsToTheirFields) {
    const std::string longest(100, '7');
    configuration["bgp"]["router-id"] = longest;
    configuration["bgp"]["bgp-globle-neighbors"] = {
        {"globle-neighbor[neighbor-address='" + longest + "']", {{"remote-as", longest}}}};
    EXPECT_EQ(summary(), summary_block("65001", longest.c_str(), 1)
                             .then(idle_entry(longest.c_str(), longest.c_str()))
                             .str());
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

Bytes family_bytes(std::uint32_t afi, std::uint32_t safi, const char *vrf, bool is_client = false) {
    return Bytes{}.zeros(8).u32(afi).u32(safi).text(vrf, 65).zeros(3 + 14).u8(is_client).zeros(9);
}

Bytes idle_peer(const char *address, const char *vrf, std::uint32_t remote_as,
                const char *update_source, std::uint32_t families) {
    return Bytes{}
        .text(address, 47)
        .text(vrf, 65)
        .u32(remote_as)
        .u32(65001)
        .u16(4)
        .zeros(47)
        .text("Idle", 35)
        .u32(180)
        .u32(60)
        .zeros(32)
        .u32(30)
        .text(update_source, 48)
        .zeros(12)
        .u32(families);
}

const Bytes peer_11 = idle_peer("192.0.2.11", "", 64496, "loopback0", 2)
                          .then(family_bytes(1, 1, "", true))
                          .then(family_bytes(3, 5, ""));
const Bytes peer_v6 = idle_peer("2001:db8::11", "", 4200000000, "", 0);
const Bytes blue_1 =
    idle_peer("10.1.0.1", "blue", 0, "vlan201", 1).then(family_bytes(1, 71, "blue"));
const Bytes red_1 = idle_peer("10.1.0.1", "red", 64521, "", 2)
                        .then(family_bytes(1, 1, "red"))
                        .then(family_bytes(1, 71, "red"));
const Bytes red_2 = idle_peer("10.1.0.2", "red", 64522, "", 1).then(family_bytes(1, 71, "red"));

class NeighborTest : public QueryTest {
  protected:
    std::string neighbors(std::uint32_t all, const char *address = "", const char *vrf = "") {
        bgp_rpc_ip_bgp_neighbor_input query{};
        query.all = all;
        put(query.neighbor_addr, address);
        put(query.vrf_name, vrf);
        return payload(BGP_SUB_RPC_IP_BGP_NEIGHBOR, query);
    }
};

TEST_F(NeighborTest, AllSelectsNeighborsOutsideVrfsAndInEachVrf) {
    EXPECT_EQ(
        neighbors(1),
        Bytes{}.u32(5).then(peer_11).then(peer_v6).then(blue_1).then(red_1).then(red_2).str());
}

TEST_F(NeighborTest, AnAddressChoosesTheNeighborsThatHaveIt) {
    EXPECT_EQ(neighbors(0, "192.0.2.11"), Bytes{}.u32(1).then(peer_11).str());
    EXPECT_EQ(neighbors(0, "10.1.0.1"), Bytes{}.u32(2).then(blue_1).then(red_1).str());
    EXPECT_EQ(neighbors(0, "192.0.2.1"), Bytes{}.u32(0).str());
}

TEST_F(NeighborTest, AVrfChoosesItsNeighbors) {
    EXPECT_EQ(neighbors(0, "", "red"), Bytes{}.u32(2).then(red_1).then(red_2).str());
    EXPECT_EQ(neighbors(0, "", "green"), Bytes{}.u32(0).str());
}

TEST_F(NeighborTest, AnAddressInAVrfChoosesOne) {
    EXPECT_EQ(neighbors(0, "10.1.0.1", "blue"), Bytes{}.u32(1).then(blue_1).str());
}

TEST_F(NeighborTest, AnEmptyQueryChoosesNone) {
    EXPECT_EQ(neighbors(0), Bytes{}.u32(0).str());
}

TEST_F(NeighborTest, IsShownWithTheValuesOfTheState) {
    know({{"neighbors",
           {{{"neighbor-addr", "192.0.2.11"},
             {"version", 3},
             {"remote-router-id", "192.0.2.111"},
             {"state", "Established"},
             {"hold-time", 90},
             {"interval", 20},
             {"messages-in", 1},
             {"notifications-in", 2},
             {"queue-in", 3},
             {"messages-out", 4},
             {"notifications-out", 5},
             {"queue-out", 6},
             {"refresh-in", 7},
             {"refresh-out", 8},
             {"adver-interval", 15},
             {"connection-established", 9},
             {"connection-dropped", 10},
             {"next-connect-timer", 11},
             {"address-familys",
              {{{"afi", "AFI_L2VPN"},
                {"safi", "SAFI_EVPN"},
                {"table-version", 20},
                {"neighbor-version", 21},
                {"index", 22},
                {"offset", 23},
                {"mask", 24},
                {"community-attribute", true},
                {"prefix-accepted-statis", 25},
                {"prefix-announced-statis", 26}},
               {{"afi", "AFI_IPV6"}, {"safi", "SAFI_UNICAST"}, {"index", 1}}}}}}}});
    EXPECT_EQ(neighbors(0, "192.0.2.11"), Bytes{}
                                              .u32(1)
                                              .text("192.0.2.11", 47)
                                              .zeros(65)
                                              .u32(64496)
                                              .u32(65001)
                                              .u16(3)
                                              .text("192.0.2.111", 47)
                                              .text("Established", 33)
                                              .zeros(2)
                                              .u32(90)
                                              .u32(20)
                                              .u32(1)
                                              .u32(2)
                                              .u32(3)
                                              .u32(4)
                                              .u32(5)
                                              .u32(6)
                                              .u32(7)
                                              .u32(8)
                                              .u32(15)
                                              .text("loopback0", 47)
                                              .zeros(1)
                                              .u32(9)
                                              .u32(10)
                                              .u32(11)
                                              .u32(2)
                                              .then(family_bytes(1, 1, "", true))
                                              .zeros(8)
                                              .u32(3)
                                              .u32(5)
                                              .zeros(68)
                                              .u32(20)
                                              .u32(21)
                                              .u32(22)
                                              .u8(23)
                                              .u8(24)
                                              .u8(0)
                                              .u8(1)
                                              .u32(25)
                                              .u32(26)
                                              .str());
}

TEST_F(NeighborTest, TheStateOfAnUnconfiguredNeighborIsNotShown) {
    know({{"neighbors", {{{"neighbor-addr", "192.0.2.77"}}, {{"neighbor-addr", "10.1.0.1"}}}}});
    EXPECT_EQ(neighbors(0, "192.0.2.77"), Bytes{}.u32(0).str());
    EXPECT_EQ(neighbors(0, "10.1.0.1"), Bytes{}.u32(2).then(blue_1).then(red_1).str());
}

TEST_F(NeighborTest, ARemoteAsThatIsNoNumberIsShownAsZero) {
    for (const char *text : {"", "1.10", "64496x", "-1", "4294967296", "as"}) {
        configuration["bgp"]["bgp-globle-neighbors"] = {
            {"globle-neighbor[neighbor-address='192.0.2.12']", {{"remote-as", text}}}};
        EXPECT_EQ(u32_at(neighbors(0, "192.0.2.12"), 4 + 112), 0U) << text;
    }
}

// Routes.

// A network with one next hop.
constexpr std::size_t network_size =
    sizeof(bgp_rpc_ip_bgp_info_output_entry) + sizeof(bgp_rpc_ip_bgp_info_next_hop_output_entry);

class InfoTest : public QueryTest {
  protected:
    std::string info(const bgp_rpc_ip_bgp_info_input &query) {
        return payload(BGP_SUB_RPC_IP_BGP_INFO, query);
    }

    // The networks of a reply, as address and mask length.
    std::vector<std::string> networks(const bgp_rpc_ip_bgp_info_input &query) {
        const std::string bytes = info(query);
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

    static bgp_rpc_ip_bgp_info_input query(std::uint32_t ip_type, const char *vrf = "") {
        bgp_rpc_ip_bgp_info_input record{};
        record.ip_type = ip_type;
        put(record.vrf_name, vrf);
        return record;
    }

    static bgp_rpc_ip_bgp_info_input address_query(const char *address) {
        auto record = query(0);
        put(record.ipaddr, address);
        return record;
    }

    static bgp_rpc_ip_bgp_info_input prefix_query(const char *prefix, std::uint32_t ip_type = 0) {
        auto record = query(ip_type);
        put(record.ipaddr_str, prefix);
        return record;
    }
};

Bytes local_route(const char *network, std::uint16_t mask_len, const char *next_hop) {
    return Bytes{}
        .text(network, 48)
        .u16(mask_len)
        .zeros(2)
        .u32(1)
        .text(next_hop, 47)
        .text("0", 13)
        .u32(0)
        .u32(32768)
        .text("i", 21)
        .u8(1)
        .u8(1)
        .u8(2);
}

TEST_F(InfoTest, HasTheIpv4NetworksAsRoutesOfTheSwitchItself) {
    state.table_version = 42;
    EXPECT_EQ(info(query(1)), Bytes{}
                                  .u32(3)
                                  .u32(42)
                                  .text("192.0.2.1", 48)
                                  .u32(3)
                                  .then(local_route("198.51.100.0", 24, "0.0.0.0"))
                                  .then(local_route("203.0.0.0", 16, "0.0.0.0"))
                                  .then(local_route("203.0.113.0", 25, "0.0.0.0"))
                                  .str());
    EXPECT_EQ(info(query(0)), info(query(1)));
}

TEST_F(InfoTest, HasTheIpv6NetworksForTheOtherIpType) {
    EXPECT_EQ(info(query(2)), Bytes{}
                                  .u32(1)
                                  .u32(0)
                                  .text("192.0.2.1", 48)
                                  .u32(1)
                                  .then(local_route("2001:db8:1::", 48, "::"))
                                  .str());
}

TEST_F(InfoTest, HasEachNetworkOfAVrfOnce) {
    EXPECT_THAT(networks(query(1, "red")), ElementsAre("10.1.0.0/16"));
    EXPECT_THAT(networks(query(2, "red")), IsEmpty());
    EXPECT_THAT(networks(query(1, "blue")), IsEmpty());
    EXPECT_THAT(networks(query(1, "green")), IsEmpty());
}

TEST_F(InfoTest, OfNothingIsATableWithoutNetworks) {
    configuration = json::object();
    EXPECT_EQ(info(query(1)), Bytes{}.zeros(60).str());
}

TEST_F(InfoTest, AnAddressChoosesTheLongestNetworkThatHoldsIt) {
    EXPECT_THAT(networks(address_query("203.0.113.127")), ElementsAre("203.0.113.0/25"));
    EXPECT_THAT(networks(address_query("203.0.113.128")), ElementsAre("203.0.0.0/16"));
    EXPECT_THAT(networks(address_query("203.0.113.0")), ElementsAre("203.0.113.0/25"));
    EXPECT_THAT(networks(address_query("203.1.0.0")), IsEmpty());
    EXPECT_THAT(networks(address_query("no address")), IsEmpty());
    EXPECT_THAT(networks(address_query("1234567890.234567")), IsEmpty());
}

TEST_F(InfoTest, AnIpv4AddressChoosesNoIpv6Network) {
    auto record = query(2);
    put(record.ipaddr, "203.0.113.1");
    EXPECT_THAT(networks(record), IsEmpty());
}

TEST_F(InfoTest, APrefixSelectsTheNetworkWithTheSameText) {
    EXPECT_THAT(networks(prefix_query("203.0.113.0/25")), ElementsAre("203.0.113.0/25"));
    EXPECT_THAT(networks(prefix_query("203.0.113.0")), IsEmpty());
    EXPECT_THAT(networks(prefix_query("2001:db8:1::/48", 2)), ElementsAre("2001:db8:1::/48"));
}

TEST_F(InfoTest, APrefixAndAnAddressMustBothFit) {
    auto record = prefix_query("203.0.0.0/16");
    put(record.ipaddr, "203.0.113.1");
    EXPECT_THAT(networks(record), ElementsAre("203.0.0.0/16"));
    put(record.ipaddr, "198.51.100.1");
    EXPECT_THAT(networks(record), IsEmpty());
}

TEST_F(InfoTest, AllHasPriorityOverAPrefixAndAnAddress) {
    auto record = prefix_query("203.0.113.0/25");
    put(record.ipaddr, "198.51.100.1");
    record.all = 2;
    EXPECT_THAT(networks(record), ElementsAre("198.51.100.0/24", "203.0.0.0/16", "203.0.113.0/25"));
}

TEST_F(InfoTest, ReadsOddPrefixesAsFarAsTheyGo) {
    json &families = configuration["bgp-address-family"];
    json &networks_v4 =
        families["address-family[afi='AFI_IP'][safi='SAFI_UNICAST']"]["bgp-family-networks"];
    networks_v4 = {{"family-network[prefix='0.0.0.0/0']", json::object()},
                   {"family-network[prefix='192.0.2.7']", json::object()},
                   {"family-network[prefix='198.51.100.0/65536']", json::object()},
                   {"family-network[prefix='198.51.100.0/99']", json::object()},
                   {"family-network[prefix='198.51.100.0/x']", json::object()},
                   {"family-network[prefix='office']", json::object()}};
    EXPECT_THAT(networks(query(1)), ElementsAre("0.0.0.0/0", "192.0.2.7/32", "198.51.100.0/0",
                                                "198.51.100.0/99", "198.51.100.0/0", "office/32"));
    EXPECT_THAT(networks(address_query("192.0.2.7")), ElementsAre("192.0.2.7/32"));
    EXPECT_THAT(networks(address_query("192.0.2.8")), ElementsAre("0.0.0.0/0"));
}

TEST_F(InfoTest, IsCutAtANetworkWhenTheReplyIsFull) {
    json many = json::object();
    for (int i = 0; i < 100000; ++i) {
        many["family-network[prefix='10." + std::to_string(i) + "/24']"] = json::object();
    }
    configuration["bgp-address-family"]["address-family[afi='AFI_IP'][safi='SAFI_UNICAST']"]
                 ["bgp-family-networks"] = std::move(many);
    constexpr std::uint32_t fitting = (BUF_SIZE_MAX - 16 - 60) / network_size;
    const std::string bytes = info(query(1));
    EXPECT_EQ(bytes.size(), 60 + fitting * network_size);
    EXPECT_EQ(u32_at(bytes, 0), fitting);
    EXPECT_EQ(u32_at(bytes, 56), fitting);
    EXPECT_EQ(note, "the reply is full with 70849 of 100000 networks");
}

// EVPN routes.

const json evpn_state{
    {"evpn",
     {{{"route-distinguisher", "192.0.2.1:100"},
       {"routes",
        {{{"evpn-route", "[2]:[0]:[48]:[a]"},
          {"valid-flag", "valid"},
          {"select-flag", "best"},
          {"source-type", "local"},
          {"ext-community", "RT:1:100"},
          {"lable-info", "10100"},
          {"next-hops",
           {{{"nexthop-address", "192.0.2.21"},
             {"metric", 1},
             {"LocPrf", 2},
             {"Weight", 3},
             {"path", "64496 i"}},
            {{"nexthop-address", "192.0.2.22"}}}}},
         {{"evpn-route", "[25]:x"}}}}},
      {{"route-distinguisher", "192.0.2.2:100"}, {"routes", {{{"evpn-route", "[3]:y"}}}}},
      {{"route-distinguisher", "192.0.2.3:100"}}}}};

Bytes mac_route() {
    return Bytes{}
        .string("[2]:[0]:[48]:[a]")
        .u8(1)
        .u8(1)
        .u8(2)
        .u8(1)
        .string("RT:1:100")
        .u8(1)
        .string("10100")
        .u32(2)
        .string("192.0.2.21")
        .u32(1)
        .u32(2)
        .u32(3)
        .string("64496 i")
        .string("192.0.2.22")
        .zeros(12)
        .string("");
}

Bytes bare_route(const char *text) {
    return Bytes{}.string(text).zeros(9);
}

class EvpnTest : public QueryTest {
  protected:
    EvpnTest() { know(evpn_state); }

    std::string evpn(std::uint32_t type, const char *route = "") {
        bgp_rpc_ip_bgp_evpn query{};
        query.type = type;
        put(query.evpn_route_str, route);
        return payload(BGP_SUB_RPC_IP_BGP_EVPN, query);
    }

    const std::string nothing = Bytes{}.u32(0).u32(0).str();
};

TEST_F(EvpnTest, AllSelectsEveryDistinguisherWithRoutes) {
    EXPECT_EQ(evpn(0xFFFFFFFF), Bytes{}
                                    .u32(13 + 3 + 3)
                                    .u32(2)
                                    .string("192.0.2.1:100")
                                    .u32(2)
                                    .then(mac_route())
                                    .then(bare_route("[25]:x"))
                                    .string("192.0.2.2:100")
                                    .u32(1)
                                    .then(bare_route("[3]:y"))
                                    .str());
}

TEST_F(EvpnTest, ATypeChoosesTheRoutesThatBeginWithIt) {
    EXPECT_EQ(evpn(2),
              Bytes{}.u32(13).u32(1).string("192.0.2.1:100").u32(1).then(mac_route()).str());
    EXPECT_EQ(evpn(3),
              Bytes{}.u32(3).u32(1).string("192.0.2.2:100").u32(1).then(bare_route("[3]:y")).str());
    EXPECT_EQ(evpn(5), nothing);
}

TEST_F(EvpnTest, ATextSelectsTheRouteWithTheSameText) {
    EXPECT_EQ(evpn(0, "[3]:y"),
              Bytes{}.u32(3).u32(1).string("192.0.2.2:100").u32(1).then(bare_route("[3]:y")).str());
    EXPECT_EQ(evpn(0, "[3]:"), nothing);
    EXPECT_EQ(evpn(0, "[3]:y "), nothing);
}

TEST_F(EvpnTest, ATypeAndATextMustBothFit) {
    EXPECT_EQ(evpn(3, "[3]:y"), evpn(0, "[3]:y"));
    EXPECT_EQ(evpn(2, "[3]:y"), nothing);
}

TEST_F(EvpnTest, AnEmptyQueryChoosesNone) {
    EXPECT_EQ(evpn(0), nothing);
}

TEST_F(EvpnTest, WithoutAStateThereAreNone) {
    state = {};
    EXPECT_EQ(evpn(0xFFFFFFFF), nothing);
}

// Clearing.

class ClearTest : public QueryTest {
  protected:
    using Peer = bgp_rpc_ip_bgp_neighbor_output_neighbor;

    ClearTest() {
        know({{"neighbors",
               {{{"neighbor-addr", "192.0.2.11"}, {"state", "Established"}},
                {{"neighbor-addr", "2001:db8::11"}, {"state", "Active"}},
                {{"neighbor-addr", "192.0.2.77"}, {"state", "Established"}},
                {{"neighbor-addr", "10.1.0.1"}, {"vrf-name", "red"}, {"state", "Established"}}}}});
    }

    void clear(std::uint32_t clear_all, const char *vrf = "", std::uint32_t reconfig_type = 0) {
        bgp_rpc_clear_ip_bgp_input query{};
        put(query.address_family.vrf_name, vrf);
        query.clear_all = clear_all;
        query.reconfig_type = reconfig_type;
        EXPECT_EQ(payload(BGP_SUB_RPC_CLEAR_IP_BGP, query), "");
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

TEST_F(ClearTest, OfAVrfLeavesTheOtherSessionsAlone) {
    clear(0, "red");
    EXPECT_EQ(note, "cleared 1 of 2 sessions");
    EXPECT_EQ(peer("10.1.0.1", "red").connection_dropped, 1U);
    EXPECT_EQ(peer("192.0.2.11").connection_dropped, 0U);
}

TEST_F(ClearTest, WithoutAVrfClearsTheSessionsOutsideVrfs) {
    clear(0);
    EXPECT_EQ(note, "cleared 1 of 2 sessions");
    EXPECT_EQ(peer("192.0.2.11").connection_dropped, 1U);
    EXPECT_EQ(peer("10.1.0.1", "red").connection_dropped, 0U);
}

TEST_F(ClearTest, OfAnUnknownVrfSucceeds) {
    clear(0, "green");
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
    bgp_rpc_clear_ip_bgp_input query{};
    query.clear_all = 1;
    query.reconfig_type = 4;
    const auto result =
        configd::answer_query(message_with(BGP_SUB_RPC_CLEAR_IP_BGP, query), configuration, state);
    EXPECT_EQ(result.res_value, SR_ERR_INVALID_VALUE);
    EXPECT_EQ(result.payload, "");
    EXPECT_EQ(peer("192.0.2.11").connection_dropped, 0U);
}

} // namespace
