// The backend with its own bgpd.
#include "frr/frr_backend.h"

#include "settings.h"
#include "speaker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

using configd::Message;
using configd::frr::FrrBackend;
using testing::HasSubstr;
using testing::Not;
using namespace settings;

namespace {

constexpr Family unicast{};
constexpr Family ipv6{2, 1};
constexpr Family evpn{3, 5};
constexpr Family red_ipv6{2, 71, "red"};
constexpr Family red_unicast{1, 1, "red"};

class FrrBackendTest : public testing::Test {
  protected:
    void SetUp() override {
        REQUIRE_BGPD();
        speaker = std::make_unique<Speaker>();
        backend = std::make_unique<FrrBackend>(speaker->vty_socket(),
                                               std::vector<std::string>{"timers bgp 3 30"});
    }

    void apply(const std::vector<Message> &messages) {
        for (const Message &message : messages) {
            const auto [code, note] = backend->apply(message);
            EXPECT_EQ(code, 0) << readable(message) << ": " << note;
        }
    }

    // The instance with the neighbor 10.0.0.1 of another AS, as a globle neighbor and as a neighbor
    // in a VRF.
    void prepare() {
        apply({as_message(set, as), globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set)});
    }

    void prepare_vrf() {
        apply({as_message(set, as), vrf(set), neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, set, red)});
    }

    void expect_refused(const Message &message, std::int32_t code, const char *reason) {
        const auto result = backend->apply(message);
        EXPECT_EQ(result.code, code) << readable(message);
        EXPECT_THAT(result.note, HasSubstr(reason));
    }

    // What bgpd shows of the instance, from its first line to its end.
    std::string block(const std::string &instance) const {
        const std::string text = speaker->running_config();
        const std::size_t start = text.find('\n' + instance + '\n');
        return start == std::string::npos
                   ? ""
                   : text.substr(start, text.find("\nexit\n", start) - start);
    }

    std::unique_ptr<Speaker> speaker;
    std::unique_ptr<FrrBackend> backend;
};

TEST_F(FrrBackendTest, HoldsTheInstanceWithItsBaselineUntilItIsDeleted) {
    apply({as_message(set, as)});
    for (const char *line :
         {"router bgp 100", "no bgp ebgp-requires-policy", "no bgp network import-check",
          "no bgp default ipv4-unicast", "timers bgp 3 30"}) {
        EXPECT_TRUE(speaker->has_line(line)) << line << speaker->running_config();
    }
    apply({as_message(set, as), as_message(erase, as), as_message(erase, as)});
    EXPECT_THAT(speaker->running_config(), Not(HasSubstr("router bgp")));
}

TEST_F(FrrBackendTest, LeavesAnInstanceOfAnotherAs) {
    speaker->configure({"router bgp 300"});
    apply({as_message(erase, as), router_id_message(erase, as, "1.1.1.1")});
    EXPECT_TRUE(speaker->has_line("router bgp 300"));
}

// A record and its line in a block of bgpd's configuration.
struct LineCase {
    const char *name;
    Message set_message;
    Message erase_message;
    const char *block;
    const char *line;

    friend void PrintTo(const LineCase &row, std::ostream *out) { *out << row.name; }
};

template <typename Build>
LineCase line_case(const char *name, Build build, const char *block, const char *line) {
    return {name, build(set), build(erase), block, line};
}

