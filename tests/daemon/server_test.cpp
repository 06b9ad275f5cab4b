#include "server.h"

#include "client.h"
#include "records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>
#include <vector>

using configd::Answer;
using configd::ConnectionEvent;
using configd::Job;
using configd::Message;
using testing::ElementsAre;

namespace {

using JobFor = std::function<std::optional<Job>(const Message &)>;

std::optional<Job> no_job(const Message & /*message*/) {
    return std::nullopt;
}

class FunctionHandler : public configd::Handler {
  public:
    explicit FunctionHandler(std::function<Answer(const Message &)> function,
                             JobFor job_for_message = no_job)
        : function_{std::move(function)}, job_for_{std::move(job_for_message)} {}

    Answer answer(const Message &message) override { return function_(message); }
    std::optional<Job> job_for(const Message &message) override { return job_for_(message); }

  private:
    std::function<Answer(const Message &)> function_;
    JobFor job_for_;
};

// Answers each message with its sub-module code.
Answer echo(const Message &message) {
    return configd::ResultCode{message.sub_mod};
}

Message numbered(std::int32_t number) {
    return configd::make_message(MODULE_ID_BGP, number, "payload");
}

// A header with this length.
std::string header_with(std::int32_t length) {
    const std::int32_t header[] = {MODULE_ID_BGP, BGP_SUB_BGP_AS, 0, length};
    std::string bytes(sizeof header, '\0');
    std::memcpy(bytes.data(), header, sizeof header);
    return bytes;
}

// A running server with one handler function. It reports its connections as text.
class TestServer {
  public:
    explicit TestServer(std::function<Answer(const Message &)> function, JobFor job_for = no_job,
                        const configd::Limits &limits = {})
        : handler_{std::move(function), std::move(job_for)}, server_{handler_, 0, limits} {
        server_.on_event([this](const ConnectionEvent &event) {
            constexpr const char *names[] = {"opened", "closed", "bad frame: ", "refused: "};
            const std::lock_guard lock{mutex_};
            events_.push_back(std::to_string(event.connection) + " " +
                              names[static_cast<std::size_t>(event.kind)] + event.detail);
        });
        running_.emplace(server_);
    }

    Client connect(int receive_buffer = 0) const { return Client{server_.port(), receive_buffer}; }

    std::vector<std::string> events() {
        const std::lock_guard lock{mutex_};
        return events_;
    }

    // All events, after the server has ended.
    std::vector<std::string> events_at_end() {
        running_.reset();
        return events();
    }

