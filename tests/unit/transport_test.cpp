#include "netconf_bgp_public.h"
#include "observed_calls.h"
#include "plugin_public.h"
#include "plugin_test.h"
#include "recording_daemon.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

// The transport's receive buffer, which is the first half of `reply_room`.
extern "C" {
extern char buf[BUF_SIZE_MAX];
extern char reply_room[2 * BUF_SIZE_MAX];
}

namespace {

using support::bytes_of;
using support::CapturedOutput;
using support::in_pieces;
using support::ObservedCalls;
using support::RecordingDaemon;

// A message on the heap.
struct FreeMessage {
    void operator()(netconf_data_struc *message) const { std::free(message); }
};
using MessagePointer = std::unique_ptr<netconf_data_struc, FreeMessage>;

std::string message_bytes(int module, int sub_mod, int res_value, int length,
                          const std::string &payload) {
    const std::int32_t header[] = {module, sub_mod, res_value, length};
    return bytes_of(header) + payload;
}

std::string reply_bytes(const std::string &payload, int module = MODULE_ID_BGP) {
    return message_bytes(module, BGP_SUB_RPC_IP_BGP_SUMMARY, 0,
                         static_cast<int>(payload.size() + 16), payload);
}

MessagePointer make_query(const std::string &payload = "query") {
    const std::string bytes = reply_bytes(payload);
    MessagePointer query(static_cast<netconf_data_struc *>(std::malloc(bytes.size())));
    std::memcpy(query.get(), bytes.data(), bytes.size());
    return query;
}

// The bytes of the reply at the pointer.
std::string bytes_at(const netconf_data_struc *reply, std::size_t size) {
    return {reinterpret_cast<const char *>(reply), size};
}

// Sends a query over a connection and returns the reply.
template <typename Connection>
const netconf_data_struc *ask(const Connection &connection) {
    return sendAndGetReplyBuff(connection.descriptor(), make_query().get());
}

// The other end of a query connection. One read returns exactly one piece that it
// sends, whatever the timing.
class Peer {
  public:
    Peer() {
        if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends_) != 0) {
            throw std::system_error(errno, std::generic_category(), "socketpair");
        }
    }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;
    ~Peer() {
        close(ends_[0]);
        close(ends_[1]);
    }

    int descriptor() const { return ends_[0]; }
    int other_descriptor() const { return ends_[1]; }
    void send(const std::string &piece) const {
        ASSERT_EQ(::send(ends_[1], piece.data(), piece.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(piece.size()));
    }
    std::string received() const {
        char bytes[4096];
        const ssize_t count = recv(ends_[1], bytes, sizeof bytes, 0);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }
    // Nothing more will come.
    void finish() const { shutdown(ends_[1], SHUT_WR); }

  private:
    int ends_[2] = {-1, -1};
};

bool is_big_endian() {
    const std::uint16_t number = 1;
    char first = 0;
    std::memcpy(&first, &number, 1);
    return first == 0;
}

#ifdef BIG_ENDIAN_TARGET
TEST(ByteOrder, IsBigEndianOnThisTarget) {
    EXPECT_TRUE(is_big_endian());
}
#endif

class Transport : public support::PluginTest {};

char some_record[] = "12345678";

// --- Configuration: one record, one result code ---------------------------------

TEST_F(Transport, NumbersTravelInTheHostsByteOrder) {
    RecordingDaemon daemon;
    const ObservedCalls observed; // fresh memory holds zeros, so resValue does too
    bgp_as_val record{1, 65001};
    plugin_config(&record, sizeof record, 0, MODULE_ID_BGP, BGP_SUB_BGP_AS);
    const auto messages = daemon.take_messages();
    ASSERT_EQ(messages.size(), 1U);
    const char big[] = "\0\0\0\3\0\0\0\1\0\0\0\0\0\0\0\x18\0\0\0\1\0\0\xfd\xe9";
    const char little[] = "\3\0\0\0\1\0\0\0\0\0\0\0\x18\0\0\0\1\0\0\0\xe9\xfd\0\0";
    EXPECT_EQ(messages[0].bytes, std::string(is_big_endian() ? big : little, 24));
}

