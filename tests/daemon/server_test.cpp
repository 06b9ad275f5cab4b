#include "server.h"

#include "client.h"
#include "records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <semaphore.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
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

// The payload of the longest message.
const std::string largest(BUF_SIZE_MAX - configd::header_size, 'x');

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

    // A connection over which the client has sent these bytes.
    Client sent(std::string_view bytes) const {
        Client client = connect();
        client.send(bytes);
        return client;
    }

    std::vector<std::string> events() {
        const std::lock_guard lock{mutex_};
        return events_;
    }

    // Waits for the event; meanwhile the client's messages are answered.
    void wait_for(const std::string &event, Client &client) {
        for (auto seen = events(); std::find(seen.begin(), seen.end(), event) == seen.end();
             seen = events()) {
            EXPECT_EQ(client.ask(numbered(4)), 4);
        }
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

TEST(Server, AnswersAQueryWithAMessage) {
    TestServer server{[](const Message &message) {
        return configd::Reply{message.module, message.sub_mod, 19, "answer"};
    }};
    Client client = server.sent(numbered(20).bytes);
    EXPECT_EQ(client.receive(22), configd::make_message(MODULE_ID_BGP, 20, "answer", 19).bytes);
}

TEST(Server, PutsMessagesTogetherFromAnyPieces) {
    TestServer server{echo};
    Client client = server.connect();
    const std::string next = numbered(2).bytes;
    client.send(numbered(1).bytes + next.substr(0, 15));
    EXPECT_EQ(client.receive_code(), 1);
    client.send(next.substr(15));
    EXPECT_EQ(client.receive_code(), 2);
    for (const char byte : numbered(11).bytes) {
        client.send({&byte, 1});
    }
    EXPECT_EQ(client.receive_code(), 11);
}

TEST(Server, AnswersWhatCameBeforeTheEndOfTheStream) {
    TestServer server{echo};
    Client client = server.sent(numbered(1).bytes + numbered(2).bytes);
    client.finish_sending();
    EXPECT_EQ(client.receive_code(), 1);
    EXPECT_EQ(client.receive_code(), 2);
    EXPECT_TRUE(client.is_closed());
}

TEST(Server, AcceptsTheLongestMessage) {
    TestServer server{
        [](const Message &m) { return configd::ResultCode{std::int32_t(m.bytes.size())}; }};
    EXPECT_EQ(server.connect().ask(configd::make_message(MODULE_ID_BGP, 1, largest)), BUF_SIZE_MAX);
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

constexpr std::int32_t large_query = BGP_SUB_RPC_IP_BGP_EVPN;

// Answers a large query with 10 MiB.
Answer large_or_echo(const Message &message) {
    if (message.sub_mod == large_query) {
        return configd::Reply{message.module, message.sub_mod, 0, largest};
    }
    return echo(message);
}

TEST(Server, ASlowReaderBlocksNoOtherConnection) {
    TestServer server{large_or_echo};
    Client slow = server.connect(4096);
    slow.send(numbered(large_query).bytes + numbered(3).bytes);
    EXPECT_EQ(server.connect().ask(numbered(4)), 4);
    EXPECT_TRUE(slow.receive(BUF_SIZE_MAX) ==
                configd::make_message(MODULE_ID_BGP, large_query, largest).bytes);
    EXPECT_EQ(slow.receive_code(), 3) << "the message behind the slow one";
}

TEST(Server, APeerThatLeavesDuringItsReplyHarmsNoOther) {
    TestServer server{large_or_echo};
    Client other = server.connect();
    {
        Client slow = server.connect(4096);
        slow.send(numbered(large_query).bytes);
        EXPECT_EQ(slow.receive(100).size(), 100U);
    }
    EXPECT_EQ(other.ask(numbered(4)), 4);
}

// A connection that the server closes for what it sends, beside one that goes on.
void expect_bad_frame(std::int32_t length, bool ends, const std::string &reported) {
    TestServer server{echo};
    Client good = server.connect();
    EXPECT_EQ(good.ask(numbered(1)), 1);
    {
        Client bad = server.sent(header_with(length));
        if (ends) {
            bad.finish_sending();
        }
        EXPECT_TRUE(bad.is_closed());
    }
    EXPECT_EQ(good.ask(numbered(2)), 2);
    EXPECT_THAT(server.events_at_end(),
                ElementsAre("1 opened", "2 opened", "2 bad frame: " + reported, "2 closed"));
}

class BadFrameTest : public testing::TestWithParam<std::int32_t> {};

TEST_P(BadFrameTest, ClosesItsOwnConnectionOnly) {
    expect_bad_frame(GetParam(), false, "dataLen is " + std::to_string(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(DataLen, BadFrameTest,
                         testing::Values(15, 0, -1, INT32_MIN, BUF_SIZE_MAX + 1, INT32_MAX));

TEST(Server, ReportsAMessageThatItsPeerBreaksOff) {
    expect_bad_frame(24, true, "closed in the middle of a message");
}

TEST(Server, ReportsNothingBadWhenAPeerLeavesBetweenMessages) {
    TestServer server{echo};
    Client client = server.connect();
    client.ask(numbered(1));
    client.finish_sending();
    EXPECT_TRUE(client.is_closed());
    EXPECT_THAT(server.events_at_end(), ElementsAre("1 opened", "1 closed"));
}

TEST(Server, SendsRawBytesAndClosesWhenTheAnswerSaysSo) {
    for (const auto &[bytes, closes] :
         {std::pair{"", true}, std::pair{"abc", true}, std::pair{"abc", false}}) {
        TestServer server{[bytes = bytes, closes = closes](const Message &) {
            return configd::RawBytes{bytes, closes};
        }};
        Client client = server.sent(numbered(1).bytes + (closes ? "" : numbered(1).bytes));
        EXPECT_EQ(client.receive(closes ? 4 : 6), closes ? bytes : "abcabc");
    }
}

TEST(Server, StaysSilentAndKeepsTheConnection) {
    TestServer server{[](const Message &message) -> Answer {
        if (message.sub_mod == 1) {
            return configd::Silence{};
        }
        return echo(message);
    }};
    Client client = server.sent(numbered(1).bytes + numbered(2).bytes);
    EXPECT_EQ(client.receive_code(), 2);
}

// Jobs for the messages of one sub-module code. Each runs until the gate opens.
class GatedJobs {
  public:
    static constexpr std::int32_t sub_mod = BGP_SUB_RPC_IP_BGP_INFO;

    GatedJobs() { ::sem_init(&begun_, 0, 0); }
    GatedJobs(const GatedJobs &) = delete;
    GatedJobs &operator=(const GatedJobs &) = delete;
    ~GatedJobs() { ::sem_destroy(&begun_); }

    std::optional<Job> operator()(const Message &message) {
        if (message.sub_mod != sub_mod) {
            return std::nullopt;
        }
        return Job{[this] {
                       ::sem_post(&begun_);
                       gate_.wait();
                   },
                   [this] {
                       ++answered;
                       return configd::ResultCode{-sub_mod};
                   }};
    }

    // Waits until one more job runs.
    void wait_for_begin() { ::sem_wait(&begun_); }
    void open() { opened_.set_value(); }

    std::atomic<int> answered = 0; // also counts answers to closed connections

  private:
    sem_t begun_; // the library of C++17 has no semaphore
    std::promise<void> opened_;
    std::shared_future<void> gate_{opened_.get_future()};
};

const Message job_message = numbered(GatedJobs::sub_mod);

TEST(ServerJob, BlocksNoOtherConnection) {
    GatedJobs jobs;
    TestServer server{echo, std::ref(jobs)};
    Client waiting = server.sent(job_message.bytes);
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
    Client client =
        server.sent(numbered(1).bytes + job_message.bytes + numbered(2).bytes + job_message.bytes);
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

TEST(ServerJob, OfAResetConnectionDoesNotBegin) {
    GatedJobs jobs;
    configd::Limits limits;
    limits.connections = 6;
    TestServer server{echo, std::ref(jobs), limits};
    std::vector<Client> clients;
    while (clients.size() < 4) { // each has a thread
        clients.push_back(server.sent(job_message.bytes));
        jobs.wait_for_begin();
    }
    Client other = server.connect();
    Client waiting = server.sent(job_message.bytes);
    // Before each of these answers the server reads everything that has arrived.
    for (std::int32_t i = 1; i <= 10; ++i) {
        EXPECT_EQ(other.ask(numbered(i)), i);
    }
    waiting.reset();
    server.wait_for("6 closed", other);
    EXPECT_TRUE(server.connect().is_closed()) << "its place is taken until its job is dropped";
    jobs.open();
    for (Client &client : clients) {
        EXPECT_EQ(client.receive_code(), -GatedJobs::sub_mod);
    }
    EXPECT_EQ(clients[0].ask(job_message), -GatedJobs::sub_mod) << "behind the dropped job";
    EXPECT_EQ(jobs.answered, 5);
}

TEST(ServerJob, OfAResetConnectionSendsNoAnswer) {
    GatedJobs jobs;
    TestServer server{echo, std::ref(jobs)};
    {
        Client client = server.sent(job_message.bytes);
        jobs.wait_for_begin();
        client.reset();
    }
    Client other = server.connect();
    server.wait_for("1 closed", other);
    Client next = server.connect(); // has the same descriptor as the first one
    EXPECT_EQ(next.ask(numbered(5)), 5);
    jobs.open();
    while (jobs.answered < 1) {
        EXPECT_EQ(other.ask(numbered(6)), 6);
    }
    EXPECT_EQ(next.ask(numbered(7)), 7) << "and no answer of another's job before";
}

// A server that ends before its client.
class EndingServer {
  public:
    explicit EndingServer(JobFor job_for = no_job) : handler_{echo, std::move(job_for)} {}

    std::uint16_t port() const { return server_->port(); }
    void stop() { running_.reset(); }
    void end() { server_.reset(); }

  private:
    FunctionHandler handler_;
    std::optional<configd::Server> server_{std::in_place, handler_, std::uint16_t{0}};
    std::optional<RunningServer> running_{std::in_place, *server_};
};

TEST(ServerJob, AtWorkDoesNotKeepTheServerFromStopping) {
    GatedJobs jobs;
    EndingServer server{std::ref(jobs)};
    Client client{server.port()};
    client.send(job_message.bytes);
    jobs.wait_for_begin();
    server.stop();
    jobs.open();
    server.end();
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

TEST(Server, StopsWithConnectionsOpenAndAnotherMayListenOnItsPort) {
    EndingServer server;
    const std::uint16_t port = server.port();
    Client client{port};
    EXPECT_EQ(client.ask(numbered(1)), 1);
    server.stop();
    server.end();
    EXPECT_TRUE(client.is_closed());
    FunctionHandler handler{echo};
    EXPECT_EQ((configd::Server{handler, port}.port()), port);
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
    Client slow = server.sent(numbered(2).bytes + numbered(2).bytes.substr(0, 20));
    EXPECT_EQ(slow.receive_code(), 2);
    EXPECT_TRUE(slow.is_closed());
    EXPECT_EQ(idle.ask(numbered(3)), 3) << "between messages there is no limit";
    EXPECT_THAT(server.events_at_end(),
                testing::Contains("2 bad frame: its message did not come in time"));
}

TEST(ServerLimits, AnswerThatNobodyReadsClosesItsConnectionAfterTheTimeLimit) {
    configd::Limits limits;
    limits.message = std::chrono::milliseconds{50};
    TestServer server{large_or_echo, no_job, limits};
    Client reads_nothing = server.connect(4096);
    reads_nothing.send(numbered(large_query).bytes);
    Client other = server.connect();
    server.wait_for("1 closed", other);
    EXPECT_THAT(server.events_at_end(),
                testing::Contains("1 bad frame: its answer was not read in time"));
}

TEST(ServerLimits, UnfinishedMessagesStayWithinTheMemoryLimit) {
    configd::Limits limits;
    limits.unfinished = 2 * 60016 + 10;
    TestServer server{echo, no_job, limits};
    const std::string half = header_with(BUF_SIZE_MAX) + std::string(60000, 'x');
    Client first = server.sent(half);
    // Before each of these answers the server reads everything that has arrived.
    Client other = server.connect();
    for (std::int32_t i = 1; i <= 10; ++i) {
        EXPECT_EQ(other.ask(numbered(i)), i);
    }
    Client second = server.sent(half);
    for (std::int32_t i = 1; i <= 10; ++i) {
        EXPECT_EQ(other.ask(numbered(i)), i) << "a whole message takes no memory";
    }
    Client third = server.sent(half.substr(0, 100));
    EXPECT_TRUE(first.is_closed()) << "the largest";
    EXPECT_EQ(server.connect().ask(numbered(3)), 3);
    EXPECT_THAT(server.events_at_end(),
                testing::Contains("1 bad frame: unfinished messages take too much memory"));
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
    Client second = server.sent(numbered(2).bytes);
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