  private:
    FunctionHandler handler_;
    configd::Server server_;
    std::mutex mutex_;
    std::vector<std::string> events_;
    std::optional<RunningServer> running_;
};

TEST(Server, AnswersWithABareResultCode) {
    TestServer server{[](const Message &) { return configd::ResultCode{-7}; }};
    Client client = server.connect();
    EXPECT_EQ(client.ask(numbered(1)), -7);
    client.finish_sending();
    EXPECT_TRUE(client.is_closed());
}

TEST(Server, PassesTheWholeMessageToTheHandler) {
    std::promise<Message> handed;
    TestServer server{[&](const Message &message) {
        handed.set_value(message);
        return configd::ResultCode{0};
    }};
    const Message sent = configd::make_message(-5, 99, std::string("a\0b", 3), 42);
    server.connect().ask(sent);
    const Message message = handed.get_future().get();
    EXPECT_EQ(message.module, -5);
    EXPECT_EQ(message.sub_mod, 99);
    EXPECT_EQ(message.bytes, sent.bytes);
}

TEST(Server, AnswersAMessageThatIsOnlyAHeader) {
    TestServer server{echo};
    EXPECT_EQ(server.connect().ask(configd::make_message(MODULE_ID_BGP, 5, "")), 5);
}

TEST(Server, AnswersAQueryWithAMessage) {
    TestServer server{[](const Message &message) {
        return configd::Reply{message.module, message.sub_mod, 19, "answer"};
    }};
    Client client = server.connect();
    client.send(numbered(20).bytes);
    EXPECT_EQ(client.receive(22), configd::make_message(MODULE_ID_BGP, 20, "answer", 19).bytes);
}

TEST(Server, PutsAMessageTogetherByteByByte) {
    TestServer server{echo};
    Client client = server.connect();
    for (const char byte : numbered(11).bytes) {
        client.send({&byte, 1});
    }
    EXPECT_EQ(client.receive_code(), 11);
}

TEST(Server, AnswersEachOfTwoMessagesInOneSegment) {
    TestServer server{echo};
    Client client = server.connect();
    client.send(numbered(1).bytes + numbered(2).bytes);
    EXPECT_EQ(client.receive_code(), 1);
    EXPECT_EQ(client.receive_code(), 2);
}

TEST(Server, KeepsTheStartOfTheNextMessage) {
    TestServer server{echo};
    Client client = server.connect();
    const std::string next = numbered(2).bytes;
    client.send(numbered(1).bytes + next.substr(0, 15));
    EXPECT_EQ(client.receive_code(), 1);
    client.send(next.substr(15));
    EXPECT_EQ(client.receive_code(), 2);
}

TEST(Server, AnswersWhatCameBeforeTheEndOfTheStream) {
    TestServer server{echo};
    Client client = server.connect();
    client.send(numbered(1).bytes + numbered(2).bytes);
    client.finish_sending();
    EXPECT_EQ(client.receive_code(), 1);
    EXPECT_EQ(client.receive_code(), 2);
    EXPECT_TRUE(client.is_closed());
}

TEST(Server, AcceptsTheLongestMessage) {
    TestServer server{
        [](const Message &m) { return configd::ResultCode{std::int32_t(m.bytes.size())}; }};
    const std::string payload(BUF_SIZE_MAX - configd::header_size, 'x');
    EXPECT_EQ(server.connect().ask(configd::make_message(MODULE_ID_BGP, 1, payload)), BUF_SIZE_MAX);
}

TEST(Server, ServesManyConnectionsAtOnce) {
    TestServer server{echo};
    std::vector<Client> clients;
    clients.reserve(200);
    while (clients.size() < 200) {
        clients.push_back(server.connect());
    }
    // The last one first, and each twice.
    for (int round = 0; round < 2; ++round) {
        for (std::size_t i = clients.size(); i-- > 0;) {
            EXPECT_EQ(clients[i].ask(numbered(static_cast<std::int32_t>(i))), i);
        }
    }
}

TEST(Server, ASlowReaderBlocksNoOtherConnection) {
    const std::string payload(BUF_SIZE_MAX - configd::header_size, 'x');
    TestServer server{[&](const Message &message) -> Answer {
        if (message.sub_mod == BGP_SUB_RPC_IP_BGP_EVPN) {
            return configd::Reply{message.module, message.sub_mod, 0, payload};
        }
        return echo(message);
    }};
    Client slow = server.connect(4096);
    slow.send(numbered(BGP_SUB_RPC_IP_BGP_EVPN).bytes + numbered(3).bytes);
    Client other = server.connect();
    EXPECT_EQ(other.ask(numbered(4)), 4);

    const std::string reply =
        configd::make_message(MODULE_ID_BGP, BGP_SUB_RPC_IP_BGP_EVPN, payload).bytes;
    EXPECT_TRUE(slow.receive(BUF_SIZE_MAX) == reply) << "10 MiB";
    EXPECT_EQ(slow.receive_code(), 3) << "the message behind the slow one";
}

TEST(Server, APeerThatLeavesDuringItsReplyHarmsNoOther) {
    const std::string payload(BUF_SIZE_MAX - configd::header_size, 'x');
    TestServer server{[&](const Message &message) -> Answer {
        if (message.sub_mod == BGP_SUB_RPC_IP_BGP_EVPN) {
            return configd::Reply{message.module, message.sub_mod, 0, payload};
        }
        return echo(message);
    }};
    Client other = server.connect();
    {
        Client slow = server.connect(4096);
        slow.send(numbered(BGP_SUB_RPC_IP_BGP_EVPN).bytes);
        EXPECT_EQ(slow.receive(100).size(), 100U);
    }
    EXPECT_EQ(other.ask(numbered(4)), 4);
}

class BadFrameTest : public testing::TestWithParam<std::int32_t> {};

TEST_P(BadFrameTest, ClosesItsOwnConnectionOnly) {
    TestServer server{echo};
    Client good = server.connect();
    EXPECT_EQ(good.ask(numbered(1)), 1);
    {
        Client bad = server.connect();
        bad.send(header_with(GetParam()));
        EXPECT_TRUE(bad.is_closed());
    }
    EXPECT_EQ(good.ask(numbered(2)), 2);
    EXPECT_THAT(server.events_at_end(),
                ElementsAre("1 opened", "2 opened",
                            "2 bad frame: dataLen is " + std::to_string(GetParam()), "2 closed"));
}

INSTANTIATE_TEST_SUITE_P(DataLen, BadFrameTest,
                         testing::Values(15, 0, -1, INT32_MIN, BUF_SIZE_MAX + 1, INT32_MAX));

TEST(Server, ReportsAMessageThatItsPeerBreaksOff) {
    TestServer server{echo};
    Client good = server.connect();
    EXPECT_EQ(good.ask(numbered(1)), 1);
    {
        Client bad = server.connect();
        bad.send(header_with(24));
        bad.finish_sending();
        EXPECT_TRUE(bad.is_closed());
    }
    EXPECT_EQ(good.ask(numbered(2)), 2);
    EXPECT_THAT(server.events_at_end(),
                ElementsAre("1 opened", "2 opened",
                            "2 bad frame: closed in the middle of a message", "2 closed"));
}

TEST(Server, ReportsNothingBadWhenAPeerLeavesBetweenMessages) {
    TestServer server{echo};
    Client client = server.connect();
    client.ask(numbered(1));
    client.finish_sending();
    EXPECT_TRUE(client.is_closed());
    EXPECT_THAT(server.events_at_end(), ElementsAre("1 opened", "1 closed"));
}

TEST(Server, ClosesAtOnceWhenTheAnswerSaysSo) {
    TestServer server{[](const Message &) { return configd::RawBytes{"", true}; }};
    Client client = server.connect();
    client.send(numbered(1).bytes);
    EXPECT_TRUE(client.is_closed());
}

TEST(Server, SendsRawBytesAndCloses) {
    TestServer server{[](const Message &) { return configd::RawBytes{"abc", true}; }};
    Client client = server.connect();
    client.send(numbered(1).bytes);
    EXPECT_EQ(client.receive(4), "abc");
}

TEST(Server, SendsRawBytesAndContinues) {
    TestServer server{[](const Message &) { return configd::RawBytes{"abc", false}; }};
    Client client = server.connect();
    client.send(numbered(1).bytes + numbered(1).bytes);
    EXPECT_EQ(client.receive(6), "abcabc");
}

TEST(Server, StaysSilentAndKeepsTheConnection) {
    TestServer server{[](const Message &message) -> Answer {
        if (message.sub_mod == 1) {
            return configd::Silence{};
        }
        return echo(message);
    }};
    Client client = server.connect();
    client.send(numbered(1).bytes + numbered(2).bytes);
    EXPECT_EQ(client.receive_code(), 2);
}

// Jobs for the messages of one sub-module code. Each runs until the gate opens.
class GatedJobs {
  public:
    static constexpr std::int32_t sub_mod = BGP_SUB_RPC_IP_BGP_INFO;