std::vector<LineCase> line_cases() {
    const auto globle = [](std::int32_t sub_mod) {
        return [=](std::int32_t op) { return globle_neighbor(sub_mod, op); };
    };
    const auto in = [](const Family &family, std::int32_t sub_mod) {
        return [=](std::int32_t op) { return neighbor(sub_mod, op, family); };
    };
    const auto announce = [](const Family &family, const char *prefix, const char *map,
                             std::uint32_t backdoor) {
        return [=](std::int32_t op) { return network(op, prefix, map, backdoor, family); };
    };
    const auto take = [](const Family &family, const char *protocol, const char *process,
                         const char *map) {
        return [=](std::int32_t op) { return redistribute(op, protocol, process, map, family); };
    };
    constexpr const char *main = "router bgp 100";
    constexpr const char *red_instance = "router bgp 100 vrf red";
    return {
        line_case(
            "router_id", [](std::int32_t op) { return router_id_message(op, as, "1.1.1.1"); }, main,
            "\n bgp router-id 1.1.1.1\n"),
        line_case("remote_as", globle(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS), main,
                  "\n neighbor 10.0.0.1 remote-as 200\n"),
        line_case("description", globle(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION), main,
                  "\n neighbor 10.0.0.1 description peer\n"),
        line_case("multihop", globle(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP), main,
                  "\n neighbor 10.0.0.1 ebgp-multihop 2\n"),
        line_case("update_source", globle(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE), main,
                  "\n neighbor 10.0.0.1 update-source lo\n"),
        line_case("network", announce(unicast, "10.1.0.0/16", "", 0), main,
                  "ipv4 unicast\n  network 10.1.0.0/16\n"),
        line_case("network_with_all", announce(unicast, "10.1.0.0/16", "MAP", 1), main,
                  "ipv4 unicast\n  network 10.1.0.0/16 route-map MAP backdoor\n"),
        line_case("network_with_host_bits", announce(unicast, "10.1.2.3/16", "", 1), main,
                  "ipv4 unicast\n  network 10.1.0.0/16 backdoor\n"),
        line_case("multicast_network", announce({1, 2}, "10.1.0.0/16", "MAP", 0), main,
                  "ipv4 multicast\n  network 10.1.0.0/16 route-map MAP\n"),
        line_case("ipv6_network", announce(ipv6, "2001:DB8:1::/48", "MAP", 0), main,
                  "ipv6 unicast\n  network 2001:db8:1::/48 route-map MAP\n"),
        line_case("redistribute", take(unicast, "static", "0", ""), main,
                  "ipv4 unicast\n  redistribute static\n"),
        line_case("redistribute_process", take(unicast, "ospf", "3", "MAP"), main,
                  "ipv4 unicast\n  redistribute ospf 3 route-map MAP\n"),
        line_case("redistribute_ospf", take(unicast, "ospf", "", ""), main,
                  "ipv4 unicast\n  redistribute ospf\n"),
        line_case("redistribute_table", take(unicast, "table", "10", ""), main,
                  "ipv4 unicast\n  redistribute table 10\n"),
        line_case("redistribute_ipv6", take(ipv6, "ospf6", "1", "MAP"), main,
                  "ipv6 unicast\n  redistribute ospf6 route-map MAP\n"),
        line_case("activate", in(unicast, BGP_SUB_NEIGHBOR_ACTIVATE), main,
                  "ipv4 unicast\n  neighbor 10.0.0.1 activate\n"),
        line_case("activate_multicast", in({1, 2}, BGP_SUB_NEIGHBOR_ACTIVATE), main,
                  "ipv4 multicast\n  neighbor 10.0.0.1 activate\n"),
        line_case("activate_ipv6", in(ipv6, BGP_SUB_NEIGHBOR_ACTIVATE), main,
                  "ipv6 unicast\n  neighbor 10.0.0.1 activate\n"),
        line_case("activate_evpn", in(evpn, BGP_SUB_NEIGHBOR_ACTIVATE), main,
                  "l2vpn evpn\n  neighbor 10.0.0.1 activate\n"),
        line_case("next_hop_self", in(unicast, BGP_SUB_NEIGHBOR_NEXT_HOP_SELF), main,
                  "ipv4 unicast\n  neighbor 10.0.0.1 next-hop-self\n"),
        line_case("vrf_remote_as", in(red, BGP_SUB_NEIGHBOR_VRF_REMOTE_AS), red_instance,
                  "\n neighbor 10.0.0.1 remote-as 200\n"),
        line_case("vrf_activate", in(red, BGP_SUB_NEIGHBOR_VRF_ACTIVATE), red_instance,
                  "ipv4 unicast\n  neighbor 10.0.0.1 activate\n"),
        line_case("vrf_activate_ipv6", in(red_ipv6, BGP_SUB_NEIGHBOR_VRF_ACTIVATE), red_instance,
                  "ipv6 unicast\n  neighbor 10.0.0.1 activate\n"),
        line_case("vrf_description", in(red, BGP_SUB_NEIGHBOR_VRF_DESCRIPTION), red_instance,
                  "\n neighbor 10.0.0.1 description peer\n"),
        line_case("vrf_multihop", in(red, BGP_SUB_NEIGHBOR_VRF_MULTIHOP), red_instance,
                  "\n neighbor 10.0.0.1 ebgp-multihop 2\n"),
        line_case("vrf_update_source", in(red, BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE), red_instance,
                  "\n neighbor 10.0.0.1 update-source lo\n"),
        line_case("vrf_network", announce(red, "10.1.0.0/16", "MAP", 0), red_instance,
                  "ipv4 unicast\n  network 10.1.0.0/16 route-map MAP\n"),
        line_case("vrf_redistribute", take(red, "connected", "0", ""), red_instance,
                  "ipv4 unicast\n  redistribute connected\n"),
    };
}

