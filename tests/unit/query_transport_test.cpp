// Queries from the callback to its output values, over the sockets.
#include "expected_values.h"
#include "observed_calls.h"
#include "recording_daemon.h"
#include "wire.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <system_error>
#include <thread>
#include <utility>

namespace {

using support::CapturedOutput;
using support::in_pieces;
using support::ObservedCalls;
using support::Outputs;
using support::Record;
using support::RecordingDaemon;
using support::Values;

// --- The queries and a reply to each ------------------------------------------------

struct AnsweredQuery {
    const char *name;
    sr_rpc_cb callback;
    int sub_mod;
    std::string payload;
    Outputs outputs;
};

AnsweredQuery query_of(const char *name, sr_rpc_cb callback, const support::Parser &parser,
                       const std::string &payload) {
    return {name, callback, parser.sub_mod, payload, parser.expected(payload).outputs};
}

AnsweredQuery answered_summary(unsigned entries) {
    std::string payload = Record(support::summary_block, 0).put("neighbor_number", entries).bytes();
    for (unsigned i = 0; i < entries; ++i) {
        payload += Record(support::summary_entry, i + 1).bytes();
    }
    return query_of("summary", ip_bgp_summary_cb, support::summary_parser, payload);
}

AnsweredQuery sample_query(const char *name, sr_rpc_cb callback, const support::Parser &parser) {
    return query_of(name, callback, parser, parser.sample());
}

std::vector<AnsweredQuery> all_queries() {
    const AnsweredQuery queries[] = {
        sample_query("evpn", ip_bgp_evpn_cb, support::evpn_parser),
        sample_query("info", ip_bgp_info_cb, support::info_parser),
        sample_query("neighbor", ip_bgp_neighbor_cb, support::neighbor_parser),
        sample_query("summary", ip_bgp_summary_cb, support::summary_parser),
        {"clear", clear_ip_bgp_cb, BGP_SUB_RPC_CLEAR_IP_BGP, "done", {}}};
    static_assert(std::size(queries) == configd::query_count, "one row for each query");
    return {std::begin(queries), std::end(queries)};
}

// A whole reply; with a `length` of 0 dataLen is its real length.
std::string reply_bytes(int sub_mod, const std::string &payload, std::int32_t length = 0,
                        int module = MODULE_ID_BGP) {
    const auto whole = static_cast<std::int32_t>(payload.size() + 16);
    const std::int32_t header[] = {module, sub_mod, 0, length == 0 ? whole : length};
    return support::bytes_of(header) + payload;
}
std::string reply_bytes(const AnsweredQuery &query) {
    return reply_bytes(query.sub_mod, query.payload);
}

int call(const AnsweredQuery &query, Values &output) {
    sr_val_t input{}; // selects nothing
    return output.fill([&](sr_val_t **array, size_t *count) {
        return query.callback(scripted::session(), "/orv_bgp:rpc", &input, 0, SR_EV_RPC, 1, array,
                              count, nullptr);
    });
}

class QueryTransport : public support::PluginTest {
  protected:
    QueryTransport() { configure_as(65001); }

    static void expect_answered(const AnsweredQuery &query) {
        Values output;
        const CapturedOutput printed;
        EXPECT_EQ(call(query, output), SR_ERR_OK) << query.name;
        EXPECT_EQ(output.outputs(), query.outputs) << query.name;
        EXPECT_EQ(printed.text(), "");
    }
};

// --- Replies in pieces --------------------------------------------------------------

// A daemon that receives one query on the daemon's port and answers it piece by piece,
// without combining pieces.
class PieceDaemon {
  public:
    explicit PieceDaemon(std::vector<std::string> pieces)
        : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
        const int on = 1;
        setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = inet_addr(NETCONF_DAEMON_ADDRESS);
        address.sin_port = htons(NETCONF_DAEMON_PORT);
        if (bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
            listen(listener_, 1) != 0) {
            throw std::system_error(errno, std::generic_category(), "listening");
        }
        thread_ = std::thread([this, pieces = std::move(pieces)] { serve(pieces); });
    }
    PieceDaemon(const PieceDaemon &) = delete;
    PieceDaemon &operator=(const PieceDaemon &) = delete;
    ~PieceDaemon() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }

  private:
    void serve(const std::vector<std::string> &pieces) const {
        const int connection = accept(listener_, nullptr, nullptr);
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        char query[1000];
        if (recv(connection, query, sizeof query, 0) > 0) {
            for (const std::string &piece : pieces) {
                if (send(connection, piece.data(), piece.size(), MSG_NOSIGNAL) < 0) {
                    break;
                }
            }
        }
        close(connection);
    }

    int listener_;
    std::thread thread_;
};

