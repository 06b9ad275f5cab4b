#include "memory_backend.h"

#include "bytes.h"
#include "settings.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

using configd::Message;
using nlohmann::ordered_json;
using namespace settings;

namespace {

class MemoryBackendTest : public testing::Test {
  protected:
    MemoryBackendTest() { apply({as_message(set, as)}); }

    // Applies messages; all must be accepted.
    void apply(std::initializer_list<Message> messages) {
        for (const Message &message : messages) {
            EXPECT_EQ(backend.apply(message).code, 0) << readable(message);
        }
    }

    ordered_json globle_neighbors() const {
        return backend.configuration()["bgp"]["bgp-globle-neighbors"];
    }

    ordered_json family() const {
        return backend.configuration()["bgp-address-family"]
                                      ["address-family[afi='AFI_IP'][safi='SAFI_UNICAST']"];
    }

    ordered_json vrf_family() const {
        return backend
            .configuration()["bgp-address-family-vrf"]
                            ["address-family-vrf[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']"];
    }

    ordered_json networks() const { return family()["bgp-family-networks"]; }

    configd::MemoryBackend backend;
};

ordered_json only_the_as() {
    return {{"as", as}};
}

TEST(MemoryBackend, HoldsNothingAtFirst) {
    EXPECT_EQ(configd::MemoryBackend{}.configuration(), ordered_json::object());
}

TEST_F(MemoryBackendTest, ChangesTheAsAndKeepsTheRest) {
    apply({router_id_message(set, as, "1.1.1.1"), as_message(set, 200)});
    EXPECT_EQ(backend.configuration(),
              (ordered_json{{"as", 200}, {"bgp", {{"router-id", "1.1.1.1"}}}}));
}

TEST_F(MemoryBackendTest, DeletingTheAsDeletesEverything) {
    apply(
        {router_id_message(set, as, "1.1.1.1"), network(set, "10.0.0.0/8"), as_message(erase, as)});
    EXPECT_EQ(backend.configuration(), ordered_json::object());
}

TEST_F(MemoryBackendTest, AMovedEntryChangesNothing) {
    apply({as_message(moved, 200), network(moved, "10.0.0.0/8"),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, moved)});
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, RefusesAnUnknownOperation) {
    EXPECT_EQ(backend.apply(as_message(2, 200)).code, SR_ERR_INVALID_VALUE);
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, DoesNotSupportCodesWithoutARow) {
    const auto message = [](std::int32_t sub_mod) {
        return configd::make_message(MODULE_ID_BGP, sub_mod, std::string(BUF_SIZE_MAX / 2, '\1'));
    };
    for (const std::int32_t code : {-1, 0, +BGP_SUB_MAX}) {
        EXPECT_EQ(backend.apply(message(code)).code, SR_ERR_NOT_SUPPORT) << code;
        EXPECT_EQ(backend.query(message(code)).res_value, SR_ERR_NOT_SUPPORT) << code;
    }
    for (std::int32_t code = 1; code < BGP_SUB_MAX; ++code) {
        const bool is_query = configd::is_query(code);
        EXPECT_EQ(backend.apply(message(code)).code == SR_ERR_NOT_SUPPORT, is_query) << code;
        EXPECT_EQ(backend.query(message(code)).res_value == SR_ERR_NOT_SUPPORT, !is_query) << code;
    }
}

