#include "observed_calls.h"
#include "recording_daemon.h"
#include "replies.h"
#include "wire.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <functional>
#include <optional>
#include <utility>

// The transport's receive buffer.
extern "C" char buf[BUF_SIZE_MAX];

namespace {

using scripted::sysrepo;
using support::bytes_of;
using support::CapturedOutput;
using support::ObservedCalls;
using support::Record;
using support::Values;
using support::WireRecord;

// --- The queries on the wire -------------------------------------------------------

const WireRecord evpn_query = {84, "", {{"type", 0, 4, false}, {"evpn_route_str", 4, 80, true}}};
const WireRecord info_query = {116,
                               "",
                               {{"input_cnt", 0, 4, false},
                                {"vrf_name", 4, 64, true},
                                {"ip_type", 68, 4, false},
                                {"all", 72, 4, false},
                                {"ipaddr", 76, 17, true},
                                {"ipaddr_str", 93, 21, true}}};
const WireRecord neighbor_query = {
    116, "", {{"all", 0, 4, false}, {"neighbor_addr", 4, 47, true}, {"vrf_name", 51, 65, true}}};
const WireRecord summary_query = {76,
                                  "",
                                  {{"input_cnt", 0, 4, false},
                                   {"vrf_name", 4, 64, true},
                                   {"ip_type", 68, 4, false},
                                   {"all", 72, 4, false}}};
const WireRecord clear_query = {
    92,
    "",
    {{"vrf_name", 16, 65, true}, {"clear_all", 84, 4, false}, {"reconfig_type", 88, 4, false}}};

// --- The RPCs ------------------------------------------------------------------------

struct Rpc {
    const char *function;
    sr_rpc_cb callback;
    const char *path;
    int sub_mod;
    int event_line;
    const WireRecord &query;
};
const Rpc evpn = {"ip_bgp_evpn_cb", ip_bgp_evpn_cb, "/orv_bgp:ip-bgp-evpn", 18, 2692, evpn_query};
const Rpc info = {"ip_bgp_info_cb", ip_bgp_info_cb, "/orv_bgp:ip-bgp-info", 19, 2757, info_query};
const Rpc neighbor = {
    "ip_bgp_neighbor_cb", ip_bgp_neighbor_cb, "/orv_bgp:ip-bgp-neighbor", 20, 2821, neighbor_query};
const Rpc summary = {"ip_bgp_summary_cb", ip_bgp_summary_cb, "/orv_bgp:ip-bgp-summary", 21, 2895,
                     summary_query};
const Rpc clear = {"clear_ip_bgp_cb", clear_ip_bgp_cb, "/orv_bgp:clear-ip-bgp", 22, 3008,
                   clear_query};
const Rpc *const rpcs[] = {&evpn, &info, &neighbor, &summary, &clear};
static_assert(std::size(rpcs) == configd::query_count, "one row for each query");
const Rpc *const rpcs_with_output[] = {&evpn, &info, &neighbor, &summary};

// The inputs of an RPC, as sysrepo hands them over: one array.
class Inputs {
  public:
    explicit Inputs(std::vector<scripted::Value> values) : values_(std::move(values)) {
        for (scripted::Value &value : values_) {
            sr_val_t input{};
            input.xpath = value.xpath ? value.xpath->data() : nullptr;
            input.type = value.type;
            if (value.text) {
                input.data.string_val = value.text->data();
            } else {
                input.data.uint32_val = value.number;
            }
            inputs_.push_back(input);
        }
    }
    const sr_val_t *array() const { return inputs_.empty() ? nullptr : inputs_.data(); }
    std::size_t count() const { return inputs_.size(); }

  private:
    std::vector<scripted::Value> values_;
    std::vector<sr_val_t> inputs_;
};

// An input without content, or with a text; `leaf` is its path below the RPC's.
scripted::Value empty(const Rpc &rpc, const std::string &leaf) {
    return scripted::node(std::string(rpc.path) + "/" + leaf, SR_LEAF_EMPTY_T);
}
scripted::Value text(const Rpc &rpc, const std::string &leaf, const std::string &content,
                     sr_type_t type = SR_STRING_T) {
    return scripted::text(std::string(rpc.path) + "/" + leaf, content, type);
}
scripted::Value number(const Rpc &rpc, const std::string &leaf, std::uint32_t content) {
    return scripted::number(std::string(rpc.path) + "/" + leaf, content);
}
scripted::Value without_path(scripted::Value value) {
    value.xpath.reset();
    return value;
}

// A call with these arguments as they are.
int call_with(const Rpc &rpc, sr_session_ctx_t *session, const char *path, const sr_val_t *input,
              std::size_t input_count, sr_event_t event, Values &output) {
    return output.fill([&](sr_val_t **array, size_t *count) {
        return rpc.callback(session, path, input, input_count, event, 1, array, count, nullptr);
    });
}

int call(const Rpc &rpc, const std::vector<scripted::Value> &values, Values &output,
         sr_event_t event = SR_EV_RPC) {
    const Inputs inputs(values);
    return call_with(rpc, scripted::session(), rpc.path, inputs.array(), inputs.count(), event,
                     output);
}

int call(const Rpc &rpc, const std::vector<scripted::Value> &values = {},
         sr_event_t event = SR_EV_RPC) {
    Values output;
    return call(rpc, values, output, event);
}

// Inputs with which each of the RPCs can be called.
std::vector<scripted::Value> some_input(const Rpc &rpc) {
    return {empty(rpc, &rpc == &evpn ? "get-all" : "all")};
}

const sr_type_t types_without_text[] = {
    SR_LIST_T,       SR_CONTAINER_T, SR_CONTAINER_PRESENCE_T,
    SR_LEAF_EMPTY_T, SR_BOOL_T,      SR_INT8_T,
    SR_DECIMAL64_T,  SR_INT16_T,     SR_INT32_T,
    SR_INT64_T,      SR_UINT8_T,     SR_UINT16_T,
    SR_UINT32_T,     SR_UINT64_T,
};
const sr_event_t other_events[] = {SR_EV_UPDATE, SR_EV_CHANGE, SR_EV_DONE, SR_EV_ABORT,
                                   SR_EV_ENABLED};

std::string pointer_text(const void *pointer) {
    char shown[32];
    std::snprintf(shown, sizeof shown, "%p", pointer);
    return shown;
}

// A reply without any content for the RPC's parser.
configd::Reply empty_reply(const Rpc &rpc) {
    return {MODULE_ID_BGP, rpc.sub_mod, 0, std::string(100, '\0')};
}

class Request : public support::PluginTest {
  protected:
    Request() { configure_as(65001); }