TEST_F(QueryTransport, ReplyInPiecesBehindItsHeaderIsPutTogether) {
    for (const AnsweredQuery &query : all_queries()) {
        for (const std::size_t size : {1U, 7U, 65536U}) {
            const PieceDaemon daemon(in_pieces(reply_bytes(query), 16, size));
            expect_answered(query);
        }
    }
}

// --- The longest reply ------------------------------------------------------------------

TEST_F(QueryTransport, ReplyOf10MiBIsAnswered) {
    RecordingDaemon daemon;
    const AnsweredQuery entry = answered_summary(1);
    const std::size_t block = support::summary_block.size;
    const std::size_t entries = (support::payload_limit - block) / support::summary_entry.size;
    std::string payload = Record(support::summary_block)
                              .put("neighbor_number", static_cast<std::uint32_t>(entries))
                              .bytes();
    for (std::size_t i = 0; i < entries; ++i) {
        payload += entry.payload.substr(block);
    }
    payload.resize(support::payload_limit, 'x');
    const std::string whole = reply_bytes(entry.sub_mod, payload);
    ASSERT_EQ(whole.size(), 10485760U);
    for (const char *more : {"", "y"}) { // a byte that is not announced
        daemon.answer_next(configd::RawBytes{whole + more, true});
        Values output;
        EXPECT_EQ(call(entry, output), SR_ERR_OK);
        ASSERT_EQ(output.size(),
                  support::summary_block.leaves() + support::summary_entry.leaves() * entries);
        EXPECT_EQ(output.outputs().back(), entry.outputs.back());
    }
}

// --- Replies that are not what they should be ---------------------------------------------

TEST_F(QueryTransport, ReplyThatEndsEarlyIsReadAsFarAsItCame) {
    RecordingDaemon daemon;
    const AnsweredQuery query = answered_summary(2);
    Outputs expected(query.outputs.begin(), query.outputs.end() - support::summary_entry.leaves());
    append(expected, Record(support::summary_entry).outputs({""}));
    const std::string cut =
        query.payload.substr(0, query.payload.size() - support::summary_entry.size);
    daemon.answer_next(configd::RawBytes{
        reply_bytes(query.sub_mod, cut, static_cast<std::int32_t>(query.payload.size()) + 16),
        true});
    Values output;
    EXPECT_EQ(call(query, output), SR_ERR_OK);
    EXPECT_EQ(output.outputs(), expected);
}

TEST_F(QueryTransport, ReplyThatOnlyLooksLikeOneIsRefusedWithALine) {
    RecordingDaemon daemon;
    for (const AnsweredQuery &query : all_queries()) {
        if (query.sub_mod == BGP_SUB_RPC_CLEAR_IP_BGP) {
            continue;
        }
        daemon.answer_next(
            configd::RawBytes{reply_bytes(query.sub_mod, std::string(500, '\xff')), true});
        Values output(1);
        const CapturedOutput printed;
        EXPECT_EQ(call(query, output), -1);
        EXPECT_THAT(printed.text(), testing::HasSubstr("realloc failed"));
        EXPECT_EQ(output.size(), 1U);
    }
}

// --- A daemon that says nothing ----------------------------------------------------------

TEST_F(QueryTransport, SilentDaemonGivesThePreviousReplyOnceMore) {
    RecordingDaemon daemon;
    std::size_t queries = 0;
    for (const AnsweredQuery &query : all_queries()) {
        daemon.answer_next(configd::RawBytes{reply_bytes(query), true});
        expect_answered(query);
        daemon.wait_for_closed(++queries);
        daemon.answer_next(configd::Silence{});
        daemon.answer_next(configd::Silence{});
        ObservedCalls observed;
        observed.select_result = 0;
        for (int times = 0; times < 2; ++times) {
            expect_answered(query);
            daemon.wait_for_closed(++queries);
        }
        EXPECT_EQ(observed.count("read"), 0U);
        EXPECT_EQ(observed.sizes("select"), (std::vector<std::size_t>{60, 60}));
    }
}

TEST_F(QueryTransport, SilentDaemonsPreviousReplyMayBelongToAnotherQuery) {
    RecordingDaemon daemon;
    const AnsweredQuery previous = answered_summary(2);
    daemon.answer_next(configd::RawBytes{reply_bytes(previous), true});
    expect_answered(previous);
    daemon.answer_otherwise(configd::Silence{});
    ObservedCalls observed;
    observed.select_result = 0;
    for (const AnsweredQuery &query : all_queries()) {
        if (query.sub_mod == BGP_SUB_RPC_CLEAR_IP_BGP) {
            expect_answered(query); // takes any reply
        } else if (query.sub_mod != previous.sub_mod) {
            Values output;
            EXPECT_EQ(call(query, output), -1);
            EXPECT_EQ(output.size(), 0U);
        }
    }
}

} // namespace