TEST_F(Transport, OptionIsNotSent) {
    RecordingDaemon daemon;
    ObservedCalls observed; // fresh memory holds zeros, so resValue does too
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    plugin_config(some_record, 8, 0x5a5a5a5a, MODULE_ID_BGP, 1);
    const auto messages = daemon.take_messages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0].bytes, messages[1].bytes);
}

TEST_F(Transport, ResultValueOfARequestIsWhatTheMemoryHeld) {
    RecordingDaemon daemon;
    ObservedCalls observed;
    observed.malloc_fill = '\x5a';
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    const auto messages = daemon.take_messages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].bytes.substr(8, 4), "\x5a\x5a\x5a\x5a");
}

TEST_F(Transport, DaemonsCodeIsPassedOnUnchanged) {
    RecordingDaemon daemon;
    for (const int code : {0, 1, 5, 16, 17, 18, 19, 20, 21, -1, 0x7fffffff, -0x7fffffff - 1}) {
        daemon.answer_next(configd::ResultCode{code});
        EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), code);
    }
    EXPECT_EQ(daemon.connections(), 1U);
}

TEST_F(Transport, OneRecordCostsOneWriteAndOneReadOnTheOpenConnection) {
    RecordingDaemon daemon;
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    ObservedCalls observed;
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    observed.end();
    EXPECT_EQ(observed.sizes("write"), std::vector<std::size_t>{24});
    EXPECT_EQ(observed.sizes("read"), std::vector<std::size_t>{4});
    EXPECT_EQ(observed.sizes("malloc"), std::vector<std::size_t>{24});
    EXPECT_EQ(observed.calls.size(), 3U);
}

TEST_F(Transport, FirstRecordConnectsAndTheConnectionStays) {
    RecordingDaemon daemon;
    ObservedCalls observed;
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    EXPECT_GT(netconf_plugin_context, 0);
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    EXPECT_EQ(observed.count("socket"), 1U);
    EXPECT_EQ(observed.count("setsockopt"), 1U);
    EXPECT_EQ(observed.count("connect"), 1U);
    EXPECT_EQ(observed.count("close"), 0U);
    EXPECT_EQ(daemon.connections(), 1U);
}

TEST_F(Transport, NewSocketsMayReuseTheAddress) {
    RecordingDaemon daemon;
    int descriptor = -1;
    ASSERT_EQ(plugin_connect(&descriptor), 0);
    int reuse = 0;
    socklen_t size = sizeof reuse;
    ASSERT_EQ(getsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &reuse, &size), 0);
    EXPECT_NE(reuse, 0);
    EXPECT_EQ(plugin_close(descriptor), 0);
}

TEST_F(Transport, MissingRecordIsRefusedWithoutAConnection) {
    ObservedCalls observed;
    EXPECT_EQ(plugin_config(nullptr, 8, 0, MODULE_ID_BGP, 1), SR_ERR_OPERATION_FAILED);
    EXPECT_TRUE(observed.calls.empty());
}

TEST_F(Transport, EveryRecordTriesToConnectWhileTheDaemonDoesNotListen) {
    ObservedCalls observed;
    for (std::size_t tries = 1; tries <= 3; ++tries) {
        EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), SR_ERR_SOCKET_FAILED);
        EXPECT_EQ(netconf_plugin_context, -1);
        EXPECT_EQ(observed.count("connect"), tries);
    }
    const RecordingDaemon daemon;
    EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), SR_ERR_OK);
}

// The descriptor of the one connect.
int connected(const ObservedCalls &observed) {
    const auto connect = std::find_if(observed.calls.begin(), observed.calls.end(),
                                      [](const auto &call) { return call.name == "connect"; });
    return connect == observed.calls.end() ? -1 : connect->descriptor;
}

TEST_F(Transport, FailedConnectLeavesItsDescriptorOpen) {
    ObservedCalls observed;
    EXPECT_LT(sockCreateAndConnect(AF_INET, SOCK_STREAM, 0, NETCONF_DAEMON_PORT), 0);
    EXPECT_EQ(observed.count("close"), 0U);
    EXPECT_NE(fcntl(connected(observed), F_GETFD), -1);
    close(connected(observed));
}

TEST_F(Transport, FailedConnectsResultIsPassedOn) {
    ObservedCalls observed;
    observed.connect_result = -7;
    int context = 3;
    EXPECT_EQ(plugin_connect(&context), -1);
    EXPECT_EQ(context, -7);
    close(connected(observed));
}