    // The payload of the one query that the call sends.
    std::string query_of(const Rpc &rpc, const std::vector<scripted::Value> &values = {}) {
        daemon.answer_next(empty_reply(rpc));
        EXPECT_EQ(call(rpc, values), SR_ERR_OK);
        const auto messages = daemon.take_messages();
        EXPECT_EQ(messages.size(), 1U);
        return messages.size() == 1 ? std::string(messages[0].payload()) : "";
    }
    void expect_nothing_sent() {
        EXPECT_EQ(daemon.connections(), 0U);
        EXPECT_TRUE(daemon.take_messages().empty());
    }

    support::RecordingDaemon daemon;
};

// --- The exchange ----------------------------------------------------------------

TEST_F(Request, MessageIsTheQueryBehindAHeaderThatCountsItself) {
    for (const Rpc *rpc : rpcs) {
        daemon.answer_next(empty_reply(*rpc));
        {
            ObservedCalls observed;
            observed.malloc_fill = '\x5a';
            EXPECT_EQ(call(*rpc, some_input(*rpc)), SR_ERR_OK);
            EXPECT_EQ(observed.sizes("malloc"), std::vector<std::size_t>{rpc->query.size + 16});
            EXPECT_EQ(observed.sizes("write"), std::vector<std::size_t>{rpc->query.size + 16});
        }
        const auto messages = daemon.take_messages();
        ASSERT_EQ(messages.size(), 1U);
        const auto length = static_cast<std::int32_t>(rpc->query.size + 16);
        const std::int32_t header[] = {3, rpc->sub_mod, 0, length};
        EXPECT_EQ(messages[0].bytes.substr(0, 16), bytes_of(header)) << rpc->function;
        EXPECT_EQ(messages[0].bytes.size(), rpc->query.size + 16);
    }
}

TEST_F(Request, EveryQueryHasAConnectionOfItsOwn) {
    const std::vector<std::string> expected = {"socket", "setsockopt", "connect", "malloc",
                                               "write",  "select",     "read",    "close"};
    std::size_t queries = 0;
    for (const Rpc *rpc : rpcs) {
        daemon.answer_next(empty_reply(*rpc));
        ObservedCalls observed;
        EXPECT_EQ(call(*rpc, some_input(*rpc)), SR_ERR_OK);
        std::vector<std::string> names;
        for (const auto &made : observed.calls) {
            names.push_back(made.name);
        }
        EXPECT_EQ(names, expected) << rpc->function;
        EXPECT_EQ(observed.calls.back().descriptor, observed.calls[2].descriptor);
        daemon.wait_for_closed(++queries);
        EXPECT_EQ(daemon.connections(), queries);
    }
    EXPECT_EQ(netconf_plugin_context, 0) << "the connection of the configuration is another one";
}

TEST_F(Request, WithoutAReplyTheRpcFails) {
    std::size_t queries = 0;
    for (const Rpc *rpc : rpcs) {
        for (const configd::Answer &answer :
             {configd::Answer{configd::RawBytes{"", true}},
              configd::Answer{configd::Reply{MODULE_ID_VLAN, rpc->sub_mod, 0, "payload"}}}) {
            daemon.answer_next(answer);
            Values output(2);
            const CapturedOutput printed;
            EXPECT_EQ(call(*rpc, some_input(*rpc), output), SR_ERR_CALLBACK_FAILED);
            EXPECT_EQ(printed.text(), "get reply buff error!\n") << rpc->function;
            EXPECT_EQ(output.size(), 2U);
            daemon.wait_for_closed(++queries);
        }
    }
    EXPECT_TRUE(sysrepo().reallocs.empty());
}

TEST_F(Request, WithoutMemoryForTheMessageNothingIsSent) {
    std::size_t queries = 0;
    for (const Rpc *rpc : rpcs) {
        const Inputs inputs(some_input(*rpc));
        Values output;
        ObservedCalls observed;
        observed.malloc_fails = true;
        const CapturedOutput printed;
        EXPECT_EQ(call_with(*rpc, scripted::session(), rpc->path, inputs.array(), inputs.count(),
                            SR_EV_RPC, output),
                  SR_ERR_CALLBACK_FAILED);
        observed.malloc_fails = false;
        EXPECT_EQ(printed.text(), "[bgp_plugin_send_and_receive][1480]malloc err.\n"
                                  "get reply buff error!\n");
        EXPECT_EQ(observed.count("write"), 0U);
        EXPECT_EQ(observed.count("close"), 1U);
        daemon.wait_for_closed(++queries);
    }
    EXPECT_TRUE(daemon.take_messages().empty());
}

// Closes what a failed connect leaves open.
void close_connecting(const ObservedCalls &observed) {
    for (const auto &made : observed.calls) {
        if (made.name == "connect") {
            close(made.descriptor);
        }
    }
}

class RequestWithoutDaemon : public support::PluginTest {
  protected:
    RequestWithoutDaemon() { configure_as(65001); }
};

TEST_F(RequestWithoutDaemon, RefusedConnectionFailsTheCall) {
    for (const Rpc *rpc : rpcs) {
        Values output(1);
        ObservedCalls observed;
        const CapturedOutput printed;
        EXPECT_EQ(call(*rpc, some_input(*rpc), output), SR_ERR_CALLBACK_FAILED);
        EXPECT_EQ(printed.text(), "error, parameter send error :-1get reply buff error!\n");
        EXPECT_EQ(output.size(), 1U);
        EXPECT_EQ(observed.count("malloc"), 0U);
        EXPECT_EQ(observed.count("write"), 0U);
        EXPECT_EQ(observed.count("close"), 0U) << "there is no connection to close";
        close_connecting(observed);
    }
}

TEST_F(Request, MissingQueryIsRefusedAndItsConnectionClosed) {
    const CapturedOutput printed;
    EXPECT_EQ(bgp_plugin_get(nullptr, 4, 18), nullptr);
    EXPECT_EQ(printed.text(), "input data is NULL\n");
    daemon.wait_for_closed(1);
    EXPECT_TRUE(daemon.take_messages().empty());
}

TEST_F(Request, QueryOfAnyLengthAndSubModuleIsSent) {
    for (const int length : {0, 1, 3, 116, 1000}) {
        daemon.answer_next(configd::Reply{MODULE_ID_BGP, 5, -7, "reply"});
        std::string query(static_cast<std::size_t>(length), 'q');
        netconf_data_struc *reply = bgp_plugin_get(query.data(), length, 23 + length);
        ASSERT_NE(reply, nullptr);
        const std::int32_t header[] = {MODULE_ID_BGP, 5, -7, 21};
        EXPECT_EQ(std::string(reinterpret_cast<char *>(reply), 21), bytes_of(header) + "reply");
        EXPECT_EQ(static_cast<void *>(reply), buf) << "the transport's own buffer";
        const auto messages = daemon.take_messages();
        ASSERT_EQ(messages.size(), 1U);
        EXPECT_EQ(messages[0].sub_mod, 23 + length);
        EXPECT_EQ(messages[0].payload(), query);
    }
}

TEST_F(Request, QueryOfALengthThatNoMessageHasIsOneWithoutMemory) {
    char query[] = "query";
    for (const int length : {INT_MAX, INT_MAX - 15, INT_MAX - 16, BUF_SIZE_MAX - 15, -1, INT_MIN}) {
        const CapturedOutput printed;
        EXPECT_EQ(bgp_plugin_send_and_receive(1, query, length, 18), nullptr);
        EXPECT_EQ(printed.text(), "[bgp_plugin_send_and_receive][1480]malloc err.\n");
    }
}

TEST_F(Request, ConnectionOfTheCallerStaysOpen) {
    daemon.answer_next(configd::Reply{MODULE_ID_BGP, 18, 0, "first"});
    daemon.answer_next(configd::Reply{MODULE_ID_BGP, 18, 0, "second"});
    int context = -1;
    ASSERT_EQ(plugin_connect(&context), 0);
    char query[] = "query";
    for (const char *expected : {"first", "second"}) {
        const auto *reply = bgp_plugin_send_and_receive(context, query, 5, 18);
        ASSERT_NE(reply, nullptr);
        EXPECT_STREQ(reply->transferData, expected);
    }
    EXPECT_EQ(daemon.connections(), 1U);
    plugin_close(context);
}

TEST_F(Request, QueryThatCannotBeSentHasNoReply) {
    char query[] = "query";
    const CapturedOutput printed;
    EXPECT_EQ(bgp_plugin_send_and_receive(-1, query, 5, 18), nullptr);
    EXPECT_EQ(printed.text(), "[sendAndGetReplyBuff:138]send data err!\n");
}

TEST_F(Request, ArrayOfAnEmptyAnswerIsReleasedByTheLibraryThatMadeIt) {
    for (const bool hosted : {false, true}) {
        if (hosted) {
            host_plugin();
        }
        for (const Rpc *rpc : rpcs_with_output) {
            sysrepo().freed_arrays.clear();
            std::string payload(100, '\0');
            if (rpc == &evpn) {
                payload.replace(0, 4, support::packed(std::uint32_t{7})); // values, of which none
            }
            daemon.answer_next(configd::Reply{MODULE_ID_BGP, rpc->sub_mod, 0, payload});
            const Inputs inputs(some_input(*rpc));
            sr_val_t *output = nullptr;
            size_t count = 0;
            EXPECT_EQ(rpc->callback(scripted::session(), rpc->path, inputs.array(), inputs.count(),
                                    SR_EV_RPC, 1, &output, &count, nullptr),
                      SR_ERR_OK);
            EXPECT_EQ(sysrepo().freed_arrays, std::vector<std::size_t>(hosted ? 1 : 0, 1))
                << rpc->function;
            EXPECT_EQ(output == nullptr, hosted) << rpc->function;
            std::free(output);
        }
    }
}

// --- Arguments and events ----------------------------------------------------------

TEST_F(Request, MissingArgumentIsRefused) {
    struct Row {
        const Rpc *rpc;
        bool has_path, has_session, has_input;
        const char *line;
    };
    std::vector<Row> rows = {
        {&evpn, false, true, true, "inval arg!\n"},
        {&evpn, true, false, true, "inval arg!\n"},
        {&evpn, true, true, false, "inval arg!\n"},
        {&evpn, false, false, false, "inval arg!\n"},
    };
    for (const Rpc *rpc : {&info, &neighbor, &summary, &clear}) {
        rows.push_back({rpc, false, true, true, " path inval arg!\n"});
        rows.push_back({rpc, true, false, true, " session inval arg!\n"});
        rows.push_back({rpc, false, false, true, " path inval arg!\n"});
    }
    g_bgp_id = 7;
    for (const Row &row : rows) {
        for (const sr_event_t event : {SR_EV_RPC, SR_EV_CHANGE}) {
            for (const int debugging : {0, 1}) {
                set_switches(debugging, 0);
                const Inputs inputs(some_input(*row.rpc));
                Values output(3);
                const CapturedOutput printed;
                EXPECT_EQ(call_with(*row.rpc, row.has_session ? scripted::session() : nullptr,
                                    row.has_path ? row.rpc->path : nullptr,
                                    row.has_input ? inputs.array() : nullptr, 1, event, output),
                          SR_ERR_INVAL_ARG);
                EXPECT_EQ(printed.text(), row.line) << row.rpc->function;
                EXPECT_EQ(output.size(), 3U);
            }
        }
    }
    EXPECT_EQ(g_bgp_id, 7U);
    EXPECT_TRUE(sysrepo().item_paths.empty());
    expect_nothing_sent();
}

TEST_F(Request, NeighborInputThatIsCountedButMissingAsksForNothingInParticular) {
    daemon.answer_next(empty_reply(neighbor));
    Values output;
    EXPECT_EQ(
        call_with(neighbor, scripted::session(), neighbor.path, nullptr, 1, SR_EV_RPC, output),
        SR_ERR_OK);
    const auto messages = daemon.take_messages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].payload(), Record(neighbor_query).bytes());
}

