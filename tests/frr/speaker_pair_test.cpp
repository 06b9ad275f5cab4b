// Queries about a bgpd with a neighbor.
#include "client.h"
#include "daemon.h"
#include "frr/frr_backend.h"
#include "frr/queries.h"
#include "plugin_public.h"
#include "query_replies.h"
#include "records.h"
#include "server.h"
#include "speaker.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <future>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using configd::Message;
using configd::QueryResult;
using configd::frr::FrrBackend;
using configd::frr::Vty;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

using Lines = std::vector<std::string>;

// The lines with which speakers run side by side and accept routes over the loopback address.
Lines instance(std::uint32_t as, const char *router_id) {
    return {fmt::format("router bgp {}", as),
            fmt::format("bgp router-id {}", router_id),
            "bgp allow-martian-nexthop",
            "no bgp ebgp-requires-policy",
            "no bgp network import-check",
            "coalesce-time 0",
            "timers bgp 3 30"};
}

// A speaker of AS 65001 that the tests query, and one of AS 65002 that opens the session and
// announces routes.
class SpeakerPairTest : public testing::Test {
  protected:
    void SetUp() override {
        REQUIRE_BGPD();
        asked.emplace();
        peer.emplace("127.0.0.2");
        asked->configure(with(instance(65001, "192.0.2.1"),
                              {"neighbor 127.0.0.2 remote-as 65002", "neighbor 127.0.0.2 passive",
                               "address-family l2vpn evpn", "neighbor 127.0.0.2 activate"}));
        peer->configure(with(instance(65002, "192.0.2.2"),
                             {"neighbor 127.0.0.1 remote-as 65001",
                              fmt::format("neighbor 127.0.0.1 port {}", Speaker::port),
                              "neighbor 127.0.0.1 update-source 127.0.0.2",
                              "neighbor 127.0.0.1 timers connect 1", "address-family l2vpn evpn",
                              "neighbor 127.0.0.1 activate"}));
        backend.emplace(asked->vty_socket(), Lines{});
    }

    static Lines with(Lines lines, const Lines &more) {
        lines.insert(lines.end(), more.begin(), more.end());
        return lines;
    }

    void announce(const Lines &lines) { peer->configure(with({"router bgp 65002"}, lines)); }

    // Repeats the query until the reply is as wished: sessions and routes take time.
    template <typename Reply, typename IsWished>
    Reply wait_for(const Message &query, IsWished is_wished) {
        using namespace std::chrono_literals;
        const auto limit = std::chrono::steady_clock::now() + 60s;
        while (true) {
            const QueryResult result = backend->query(query);
            EXPECT_EQ(result.res_value, 0) << result.note;
            Reply reply{result.payload};
            if (is_wished(reply) || std::chrono::steady_clock::now() > limit) {
                return reply;
            }
            std::this_thread::sleep_for(10ms);
        }
    }

    NeighborReply wait_for_session(std::uint32_t number = 1) {
        return wait_for<NeighborReply>(neighbor_query(1), [=](const NeighborReply &reply) {
            return !reply.peers.empty() &&
                   reply.peers[0].peer.state == std::string{"Established"} &&
                   reply.peers[0].peer.connection_established >= number;
        });
    }

    // Waits until the last of this many networks has a best path.
    InfoReply wait_for_networks(std::size_t number) {
        return wait_for<InfoReply>(all_info_query(), [=](const InfoReply &reply) {
            return reply.networks.size() >= number &&
                   reply.networks.back().next_hops.at(0).select_flag == 1;
        });
    }

    std::optional<Speaker> asked, peer;
    std::optional<FrrBackend> backend;
};

TEST_F(SpeakerPairTest, SummaryNeighborsAndRoutesShowTheSession) {
    announce({"network 198.51.100.0/24", "network 203.0.113.0/25"});
    wait_for_session();
    const InfoReply info = wait_for_networks(2);
    ASSERT_EQ(info.networks.size(), 2U);
    EXPECT_STREQ(info.table.router_id, "192.0.2.1");
    EXPECT_EQ(shown(info.networks[1].entry), "203.0.113.0 25 1");
    EXPECT_EQ(shown(info.networks[1].next_hops.at(0)), "127.0.0.2 0 0 0 65002 i 1 1 0");

    const SummaryReply summary{backend->query(summary_query()).payload};
    EXPECT_STREQ(summary.instance.as, "65001");
    EXPECT_GT(summary.instance.as_path_number, 0U);
    ASSERT_EQ(summary.entries.size(), 1U);
    EXPECT_STREQ(summary.entries[0].neighbor, "127.0.0.2");
    EXPECT_STREQ(summary.entries[0].AS, "65002");
    EXPECT_STREQ(summary.entries[0].state_pfxrcd, "2");

    const NeighborReply neighbors{backend->query(neighbor_query(1)).payload};
    ASSERT_EQ(neighbors.peers.size(), 1U);
    const auto &[neighbor, families] = neighbors.peers[0];
    EXPECT_STREQ(neighbor.remote_router_id, "192.0.2.2");
    EXPECT_EQ(neighbor.remote_as, 65002U);
    EXPECT_EQ(neighbor.home_time, 30U);
    EXPECT_EQ(neighbor.interval, 3U);
    EXPECT_GT(neighbor.messages_in, 0U);
    ASSERT_EQ(families.size(), 2U);
    EXPECT_EQ(families[0].prefix_accepted_statis, 2U);
    EXPECT_EQ(families[1].address_family.afi, 3U);
}