TEST_F(Transport, WithoutASocketNothingElseIsTried) {
    ObservedCalls observed;
    observed.socket_result = -5;
    EXPECT_EQ(sockCreateAndConnect(AF_INET, SOCK_STREAM, 0, NETCONF_DAEMON_PORT), -1);
    EXPECT_EQ(observed.calls.size(), 1U);
    EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), SR_ERR_SOCKET_FAILED);
}

TEST_F(Transport, DescriptorZeroCountsAsNotConnected) {
    RecordingDaemon daemon;
    const int saved = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    {
        ObservedCalls observed;
        EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), SR_ERR_OK);
        EXPECT_EQ(netconf_plugin_context, 0);
        EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), SR_ERR_OK);
        EXPECT_EQ(observed.count("connect"), 2U);
        EXPECT_GT(netconf_plugin_context, 0);
    }
    dup2(saved, STDIN_FILENO);
    close(saved);
}

TEST_F(Transport, BrokenConnectionIsKeptAndNeverReopened) {
    std::signal(SIGPIPE, SIG_IGN); // as the host does
    int before = 0;
    {
        RecordingDaemon daemon;
        daemon.answer_next(configd::RawBytes{"", true});
        EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), SR_ERR_SOCKET_FAILED);
        before = netconf_plugin_context;
    }
    const RecordingDaemon restarted;
    ObservedCalls observed;
    for (int tries = 0; tries < 3; ++tries) {
        EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), SR_ERR_SOCKET_FAILED);
    }
    EXPECT_EQ(netconf_plugin_context, before);
    EXPECT_EQ(observed.count("connect"), 0U);
    EXPECT_EQ(observed.count("close"), 0U);
    EXPECT_EQ(restarted.connections(), 0U);
}

TEST_F(Transport, WithoutMemoryNothingIsSent) {
    RecordingDaemon daemon;
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    daemon.take_messages();
    ObservedCalls observed;
    observed.malloc_fails = true;
    EXPECT_EQ(plugin_send_and_receive(netconf_plugin_context, some_record, 8, 0, MODULE_ID_BGP, 1),
              SR_ERR_NOMEM);
    EXPECT_EQ(plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1), SR_ERR_NOMEM);
    EXPECT_EQ(observed.count("write"), 0U);
}

TEST_F(Transport, RecordOfALengthThatNoMessageHasIsOneWithoutMemory) {
    ObservedCalls observed;
    for (const int length : {INT_MAX, INT_MAX - 15, INT_MAX - 16, BUF_SIZE_MAX - 15, -1, INT_MIN}) {
        EXPECT_EQ(plugin_send_and_receive(1, some_record, length, 0, MODULE_ID_BGP, 1),
                  SR_ERR_NOMEM);
    }
    EXPECT_TRUE(observed.calls.empty());
}

TEST_F(Transport, ResponseCodeExchangeReturnsTheLastByteCount) {
    const MessagePointer request = make_query();
    sr_error_t code = SR_ERR_OK;
    const Peer peer;
    peer.send(bytes_of(std::int32_t{18}));
    EXPECT_EQ(sendAndGetResponseCode(peer.descriptor(), request.get(), &code), 4);
    EXPECT_EQ(bytes_of(code), bytes_of(std::int32_t{18}));
    EXPECT_EQ(peer.received(), reply_bytes("query"));

    peer.send("abc");
    EXPECT_EQ(sendAndGetResponseCode(peer.descriptor(), request.get(), &code), 3);
    EXPECT_EQ(bytes_of(code), bytes_of(std::int32_t{20}));

    EXPECT_EQ(sendAndGetResponseCode(-1, request.get(), &code), -1);
    EXPECT_EQ(bytes_of(code), bytes_of(std::int32_t{20}));
}

// --- Query: one message, one framed reply ---------------------------------------