TEST_F(Request, EveryEventButAnRpcIsRefused) {
    for (const Rpc *rpc : rpcs) {
        for (const sr_event_t event : other_events) {
            Values output(3);
            const CapturedOutput printed;
            EXPECT_EQ(call(*rpc, some_input(*rpc), output, event), SR_ERR_OPERATION_FAILED);
            EXPECT_EQ(printed.text(), "[" + std::string(rpc->function) + "][" +
                                          std::to_string(rpc->event_line) + "]invalid argument.\n");
            EXPECT_EQ(output.size(), 3U);
        }
    }
    expect_nothing_sent();
}

// --- EVPN routes ---------------------------------------------------------------------

struct FilledQuery {
    std::vector<scripted::Value> inputs;
    Record expected;
};

TEST_F(Request, EvpnInputsBecomeTheQuery) {
    const Record nothing(evpn_query);
    const Record all = Record(evpn_query).put("type", 0xFFFFFFFF);
    const std::vector<FilledQuery> rows = {
        {{empty(evpn, "get-all")}, all},
        {{number(evpn, "evpn-type", 2)}, Record(evpn_query).put("type", 2)},
        {{number(evpn, "evpn-type", 0)}, nothing},
        {{number(evpn, "evpn-type", 4294967294U)}, Record(evpn_query).put("type", 4294967294U)},
        {{text(evpn, "evpn-route", "[2]:[0]:[48]")},
         Record(evpn_query).put("evpn_route_str", "[2]:[0]:[48]")},
        {{text(evpn, "evpn-route", "")}, nothing},
        {{text(evpn, "evpn-route", std::string(80, 'r'))},
         Record(evpn_query).put("evpn_route_str", std::string(80, 'r'))},
        // Exactly these three paths count.
        {{empty(evpn, "all")}, nothing},
        {{empty(evpn, "get-all/")}, nothing},
        {{empty(evpn, "get-al")}, nothing},
        {{empty(evpn, "x/get-all")}, nothing},
        {{number(evpn, "evpn-types", 5)}, nothing},
        {{text(evpn, "evpn-routes", "[2]")}, nothing},
        {{scripted::node("/ip-bgp-evpn/get-all", SR_LEAF_EMPTY_T)}, nothing},
        {{scripted::node("", SR_LEAF_EMPTY_T)}, nothing},
        {{without_path(empty(evpn, "get-all"))}, nothing},
        // Only the first input counts.
        {{empty(evpn, "get-all"), number(evpn, "evpn-type", 2)}, all},
        {{empty(evpn, "other"), empty(evpn, "get-all")}, nothing},
        {{number(evpn, "evpn-type", 3), text(evpn, "evpn-route", "[2]"), empty(evpn, "get-all")},
         Record(evpn_query).put("type", 3)},
    };
    for (const FilledQuery &row : rows) {
        EXPECT_EQ(query_of(evpn, row.inputs), row.expected.bytes())
            << row.inputs[0].xpath.value_or("(no path)");
    }
}