    std::optional<Job> operator()(const Message &message) {
        if (message.sub_mod != sub_mod) {
            return std::nullopt;
        }
        return Job{[this] {
                       begun_.release();
                       gate_.wait();
                   },
                   [this] {
                       ++answered;
                       return configd::ResultCode{-sub_mod};
                   }};
    }

    // Waits until one more job runs.
    void wait_for_begin() { begun_.acquire(); }
    void open() { opened_.set_value(); }

    std::atomic<int> answered = 0; // also counts answers to closed connections

  private:
    // The library of C++17 has no semaphore.
    class Semaphore {
      public:
        void release() {
            const std::lock_guard lock{mutex_};
            ++count_;
            changed_.notify_one();
        }
        void acquire() {
            std::unique_lock lock{mutex_};
            changed_.wait(lock, [this] { return count_ > 0; });
            --count_;
        }

      private:
        std::mutex mutex_;
        std::condition_variable changed_;
        int count_ = 0;
    };

    Semaphore begun_;
    std::promise<void> opened_;
    std::shared_future<void> gate_{opened_.get_future()};
};

const Message job_message = numbered(GatedJobs::sub_mod);

TEST(ServerJob, BlocksNoOtherConnection) {
    GatedJobs jobs;
    TestServer server{echo, std::ref(jobs)};
    Client waiting = server.connect();
    waiting.send(job_message.bytes);
    jobs.wait_for_begin();
    EXPECT_EQ(server.connect().ask(numbered(4)), 4);
    jobs.open();
    EXPECT_EQ(waiting.receive_code(), -GatedJobs::sub_mod);
}

TEST(ServerJob, BlocksNoOtherJob) {
    GatedJobs jobs;
    TestServer server{echo, std::ref(jobs)};
    Client one = server.connect();
    Client other = server.connect();
    for (Client *client : {&one, &other}) {
        client->send(job_message.bytes);
        jobs.wait_for_begin();
    }
    jobs.open();
    EXPECT_EQ(one.receive_code(), -GatedJobs::sub_mod);
    EXPECT_EQ(other.receive_code(), -GatedJobs::sub_mod);
}

TEST(ServerJob, IsAnsweredBeforeLaterMessagesOnItsConnection) {
    GatedJobs jobs;
    TestServer server{echo, std::ref(jobs)};
    Client client = server.connect();
    client.send(numbered(1).bytes + job_message.bytes + numbered(2).bytes + job_message.bytes);
    client.send(numbered(3).bytes);
    client.finish_sending();
    EXPECT_EQ(client.receive_code(), 1);
    jobs.open();
    for (const std::int32_t code : {-GatedJobs::sub_mod, 2, -GatedJobs::sub_mod, 3}) {
        EXPECT_EQ(client.receive_code(), code);
    }
    EXPECT_TRUE(client.is_closed());
}

TEST(ServerJob, OfManyConnectionsAnswersEach) {
    GatedJobs jobs;
    TestServer server{echo, std::ref(jobs)};
    std::vector<Client> clients;
    clients.reserve(50);
    while (clients.size() < 50) {
        clients.push_back(server.connect());
        clients.back().send(job_message.bytes);
    }
    jobs.open();
    for (Client &client : clients) {
        EXPECT_EQ(client.receive_code(), -GatedJobs::sub_mod);
    }
}

TEST(ServerJob, OfAPeerThatLeftHarmsNoOther) {
    GatedJobs jobs;
    TestServer server{echo, std::ref(jobs)};
    server.connect().send(job_message.bytes);
    jobs.wait_for_begin();
    jobs.open();
    EXPECT_EQ(server.connect().ask(numbered(4)), 4);
}

TEST(ServerJob, OfAResetConnectionSendsNoAnswer) {
    GatedJobs jobs;
    TestServer server{echo, std::ref(jobs)};
    {
        Client client = server.connect();
        client.send(job_message.bytes);
        jobs.wait_for_begin();
        client.reset();
    }
    Client other = server.connect();
    const auto is_closed = [&] {
        const auto events = server.events();
        return std::find(events.begin(), events.end(), "1 closed") != events.end();
    };
    while (!is_closed()) {
        EXPECT_EQ(other.ask(numbered(4)), 4);
    }
    Client next = server.connect(); // has the same descriptor as the first one
    EXPECT_EQ(next.ask(numbered(5)), 5);
    jobs.open();
    while (jobs.answered < 1) {
        EXPECT_EQ(other.ask(numbered(6)), 6);
    }
    EXPECT_EQ(next.ask(numbered(7)), 7) << "and no answer of another's job before";
}

TEST(ServerJob, AtWorkDoesNotKeepTheServerFromStopping) {
    GatedJobs jobs;
    FunctionHandler handler{echo, std::ref(jobs)};
    std::optional<configd::Server> server{std::in_place, handler, std::uint16_t{0}};
    std::optional<RunningServer> running{std::in_place, *server};
    Client client{server->port()};
    client.send(job_message.bytes);
    jobs.wait_for_begin();
    running.reset();
    jobs.open();
    server.reset();
    EXPECT_TRUE(client.is_closed());
    EXPECT_EQ(jobs.answered, 0);
}

// A job or handler that throws answers its message with 10, and the connection stays open.
TEST(ServerJob, ThatThrowsAnswersItsMessage) {
    const auto fail = []() -> Answer { throw std::runtime_error("in the answer"); };
    TestServer server{
        [&](const Message &message) { return message.sub_mod == 3 ? fail() : echo(message); },
        [&](const Message &message) -> std::optional<Job> {
            if (message.sub_mod == 1) {
                return Job{[] { throw std::runtime_error("at work"); }, fail};
            }
            return message.sub_mod == 2 ? std::optional{Job{[] {}, fail}} : std::nullopt;
        }};
    Client client = server.connect();
    for (const std::int32_t thrower : {1, 2, 3}) {
        EXPECT_EQ(client.ask(numbered(thrower)), SR_ERR_OPERATION_FAILED) << thrower;
        EXPECT_EQ(client.ask(numbered(7)), 7);
    }
}

TEST(ServerJob, InOrderRunsAfterTheJobsBeforeIt) {
    std::promise<void> opened;
    const std::shared_future<void> gate{opened.get_future()};
    std::mutex mutex;
    std::vector<std::int32_t> done;
    TestServer server{echo, [&](const Message &message) -> std::optional<Job> {
                          const std::int32_t number = message.sub_mod;
                          return Job{[&, number] {
                                         gate.wait();
                                         const std::lock_guard lock{mutex};
                                         done.push_back(number);
                                     },
                                     [number] { return configd::ResultCode{number}; },
                                     /*in_order=*/true};
                      }};
    std::vector<Client> clients;
    for (std::int32_t number = 1; number <= 5; ++number) {
        clients.push_back(server.connect());
        clients.back().send(numbered(number).bytes);
        // Waits until the server has read it: the server opens its next connection after that.
        while (server.events().size() < static_cast<std::size_t>(number)) {
        }
    }
    opened.set_value();
    for (std::int32_t number = 1; number <= 5; ++number) {
        EXPECT_EQ(clients[static_cast<std::size_t>(number - 1)].receive_code(), number);
    }
    EXPECT_EQ(done.size(), 5U);
}

TEST(Server, StopsWithConnectionsOpen) {
    FunctionHandler handler{echo};
    std::optional<configd::Server> server{std::in_place, handler, std::uint16_t{0}};
    std::optional<RunningServer> running{std::in_place, *server};
    Client client{server->port()};
    EXPECT_EQ(client.ask(numbered(1)), 1);
    running.reset();
    server.reset();
    EXPECT_TRUE(client.is_closed());
}

TEST(Server, AStopBeforeTheRunEndsIt) {
    FunctionHandler handler{echo};
    configd::Server server{handler, 0};
    server.stop();
    server.run();
}

TEST(Server, ThrowsWhenThePortIsTaken) {
    FunctionHandler handler{echo};
    const configd::Server server{handler, 0};
    try {
        const configd::Server second{handler, server.port()};
        FAIL() << "two servers on one port";
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.code(), std::errc::address_in_use);
    }
}