TEST_F(Transport, ReplyIsWhatArrivesUntilItsLengthOrTheEnd) {
    const std::string whole = reply_bytes("payload");
    const std::string longer = message_bytes(3, 21, 0, 20, "payload that is longer");
    const std::string negative = message_bytes(3, 21, 0, -1, "abc");
    const std::string early = message_bytes(3, 21, 0, 500, "abc");
    const std::string odd = message_bytes(3, 99, -4, 3, "payload");
    struct Row {
        std::vector<std::string> pieces; // then the connection closes
        std::string reply;               // nothing: none
    };
    const Row rows[] = {
        {{whole}, whole},
        {{longer}, longer},
        {{negative, "def"}, negative},
        {{early, "def"}, early + "def"},
        // After the first piece the length is still zero: the reply counts as complete.
        {{whole.substr(0, 12), whole.substr(12)}, whole.substr(0, 12) + std::string(4, '\0')},
        {{odd}, odd}, // only the module is compared
        {{reply_bytes("payload", MODULE_ID_VLAN)}, ""},
        {{reply_bytes("payload", -5)}, ""},
        {{}, ""},
    };
    for (const Row &row : rows) {
        const Peer peer;
        for (const std::string &piece : row.pieces) {
            peer.send(piece);
        }
        peer.finish();
        const MessagePointer query = make_query();
        ObservedCalls observed;
        const auto *reply = sendAndGetReplyBuff(peer.descriptor(), query.get());
        observed.end();
        EXPECT_EQ(observed.count("malloc"), 0U) << "nothing is allocated for a reply";
        EXPECT_EQ(peer.received(), reply_bytes("query"));
        ASSERT_EQ(reply == nullptr, row.reply.empty());
        if (reply != nullptr) {
            EXPECT_EQ(bytes_at(reply, row.reply.size()), row.reply);
        }
    }
}

TEST_F(Transport, EveryReadAsksForAWholeBuffer) {
    const std::string whole = reply_bytes(std::string(50, 'x'));
    const Peer peer;
    peer.send(whole.substr(0, 20));
    peer.send(whole.substr(20));
    ObservedCalls observed;
    EXPECT_NE(ask(peer), nullptr);
    EXPECT_EQ(observed.sizes("read"), (std::vector<std::size_t>{BUF_SIZE_MAX, BUF_SIZE_MAX}));
}

TEST_F(Transport, SenderOfMoreThanItAnnouncedFindsRoomAndLeavesNothing) {
    // The largest amount: one byte less than the buffer, then a whole buffer more.
    const std::vector<std::size_t> sizes = {BUF_SIZE_MAX - 1, BUF_SIZE_MAX};
    const std::string header = message_bytes(3, 21, 0, BUF_SIZE_MAX, "");
    std::size_t reads = 0;
    ObservedCalls observed;
    observed.select_result = 1;
    observed.write_answer = [](const char * /*data*/, std::size_t size) {
        return static_cast<std::ptrdiff_t>(size);
    };
    observed.read_answer = [&](char *data, std::size_t size) -> std::ptrdiff_t {
        EXPECT_EQ(size, BUF_SIZE_MAX);
        std::memset(data, 'x', sizes.at(reads));
        if (reads == 0) {
            std::memcpy(data, header.data(), header.size());
        }
        return static_cast<std::ptrdiff_t>(sizes.at(reads++));
    };
    set_switches(0, 1);
    CapturedOutput output;
    EXPECT_EQ(sendAndGetReplyBuff(1, make_query().get()), static_cast<void *>(buf));
    EXPECT_THAT(output.text(), testing::HasSubstr("[sendAndGetReplyBuff:187]readLen = 10485760\n"
                                                  "total = 20971519\n"));
    EXPECT_EQ(reads, 2U);

    observed.end();
    const Peer peer;
    peer.send(reply_bytes("y"));
    EXPECT_EQ(ask(peer), static_cast<void *>(buf));
    EXPECT_TRUE(std::all_of(reply_room + 17, reply_room + sizeof reply_room,
                            [](char byte) { return byte == '\0'; }));
}

TEST_F(Transport, BufferIsTheFirstHalfOfTheRoom) {
    EXPECT_EQ(static_cast<void *>(buf), reply_room);
    EXPECT_EQ(sizeof reply_room, 2 * sizeof buf);
}

TEST_F(Transport, PreviousReplyLeavesNoBytesBehindAShorterOne) {
    const Peer peer;
    peer.send(reply_bytes(std::string(2000, 'x')));
    ASSERT_NE(ask(peer), nullptr);
    peer.send(reply_bytes("y"));
    const auto *reply = ask(peer);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(bytes_at(reply, 2016), reply_bytes("y") + std::string(1999, '\0'));
}

