#include "daemon.h"

#include "client.h"
#include "records.h"
#include "temporary_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

using configd::Answer;
using configd::ApplyResult;
using configd::Daemon;
using configd::Fault;
using configd::Log;
using configd::LogFormat;
using configd::Message;
using configd::Overrides;
using configd::RawBytes;
using configd::Reply;
using nlohmann::ordered_json;
using testing::Return;

namespace {

class MockBackend : public configd::Backend {
  public:
    MOCK_METHOD(configd::ApplyResult, apply, (const Message &), (override));
    MOCK_METHOD(configd::QueryResult, query, (const Message &), (override));
    MOCK_METHOD(ordered_json, configuration, (), (const, override));

    bool is_slow() const override { return slow; }

    bool slow = false;
};

class DaemonTest : public testing::Test {
  protected:
    Answer answer(const Message &message, Overrides overrides = {},
                  LogFormat format = LogFormat::Text) {
        Log log{out, format};
        return Daemon{backend, log, std::move(overrides)}.answer(message);
    }

    // The result code of the answer; throws if the answer is of another kind. So does `reply`.
    std::int32_t code(const Message &message, Overrides overrides = {}) {
        return std::get<configd::ResultCode>(answer(message, std::move(overrides))).code;
    }
    Reply reply(const Message &message, Overrides overrides = {}) {
        return std::get<Reply>(answer(message, std::move(overrides)));
    }

    testing::StrictMock<MockBackend> backend;
    std::ostringstream out;
};

constexpr std::int32_t summary = BGP_SUB_RPC_IP_BGP_SUMMARY;

void expect_reply(const Reply &reply, std::int32_t res_value, const std::string &payload) {
    EXPECT_EQ(reply.module, MODULE_ID_BGP);
    EXPECT_EQ(reply.sub_mod, summary);
    EXPECT_EQ(reply.res_value, res_value);
    EXPECT_EQ(reply.payload, payload);
}

TEST_F(DaemonTest, AnswersAConfigurationMessageWithTheBackendsCode) {
    EXPECT_CALL(backend, apply).WillOnce(Return(ApplyResult{0})).WillOnce(Return(ApplyResult{18}));
    EXPECT_EQ(code(as_message(1, 100)), 0);
    EXPECT_EQ(code(as_message(1, 100)), 18);
    EXPECT_EQ(out.str(), "BGP_SUB_BGP_AS bgp_as_val op=set as=100 -> 0\n"
                         "BGP_SUB_BGP_AS bgp_as_val op=set as=100 -> 18\n");
}

TEST_F(DaemonTest, LogsWhyTheBackendRefusesAMessage) {
    EXPECT_CALL(backend, apply).WillOnce(Return(ApplyResult{18, "no such AS"}));
    EXPECT_EQ(code(as_message(1, 100)), 18);
    EXPECT_EQ(out.str(), "BGP_SUB_BGP_AS bgp_as_val op=set as=100 -> 18\n"
                         "BGP_SUB_BGP_AS: no such AS\n");
}

TEST_F(DaemonTest, AnswersAQueryWithTheBackendsReply) {
    EXPECT_CALL(backend, query).WillOnce(Return(configd::QueryResult{19, "payload"}));
    expect_reply(reply(summary_query()), 19, "payload");
    EXPECT_EQ(out.str(), "BGP_SUB_RPC_IP_BGP_SUMMARY bgp_rpc_ip_bgp_summary_input input_cnt=0 "
                         "vrf_name=\"\" ip_type=0 all=1 -> reply resValue=19 dataLen=23\n");
}

class SlowBackendTest : public DaemonTest {
  protected:
    SlowBackendTest() { backend.slow = true; }

    bool is_job(const Message &message, Overrides overrides = {}) {
        return Daemon{backend, log, std::move(overrides)}.job_for(message).has_value();
    }