TEST_F(SpeakerPairTest, EvpnShowsATypeFiveRouteOfTheNeighbor) {
    announce({"address-family l2vpn evpn",
              "network 10.9.0.0/16 rd 192.0.2.2:5 ethtag 0 label 500 esi "
              "00:00:00:00:00:00:00:00:00:00 gwip 0.0.0.0 routermac 02:00:00:00:00:05"});
    const Message query = evpn_query(5);
    const auto reply = wait_for<EvpnReply>(query, [](const EvpnReply &routes) {
        return testing::Value(routes.texts, Contains("best"));
    });
    EXPECT_THAT(reply.texts,
                ElementsAre("192.0.2.2:5", "[5]:[0]:[16]:[10.9.0.0]", "valid", "best", "other",
                            "Rmac:02:00:00:00:00:05", "8001", "0.0.0.0", "0 0 0", "65002 i"));
}

TEST_F(SpeakerPairTest, ClearResetsTheSessionOfBoth) {
    wait_for_session();
    EXPECT_EQ(backend->query(clear_query(1)).res_value, 0);
    // When both speakers connect at once, bgpd drops one more connection.
    EXPECT_GE(wait_for_session(2).peers.at(0).peer.connection_dropped, 1U);
    EXPECT_THAT(peer->ask("show bgp neighbors 127.0.0.1 json").text,
                Not(HasSubstr("\"connectionsDropped\":0")));
}

TEST_F(SpeakerPairTest, InboundClearKeepsTheSessionAndRequestsTheRoutesAgain) {
    const std::uint32_t dropped = wait_for_session().peers.at(0).peer.connection_dropped;
    EXPECT_EQ(backend->query(clear_query(1, "", 1)).res_value, 0);
    const auto reply = wait_for<NeighborReply>(neighbor_query(1), [](const NeighborReply &all) {
        return all.peers.at(0).peer.refresh_out > 0;
    });
    EXPECT_GT(reply.peers.at(0).peer.refresh_out, 0U);
    EXPECT_EQ(reply.peers.at(0).peer.connection_dropped, dropped);
}

TEST_F(SpeakerPairTest, QueriesFailWhileBgpdIsAbsentAndWorkAfterIt) {
    asked->stop();
    EXPECT_EQ(backend->query(summary_query()).res_value, SR_ERR_SOCKET_FAILED);
    asked->start();
    EXPECT_EQ(backend->query(summary_query()).res_value, 0);
}

// A backend that holds its first route query until another query was answered.
class HeldBackend : public configd::Backend {
  public:
    explicit HeldBackend(std::string vty_socket) : vty_socket_{std::move(vty_socket)} {}

    configd::ApplyResult apply(const Message & /*message*/) override { return {0}; }
    nlohmann::ordered_json configuration() const override { return {}; }
    bool is_slow() const override { return true; }

    QueryResult query(const Message &message) override {
        Vty vty{vty_socket_};
        return configd::frr::answer_query(message, [&](const std::string &command) {
            auto answer = vty.ask(command);
            if (message.sub_mod == BGP_SUB_RPC_IP_BGP_INFO) {
                at_work.set_value();
                go_on.get_future().wait();
            }
            return answer;
        });
    }

    std::promise<void> at_work, go_on;

  private:
    std::string vty_socket_;
};

TEST_F(SpeakerPairTest, AnswersOtherQueriesWhileOneReplyHas50000Routes) {
    constexpr std::size_t number = 50'000;
    Lines networks;
    for (std::size_t i = 0; i < number; ++i) {
        networks.push_back(
            fmt::format("network 100.{}.{}.{}/32", 64 + (i >> 16), i >> 8 & 0xFF, i & 0xFF));
    }
    announce(networks);
    wait_for<SummaryReply>(summary_query(), [&](const SummaryReply &reply) {
        return reply.entries.at(0).state_pfxrcd == std::to_string(number);
    });

    HeldBackend held{asked->vty_socket()};
    std::ostringstream out;
    configd::Log log{out, configd::LogFormat::None};
    configd::Daemon daemon{held, log};
    configd::Server server{daemon, 0};
    const RunningServer running{server};
    Client routes{server.port()};
    routes.send(all_info_query().bytes);
    held.at_work.get_future().wait();

    Client other{server.port()};
    EXPECT_EQ(other.ask(as_message(1, 65001)), 0);
    other.send(summary_query().bytes);
    const std::string summary{other.receive_message().payload()};
    EXPECT_EQ(SummaryReply{summary}.entries.size(), 1U);

    held.go_on.set_value();
    const std::string all_routes{routes.receive_message().payload()};
    const InfoReply reply{all_routes};
    EXPECT_EQ(reply.networks.size(), number);
    EXPECT_EQ(reply.next_hop_count, number);
    EXPECT_STREQ(reply.networks.back().entry.network, "100.64.195.79");
}

} // namespace