class LineTest : public FrrBackendTest, public testing::WithParamInterface<LineCase> {};

TEST_P(LineTest, AppearsAndDisappears) {
    prepare();
    prepare_vrf();
    apply({GetParam().set_message, GetParam().set_message});
    EXPECT_THAT(block(GetParam().block) + '\n', HasSubstr(GetParam().line));
    apply({GetParam().erase_message});
    EXPECT_THAT(block(GetParam().block) + '\n', Not(HasSubstr(GetParam().line)));
    // Deletes what does not exist.
    apply({GetParam().erase_message, as_message(erase, as), GetParam().erase_message});
    EXPECT_THAT(speaker->running_config(), Not(HasSubstr("router bgp")));
}

INSTANTIATE_TEST_SUITE_P(Records, LineTest, testing::ValuesIn(line_cases()),
                         [](const auto &row) { return row.param.name; });

TEST_F(FrrBackendTest, MakesANeighborOfTheSameAsAReflectorsClient) {
    prepare();
    speaker->configure({"router bgp 100", "neighbor 10.0.0.1 remote-as 100"});
    apply({neighbor(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, set)});
    EXPECT_TRUE(speaker->has_line("neighbor 10.0.0.1 route-reflector-client"));
    apply({neighbor(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, erase)});
    EXPECT_FALSE(speaker->has_line("neighbor 10.0.0.1 route-reflector-client"));
}

TEST_F(FrrBackendTest, RemovesANeighborWithItsRemoteAs) {
    prepare();
    apply({globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, set),
           neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, set),
           globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, erase),
           neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, erase)});
    EXPECT_THAT(speaker->running_config(), Not(HasSubstr("10.0.0.1")));
}

TEST_F(FrrBackendTest, KeepsTheOtherOptionOfANetwork) {
    prepare();
    apply({network(set, "10.1.0.0/16", "MAP"), network(set, "10.1.0.0/16", "", 1)});
    EXPECT_TRUE(speaker->has_line("network 10.1.0.0/16 route-map MAP backdoor"));
    apply({network(set, "10.1.0.0/16", "OTHER")});
    EXPECT_TRUE(speaker->has_line("network 10.1.0.0/16 route-map OTHER backdoor"));
    apply({network(set, "10.1.0.0/16")});
    EXPECT_TRUE(speaker->has_line("network 10.1.0.0/16 route-map OTHER backdoor"));
}