    Log log{out, LogFormat::Text};
};

TEST_F(SlowBackendTest, AnswersAQueryAtWorkAndLogsItAfterwards) {
    EXPECT_CALL(backend, query).WillOnce(Return(configd::QueryResult{19, "payload", "a note"}));
    Daemon daemon{backend, log};
    const auto job = daemon.job_for(summary_query());
    ASSERT_TRUE(job);
    job->work();
    EXPECT_EQ(out.str(), "");
    expect_reply(std::get<Reply>(job->answer()), 19, "payload");
    EXPECT_THAT(out.str(), testing::EndsWith(" -> reply resValue=19 dataLen=23\n"
                                             "BGP_SUB_RPC_IP_BGP_SUMMARY: a note\n"));
}

TEST_F(SlowBackendTest, AppliesAtWorkAndInOrder) {
    EXPECT_CALL(backend, apply).WillOnce(Return(ApplyResult{18, "why"}));
    Daemon daemon{backend, log};
    const auto job = daemon.job_for(as_message(1, 100));
    ASSERT_TRUE(job);
    EXPECT_TRUE(job->in_order);
    EXPECT_FALSE(daemon.job_for(summary_query())->in_order);
    job->work();
    EXPECT_EQ(std::get<configd::ResultCode>(job->answer()).code, 18);
    EXPECT_THAT(out.str(), testing::EndsWith("-> 18\nBGP_SUB_BGP_AS: why\n"));
}

TEST_F(SlowBackendTest, HasNoJobForWhatIsAnsweredAtOnce) {
    EXPECT_TRUE(is_job(summary_query()));
    EXPECT_FALSE(is_job(as_message(1, 100), {{{BGP_SUB_BGP_AS, 1}}, {}}));
    EXPECT_FALSE(is_job(configd::make_message(MODULE_ID_BGP, summary, "short")));
    EXPECT_FALSE(is_job(summary_query(), {{{summary, 1}}, {}}));
    EXPECT_FALSE(is_job(summary_query(), {{}, {{summary, Fault::Silent}}}));
    EXPECT_FALSE(is_job(summary_query(), {{}, {}, {{summary, "payload"}}}));
}

TEST_F(DaemonTest, HasNoJobsWithABackendThatIsNotSlow) {
    Log log{out, LogFormat::Text};
    EXPECT_FALSE((Daemon{backend, log}.job_for(summary_query())));
}

TEST_F(DaemonTest, RefusesAnUnknownModule) {
    for (const std::int32_t module : {0, 2, 4, 8, -1}) {
        EXPECT_EQ(code(configd::make_message(module, BGP_SUB_BGP_AS, std::string(8, '\0'))),
                  SR_ERR_INVALID_VALUE);
    }
    EXPECT_THAT(out.str(), testing::HasSubstr(" (unknown module -1) -> 16\n"));
}

TEST_F(DaemonTest, RefusesAnUnknownSubModule) {
    for (const std::int32_t sub_mod : {0, -1, +BGP_SUB_MAX, 1000}) {
        EXPECT_EQ(code(configd::make_message(MODULE_ID_BGP, sub_mod, std::string(8, '\0'))),
                  SR_ERR_NOT_SUPPORT);
    }
    EXPECT_THAT(out.str(),
                testing::StartsWith("unknown module=3 subMod=0 dataLen=24 (unknown sub-module 0) "
                                    "-> 19\n"));
}

TEST_F(DaemonTest, RefusesARecordOfAnotherSizeForEverySubModule) {
    for (std::int32_t sub_mod = BGP_SUB_BGP_AS; sub_mod < BGP_SUB_MAX; ++sub_mod) {
        const std::size_t size = configd::find_record_kind(sub_mod)->record->size;
        for (const std::size_t wrong : {std::size_t{0}, size - 1, size + 1}) {
            const std::string payload(wrong, '\0');
            const Answer given = answer(configd::make_message(MODULE_ID_BGP, sub_mod, payload));
            if (configd::find_record_kind(sub_mod)->is_query()) {
                EXPECT_EQ(std::get<Reply>(given).payload, "") << sub_mod;
                EXPECT_EQ(std::get<Reply>(given).res_value, SR_ERR_INVALID_VALUE);
            } else {
                EXPECT_EQ(std::get<configd::ResultCode>(given).code, SR_ERR_INVALID_VALUE)
                    << sub_mod;
            }
        }
    }
    EXPECT_THAT(out.str(), testing::HasSubstr("(bgp_as_val takes 8 bytes, not 7) -> 16\n"));
}

TEST_F(DaemonTest, AnswersTheRequestedFailureAndAppliesNothing) {
    const Overrides overrides{{{BGP_SUB_BGP_AS, 18}}, {}};
    EXPECT_EQ(code(as_message(1, 100), overrides), 18);
    EXPECT_CALL(backend, apply).WillOnce(Return(ApplyResult{0}));
    EXPECT_EQ(code(router_id_message(1, 100, "1.1.1.1"), overrides), 0);
}

TEST_F(DaemonTest, LogsTheNoteOfAReplyBehindItsMessage) {
    EXPECT_CALL(backend, query)
        .WillRepeatedly(Return(configd::QueryResult{0, "", "something is left out"}));
    answer(summary_query());
    EXPECT_THAT(out.str(),
                testing::EndsWith("-> reply resValue=0 dataLen=16\n"
                                  "BGP_SUB_RPC_IP_BGP_SUMMARY: something is left out\n"));
    answer(summary_query(), {}, LogFormat::Json);
    EXPECT_THAT(out.str(),
                testing::EndsWith(R"({"event":"note","name":"BGP_SUB_RPC_IP_BGP_SUMMARY",)"
                                  R"("text":"something is left out"})"
                                  "\n"));
}

TEST_F(DaemonTest, LogsNothingWithoutAFormat) {
    EXPECT_CALL(backend, query).WillOnce(Return(configd::QueryResult{0, "", "note"}));
    answer(summary_query(), {}, LogFormat::None);
    EXPECT_EQ(out.str(), "");
}

TEST_F(DaemonTest, AnswersAQueryWithTheRequestedFailureBeforeACannedReply) {
    expect_reply(reply(summary_query(), {{}, {}, {{summary, "canned"}}}), 0, "canned");
    expect_reply(reply(summary_query(), {{{summary, 17}}, {}, {}}), 17, "");
    expect_reply(reply(summary_query(), {{{summary, 17}}, {}, {{summary, "canned"}}}), 17, "");
}

TEST_F(DaemonTest, AnswersWithAFaultBeforeAFailure) {
    const auto answer_with = [this](Fault fault) {
        return answer(as_message(1, 100), {{{BGP_SUB_BGP_AS, 18}}, {{BGP_SUB_BGP_AS, fault}}});
    };
    const std::pair<Fault, std::string> bytes[] = {{Fault::Close, ""},
                                                   {Fault::Short, std::string(3, '\0')}};
    for (const auto &[fault, sent] : bytes) {
        const auto raw = std::get<RawBytes>(answer_with(fault));
        EXPECT_EQ(raw.bytes, sent);
        EXPECT_TRUE(raw.close_after);
        EXPECT_THAT(out.str(),
                    testing::EndsWith("-> " + std::to_string(sent.size()) + " raw bytes, close\n"));
    }
    EXPECT_TRUE(std::holds_alternative<configd::Silence>(answer_with(Fault::Silent)));
    EXPECT_THAT(out.str(), testing::EndsWith("-> no answer\n"));
}

TEST_F(DaemonTest, LogsAMessageAsOneJsonObject) {
    EXPECT_CALL(backend, apply).WillOnce(Return(ApplyResult{0}));
    answer(as_message(1, 100), {}, LogFormat::Json);
    EXPECT_EQ(out.str(), R"({"event":"message","module":3,"subMod":1,"dataLen":24,)"
                         R"("name":"BGP_SUB_BGP_AS","record":"bgp_as_val",)"
                         R"("fields":{"op":1,"as":100},"answer":{"code":0}})"
                         "\n");
}

TEST_F(DaemonTest, LogsWhatIsWrongAndEveryKindOfAnswerInJson) {
    const Overrides overrides{{{BGP_SUB_RPC_IP_BGP_SUMMARY, 17}},
                              {{1, Fault::Close}, {2, Fault::Silent}}};
    answer(configd::make_message(7, 1, ""), overrides, LogFormat::Json);
    answer(as_message(1, 100), overrides, LogFormat::Json);
    answer(router_id_message(1, 100, "\xff"), overrides, LogFormat::Json);
    answer(summary_query(), overrides, LogFormat::Json);

    std::istringstream lines{out.str()};
    std::vector<ordered_json> objects;
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(ordered_json::parse(line));
    }
    ASSERT_EQ(objects.size(), 4U);
    EXPECT_EQ(objects[0]["error"], "unknown module 7");
    EXPECT_EQ(objects[0]["answer"], (ordered_json{{"code", 16}}));
    EXPECT_EQ(objects[1]["answer"], (ordered_json{{"rawBytes", 0}, {"close", true}}));
    EXPECT_EQ(objects[2]["answer"], nullptr);
    EXPECT_EQ(objects[3]["answer"],
              (ordered_json{{"module", 3}, {"subMod", 21}, {"resValue", 17}, {"dataLen", 16}}));
}