// --- Route information and summary -----------------------------------------------------

// An input that both queries know, or only the first.
struct TableInput {
    const char *leaf;
    std::optional<std::string> content; // nothing: a leaf of type empty
    const char *field = nullptr;        // that holds the content, or the number
    std::optional<std::uint32_t> number = std::nullopt;
    bool in_summary = false;

    void put(Record &query) const {
        if (number) {
            query.put(field, *number);
        } else if (field != nullptr) {
            query.put(field, *content);
        }
    }
};
const std::vector<TableInput> table_inputs = {
    {"vrf-name", "red", "vrf_name", std::nullopt, true},
    {"vrf-name", "", "vrf_name", std::nullopt, true},
    {"vrf-name", std::string(64, 'v'), "vrf_name", std::nullopt, true},
    {"ip-type", "IPV4", "ip_type", 1, true},
    {"ip-type", "IPV4-UNICAST", "ip_type", 1, true},
    {"ip-type", "IPV6", "ip_type", 2, true},
    {"ip-type", "ipv4", "ip_type", 2, true},
    {"ip-type", "IPV", "ip_type", 2, true},
    {"ip-type", " IPV4", "ip_type", 2, true},
    {"ip-type", "", "ip_type", 2, true},
    {"all", std::nullopt, "all", 2},
    {"ipv4-address", "10.1.2.3", "ipaddr"},
    {"ipv4-address", std::string(17, 'a'), "ipaddr"},
    {"ip-str", "10.0.0.0/8", "ipaddr_str"},
    {"ip-str", std::string(21, 's'), "ipaddr_str"},
    {"other", "text"},
};

scripted::Value input_of(const Rpc &rpc, const TableInput &row) {
    return row.content ? text(rpc, row.leaf, *row.content) : empty(rpc, row.leaf);
}

TEST_F(Request, InfoInputBecomesTheQuery) {
    for (const TableInput &row : table_inputs) {
        Record expected = Record(info_query).put("input_cnt", 1);
        row.put(expected);
        EXPECT_EQ(query_of(info, {input_of(info, row)}), expected.bytes()) << row.leaf;
    }
}

TEST_F(Request, SummaryInputBecomesTheQuery) {
    for (const TableInput &row : table_inputs) {
        Record expected = Record(summary_query).put("input_cnt", 1);
        if (row.in_summary) {
            row.put(expected);
        }
        EXPECT_EQ(query_of(summary, {input_of(summary, row)}), expected.put("all", 1).bytes())
            << row.leaf;
    }
}

TEST_F(Request, EveryInputOfATableQueryCounts) {
    for (const TableInput &first : table_inputs) {
        for (const TableInput &second : table_inputs) {
            if (std::string(first.leaf) == second.leaf) {
                continue;
            }
            Record expected = Record(info_query).put("input_cnt", 2);
            first.put(expected);
            second.put(expected);
            EXPECT_EQ(query_of(info, {input_of(info, first), input_of(info, second)}),
                      expected.bytes())
                << first.leaf << ", " << second.leaf;
        }
    }
}

TEST_F(Request, WithoutInputsInfoAsksForTheWholeIpv4Table) {
    EXPECT_EQ(query_of(info), Record(info_query).put("ip_type", 1).put("all", 1).bytes());
}

