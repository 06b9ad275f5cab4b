#include "state.h"

#include "field_text.h"
#include "temporary_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <ostream>
#include <stdexcept>

using configd::State;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

namespace {

TEST(State, OfAnEmptyObjectKnowsNothing) {
    const State state = configd::state_from_json(json::object());
    EXPECT_EQ(state.table_version, 0U);
    EXPECT_TRUE(state.neighbors.empty());
    EXPECT_TRUE(state.evpn.empty());
}

TEST(State, OfANeighborThatIsOnlyNamedIsIdle) {
    const State state =
        configd::state_from_json({{"neighbors", {{{"neighbor-addr", "192.0.2.11"}}}}});
    const auto &neighbor = state.neighbors.at({"", "192.0.2.11"});
    EXPECT_EQ(configd::text_of(neighbor.peer.state), "Idle");
    EXPECT_EQ(neighbor.peer.home_time, 180U);
    EXPECT_EQ(neighbor.up_down, "never");
}

TEST(State, TakesTheLargestNumberOfEachSize) {
    const State state = configd::state_from_json(
        {{"table-version", 4294967295},
         {"neighbors",
          {{{"neighbor-addr", "192.0.2.11"},
            {"version", 65535},
            {"address-familys", {{{"afi", "AFI_IP"}, {"safi", "SAFI_VRF"}, {"mask", 255}}}}}}}});
    const auto &neighbor = state.neighbors.at({"", "192.0.2.11"});
    EXPECT_EQ(state.table_version, 4294967295);
    EXPECT_EQ(neighbor.peer.version, 65535);
    EXPECT_EQ(neighbor.families.at({1, 71}).mask, 255);
}

TEST(State, CutsATextToItsField) {
    const State state = configd::state_from_json(
        {{"neighbors", {{{"neighbor-addr", "a"}, {"state", std::string(50, 's')}}}}});
    EXPECT_EQ(configd::text_of(state.neighbors.at({"", "a"}).peer.state), std::string(33, 's'));
}

struct BadState {
    const char *document;
    const char *error;

    friend void PrintTo(const BadState &state, std::ostream *out) { *out << state.document; }
};

class BadStateTest : public testing::TestWithParam<BadState> {};

TEST_P(BadStateTest, IsRefusedWithThePlaceOfItsFault) {
    const json document = json::parse(GetParam().document);
    EXPECT_THAT([&] { configd::state_from_json(document); },
                ThrowsMessage<std::runtime_error>(GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(
    States, BadStateTest,
    testing::Values(
        BadState{"[]", "the top level is no object"},
        BadState{R"({"peers":[]})", "/peers is not known here"},
        BadState{R"({"a/b":1})", "/a~1b is not known here"},
        BadState{R"({"table-version":"1"})", "/table-version is no number from 0 to 4294967295"},
        BadState{R"({"table-version":-1})", "/table-version is no number from 0 to 4294967295"},
        BadState{R"({"table-version":1.5})", "/table-version is no number from 0 to 4294967295"},
        BadState{R"({"table-version":18446744073709551615})",
                 "/table-version is no number from 0 to 4294967295"},
        BadState{R"({"table-version":4294967296})",
                 "/table-version is no number from 0 to 4294967295"},
        BadState{R"({"neighbors":{}})", "/neighbors is no list"},
        BadState{R"({"neighbors":[1]})", "/neighbors/0 is no object"},
        BadState{R"({"neighbors":[{}]})", "/neighbors/0 has no neighbor-addr"},
        BadState{R"({"neighbors":[{"neighbor-addr":1}]})", "/neighbors/0/neighbor-addr is no text"},
        BadState{R"({"neighbors":[{"neighbor-addr":"a\u0000b"}]})",
                 "/neighbors/0/neighbor-addr is no text"},
        BadState{R"({"neighbors":[{"neighbor-addr":"a"},{"neighbor-addr":"a","vrf-name":""}]})",
                 "/neighbors/1 is there twice"},
        BadState{R"({"neighbors":[{"neighbor-addr":"a","version":65536}]})",
                 "/neighbors/0/version is no number from 0 to 65535"},
        BadState{R"({"neighbors":[{"neighbor-addr":"a","address-familys":[{"safi":"SAFI_VRF"}]}]})",
                 "/neighbors/0/address-familys/0 has no afi"},
        BadState{R"({"neighbors":[{"neighbor-addr":"a","address-familys":[{"afi":"AFI_IP4"}]}]})",
                 "/neighbors/0/address-familys/0/afi is no name known here"},
        BadState{R"({"neighbors":[{"neighbor-addr":"a","address-familys":[{"mask":256}]}]})",
                 "/neighbors/0/address-familys/0/mask is no number from 0 to 255"},
        BadState{
            R"({"neighbors":[{"neighbor-addr":"a","address-familys":[{"community-attribute":1}]}]})",
            "/neighbors/0/address-familys/0/community-attribute is neither true nor false"},
        BadState{R"({"neighbors":[{"neighbor-addr":"a","address-familys":[
                       {"afi":"AFI_IP","safi":"SAFI_VRF"},{"afi":"AFI_IP","safi":"SAFI_VRF"}]}]})",
                 "/neighbors/0/address-familys/1 is there twice"},
        BadState{R"({"evpn":[{}]})", "/evpn/0 has no route-distinguisher"},
        BadState{R"({"evpn":[{"routes":[{}]}]})", "/evpn/0/routes/0 has no evpn-route"},
        BadState{R"({"evpn":[{"routes":[{"source-type":"remote"}]}]})",
                 "/evpn/0/routes/0/source-type is no name known here"},
        BadState{R"({"evpn":[{"routes":[{"next-hops":[{"metric":0},1]}]}]})",
                 "/evpn/0/routes/0/next-hops/0 has no nexthop-address"}));