// An invalid value is refused with a reason. Its deletion is accepted.
TEST_F(MemoryBackendTest, RefusesValuesThatNoSwitchAccepts) {
    const std::string longest(47, '1');
    const auto remote_as = [](const char *text) {
        auto record = record_in<bgp_address_family_neighbor_universal_val>(set, red);
        put(record.neighbor_ip_or_tag, "10.0.0.1");
        put(record.remote_as, text);
        return message_with(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, record);
    };
    const std::vector<std::pair<Message, const char *>> refused = {
        {as_message(set, 0), "AS number"},
        {router_id_message(set, as, "not-an-address"), "router identifier"},
        {router_id_message(set, as, "0.0.0.0"), "router identifier"},
        {router_id_message(set, as, "::1"), "router identifier"},
        {router_id_message(set, as, ""), "router identifier"},
        {network(set, "10.0.0.0/99"), "prefix"},
        {network(set, "10.0.0.0/"), "prefix"},
        {network(set, "10.0.0/8"), "prefix"},
        {network(set, "2001:db8::/129"), "prefix"},
        {network(set, "10.0.0.0/-1"), "prefix"},
        {network(set, longest.c_str()), "prefix"},
        {remote_as("abc"), "AS number"},
        {remote_as("0"), "AS number"},
        {remote_as("4294967296"), "AS number"},
        {remote_as("1.65536"), "AS number"},
        {remote_as("0.0"), "AS number"},
        {remote_as("1."), "AS number"},
        {remote_as(""), "AS number"},
    };
    for (const auto &[message, why] : refused) {
        const auto result = backend.apply(message);
        EXPECT_EQ(result.code, SR_ERR_INVALID_VALUE) << readable(message);
        EXPECT_NE(result.note.find(why), std::string::npos) << readable(message) << result.note;
    }
    EXPECT_EQ(backend.configuration(), only_the_as());
    apply({network(erase, "10.0.0.0/99"), network(set, "10.0.0.0/0"), network(set, "10.0.0.1"),
           network(set, "2001:db8::/128"), remote_as("1"), remote_as("4294967295"),
           remote_as("65535.65535"), remote_as("0.1"), router_id_message(set, as, "255.0.0.1")});
}

TEST_F(MemoryBackendTest, RefusesSettingsOfAnotherAsAndWithoutAnAs) {
    EXPECT_EQ(backend.apply(router_id_message(set, 200, "1.1.1.1")).code, SR_ERR_CONFIG_FAILED);
    EXPECT_EQ(backend.configuration(), only_the_as());
    apply({as_message(erase, as)});
    for (const Message &message :
         {router_id_message(set, as, "1.1.1.1"), network(set, "10.0.0.0/8"), vrf(set)}) {
        EXPECT_EQ(backend.apply(message).code, SR_ERR_CONFIG_FAILED) << readable(message);
    }
    EXPECT_EQ(backend.configuration(), ordered_json::object());
}

TEST_F(MemoryBackendTest, DeletingWhatIsNotThereSucceeds) {
    apply({as_message(erase, as), router_id_message(erase, as, ""), network(erase, "10.0.0.0/8"),
           redistribute(erase, "ospf", "1", "map"), vrf(erase), as_message(erase, as)});
    for (std::int32_t sub_mod = BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS;
         sub_mod <= BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE; ++sub_mod) {
        apply({globle_neighbor(sub_mod, erase)});
    }
    EXPECT_EQ(backend.configuration(), ordered_json::object());
}

TEST_F(MemoryBackendTest, DeletesTheRouterId) {
    apply({router_id_message(set, as, "1.1.1.1"), router_id_message(erase, as, "1.1.1.1")});
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, HoldsEverySettingOfAGlobleNeighbor) {
    apply({globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, set)});
    const nlohmann::json expected{{"remote-as", "200"},
                                  {"description", "peer"},
                                  {"ebgp-multihop", 2},
                                  {"update-source", "lo"}};
    EXPECT_EQ(nlohmann::json(globle_neighbors()["globle-neighbor[neighbor-address='10.0.0.1']"]),
              expected);
}

TEST_F(MemoryBackendTest, DeletingTheRemoteAsDeletesTheGlobleNeighborAndNoOther) {
    apply({globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set, "10.0.0.2"),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, erase)});
    EXPECT_EQ(globle_neighbors(), (ordered_json{{"globle-neighbor[neighbor-address='10.0.0.2']",
                                                 {{"remote-as", "200"}}}}));
}

TEST_F(MemoryBackendTest, DeletingOneSettingKeepsTheOthers) {
    apply({globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, erase)});
    EXPECT_EQ(globle_neighbors(), (ordered_json{{"globle-neighbor[neighbor-address='10.0.0.1']",
                                                 {{"remote-as", "200"}}}}));
}