TEST_F(Transport, AnnouncedLengthIsLookedAtInEveryRound) {
    // Three of the four length bytes: on either byte order they announce more
    // than has come, or nothing at all.
    const std::string whole = reply_bytes(std::string(300, 'x'));
    const Peer peer;
    peer.send(whole.substr(0, 15));
    peer.send(whole.substr(15));
    const auto *reply = ask(peer);
    ASSERT_NE(reply, nullptr);
    std::int32_t announced = 0;
    std::memcpy(&announced, (whole.substr(12, 3) + '\0').data(), sizeof announced);
    const std::size_t expected = announced > 15 ? whole.size() : 15;
    EXPECT_EQ(bytes_at(reply, expected), whole.substr(0, expected));
    EXPECT_EQ(reply->transferData[299], expected == 15 ? '\0' : 'x');
}

// Sends from a thread more than a socket buffer holds, in pieces that one read
// returns each, until the other end stops reading.
class Sender {
  public:
    explicit Sender(std::vector<std::string> pieces) {
        thread_ = std::thread([this, pieces = std::move(pieces)] {
            for (const std::string &piece : pieces) {
                if (::send(peer_.other_descriptor(), piece.data(), piece.size(), MSG_NOSIGNAL) <
                    0) {
                    return;
                }
            }
            peer_.finish();
        });
    }
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;
    ~Sender() {
        shutdown(peer_.descriptor(), SHUT_RDWR);
        thread_.join();
    }
    int descriptor() const { return peer_.descriptor(); }

  private:
    const Peer peer_;
    std::thread thread_;
};

std::string patterned(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(i * 31 >> 3);
    }
    return bytes;
}

TEST_F(Transport, ReplyInPiecesIsPutTogether) {
    const std::string whole = reply_bytes(std::string(1000, 'x') + "end");
    const MessagePointer query = make_query();
    for (const std::size_t size : {1U, 7U, 64U}) {
        const Sender sender(in_pieces(whole, 16, size));
        ObservedCalls observed;
        const auto *reply = sendAndGetReplyBuff(sender.descriptor(), query.get());
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(bytes_at(reply, whole.size()), whole);
        EXPECT_EQ(observed.count("read"), 1 + (whole.size() - 16 + size - 1) / size);
        EXPECT_EQ(observed.count("write"), 1U);
        EXPECT_EQ(observed.sizes("select"), std::vector<std::size_t>{60});
    }
}

TEST_F(Transport, LongestReplyFillsTheBuffer) {
    const std::string whole = reply_bytes(patterned(BUF_SIZE_MAX - 16));
    const Sender sender(in_pieces(whole, 65536));
    const auto *reply = ask(sender);
    ASSERT_NE(reply, nullptr);
    EXPECT_TRUE(bytes_at(reply, BUF_SIZE_MAX) == whole);
}

TEST_F(Transport, SenderThatGoesOnBehindTheLongestReplyIsCutAtTheBuffersEnd) {
    const std::string whole = reply_bytes(patterned(BUF_SIZE_MAX - 16));
    const Sender sender(in_pieces(whole + std::string(3000000, 'x'), 65536));
    const auto *reply = ask(sender);
    ASSERT_NE(reply, nullptr);
    EXPECT_TRUE(bytes_at(reply, BUF_SIZE_MAX) == whole);
}

TEST_F(Transport, ReplyThatAnnouncesOneByteMoreThanFitsIsRefused) {
    const Peer peer;
    peer.send(message_bytes(3, 21, 0, BUF_SIZE_MAX + 1, "abc"));
    const CapturedOutput output;
    EXPECT_EQ(ask(peer), nullptr);
    EXPECT_EQ(output.text(), "data length exceed BUF_SIZE_MAX\n");
}