TEST_F(DaemonTest, AnswersAMessageThatFailedWithTenAndALine) {
    Log log{out, LogFormat::Text};
    Daemon daemon{backend, log};
    EXPECT_EQ(std::get<configd::ResultCode>(daemon.failed(as_message(1, 100), "why")).code,
              SR_ERR_OPERATION_FAILED);
    EXPECT_EQ(std::get<Reply>(daemon.failed(summary_query(), "why")).res_value,
              SR_ERR_OPERATION_FAILED);
    EXPECT_THAT(out.str(),
                testing::StartsWith("BGP_SUB_BGP_AS bgp_as_val op=set as=100 (why) -> 10\n"));
}

// What the log writes of these events in each format, one after the other.
template <typename Report>
std::string in_every_format(Report report) {
    std::ostringstream out;
    for (const LogFormat format : {LogFormat::Text, LogFormat::None, LogFormat::Json}) {
        Log log{out, format};
        report(log);
    }
    return out.str();
}

TEST(Log, WritesTheConfigurationAndThePortInEveryFormat) {
    EXPECT_EQ(in_every_format([](Log &log) {
                  log.configuration({{"as", 100}});
              }),
              "{\"as\":100}\n{\"as\":100}\n"
              "{\"event\":\"configuration\",\"configuration\":{\"as\":100}}\n");
    EXPECT_EQ(in_every_format([](Log &log) { log.listening(8888); }),
              "listening on 127.0.0.1:8888\nlistening on 127.0.0.1:8888\n"
              "{\"event\":\"listening\",\"address\":\"127.0.0.1\",\"port\":8888}\n");
}