TEST(Server, ListensOnAPortRightAfterAnotherServerClosedIt) {
    FunctionHandler handler{echo};
    std::optional<configd::Server> first{std::in_place, handler, std::uint16_t{0}};
    const std::uint16_t port = first->port();
    Client client{port};
    {
        const RunningServer running{*first};
        EXPECT_EQ(client.ask(numbered(1)), 1);
    }
    first.reset();
    const configd::Server second{handler, port};
    EXPECT_EQ(second.port(), port);
}

TEST(Server, CallsBackForASignalAsOftenAsItComes) {
    FunctionHandler handler{echo};
    configd::Server server{handler, 0};
    int received = 0;
    server.on_signal(SIGUSR2, [&] {
        if (++received == 2) {
            server.stop();
        } else {
            std::raise(SIGUSR2);
        }
    });
    std::raise(SIGUSR2);
    server.run();
    EXPECT_EQ(received, 2);
}

// --- Limits ------------------------------------------------------------------------------

TEST(ServerLimits, ConnectionBeyondTheLimitIsRefusedAndLogged) {
    TestServer server{echo, no_job, {2}};
    std::optional<Client> first{server.connect()};
    Client second = server.connect();
    EXPECT_EQ(first->ask(numbered(1)), 1);
    EXPECT_EQ(second.ask(numbered(1)), 1);
    EXPECT_TRUE(server.connect().is_closed());
    first.reset();
    const auto events = [&] { return server.events().size(); };
    while (events() < 4) {
    }
    EXPECT_EQ(server.connect().ask(numbered(2)), 2);
    EXPECT_THAT(server.events_at_end(), testing::Contains("3 refused: 2 connections are open"));
}