TEST_F(Transport, LengthThatGrowsBeyondTheBufferWhileTheHeaderArrivesIsCut) {
    // Only what the first read brought is compared with the buffer's size. A
    // header that comes in two pieces announces more later.
    const std::string whole = message_bytes(3, 21, 0, 0x7fffffff, patterned(BUF_SIZE_MAX + 100000));
    const Sender sender(in_pieces(whole, 14));
    const auto *reply = ask(sender);
    if (whole[12] == '\x7f') {
        EXPECT_EQ(reply, nullptr); // the two bytes announce too much already
        return;
    }
    ASSERT_NE(reply, nullptr);
    EXPECT_TRUE(bytes_at(reply, BUF_SIZE_MAX) == whole.substr(0, BUF_SIZE_MAX));
}

TEST_F(Transport, TimeOutReturnsThePreviousReplyOnceMore) {
    const Peer peer;
    peer.send(reply_bytes("previous"));
    ASSERT_NE(ask(peer), nullptr);
    ObservedCalls observed;
    observed.select_result = 0;
    for (int times = 0; times < 2; ++times) {
        const auto *reply = ask(peer);
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(bytes_at(reply, 24), reply_bytes("previous"));
    }
    EXPECT_EQ(observed.count("read"), 0U);
}

TEST_F(Transport, TimeOutReturnsNothingWhenThePreviousReplyWasForAnotherModule) {
    const Peer peer;
    peer.send(reply_bytes("previous", MODULE_ID_VLAN));
    ask(peer);
    ObservedCalls observed;
    observed.select_result = 0;
    EXPECT_EQ(ask(peer), nullptr);
}

TEST_F(Transport, TimeOutReturnsNothingWhenThePreviousConnectionGaveNothing) {
    {
        const Peer peer;
        peer.finish();
        ask(peer);
    }
    const Peer peer;
    ObservedCalls observed;
    observed.select_result = 0;
    EXPECT_EQ(ask(peer), nullptr);
}

TEST_F(Transport, FailedWaitIsTreatedLikeReadiness) {
    const Peer peer;
    peer.send(reply_bytes("payload"));
    ObservedCalls observed;
    observed.select_result = -1;
    EXPECT_NE(ask(peer), nullptr);
}

TEST_F(Transport, DescriptorBeyondADescriptorSetIsWaitedForAllTheSame) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, FD_SETSIZE + 100);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur <= FD_SETSIZE) {
        GTEST_SKIP() << "this machine allows no descriptor beyond " << FD_SETSIZE;
    }
    const Peer peer;
    peer.send(reply_bytes("payload"));
    const int high = fcntl(peer.descriptor(), F_DUPFD, FD_SETSIZE);
    ASSERT_GE(high, FD_SETSIZE);
    EXPECT_NE(sendAndGetReplyBuff(high, make_query().get()), nullptr);
    close(high);
}

TEST_F(Transport, MissingRequestIsRefusedWithALine) {
    const CapturedOutput output;
    EXPECT_EQ(sendAndGetReplyBuff(1, nullptr), nullptr);
    EXPECT_EQ(output.text(), "point is NULL.\n");
}

// --- Traces ----------------------------------------------------------------------

TEST_F(Transport, NothingIsPrintedWithTheSwitchOff) {
    RecordingDaemon daemon;
    const CapturedOutput output;
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    plugin_config(nullptr, 8, 0, MODULE_ID_BGP, 1);
    daemon.answer_next(configd::ResultCode{18});
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    const Peer peer;
    peer.send(reply_bytes("payload"));
    ask(peer);
    EXPECT_EQ(output.text(), "");
}

class TransportTrace : public Transport {
  protected:
    TransportTrace() { set_switches(0, 1); }
};

const std::string exchange = "\nin plugin_send_and_receive\n"
                             "\n in sendAndGetResponseCode\n";
const std::string answered = exchange + "\nsendAndGetResponseCode:##send data OK\n"
                                        "\nsendAndGetResponseCode:##after read\n";

TEST_F(TransportTrace, OfRefusedAndAcceptedRecords) {
    RecordingDaemon daemon;
    daemon.answer_next(configd::ResultCode{18});
    const CapturedOutput output;
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    EXPECT_EQ(output.text(), "socket_desc is " + std::to_string(netconf_plugin_context) +
                                 ".\n"
                                 "connect successfully.\n" +
                                 answered +
                                 "\nsendAndGetResponseCode:res is 18\n"
                                 "error, parameter receive error :18" +
                                 answered + "\nsendAndGetResponseCode:res is 0\n");
}