TEST(Log, ContinuesAfterALineThatCouldNotBeWritten) {
    std::ostringstream out;
    Log log{out, LogFormat::Text};
    out.setstate(std::ios::badbit);
    log.listening(1);
    log.listening(2);
    EXPECT_THAT(out.str(), testing::HasSubstr("127.0.0.1:2\n"));
}

TEST(Log, ReportsConnectionEvents) {
    using Kind = configd::ConnectionEvent::Kind;
    const auto report = [](Log &log) {
        log.connection({Kind::Opened, 1, ""});
        log.connection({Kind::BadFrame, 1, "dataLen is 3"});
        log.connection({Kind::Closed, 1, ""});
        log.connection({Kind::Refused, 2, "1 connections are open"});
    };
    EXPECT_EQ(in_every_format(report),
              "connection 1 opened\n"
              "connection 1 bad frame: dataLen is 3\n"
              "connection 1 closed\n"
              "connection 2 refused: 1 connections are open\n"
              "{\"event\":\"opened\",\"connection\":1}\n"
              "{\"event\":\"bad_frame\",\"connection\":1,\"error\":\"dataLen is 3\"}\n"
              "{\"event\":\"closed\",\"connection\":1}\n"
              "{\"event\":\"refused\",\"connection\":2,"
              "\"error\":\"1 connections are open\"}\n");
}

TEST(ParseFailure, TakesASubModuleAndACode) {
    EXPECT_EQ(configd::parse_failure("3=18"), (std::pair{3, 18}));
    EXPECT_EQ(configd::parse_failure("network=-1"), (std::pair<int, int>{BGP_SUB_NETWORK, -1}));
    for (const char *text : {"", "3", "3=", "=18", "0=18", "3=x", "3=18x", "3=99999999999"}) {
        EXPECT_EQ(configd::parse_failure(text), std::nullopt) << text;
    }
}

TEST(ParseFault, TakesASubModuleAndAFault) {
    EXPECT_EQ(configd::parse_fault("3=close"), (std::pair{3, Fault::Close}));
    EXPECT_EQ(configd::parse_fault("3=short"), (std::pair{3, Fault::Short}));
    EXPECT_EQ(configd::parse_fault("BGP_SUB_NETWORK=silent"),
              (std::pair<int, Fault>{BGP_SUB_NETWORK, Fault::Silent}));
    for (const char *text : {"", "3", "3=", "=close", "99=close", "3=burn"}) {
        EXPECT_EQ(configd::parse_fault(text), std::nullopt) << text;
    }
}

TEST(ParseReply, TakesAQueryAndTheBytesOfAFile) {
    const std::string bytes("a\0\n\xff", 4);
    const TemporaryFile file{bytes};
    EXPECT_EQ(configd::parse_reply("18=" + file.name()), (std::pair{18, bytes}));
    EXPECT_EQ(configd::parse_reply("rpc_ip_bgp_summary=" + file.name()), (std::pair{21, bytes}));
    for (const char *text : {"", "18", "17=", "99=", "bgp_as="}) {
        EXPECT_EQ(configd::parse_reply(text + file.name()), std::nullopt) << text;
    }
}

TEST(ParseReply, NamesAFileThatIsNotThere) {
    EXPECT_THAT(
        [] { configd::parse_reply("18=/nowhere/reply"); },
        testing::ThrowsMessage<std::system_error>("/nowhere/reply: No such file or directory"));
}

TEST_F(DaemonTest, ABadMessageHarmsNoOtherOnItsConnection) {
    EXPECT_CALL(backend, apply).WillOnce(Return(ApplyResult{0}));
    Log log{out, LogFormat::Text};
    Daemon daemon{backend, log};
    configd::Server server{daemon, 0};
    const RunningServer running{server};
    Client client{server.port()};
    EXPECT_EQ(client.ask(configd::make_message(MODULE_ID_BGP, BGP_SUB_MAX, "")),
              SR_ERR_NOT_SUPPORT);
    EXPECT_EQ(client.ask(as_message(1, 100)), 0);
}

} // namespace