TEST(ServerLimits, IncompleteMessageClosesItsConnectionAfterTheTimeLimit) {
    configd::Limits limits;
    limits.message = std::chrono::milliseconds{50};
    TestServer server{echo, no_job, limits};
    Client idle = server.connect();
    EXPECT_EQ(idle.ask(numbered(1)), 1);
    Client slow = server.connect();
    slow.send(numbered(2).bytes + numbered(2).bytes.substr(0, 20));
    EXPECT_EQ(slow.receive_code(), 2);
    EXPECT_TRUE(slow.is_closed());
    EXPECT_EQ(idle.ask(numbered(3)), 3) << "between messages there is no limit";
    EXPECT_THAT(server.events_at_end(),
                testing::Contains("2 bad frame: its message did not come in time"));
}

TEST(ServerLimits, UnfinishedMessagesStayWithinTheMemoryLimit) {
    configd::Limits limits;
    limits.unfinished = 100000;
    TestServer server{echo, no_job, limits};
    const std::string half = header_with(BUF_SIZE_MAX) + std::string(60000, 'x');
    Client first = server.connect();
    first.send(half);
    // Before each of these answers the server reads everything that has arrived.
    Client other = server.connect();
    for (std::int32_t i = 1; i <= 10; ++i) {
        EXPECT_EQ(other.ask(numbered(i)), i);
    }
    Client second = server.connect();
    second.send(half);
    EXPECT_TRUE(second.is_closed());
    EXPECT_EQ(server.connect().ask(numbered(3)), 3);
    EXPECT_THAT(server.events_at_end(),
                testing::Contains("3 bad frame: unfinished messages take too much memory"));
}