TEST_F(MemoryBackendTest, AGlobleNeighborHasTheOneSettingOfARecordAndDisappearsWithIt) {
    const std::pair<int, ordered_json> settings[] = {
        {BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, {{"remote-as", "200"}}},
        {BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, {{"description", "peer"}}},
        {BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, {{"ebgp-multihop", 2}}},
        {BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, {{"update-source", "lo"}}}};
    for (const auto &[sub_mod, setting] : settings) {
        apply({globle_neighbor(sub_mod, set)});
        EXPECT_EQ(globle_neighbors(),
                  (ordered_json{{"globle-neighbor[neighbor-address='10.0.0.1']", setting}}));
        apply({globle_neighbor(sub_mod, erase)});
        EXPECT_EQ(backend.configuration(), only_the_as());
    }
}

TEST_F(MemoryBackendTest, ANetworkTakesTheLeavesThatHaveAValue) {
    apply({network(set, "10.0.0.0/8", "map"), network(set, "10.0.0.0/8", "", 1)});
    EXPECT_EQ(networks(), (ordered_json{{"family-network[prefix='10.0.0.0/8']",
                                         {{"backdoor", true}, {"route-map", "map"}}}}));
}

TEST_F(MemoryBackendTest, DeletingANetworkWithoutLeavesDeletesTheEntry) {
    apply({network(set, "10.0.0.0/8", "map", 1), network(erase, "10.0.0.0/8")});
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, DeletingSomeLeavesOfANetworkKeepsTheOthers) {
    apply({network(set, "10.0.0.0/8", "map", 1), network(erase, "10.0.0.0/8", "map")});
    EXPECT_EQ(networks(),
              (ordered_json{{"family-network[prefix='10.0.0.0/8']", {{"backdoor", true}}}}));
}

TEST_F(MemoryBackendTest, DeletingAllLeavesOfANetworkDeletesTheEntry) {
    apply({network(set, "10.0.0.0/8", "map"), network(set, "11.0.0.0/8"),
           network(erase, "10.0.0.0/8", "map")});
    EXPECT_EQ(networks(),
              (ordered_json{{"family-network[prefix='11.0.0.0/8']", ordered_json::object()}}));
    apply({network(set, "10.0.0.0/8", "map", 1), network(erase, "10.0.0.0/8", "map", 1),
           network(erase, "11.0.0.0/8")});
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, RedistributionsAreKeyedByProtocolAndProcess) {
    apply({redistribute(set, "ospf", "1", "map"), redistribute(set, "ospf", "2")});
    EXPECT_EQ(family()["bgp-family-redistributes"],
              (ordered_json{
                  {"family-redistribute[protocol='ospf'][process='1']", {{"route-map", "map"}}},
                  {"family-redistribute[protocol='ospf'][process='2']", ordered_json::object()}}));
    apply({redistribute(erase, "ospf", "1", "map"), redistribute(erase, "ospf", "2")});
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, HoldsTheSettingsOfAFamilysNeighbor) {
    apply({neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, set), neighbor(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, set),
           neighbor(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, set),
           neighbor(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, erase)});
    EXPECT_EQ(family()["bgp-family-neighbors"],
              (ordered_json{{"family-neighbor[neighbor-address='10.0.0.1']",
                             {{"activate", true}, {"route-reflector-client", true}}}}));
}

TEST_F(MemoryBackendTest, DeactivatingAFamilysNeighborDeletesItsOtherSettings) {
    apply({neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, set), neighbor(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, set),
           neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, erase)});
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, AVrfFamilyStaysWhenItIsEmpty) {
    apply({vrf(set), network(set, "10.0.0.0/8", "", 0, red),
           network(erase, "10.0.0.0/8", "", 0, red)});
    EXPECT_EQ(vrf_family(), ordered_json::object());
}