TEST_F(TransportTrace, OfAMissingRecord) {
    const CapturedOutput output;
    plugin_config(nullptr, 8, 0, MODULE_ID_BGP, 1);
    EXPECT_EQ(output.text(), "error, parameter error :0");
}

TEST_F(TransportTrace, OfARefusedConnection) {
    ObservedCalls observed;
    const CapturedOutput output;
    plugin_config(some_record, 8, 0, MODULE_ID_BGP, 1);
    EXPECT_EQ(output.text(), "socket_desc is " + std::to_string(connected(observed)) +
                                 ".\n"
                                 "connect fail.\n"
                                 "\nin plugin_send: socket connect failed"
                                 "error, parameter send error :-1");
    close(connected(observed));
}

TEST_F(TransportTrace, OfAMessageThatCannotBeSent) {
    const CapturedOutput output;
    EXPECT_EQ(plugin_send_and_receive(-1, some_record, 8, 0, MODULE_ID_BGP, 1), 20);
    EXPECT_EQ(output.text(), exchange + "\nsendAndGetResponseCode:send data failed\n");
}

TEST_F(TransportTrace, OfAnAnswerThatIsTooShort) {
    const Peer peer;
    peer.send("abc");
    const CapturedOutput output;
    EXPECT_EQ(plugin_send_and_receive(peer.descriptor(), some_record, 8, 0, MODULE_ID_BGP, 1), 20);
    EXPECT_EQ(output.text(), answered + "\nsendAndGetResponseCode:receive data failed\n");
}

const std::string waiting = "The send data totalLen is 21.\n"
                            "\nsendAndGetReplyBuff:##send data OK\n"
                            "[sendAndGetReplyBuff:150]begin readLen = 0\n";

TEST_F(TransportTrace, OfReplies) {
    struct Row {
        std::vector<std::string> pieces; // then the connection closes
        const char *lines;
    };
    const Row rows[] = {{{message_bytes(3, 21, 7, 26, "abc"), "defghij"},
                         "[sendAndGetReplyBuff:158]readLen = 19\n"
                         "[sendAndGetReplyBuff:187]readLen = 7\n"
                         "total = 26\n"
                         "module is 3,resValue is 7,dataLen is 26\n"},
                        {{message_bytes(3, 21, 0, 26, "abc")},
                         "[sendAndGetReplyBuff:158]readLen = 19\n"
                         "[sendAndGetReplyBuff:187]readLen = 0\n"
                         "read over,total = 19.\n"
                         "total = 19\n"
                         "module is 3,resValue is 0,dataLen is 26\n"},
                        {{reply_bytes("abc", MODULE_ID_ALL)},
                         "[sendAndGetReplyBuff:158]readLen = 19\n"
                         "total = 19\n"
                         "module is 8,resValue is 0,dataLen is 19\n"
                         "The data is not statis!\n"},
                        {{},
                         "[sendAndGetReplyBuff:158]readLen = 0\n"
                         "read over,total = 0.\n"
                         "total = 0\n"}};
    for (const Row &row : rows) {
        const Peer peer;
        for (const std::string &piece : row.pieces) {
            peer.send(piece);
        }
        peer.finish();
        const CapturedOutput output;
        ask(peer);
        EXPECT_EQ(output.text(), waiting + row.lines);
    }
}

TEST_F(TransportTrace, OfAReadThatFails) {
    // A descriptor that can be written but not read.
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ObservedCalls observed;
    observed.select_result = 1;
    const CapturedOutput output;
    EXPECT_EQ(sendAndGetReplyBuff(ends[1], make_query().get()), nullptr);
    EXPECT_EQ(output.text(), waiting + "[sendAndGetReplyBuff:158]readLen = -1\n"
                                       "read data err,readLen = -1!\n");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(TransportTrace, OfATimeOut) {
    const Peer peer;
    peer.send(reply_bytes("abc"));
    set_switches(0, 0);
    ask(peer);
    set_switches(0, 1);
    ObservedCalls observed;
    observed.select_result = 0;
    const CapturedOutput output;
    ask(peer);
    EXPECT_EQ(output.text(), waiting + "total = 19\n"
                                       "module is 3,resValue is 0,dataLen is 19\n");
}

} // namespace