TEST(ServerLimits, ThousandConnectionsAtOnceAreServed) {
    TestServer server{echo};
    std::vector<Client> clients;
    while (clients.size() < 1000) {
        clients.push_back(server.connect());
    }
    for (Client &client : clients) {
        client.send(numbered(5).bytes);
    }
    for (Client &client : clients) {
        EXPECT_EQ(client.receive_code(), 5);
    }
}

// Lowers the number of descriptors that this process may have open.
class DescriptorLimit {
  public:
    explicit DescriptorLimit(int limit) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit lowered{static_cast<rlim_t>(limit), before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &lowered);
    }
    DescriptorLimit(const DescriptorLimit &) = delete;
    DescriptorLimit &operator=(const DescriptorLimit &) = delete;
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    rlimit before_{};
};

TEST(Server, AConnectionWithoutADescriptorLeftWaitsForAnothersEnd) {
    TestServer server{echo};
    std::optional<Client> first{server.connect()};
    EXPECT_EQ(first->ask(numbered(1)), 1);

    // Only the lowest free descriptor is allowed. The client's end takes it, so none is left for
    // the server.
    const int lowest = ::dup(0);
    ::close(lowest);
    const DescriptorLimit limit{lowest + 1};
    Client second = server.connect();
    second.send(numbered(2).bytes);
    EXPECT_EQ(first->ask(numbered(3)), 3);
    first.reset();
    EXPECT_EQ(second.receive_code(), 2);
}

TEST(Server, AConnectionWithoutADescriptorLeftIsAcceptedOnceThereIsOne) {
    TestServer server{echo};
    std::optional<Client> client;
    {
        const int lowest = ::dup(0);
        ::close(lowest);
        const DescriptorLimit limit{lowest + 1};
        client.emplace(server.connect());
        client->send(numbered(2).bytes);
    }
    EXPECT_EQ(client->receive_code(), 2) << "though no connection has ended";
}

} // namespace