TEST_F(FrrBackendTest, RemovesAnOptionOfANetworkOrTheNetwork) {
    prepare();
    apply({network(set, "10.1.0.0/16", "MAP", 1), network(erase, "10.1.0.0/16", "", 1)});
    EXPECT_TRUE(speaker->has_line("network 10.1.0.0/16 route-map MAP"));
    apply({network(erase, "10.1.0.0/16", "", 1)});
    EXPECT_TRUE(speaker->has_line("network 10.1.0.0/16 route-map MAP"));
    apply({network(erase, "10.1.0.0/16", "MAP")});
    EXPECT_THAT(speaker->running_config(), Not(HasSubstr("network 10")));
    apply({network(set, "10.1.0.0/16", "MAP", 1), network(erase, "10.1.0.0/16", "MAP", 1),
           network(erase, "10.1.0.0/16", "MAP")});
    EXPECT_THAT(speaker->running_config(), Not(HasSubstr("network 10")));
}

TEST_F(FrrBackendTest, ReplacesTheRouteMapOfARedistribution) {
    prepare();
    apply({redistribute(set, "ospf", "3", "MAP"), redistribute(set, "ospf", "3", "OTHER")});
    EXPECT_TRUE(speaker->has_line("redistribute ospf 3 route-map OTHER"));
    apply({redistribute(set, "ospf", "3")});
    EXPECT_TRUE(speaker->has_line("redistribute ospf 3"));
}

TEST_F(FrrBackendTest, RefusesWhatBgpdRefuses) {
    prepare();
    bgp_globle_neighbor_config hops{};
    hops.op = set;
    hops.bgp_id = as;
    put(hops.neighbor_ip_or_tag, "10.0.0.1");
    expect_refused(message_with(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, hops), SR_ERR_INVALID_VALUE,
                   "neighbor 10.0.0.1 ebgp-multihop 0: % [BGP] Unknown command");
    expect_refused(router_id_message(set, as, "one"), SR_ERR_INVALID_VALUE, "Unknown command");
    expect_refused(redistribute(set, "ospf", "0"), SR_ERR_INVALID_VALUE, "Unknown command");
    expect_refused(router_id_message(set, 200, "1.1.1.1"), SR_ERR_CONFIG_FAILED, "another AS");
    expect_refused(vrf(set, {1, 71, "red"}), 0, "");
    expect_refused(neighbor(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, set), SR_ERR_CONFIG_FAILED,
                   "Not an internal neighbor");
    expect_refused(globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, set, "10.0.0.9"),
                   SR_ERR_CONFIG_FAILED, "Specify remote-as");
    expect_refused(globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, set, "leaf"),
                   SR_ERR_CONFIG_FAILED, "neighbor leaf remote-as 200");
}

TEST_F(FrrBackendTest, CreatesNothingWithoutAnAs) {
    expect_refused(network(set, "10.0.0.0/8"), SR_ERR_CONFIG_FAILED, "no BGP instance");
    expect_refused(vrf(set), SR_ERR_CONFIG_FAILED, "no BGP instance");
    EXPECT_THAT(speaker->running_config(), Not(HasSubstr("router bgp")));
}

TEST_F(FrrBackendTest, RefusesAVrfThatHasAnotherAs) {
    prepare();
    speaker->configure({"router bgp 300 vrf red"});
    expect_refused(vrf(set), SR_ERR_CONFIG_FAILED, "another AS");
    apply({vrf(erase)});
    EXPECT_TRUE(speaker->has_line("router bgp 300 vrf red"));
}

TEST_F(FrrBackendTest, ChangesTheAsAndKeepsTheRest) {
    prepare_vrf();
    prepare();
    apply({router_id_message(set, as, "1.1.1.1"), neighbor(BGP_SUB_NEIGHBOR_ACTIVATE, set),
           network(set, "10.1.0.0/16", "MAP"), network(set, "10.2.0.0/16", "", 0, red),
           network(set, "2001:db8::/32", "", 0, red_ipv6)});
    std::string before = speaker->running_config();
    apply({as_message(set, 200)});
    for (std::size_t at = 0; (at = before.find("router bgp 100", at)) != std::string::npos;) {
        before.replace(at, 14, "router bgp 200");
    }
    EXPECT_EQ(speaker->running_config(), before);
}

