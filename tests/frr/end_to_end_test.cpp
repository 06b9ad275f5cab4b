// From a client's edit to a real BGP session and back: the real datastore, the real plug-in host,
// the daemon as a separate process, and two bgpd.
#include "datastore.h"
#include "process.h"
#include "speaker.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using support::Datastore;
using support::element;
using support::Host;
using support::Process;
using support::router_bgp;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string everything_deleted = router_bgp("", R"( nc:operation="delete")");

// The settings outside address families: those of the instance and those of the neighbor.
std::string bgp(const std::string &leaves, const std::string &neighbor_leaves) {
    return element("bgp", leaves + element("bgp-globle-neighbors",
                                           element("globle-neighbor",
                                                   element("neighbor-address", "127.0.0.2") +
                                                       neighbor_leaves)));
}

std::string globle_neighbor(const std::string &leaves) {
    return bgp("", leaves);
}

const std::string router_id = element("router-id", "192.0.2.1");

std::string families(const std::string &entries) {
    return element("bgp-address-family", entries);
}

std::string family(const std::string &afi, const std::string &safi, const std::string &content) {
    return element("address-family", element("afi", afi) + element("safi", safi) + content);
}

std::string family_neighbor(const std::string &leaves) {
    return element("bgp-family-neighbors",
                   element("family-neighbor", element("neighbor-address", "127.0.0.2") + leaves));
}

const std::string session =
    element("as", "65001") +
    bgp(router_id, element("remote-as", "65002") + element("description", "The other one")) +
    families(family("AFI_IP", "SAFI_UNICAST",
                    element("bgp-family-networks",
                            element("family-network", element("prefix", "203.0.113.0/24"))) +
                        family_neighbor("<activate/>")) +
             family("AFI_L2VPN", "SAFI_EVPN", family_neighbor("<activate/>")));

std::string call(const std::string &name, const std::string &input = "") {
    return fmt::format(R"(<{0} xmlns="urn:orv:params:xml:ns:yang:orv_bgp">{1}</{0}>)", name, input);
}

class EndToEndTest : public testing::Test {
  protected:
    void SetUp() override {
        REQUIRE_BGPD();
        ours.emplace();
        datastore.emplace();
        // Otherwise bgpd takes a peer on the loopback address for a martian.
        daemon.emplace(BGP_CONFIGD, std::vector<std::string>{
                                        "--backend", "frr", "--vty-socket", ours->vty_socket(),
                                        "--frr-line", "bgp allow-martian-nexthop", "--frr-line",
                                        "coalesce-time 0", "--frr-line", "timers bgp 3 30"});
        ASSERT_THAT(daemon->read_line(), HasSubstr("listening"));
        host.emplace(*datastore);
    }

    void start_peer() {
        peer.emplace("127.0.0.2");
        peer->configure(
            {"router bgp 65002", "bgp router-id 192.0.2.2", "no bgp ebgp-requires-policy",
             "no bgp network import-check", "bgp allow-martian-nexthop", "coalesce-time 0",
             "timers bgp 3 30", "neighbor 127.0.0.1 remote-as 65001",
             fmt::format("neighbor 127.0.0.1 port {}", Speaker::port),
             "neighbor 127.0.0.1 update-source 127.0.0.2", "neighbor 127.0.0.1 timers connect 1",
             "address-family ipv4 unicast", "network 198.51.100.0/24", "exit-address-family",
             "address-family l2vpn evpn", "neighbor 127.0.0.1 activate",
             "network 10.9.0.0/16 rd 192.0.2.2:5 ethtag 0 label 500 esi "
             "00:00:00:00:00:00:00:00:00:00 gwip 0.0.0.0 routermac 02:00:00:00:00:05"});
    }

    void expect_edit(const std::string &xml) {
        const auto outcome = datastore->edit(xml);
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    }

    // The daemon's log since the previous call. The daemon prints its configuration on request;
    // that line marks the end.
    std::string log() {
        daemon->signal(SIGUSR1);
        std::string text;
        std::string line = daemon->read_line();
        while (!line.empty() && line.front() != '{') {
            text += line + '\n';
            line = daemon->read_line();
        }
        return text;
    }