TEST_F(Request, WithoutInputsSummaryAsksForAll) {
    EXPECT_EQ(query_of(summary), Record(summary_query).put("all", 1).bytes());
}

TEST_F(Request, InputsThatAreMissingAreOnlyCounted) {
    // The array is missing although inputs are announced.
    for (const Rpc *rpc : {&info, &summary}) {
        daemon.answer_next(empty_reply(*rpc));
        Values output;
        EXPECT_EQ(call_with(*rpc, scripted::session(), rpc->path, nullptr, 3, SR_EV_RPC, output),
                  SR_ERR_OK);
        EXPECT_EQ(
            daemon.take_messages().at(0).payload(),
            Record(rpc->query).put("input_cnt", 3).put("all", rpc == &info ? 0U : 1U).bytes());
    }
}

TEST_F(Request, InputWithoutAPathIsPassedOver) {
    EXPECT_EQ(query_of(info, {without_path(text(info, "vrf-name", "red")), empty(info, "all")}),
              Record(info_query).put("input_cnt", 2).put("all", 2).bytes());
    EXPECT_EQ(query_of(summary, {without_path(text(summary, "vrf-name", "red")),
                                 text(summary, "ip-type", "IPV4")}),
              Record(summary_query).put("input_cnt", 2).put("ip_type", 1).put("all", 1).bytes());
    EXPECT_EQ(query_of(neighbor, {without_path(empty(neighbor, "all"))}),
              Record(neighbor_query).bytes());
    EXPECT_EQ(query_of(clear, {without_path(text(clear, "vrf-name", "red"))}),
              Record(clear_query).bytes());
}

TEST_F(Request, FirstPartOfAPathThatIsKnownDecides) {
    // In the order in which the callback looks for them, wherever they are.
    const TableInput parts[] = {{"vrf-name", "IPV4", "vrf_name"},
                                {"ip-type", "IPV4", "ip_type", 1},
                                {"all", "IPV4", "all", 2},
                                {"ipv4-address", "IPV4", "ipaddr"},
                                {"ip-str", "IPV4", "ipaddr_str"}};
    for (std::size_t first = 0; first < std::size(parts); ++first) {
        for (std::size_t second = first; second < std::size(parts); ++second) {
            Record expected = Record(info_query).put("input_cnt", 1);
            parts[first].put(expected);
            const std::string path =
                "x" + std::string(parts[second].leaf) + "/y" + parts[first].leaf + "z";
            EXPECT_EQ(query_of(info, {text(info, path, "IPV4")}), expected.bytes()) << path;
        }
    }
}

TEST_F(Request, IpTypeThatIsNoTextIsAnotherType) {
    for (const sr_type_t type : types_without_text) {
        scripted::Value input = number(info, "ip-type", 4);
        input.type = type;
        EXPECT_EQ(query_of(info, {input}),
                  Record(info_query).put("input_cnt", 1).put("ip_type", 2).bytes());
    }
}

// --- Neighbors ---------------------------------------------------------------------------

TEST_F(Request, NeighborInputBecomesTheQuery) {
    const Record nothing(neighbor_query);
    const Record all = Record(neighbor_query).put("all", 1);
    const std::vector<FilledQuery> rows = {
        {{}, all},
        {{empty(neighbor, "all")}, all},
        {{text(neighbor, "ipaddr", "10.0.0.2")},
         Record(neighbor_query).put("neighbor_addr", "10.0.0.2")},
        {{text(neighbor, "ipaddr", std::string(47, 'n'))},
         Record(neighbor_query).put("neighbor_addr", std::string(47, 'n'))},
        {{text(neighbor, "vrf-name", "red")}, Record(neighbor_query).put("vrf_name", "red")},
        {{text(neighbor, "vrf-name", std::string(65, 'v'))},
         Record(neighbor_query).put("vrf_name", std::string(65, 'v'))},
        {{text(neighbor, "other", "text")}, nothing},
        // The first part that is known decides.
        {{text(neighbor, "vrf-name/ipaddr/all", "text")}, all},
        {{text(neighbor, "vrf-name/ipaddr", "text")},
         Record(neighbor_query).put("neighbor_addr", "text")},
        // Several inputs are not decoded.
        {{empty(neighbor, "all"), empty(neighbor, "all")}, nothing},
        {{text(neighbor, "ipaddr", "10.0.0.2"), text(neighbor, "vrf-name", "red")}, nothing},
        {{empty(neighbor, "all"), text(neighbor, "ipaddr", "10.0.0.2"),
          text(neighbor, "vrf-name", "red")},
         nothing},
    };
    for (const FilledQuery &row : rows) {
        EXPECT_EQ(query_of(neighbor, row.inputs), row.expected.bytes()) << row.inputs.size();
    }
}

// --- Clearing ------------------------------------------------------------------------

TEST_F(Request, ClearInputBecomesTheQuery) {
    const Record nothing(clear_query);
    const auto reconfig = [](std::uint32_t number) {
        return Record(clear_query).put("reconfig_type", number);
    };
    const std::vector<FilledQuery> rows = {
        {{}, Record(clear_query).put("clear_all", 1)},
        {{text(clear, "reconfig-type", "in", SR_ENUM_T)}, reconfig(1)},
        {{text(clear, "reconfig-type", "out", SR_ENUM_T)}, reconfig(2)},
        {{text(clear, "reconfig-type", "soft", SR_ENUM_T)}, reconfig(3)},
        {{text(clear, "reconfig-type", "s", SR_STRING_T)}, reconfig(3)},
        {{text(clear, "reconfig-type", "hard", SR_ENUM_T)}, nothing},
        {{text(clear, "reconfig-type", "In", SR_ENUM_T)}, nothing},
        {{text(clear, "reconfig-type", "", SR_ENUM_T)}, nothing},
        {{number(clear, "reconfig-type", 105)}, nothing},
        {{text(clear, "vrf-name", "red")}, Record(clear_query).put("vrf_name", "red")},
        {{text(clear, "vrf-name", std::string(65, 'v'))},
         Record(clear_query).put("vrf_name", std::string(65, 'v'))},
        {{text(clear, "all", "text")}, nothing},
        {{text(clear, "vrf-name/reconfig-type", "out")}, reconfig(2)},
        // Every input counts; one that is not understood changes nothing.
        {{text(clear, "reconfig-type", "out"), text(clear, "vrf-name", "red")},
         reconfig(2).put("vrf_name", "red")},
        {{text(clear, "vrf-name", "red"), text(clear, "reconfig-type", "soft")},
         reconfig(3).put("vrf_name", "red")},
        {{text(clear, "reconfig-type", "in"), text(clear, "reconfig-type", "x")}, reconfig(1)},
        {{text(clear, "reconfig-type", "in"), text(clear, "reconfig-type", "out")}, reconfig(2)},
    };
    for (const FilledQuery &row : rows) {
        EXPECT_EQ(query_of(clear, row.inputs), row.expected.bytes()) << row.inputs.size();
    }
}