TEST(LoadState, NamesAFileThatIsNotThere) {
    EXPECT_THAT(
        [] { configd::load_state("/nowhere/state.json"); },
        ThrowsMessage<std::runtime_error>("/nowhere/state.json: No such file or directory"));
}

TEST(LoadState, NamesADirectory) {
    EXPECT_THAT([] { configd::load_state("/"); },
                ThrowsMessage<std::runtime_error>("/: Is a directory"));
}

TEST(LoadState, NamesAFileThatIsNoJsonAndTheLine) {
    for (const char *bytes : {"", "{", "{\n\"evpn\": \n}", "\xff", "{} {}"}) {
        const TemporaryFile file{bytes};
        EXPECT_THAT([&] { configd::load_state(file.name()); },
                    ThrowsMessage<std::runtime_error>(
                        AllOf(StartsWith(file.name() + " is no JSON: "), HasSubstr("at line "))))
            << bytes;
    }
}

TEST(LoadState, NamesAFileOfAnotherShapeAndThePlace) {
    for (const auto &[bytes, why] :
         {std::pair{R"({"evpn":{}})", ": /evpn is no list"},
          std::pair{R"({"evpn":[],"neighbors":[],"evpn":[]})", ": \"evpn\" is there twice"},
          std::pair{R"({"neighbors":[{"version":1},{"version":1,"version":2}]})",
                    ": \"version\" is there twice"},
          std::pair{R"({"table-version":1e999})", " is no JSON: "}}) {
        const TemporaryFile file{bytes};
        EXPECT_THAT([&] { configd::load_state(file.name()); },
                    ThrowsMessage<std::runtime_error>(StartsWith(file.name() + why)))
            << bytes;
    }
}

TEST(LoadState, RefusesAFileWithoutAnEnd) {
    EXPECT_THAT([] { configd::load_state("/dev/zero"); },
                ThrowsMessage<std::runtime_error>("/dev/zero: File too large"));
}

TEST(LoadState, TakesTheExample) {
    const State state = configd::load_state(EXAMPLE_STATE);
    EXPECT_GT(state.table_version, 0U);
    EXPECT_EQ(state.neighbors.count({"", "192.0.2.11"}), 1U);
    EXPECT_EQ(state.evpn.size(), 2U);
}

} // namespace