TEST_F(MemoryBackendTest, DeletingAVrfFamilyDeletesWhatIsInIt) {
    apply({vrf(set), network(set, "10.0.0.0/8", "", 0, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, set, red), vrf(erase)});
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, AFamilyInAVrfOtherThanItsOwnEndsWithItsContent) {
    const Family unicast{2, 1, "red"};
    apply(
        {network(set, "10.0.0.0/8", "", 0, unicast), network(erase, "10.0.0.0/8", "", 0, unicast)});
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, HoldsTheSettingsOfAVrf) {
    apply({network(set, "10.0.0.0/8", "map", 0, red), redistribute(set, "ospf", "1", "", red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_MULTIHOP, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, set, red)});
    const auto expected = nlohmann::json::parse(R"({
        "bgp-family-vrf-networks":
          {"family-vrf-network[prefix='10.0.0.0/8']": {"route-map": "map"}},
        "bgp-family-vrf-neighbors":
          {"family-vrf-neighbor[neighbor-address='10.0.0.1']":
            {"activate": true, "remote-as": "200", "description": "peer", "ebgp-multihop": 2,
             "update-source": "lo"}},
        "bgp-family-vrf-redistributes":
          {"family-vrf-redistribute[protocol='ospf'][process='1']": {}}})");
    EXPECT_EQ(nlohmann::json(vrf_family()), expected);
}

TEST_F(MemoryBackendTest, DeletingTheRemoteAsDeletesTheVrfNeighbor) {
    apply({vrf(set), neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, erase, red)});
    EXPECT_EQ(vrf_family(), ordered_json::object());
}

TEST_F(MemoryBackendTest, DeactivatingAVrfNeighborKeepsItsOtherSettings) {
    apply({neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, erase, red)});
    EXPECT_EQ(vrf_family()["bgp-family-vrf-neighbors"],
              (ordered_json{
                  {"family-vrf-neighbor[neighbor-address='10.0.0.1']", {{"remote-as", "200"}}}}));
}

TEST_F(MemoryBackendTest, RefusesUnknownFamilies) {
    for (const Family &family : {Family{0, 1}, Family{4, 1}, Family{1, 0}, Family{1, 3}}) {
        EXPECT_EQ(backend.apply(network(set, "10.0.0.0/8", "", 0, family)).code,
                  SR_ERR_INVALID_VALUE);
        EXPECT_EQ(backend.apply(vrf(erase, family)).code, SR_ERR_INVALID_VALUE);
    }
    EXPECT_EQ(backend.configuration(), only_the_as());
}

TEST_F(MemoryBackendTest, QuotesAKeySoThatItStaysOne) {
    apply({globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set, "it's")});
    EXPECT_TRUE(globle_neighbors().contains("globle-neighbor[neighbor-address=\"it's\"]"));
}

TEST_F(MemoryBackendTest, AnswersQueriesFromTheConfigurationItHolds) {
    apply({globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set, "10.0.0.2"),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, erase)});
    const auto result = backend.query(summary_query());
    EXPECT_EQ(result.res_value, 0);
    constexpr std::size_t block = sizeof(bgp_rpc_ip_bgp_summary_output_neighbors);
    EXPECT_EQ(result.payload.size(), block + sizeof(bgp_rpc_ip_bgp_summary_output_entry));
    EXPECT_STREQ(result.payload.data() + block, "10.0.0.2");
}

TEST(MemoryBackend, KeepsWhatAClearCounts) {
    configd::MemoryBackend backend{configd::state_from_json(
        {{"neighbors", {{{"neighbor-addr", "10.0.0.1"}, {"state", "Established"}}}}})};
    ASSERT_EQ(backend.apply(as_message(set, as)).code, 0);
    ASSERT_EQ(backend.apply(globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set)).code, 0);
    for (const char *note : {"cleared 1 of 1 sessions", "cleared 1 of 1 sessions"}) {
        EXPECT_EQ(backend.query(clear_query(1)).note, note);
    }
    const auto result = backend.query(neighbor_query(1));
    EXPECT_EQ(u32_at(result.payload, 4 + 300), 2U);
}

} // namespace