TEST_F(Request, ClearTakesTheInstanceFromTheDatastore) {
    g_bgp_id = 7;
    EXPECT_EQ(query_of(clear), Record(clear_query).put("clear_all", 1).bytes());
    EXPECT_EQ(g_bgp_id, 65001U);
    EXPECT_EQ(sysrepo().item_paths, std::vector<std::string>{"/orv_bgp:router-bgp/as"});
}

TEST_F(Request, ClearWithoutAnInstanceIsASuccessThatSendsNothing) {
    const std::function<void()> missing[] = {
        [] { configure_as(0); },
        [] { sysrepo().item_result = SR_ERR_INTERNAL; },
        [] {
            sysrepo().item_result = SR_ERR_OK;
            sysrepo().items.insert_or_assign("/orv_bgp:router-bgp/as",
                                             scripted::number("/orv_bgp:router-bgp/as", 0));
        },
    };
    for (const auto &remove : missing) {
        remove();
        for (const sr_event_t event : {SR_EV_RPC, SR_EV_CHANGE}) {
            g_bgp_id = 7;
            const CapturedOutput printed;
            EXPECT_EQ(call(clear, {text(clear, "vrf-name", std::string(66, 'v'))}, event),
                      SR_ERR_OK);
            EXPECT_EQ(printed.text(), "");
            EXPECT_EQ(g_bgp_id, 0U);
        }
    }
    expect_nothing_sent();
}

TEST_F(Request, OnlyClearLooksForTheInstance) {
    configure_as(0);
    g_bgp_id = 7;
    for (const Rpc *rpc : rpcs_with_output) {
        query_of(*rpc, some_input(*rpc));
    }
    EXPECT_EQ(g_bgp_id, 7U);
    EXPECT_TRUE(sysrepo().item_paths.empty());
}

TEST_F(Request, AnyReplyToAClearIsASuccess) {
    for (const configd::Reply &reply :
         {configd::Reply{MODULE_ID_BGP, 22, 0, ""}, configd::Reply{MODULE_ID_BGP, 22, -1, "text"},
          configd::Reply{MODULE_ID_BGP, 99, 18, std::string(1000, 'x')}}) {
        daemon.answer_next(reply);
        const CapturedOutput printed;
        EXPECT_EQ(clear.callback(scripted::session(), clear.path, nullptr, 0, SR_EV_RPC, 1, nullptr,
                                 nullptr, nullptr),
                  SR_ERR_OK);
        EXPECT_EQ(printed.text(), "");
    }
    EXPECT_TRUE(sysrepo().reallocs.empty());
}

// --- Inputs that do not fit ------------------------------------------------------------

struct TextInput {
    const Rpc *rpc;
    const char *leaf;
    std::size_t limit;
};
const TextInput text_inputs[] = {
    {&evpn, "evpn-route", 80},  {&info, "vrf-name", 64},   {&info, "ipv4-address", 17},
    {&info, "ip-str", 21},      {&neighbor, "ipaddr", 47}, {&neighbor, "vrf-name", 65},
    {&summary, "vrf-name", 64}, {&clear, "vrf-name", 65},
};

TEST_F(Request, TextThatExceedsItsFieldIsRefused) {
    for (const TextInput &row : text_inputs) {
        for (const std::size_t length : {row.limit + 1, row.limit + 1000, std::size_t{100000}}) {
            Values output(2);
            const CapturedOutput printed;
            EXPECT_EQ(call(*row.rpc, {text(*row.rpc, row.leaf, std::string(length, 'x'))}, output),
                      SR_ERR_INVALID_VALUE);
            EXPECT_EQ(printed.text(), "value of " + std::string(row.rpc->path) + "/" + row.leaf +
                                          " is " + std::to_string(length) +
                                          " bytes long, the limit is " + std::to_string(row.limit) +
                                          "\n");
            EXPECT_EQ(output.size(), 2U);
        }
    }
    expect_nothing_sent();
}

TEST_F(Request, InputThatIsNoTextIsRefusedWhereATextIsWanted) {
    for (const TextInput &row : text_inputs) {
        for (const sr_type_t type : types_without_text) {
            scripted::Value input = number(*row.rpc, row.leaf, 0x12345678);
            input.type = type;
            const CapturedOutput printed;
            EXPECT_EQ(call(*row.rpc, {input}), SR_ERR_INVALID_VALUE);
            EXPECT_EQ(printed.text(), "value of " + *input.xpath + " has no text\n");
        }
    }
    expect_nothing_sent();
}

// --- bgp_input_parse ---------------------------------------------------------------------

TEST_F(Request, AsManyInputsAreParsedAsTheQueryCounts) {
    const Inputs inputs({text(info, "vrf-name", "one"), text(info, "ip-type", "IPV4"),
                         text(info, "ip-type", "IPV6")});
    struct Row {
        std::uint32_t count;
        const char *vrf_name;
        std::uint32_t ip_type;
    };
    for (const Row &row : {Row{0, "", 0}, Row{1, "one", 0}, Row{2, "one", 1}, Row{3, "one", 2}}) {
        for (const Rpc *rpc : {&info, &summary}) {
            std::string query = Record(rpc->query).put("input_cnt", row.count).bytes();
            EXPECT_EQ(bgp_input_parse(inputs.array(), query.data(), rpc->sub_mod), 0);
            EXPECT_EQ(query, Record(rpc->query)
                                 .put("input_cnt", row.count)
                                 .put("vrf_name", row.vrf_name)
                                 .put("ip_type", row.ip_type)
                                 .bytes());
        }
    }
}

