// The program itself, as a process of its own.
#include "client.h"
#include "process.h"
#include "records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using nlohmann::ordered_json;
using testing::HasSubstr;

namespace {

// A running bgp_configd.
class Program : public support::Process {
  public:
    explicit Program(std::vector<std::string> arguments)
        : Process(BGP_CONFIGD, std::move(arguments)) {}

    // Reads the line that says where it listens.
    std::uint16_t port() {
        const std::string line = read_line();
        const std::string start = "listening on 127.0.0.1:";
        if (line.compare(0, start.size(), start) != 0) {
            throw std::runtime_error("not listening: " + line);
        }
        return static_cast<std::uint16_t>(std::stoi(line.substr(start.size())));
    }
};

class SignalTest : public testing::TestWithParam<int> {};

TEST_P(SignalTest, EndsTheProgramCleanly) {
    Program program{{"--port", "0"}};
    Client client{program.port()};
    EXPECT_EQ(client.ask(as_message(1, 100)), 0);
    program.signal(GetParam());
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(client.is_closed());
}

INSTANTIATE_TEST_SUITE_P(Signals, SignalTest, testing::Values(SIGTERM, SIGINT));

TEST(Program, PrintsEachMessageAsItComes) {
    Program program{{"--port", "0"}};
    {
        Client client{program.port()};
        EXPECT_EQ(client.ask(as_message(1, 100)), 0);
        EXPECT_EQ(program.read_line(), "connection 1 opened");
        EXPECT_EQ(program.read_line(), "BGP_SUB_BGP_AS bgp_as_val op=set as=100 -> 0");
    }
    EXPECT_EQ(program.read_line(), "connection 1 closed");
}

TEST(Program, PrintsJsonWhenAskedTo) {
    Program program{{"--port", "0", "--log", "json"}};
    const auto listening = ordered_json::parse(program.read_line());
    EXPECT_EQ(listening["event"], "listening");
    Client client{listening["port"].get<std::uint16_t>()};
    EXPECT_EQ(client.ask(router_id_message(1, 100, "1.1.1.1")), SR_ERR_CONFIG_FAILED);
    EXPECT_EQ(ordered_json::parse(program.read_line())["event"], "opened");
    const auto message = ordered_json::parse(program.read_line());
    EXPECT_EQ(message["fields"]["router_id"], "1.1.1.1");
    EXPECT_EQ(message["answer"]["code"], SR_ERR_CONFIG_FAILED);
}

TEST(Program, PrintsItsConfigurationOnSigusr1) {
    Program program{{"--port", "0", "--log", "none"}};
    Client client{program.port()};
    EXPECT_EQ(client.ask(as_message(1, 100)), 0);
    program.signal(SIGUSR1);
    EXPECT_EQ(program.read_line(), R"({"as":100})");
    EXPECT_EQ(client.ask(as_message(0, 100)), 0);
    program.signal(SIGUSR1);
    EXPECT_EQ(program.read_line(), "{}");
}

TEST(Program, AnswersAQueryWithAHeaderThatSaysNotSupported) {
    Program program{{"--port", "0"}};
    Client client{program.port()};
    client.send(message_with(BGP_SUB_RPC_IP_BGP_EVPN, bgp_rpc_ip_bgp_evpn{}).bytes);
    EXPECT_EQ(client.receive(16),
              configd::make_message(MODULE_ID_BGP, BGP_SUB_RPC_IP_BGP_EVPN, "", SR_ERR_NOT_SUPPORT)
                  .bytes);
}

TEST(Program, FailsAsItIsTold) {
    Program program{{"--port", "0", "--fail", "bgp_as=18", "--fail", "2=17", "--fault",
                     "network=close", "--fault", "8=short"}};
    const std::uint16_t port = program.port();
    Client client{port};
    EXPECT_EQ(client.ask(as_message(1, 100)), 18);
    EXPECT_EQ(client.ask(router_id_message(1, 100, "1.1.1.1")), 17);
    client.send(
        message_with(BGP_SUB_REDISTRIBUTE, bgp_address_family_redistribute_universal_val{}).bytes);
    EXPECT_EQ(client.receive(4).size(), 3U);

    Client other{port};
    other.send(message_with(BGP_SUB_NETWORK, bgp_address_family_network_universal_val{}).bytes);
    EXPECT_TRUE(other.is_closed());
}

TEST(Program, SaysThatItsPortIsTaken) {
    Program first{{"--port", "0"}};
    const std::string port = std::to_string(first.port());
    Program second{{"--port", port}};
    EXPECT_THAT(second.read_line(), HasSubstr("127.0.0.1:" + port));
    EXPECT_EQ(second.wait(), 1);
}

TEST(Program, PrintsHelpAndVersion) {
    Program help{{"--help"}};
    EXPECT_THAT(help.read_all(), HasSubstr("--fault"));
    EXPECT_EQ(help.wait(), 0);
    Program version{{"--version"}};
    EXPECT_THAT(version.read_line(), HasSubstr("bgp_configd "));
    EXPECT_EQ(version.wait(), 0);
}

class BadOptionTest : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(BadOptionTest, IsNamedAndEndsTheProgram) {
    Program program{GetParam()};
    EXPECT_THAT(program.read_all(), HasSubstr(GetParam().front()));
    EXPECT_GT(program.wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Options, BadOptionTest,
                         testing::Values(std::vector<std::string>{"--log", "xml"},
                                         std::vector<std::string>{"--port", "65536"},
                                         std::vector<std::string>{"--fail", "23=1"},
                                         std::vector<std::string>{"--fail", "1=no"},
                                         std::vector<std::string>{"--fault", "1=burn"},
                                         std::vector<std::string>{"--unknown"},
                                         std::vector<std::string>{"argument"}));

} // namespace