TEST_F(FrrBackendTest, KeepsTheAsWhenAnotherDoesNotFit) {
    prepare();
    speaker->configure({"router bgp 100", "neighbor 10.0.0.2 remote-as 100",
                        "address-family ipv4 unicast", "neighbor 10.0.0.2 route-reflector-client"});
    const std::string before = speaker->running_config();
    expect_refused(as_message(set, 200), SR_ERR_CONFIG_FAILED, "Not an internal neighbor");
    EXPECT_EQ(speaker->running_config(), before);
}

TEST_F(FrrBackendTest, RemovesAVrfsInstanceWithItsLastFamily) {
    apply({as_message(set, as), vrf(set), vrf(set, red_ipv6),
           neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, set, red),
           neighbor(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, set, red),
           network(set, "10.2.0.0/16", "MAP", 1, red), redistribute(set, "ospf", "3", "MAP", red),
           vrf(erase)});
    EXPECT_THAT(block("router bgp 100 vrf red"), Not(HasSubstr("address-family")));
    EXPECT_THAT(block("router bgp 100 vrf red"), Not(HasSubstr("neighbor")));
    EXPECT_TRUE(speaker->has_line("router bgp 100 vrf red"));
    apply({vrf(erase, red_ipv6), vrf(erase, red_ipv6)});
    EXPECT_FALSE(speaker->has_line("router bgp 100 vrf red"));
}

TEST_F(FrrBackendTest, KeepsTheNeighborThatAnotherFamilyOfTheVrfHas) {
    prepare_vrf();
    apply({neighbor(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, set, red), vrf(set, red_ipv6),
           neighbor(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, set, red_ipv6), vrf(erase)});
    const std::string red_block = block("router bgp 100 vrf red");
    EXPECT_THAT(red_block, HasSubstr("neighbor 10.0.0.1 remote-as 200"));
    EXPECT_THAT(red_block, HasSubstr("ipv6 unicast\n  neighbor 10.0.0.1 activate"));
    EXPECT_THAT(red_block, Not(HasSubstr("ipv4 unicast")));
}

TEST_F(FrrBackendTest, HasAFamilyThatNoMessageCreatesWhileItHoldsSomething) {
    apply({as_message(set, as), network(set, "10.2.0.0/16", "", 0, red_unicast),
           neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, set, red_unicast),
           network(erase, "10.2.0.0/16", "", 0, red_unicast)});
    EXPECT_TRUE(speaker->has_line("router bgp 100 vrf red"));
    apply({neighbor(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, erase, red_unicast)});
    EXPECT_FALSE(speaker->has_line("router bgp 100 vrf red"));
}

TEST_F(FrrBackendTest, ForgetsTheFamiliesOfVrfsWithTheAs) {
    apply({as_message(set, as), vrf(set), as_message(erase, as), as_message(set, as),
           network(set, "10.2.0.0/16", "", 0, red_unicast),
           network(erase, "10.2.0.0/16", "", 0, red_unicast)});
    EXPECT_FALSE(speaker->has_line("router bgp 100 vrf red"));
}

TEST_F(FrrBackendTest, AnswersThatBgpdIsAwayUntilItIsBack) {
    prepare();
    speaker->stop();
    expect_refused(router_id_message(set, as, "1.1.1.1"), SR_ERR_SOCKET_FAILED, "bgpd");
    EXPECT_EQ(backend->configuration(), nlohmann::ordered_json::object());
    speaker->start();
    apply({as_message(set, as), router_id_message(set, as, "1.1.1.1")});
    EXPECT_TRUE(speaker->has_line("bgp router-id 1.1.1.1"));
}

TEST_F(FrrBackendTest, ReadsTheConfigurationBack) {
    prepare();
    apply({network(set, "10.1.0.0/16", "MAP", 1)});
    EXPECT_EQ(backend->configuration()["bgp-address-family"]
                                      ["address-family[afi='AFI_IP'][safi='SAFI_UNICAST']"]
                                      ["bgp-family-networks"]
                                      ["family-network[prefix='10.1.0.0/16']"]["route-map"],
              "MAP");
}

} // namespace