TEST_F(Request, InputsOfAnotherQueryAreNotParsed) {
    const Inputs inputs({text(info, "vrf-name", "red")});
    const std::string before = Record(info_query).put("input_cnt", 1).bytes();
    for (const int sub_mod : {-1, 0, 1, 18, 20, 22, 23}) {
        for (const int debugging : {0, 1}) {
            set_switches(debugging, 0);
            std::string query = before;
            const CapturedOutput printed;
            EXPECT_EQ(bgp_input_parse(inputs.array(), query.data(), sub_mod), 1);
            EXPECT_EQ(query, before);
            EXPECT_EQ(printed.text(),
                      debugging == 0 ? "" : "[bgp_input_parse]The subMod is undefined\n");
        }
    }
}

TEST_F(Request, MissingInputsOrQueryAreNotParsed) {
    const Inputs inputs({text(info, "vrf-name", "red")});
    std::string query = Record(info_query).put("input_cnt", 1).bytes();
    const std::string before = query;
    for (const int sub_mod : {19, 21}) {
        for (const int debugging : {0, 1}) {
            set_switches(debugging, 0);
            const CapturedOutput printed;
            EXPECT_EQ(bgp_input_parse(nullptr, query.data(), sub_mod), 14);
            EXPECT_EQ(bgp_input_parse(inputs.array(), nullptr, sub_mod), 14);
            EXPECT_EQ(printed.text(),
                      debugging == 0 ? "" : "vxlan_input_parse err!\nvxlan_input_parse err!\n");
        }
    }
    EXPECT_EQ(query, before);
}

// --- Results ---------------------------------------------------------------------------

TEST_F(Request, ResultOfTheParserIsTheResult) {
    for (const Rpc *rpc : rpcs_with_output) {
        for (const Rpc *other : rpcs) {
            if (other == rpc) {
                continue;
            }
            daemon.answer_next(empty_reply(*other));
            Values output(2);
            const CapturedOutput printed;
            EXPECT_EQ(call(*rpc, some_input(*rpc), output), -1);
            EXPECT_EQ(printed.text(), "");
            EXPECT_EQ(output.size(), 2U);
        }
    }
    const std::string family = Record(support::family_record).put("afi", 4).bytes();
    daemon.answer_next(configd::Reply{
        MODULE_ID_BGP, 20, 0,
        support::packed(std::uint32_t{1}) +
            Record(support::peer_record).put("address_family_cnt", 1).bytes() + family});
    Values output;
    const CapturedOutput printed;
    EXPECT_EQ(call(neighbor, {}, output), 1);
    EXPECT_EQ(printed.text(), "afi is NULL!\n");
}

// --- Traces ------------------------------------------------------------------------------

class RequestTrace : public Request {
  protected:
    RequestTrace() { set_switches(1, 0); }

    // The output of a call that gets an empty reply to no query at all.
    std::string trace_of(const Rpc &rpc, const std::vector<scripted::Value> &inputs,
                         sr_event_t event = SR_EV_RPC) {
        daemon.answer_next(configd::Reply{MODULE_ID_BGP, 99, 0, ""});
        const CapturedOutput printed;
        call(rpc, inputs, event);
        return printed.text();
    }

    // The same from the exchange on; `refusal` is what the parser prints.
    static std::string exchange_trace(const Rpc &rpc, const std::string &refusal, int result) {
        const std::string function = rpc.function;
        return "\nin bgp_plugin_send_and_receive\n"
               "\nin bgp_plugin_send_and_receive  inDataLen:" +
               std::to_string(rpc.query.size) + " sub_mod:" + std::to_string(rpc.sub_mod) +
               "\n[bgp_plugin_send_and_receive]reply_buf = " + pointer_text(buf) + "\n[" +
               function + "]reply_buf = " + pointer_text(buf) + "\n" + refusal + "[" + function +
               "]rc = " + std::to_string(result) + "\n";
    }
};

constexpr const char *instance_trace =
    "[ip_bgp_check_bgp_as_config_exist][169] rc:0\n"
    "[ip_bgp_check_bgp_as_config_exist][175] bgp router id:65001\n";

TEST_F(RequestTrace, OfAnEvpnQuery) {
    EXPECT_EQ(trace_of(evpn, {empty(evpn, "get-all")}),
              "in [ip_bgp_evpn_cb][2687]path = /orv_bgp:ip-bgp-evpn,"
              "input[0].xpath = '/orv_bgp:ip-bgp-evpn/get-all'\n"
              "in [ip_bgp_evpn_cb][2688]event= '5'\n" +
                  exchange_trace(evpn,
                                 "ip_bgp_evpn_output_parse,module:3,subMod:99\n"
                                 "output data is not bgp and ip bgp evpn data!\n",
                                 -1));
}

TEST_F(RequestTrace, OfAnEvpnInputWithoutAPath) {
    EXPECT_EQ(trace_of(evpn, {without_path(empty(evpn, "get-all"))}, SR_EV_CHANGE),
              "in [ip_bgp_evpn_cb][2687]path = /orv_bgp:ip-bgp-evpn,input[0].xpath = '(null)'\n"
              "in [ip_bgp_evpn_cb][2688]event= '1'\n"
              "[ip_bgp_evpn_cb][2692]invalid argument.\n");
}

constexpr const char *info_refusal = "ip_bgp_info_output_parse,module:3,subMod:99\n"
                                     "output data is not bgp and ip bgp info data!\n";

TEST_F(RequestTrace, OfAnInfoQuery) {
    EXPECT_EQ(trace_of(info, {text(info, "vrf-name", "red"), text(info, "ip-type", "IPV6"),
                              empty(info, "all"), text(info, "ipv4-address", "10.1.1.1"),
                              text(info, "ip-str", "10.0.0.0/8")}),
              "in [ip_bgp_info_cb][2753]event= 5, input_cnt = 5\n"
              "in [ip_bgp_info_cb][2763]inData.input_cnt = 5\n"
              "[bgp_input_parse:1576],input_cnt = 5, vrf_name:red, ip_type:2 ipaddr:10.1.1.1 "
              "ipaddr_str:10.0.0.0/8\n"
              "in [ip_bgp_info_cb][2773] vrf_name:red ip_type:2 all:2 ipaddr:10.1.1.1 "
              "ipaddr_str:10.0.0.0/8\n" +
                  exchange_trace(info, info_refusal, -1));
}

