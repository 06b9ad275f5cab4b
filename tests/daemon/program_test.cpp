// The program itself, as a separate process.
#include "bytes.h"
#include "client.h"
#include "process.h"
#include "settings.h"
#include "temporary_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
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

TEST(Program, PrintsEachMessageAtOnce) {
    Program program{{"--port", "0"}};
    {
        Client client{program.port()};
        EXPECT_EQ(client.ask(as_message(1, 100)), 0);
        EXPECT_EQ(program.read_line(), "connection 1 opened");
        EXPECT_EQ(program.read_line(), "BGP_SUB_BGP_AS bgp_as_val op=set as=100 -> 0");
    }
    EXPECT_EQ(program.read_line(), "connection 1 closed");
}

// The daemon continues when its output is lost.
TEST(Program, ContinuesWhenItsOutputIsFullOrClosed) {
    for (const char *output : {">/dev/full", ">&-", "| true"}) {
        support::Process shell("sh",
                               {"-c", "exec " BGP_CONFIGD " --port 8899 " + std::string(output)});
        std::optional<Client> client;
        while (!client) {
            try {
                client.emplace(std::uint16_t{8899});
            } catch (const std::system_error &) {
                std::this_thread::yield();
            }
        }
        EXPECT_EQ(client->ask(as_message(1, 100)), 0) << output;
        EXPECT_EQ(client->ask(as_message(1, 200)), 0) << output;
        support::run("pkill", {"-TERM", "-x", "-f", BGP_CONFIGD " --port 8899"});
        EXPECT_EQ(shell.wait(), 0) << output;
        EXPECT_TRUE(client->is_closed());
    }
}

TEST(Program, ContinuesWhenNobodyReadsItsOutput) {
    Program program{{"--port", "0"}};
    Client client{program.port()};
    for (int i = 0; i < 2000; ++i) { // more than a pipe takes
        ASSERT_EQ(client.ask(as_message(1, 100)), 0);
    }
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
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

// The payload of the daemon's reply to a query. The reply must be well-formed and have the result
// 0.
std::string ask(Client &client, const configd::Message &query) {
    client.send(query.bytes);
    const configd::Message reply = client.receive_message();
    EXPECT_EQ(reply.bytes,
              configd::make_message(MODULE_ID_BGP, query.sub_mod, reply.payload()).bytes);
    return std::string{reply.payload()};
}

TEST(Program, AnswersFromItsConfigurationAndTheStateFile) {
    Program program{{"--port", "0", "--state", EXAMPLE_STATE}};
    Client client{program.port()};
    EXPECT_EQ(client.ask(as_message(1, settings::as)), 0);
    EXPECT_EQ(
        client.ask(settings::globle_neighbor(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, 1, "192.0.2.11")),
        0);

    const std::string neighbors = ask(client, summary_query());
    EXPECT_STREQ(neighbors.data() + 84, "192.0.2.11");
    EXPECT_STREQ(neighbors.data() + 84 + 125, "118");

    // Five routes with 3 flags each, 3 of them with two texts, and 6 next hops.
    const std::string routes = ask(client, evpn_query(all_types));
    EXPECT_EQ(u32_at(routes, 0), 5U * 3 + 3 * 2 + 6 * 4);
    EXPECT_EQ(u32_at(routes, 4), 2U);
}

TEST(Program, SendsCannedReplies) {
    const std::string longest(BUF_SIZE_MAX - 15, 'x');
    const TemporaryFile first{longest};
    const TemporaryFile second{""};
    Program program{{"--port", "0", "--log", "none", "--reply", "18=" + first.name(), "--reply",
                     "rpc_ip_bgp_info=" + second.name()}};
    Client client{program.port()};
    EXPECT_TRUE(ask(client, evpn_query(all_types)) == longest);
    EXPECT_EQ(ask(client, all_info_query()), "");
}

TEST(Program, EndsBeforeItListensWhenItsStateFileIsBad) {
    const TemporaryFile file{R"({"neighbors":[{"neighbor-addr":"a","hold-time":"long"}]})"};
    Program program{{"--port", "0", "--state", file.name()}};
    EXPECT_EQ(program.read_all(),
              "bgp_configd: " + file.name() +
                  ": /neighbors/0/hold-time is no number from 0 to 4294967295\n");
    EXPECT_EQ(program.wait(), 1);
}

TEST(Program, EndsBeforeItListensWhenAFileIsMissing) {
    for (const auto &[option, value] :
         {std::pair{"--state", "/nowhere/file"}, std::pair{"--reply", "18=/nowhere/file"}}) {
        Program program{{"--port", "0", option, value}};
        EXPECT_EQ(program.read_all(), "bgp_configd: /nowhere/file: No such file or directory\n");
        EXPECT_EQ(program.wait(), 1);
    }
}

TEST(Program, KeepsTheLimitsOfItsOptions) {
    const std::string begun = message_with(1, std::array<char, 16>{}).bytes.substr(0, 20);
    const std::string most = bytes::u32(1, 1, 0, BUF_SIZE_MAX) + std::string(1024 * 1024, 'x');
    struct Row {
        std::vector<std::string> options;
        std::string sent;
        std::string said;
    };
    for (const Row &row : {Row{{"--max-connections", "1"}, "", "2 refused: 1 connections are open"},
                           Row{{"--message-time", "1"}, begun, "did not come in time"},
                           Row{{"--message-memory", "1"}, most, "take too much memory"}}) {
        std::vector<std::string> arguments{"--port", "0"};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        Program program{arguments};
        const std::uint16_t port = program.port();
        Client first{port};
        EXPECT_EQ(first.ask(as_message(1, 100)), 0);
        Client second{port};
        second.send(row.sent);
        EXPECT_TRUE(second.is_closed()) << row.options[0];
        EXPECT_EQ(first.ask(as_message(0, 100)), 0) << row.options[0];
        program.signal(SIGTERM);
        EXPECT_THAT(program.read_all(), HasSubstr(row.said));
    }
}

TEST(Program, FailsAsItsOptionsSay) {
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

TEST(Program, ReportsThatItsPortIsInUse) {
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

using Options = std::vector<std::string>;
class BadOptionTest : public testing::TestWithParam<Options> {};

TEST_P(BadOptionTest, IsNamedAndEndsTheProgram) {
    Program program{GetParam()};
    EXPECT_THAT(program.read_all(), HasSubstr(GetParam().front()));
    EXPECT_GT(program.wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(Bad, BadOptionTest,
                         testing::Values(Options{"--log", "xml"}, Options{"--port", "65536"},
                                         Options{"--max-connections", "0"},
                                         Options{"--fail", "0=1"}, Options{"--fail", "1=no"},
                                         Options{"--fault", "1=burn"},
                                         Options{"--reply", "1=/dev/null"}, Options{"--unknown"},
                                         Options{"argument"}));

#ifndef BACKEND_FRR
INSTANTIATE_TEST_SUITE_P(LeftOutBackends, BadOptionTest,
                         testing::Values(Options{"--backend", "frr"}));
#endif

} // namespace