    // Makes an edit that must be refused with this result code and with this reason in the daemon's
    // log.
    void expect_refused(const std::string &xml, int code, const std::string &reason) {
        const std::string before = ours->running_config();
        const std::string stored = datastore->configuration();
        log();
        EXPECT_NE(datastore->edit(xml).exit_code, 0);
        EXPECT_THAT(log(), ContainsRegex(fmt::format("-> {}\n.*: {}", code, reason)));
        EXPECT_EQ(datastore->configuration(), stored);
        EXPECT_EQ(ours->running_config(), before);
    }

    // The peer's view of its session with us.
    nlohmann::json session_of_peer() {
        const auto all = nlohmann::json::parse(peer->ask("show bgp neighbors 127.0.0.1 json").text);
        return all.at("127.0.0.1");
    }

    // Whether the condition becomes true within a minute.
    template <typename Condition>
    bool happens(Condition condition) {
        using namespace std::chrono_literals;
        const auto limit = std::chrono::steady_clock::now() + 60s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > limit) {
                return false;
            }
            std::this_thread::sleep_for(10ms);
        }
        return true;
    }

    // Sends the RPC until its output contains the text: routes arrive after the session is
    // established.
    void expect_output(const std::string &rpc, const std::string &text) {
        std::string output;
        EXPECT_TRUE(happens([&] {
            output = datastore->call(rpc).output;
            return output.find(text) != std::string::npos;
        })) << output;
    }

    bool is_established() { return session_of_peer()["bgpState"] == "Established"; }

    std::optional<Speaker> ours, peer;
    std::optional<Datastore> datastore;
    std::optional<Process> daemon;
    std::optional<Host> host;
};

TEST_F(EndToEndTest, AnEditBringsUpASessionThatTheRpcsShow) {
    start_peer();
    expect_edit(router_bgp(session));
    ASSERT_TRUE(happens([&] { return is_established(); }));
    expect_output(call("ip-bgp-summary"), "<state-pfxrcd>2</state-pfxrcd>");
    EXPECT_THAT(datastore->call(call("ip-bgp-neighbor", "<all/>")).output,
                HasSubstr("<state>Established</state>"));
    EXPECT_THAT(datastore->call(call("ip-bgp-info", "<ip-type>IPV4</ip-type>")).output,
                HasSubstr("<network>198.51.100.0</network>"));
    expect_output(call("ip-bgp-evpn", "<get-all/>"),
                  "<evpn-route>[5]:[0]:[16]:[10.9.0.0]</evpn-route>");
    EXPECT_THAT(peer->ask("show bgp ipv4 unicast").text, HasSubstr("203.0.113.0"));
}

TEST_F(EndToEndTest, TheDeletionOfTheNeighborTakesTheSessionDown) {
    start_peer();
    expect_edit(router_bgp(session));
    ASSERT_TRUE(happens([&] { return is_established(); }));
    expect_edit(router_bgp(element(
        "bgp", element("bgp-globle-neighbors", R"(<globle-neighbor nc:operation="delete">)" +
                                                   element("neighbor-address", "127.0.0.2") +
                                                   "</globle-neighbor>"))));
    ASSERT_TRUE(happens([&] { return !is_established(); }));
    EXPECT_THAT(ours->running_config(), Not(HasSubstr("127.0.0.2")));
    expect_edit(everything_deleted);
    EXPECT_THAT(ours->running_config(), Not(HasSubstr("router bgp")));
}

TEST_F(EndToEndTest, ARefusalOfBgpdRefusesTheEdit) {
    expect_edit(router_bgp(session));
    expect_refused(router_bgp(globle_neighbor(element("ebgp-multihop", "0"))), 16,
                   "neighbor 127.0.0.2 ebgp-multihop 0: % .BGP. Unknown command");
    expect_refused(router_bgp(globle_neighbor(element("description", "a | include b"))), 16,
                   "description holds what may not go into a command line");
    ours->configure({"no router bgp 65001", "router bgp 65009"});
    expect_refused(router_bgp(element("bgp", element("router-id", "192.0.2.9"))), 18,
                   "bgpd's instance has another AS than 65001");
}

} // namespace