TEST_F(RequestTrace, OfAnInfoQueryWithoutInputs) {
    EXPECT_EQ(trace_of(info, {}), "in [ip_bgp_info_cb][2753]event= 5, input_cnt = 0\n"
                                  "in [ip_bgp_info_cb][2763]inData.input_cnt = 0\n"
                                  "vxlan_input_parse err!\n"
                                  "in [ip_bgp_info_cb][2773] vrf_name: ip_type:1 all:1 ipaddr: "
                                  "ipaddr_str:\n" +
                                      exchange_trace(info, info_refusal, -1));
}

TEST_F(RequestTrace, OfTextsThatFillTheirFieldsEndsWithTheFields) {
    const std::string vrf(64, 'v');
    const std::string address(17, 'a');
    const std::string prefix(21, 'p');
    const std::string printed =
        trace_of(info, {text(info, "vrf-name", vrf), text(info, "ipv4-address", address),
                        text(info, "ip-str", prefix)});
    EXPECT_THAT(printed, testing::HasSubstr("vrf_name:" + vrf + ", ip_type:0 ipaddr:" + address +
                                            " ipaddr_str:" + prefix + "\n"));
    EXPECT_THAT(printed, testing::HasSubstr(" vrf_name:" + vrf + " ip_type:0 all:0 ipaddr:" +
                                            address + " ipaddr_str:" + prefix + "\n"));
}

TEST_F(RequestTrace, OfASummaryQuery) {
    const std::string refusal = "ip_bgp_summary_output_parse,module:3,subMod:99\n"
                                "output data is not bgp and ip bgp info data!\n";
    EXPECT_EQ(
        trace_of(summary, {text(summary, "vrf-name", "red"), text(summary, "ip-type", "IPV4")}),
        "in [ip_bgp_summary_cb][2891]event= 5, input_cnt = 2\n"
        "[bgp_input_parse:1604],input_cnt = 2, vrf_name:red, ip_type:1\n"
        "inData.all flag:1\n" +
            exchange_trace(summary, refusal, -1));
    EXPECT_EQ(trace_of(summary, {}), "in [ip_bgp_summary_cb][2891]event= 5, input_cnt = 0\n"
                                     "vxlan_input_parse err!\n"
                                     "inData.all flag:1\n" +
                                         exchange_trace(summary, refusal, -1));
}

TEST_F(RequestTrace, OfANeighborQuery) {
    const std::string refusal = "ip_bgp_info_neighbor_parse,module:3,subMod:99\n"
                                "output data is not bgp and ip bgp info data!\n";
    struct Row {
        std::vector<scripted::Value> inputs;
        std::string count, trace;
    };
    const Row rows[] = {
        {{},
         "0",
         "in inData.neighbor_addr:\n"
         "in inData.all flag:1\n"
         "in inData.vrf_name:\n"},
        {{text(neighbor, "ipaddr", "10.0.0.2")},
         "1",
         "in inData.neighbor_addr:10.0.0.2\n"
         "in inData.all flag:0\n"
         "in inData.vrf_name:\n"},
        {{text(neighbor, "vrf-name", std::string(65, 'v'))},
         "1",
         "in inData.neighbor_addr:\n"
         "in inData.all flag:0\n"
         "in inData.vrf_name:" +
             std::string(65, 'v') + "\n"},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(trace_of(neighbor, row.inputs),
                  "in [ip_bgp_neighbor_cb][2817]event= 5, input_cnt = " + row.count + "\n" +
                      row.trace + exchange_trace(neighbor, refusal, -1));
    }
}

TEST_F(RequestTrace, OfAnotherEventEndsWithIt) {
    for (const Rpc *rpc : {&info, &neighbor, &summary}) {
        const int trace_line = rpc == &info ? 2753 : rpc == &neighbor ? 2817 : 2891;
        const std::string function = rpc->function;
        EXPECT_EQ(trace_of(*rpc, {}, SR_EV_ABORT),
                  "in [" + function + "][" + std::to_string(trace_line) +
                      "]event= 3, input_cnt = 0\n[" + function + "][" +
                      std::to_string(rpc->event_line) + "]invalid argument.\n");
    }
}

constexpr const char *clear_frame = "-------------in clear_ip_bgp_cb inData info -------------\n";

TEST_F(RequestTrace, OfAClear) {
    EXPECT_EQ(trace_of(clear, {text(clear, "reconfig-type", "soft"),
                               text(clear, "vrf-name", std::string(65, 'v'))}),
              std::string(instance_trace) + clear_frame +
                  "input_cnt:2\n"
                  "inData.clear_all:0\n"
                  "inData.reconfig_type:3\n"
                  "inData.vrf_name:" +
                  std::string(65, 'v') + "\n" + clear_frame +
                  "in [clear_ip_bgp_cb][3004]event= '5'\n" + exchange_trace(clear, "", 0));
}

TEST_F(RequestTrace, OfAClearForAnotherEventHasItsInputs) {
    EXPECT_EQ(trace_of(clear, {}, SR_EV_CHANGE), std::string(instance_trace) + clear_frame +
                                                     "input_cnt:0\n"
                                                     "inData.clear_all:1\n"
                                                     "inData.reconfig_type:0\n"
                                                     "inData.vrf_name:\n" +
                                                     clear_frame +
                                                     "in [clear_ip_bgp_cb][3004]event= '1'\n"
                                                     "[clear_ip_bgp_cb][3008]invalid argument.\n");
}

TEST_F(RequestTrace, OfAQueryWithoutAReply) {
    daemon.answer_next(configd::RawBytes{"", true});
    const CapturedOutput printed;
    EXPECT_EQ(call(neighbor), SR_ERR_CALLBACK_FAILED);
    EXPECT_THAT(printed.text(), testing::EndsWith("  inDataLen:116 sub_mod:20\n"
                                                  "[bgp_plugin_send_and_receive]reply_buf = (nil)\n"
                                                  "get reply buff error!\n"));
}

} // namespace
