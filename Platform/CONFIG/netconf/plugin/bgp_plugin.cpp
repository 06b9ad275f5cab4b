// The BGP plug-in: configuration translation, queries and life cycle; see bgp_plugin.h.
#include "bgp_plugin.h"

#include "change_walk.h"
#include "diagnostics.h"
#include "host.h"
#include "output_values.h"
#include "packed_reader.h"
#include "record_text.h"
#include "refusal.h"
#include "reply_fields.h"
#include "request_message.h"
#include "sysrepo_library.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

uint32_t g_bgp_id = 0;
int bgp_nc = 0;
int debug_bgp = 0;

namespace {

constexpr Diagnostics debug{debug_bgp};

bool equal(const char *left, const char *right) {
    return std::strcmp(left, right) == 0;
}

// --- Names and numbers -------------------------------------------------------

struct FamilyName {
    const char *name;
    uint32_t number;
};

// The daemon's identifiers, gaps included.
constexpr FamilyName afi_names[] = {{"AFI_IP", 1}, {"AFI_IPV6", 2}, {"AFI_L2VPN", 3}};
constexpr FamilyName safi_names[] = {
    {"SAFI_UNICAST", 1}, {"SAFI_MULTICAST", 2}, {"SAFI_EVPN", 5}, {"SAFI_VRF", 71}};

template <std::size_t count>
uint32_t number_of(const FamilyName (&names)[count], const char *name) {
    if (name == nullptr) {
        return 0;
    }
    for (const FamilyName &row : names) {
        if (equal(name, row.name)) {
            return row.number;
        }
    }
    return 0;
}

template <std::size_t count>
const char *name_of(const FamilyName (&names)[count], uint32_t number) {
    for (const FamilyName &row : names) {
        if (number == row.number) {
            return row.name;
        }
    }
    return nullptr;
}

constexpr const char *list_containers[] = {
    "bgp-family-networks",          "bgp-family-neighbors",    "bgp-family-redistributes",
    "bgp-globle-neighbors",         "bgp-family-vrf-networks", "bgp-family-vrf-neighbors",
    "bgp-family-vrf-redistributes",
};

} // namespace

// --- Change-processing helpers -----------------------------------------------

int changeOp_switch_config_set(sr_change_oper_t changeOp) {
    switch (changeOp) {
    case SR_OP_CREATED:
    case SR_OP_MODIFIED:
        return 1;
    case SR_OP_DELETED:
        return 0;
    default:
        return -1;
    }
}

uint32_t bgp_key_afi_str_to_int(const char *key_str) {
    return number_of(afi_names, key_str);
}

uint32_t bgp_key_safi_str_to_int(const char *key_str) {
    return number_of(safi_names, key_str);
}

const char *bgp_key_afi_int_to_str(uint32_t afi) {
    return name_of(afi_names, afi);
}

const char *bgp_key_safi_int_to_str(uint32_t safi) {
    return name_of(safi_names, safi);
}

int is_continue_by_node_name(const char *node_name) {
    if (node_name == nullptr) {
        return 0;
    }
    for (const char *container : list_containers) {
        if (equal(node_name, container)) {
            return 1;
        }
    }
    return 0;
}

int ip_bgp_check_bgp_as_config_exist(sr_session_ctx_t *session, uint32_t *bgp_as) {
    if (session == nullptr || bgp_as == nullptr) {
        return SR_ERR_INVAL_ARG;
    }
    sr_val_t *value = nullptr;
    const int rc = sr_get_item(session, "/orv_bgp:router-bgp/as", 0, &value);
    debug.print("[%s][%d] rc:%d\n", __func__, 169, rc);
    if (rc != SR_ERR_OK || value == nullptr) {
        return SR_ERR_NOT_FOUND;
    }
    const uint32_t as = value->data.uint32_val;
    debug.print("[%s][%d] bgp router id:%d\n", __func__, 175, static_cast<int>(as));
    sr_free_val(value);
    if (as == 0) {
        return SR_ERR_NOT_FOUND;
    }
    *bgp_as = as;
    return SR_ERR_OK;
}

// --- Change callbacks: what they share ----------------------------------------

namespace {

constexpr std::size_t path_size = 1000;        // bytes, terminator included
constexpr std::size_t send_buffer_size = 1500; // bytes, no record is longer

// Prints why a callback fails, and notes it for the client.
void report(const char *why) {
    always.line(why);
    refusal.because("%s", why);
}

bool contains(const char *text, const char *part) {
    return std::strstr(text, part) != nullptr;
}

// Refuses a path that is longer than its working buffer has room for. Its end
// says which node it is.
int refuse_path(const char *path, std::size_t limit) {
    const std::size_t length = std::strlen(path);
    always.print("path ...%s is %zu bytes long, the limit is %zu\n",
                 path + (length > 100 ? length - 100 : 0), length, limit);
    refusal.because("the path is %zu bytes long, the limit is %zu; shorten its keys", length,
                    limit);
    return SR_ERR_INVALID_VALUE;
}

// Copies the characters of `path` into a working buffer, without a terminator:
// what an earlier, longer path left behind it stays. The buffer's last byte
// stays zero. A path that does not fit is refused.
int copy_path(char (&buffer)[path_size], const char *path) {
    const std::size_t length = std::strlen(path);
    if (length >= path_size) {
        return refuse_path(path, path_size - 1);
    }
    std::memcpy(buffer, path, length);
    return SR_ERR_OK;
}

// The value of a list's key in `path`, or nullptr. It lies in `path`, which is
// cut behind it.
const char *key_value(char *path, const char *list, const char *key) {
    sr_xpath_ctx_t state{};
    return path == nullptr ? nullptr : sr_xpath_key_value(path, list, key, &state);
}

// The text of a value, or nullptr when a value of its type has none: the data
// is a union, and a number read as a pointer would lead anywhere. Of a type that
// sysrepo does not know it sets no data at all.
const char *text_of(const sr_val_t &value) {
    switch (value.type) {
    case SR_BOOL_T:
    case SR_UINT8_T:
    case SR_UINT16_T:
    case SR_UINT32_T:
#ifdef SYSREPO_HAS_ALL_TYPES
    case SR_LIST_T:
    case SR_CONTAINER_T:
    case SR_CONTAINER_PRESENCE_T:
    case SR_NOTIFICATION_T:
    case SR_LEAF_EMPTY_T:
    case SR_DECIMAL64_T:
    case SR_INT8_T:
    case SR_INT16_T:
    case SR_INT32_T:
    case SR_INT64_T:
    case SR_UINT64_T:
#endif
        return nullptr;
    default:
        return value.data.string_val;
    }
}

// The daemon's refusals, for the client.
struct DaemonCode {
    int code;
    const char *meaning;
    const char *advice;
};
constexpr DaemonCode daemon_codes[] = {
    {SR_ERR_INVALID_VALUE, "invalid value", "correct the value"},
    {SR_ERR_NO_EXISTS_CONFIG, "configuration does not exist", "configure what it belongs to first"},
    {SR_ERR_CONFIG_FAILED, "configuration failed", "see the daemon's log"},
    {SR_ERR_NOT_SUPPORT, "not supported", "leave the setting out"},
    {SR_ERR_SOCKET_FAILED, "connection failed", "see the daemon's log"},
};

// Notes that the daemon refused, unless the transport has said why no answer came.
void note_daemon_code(int code) {
    const auto *row = std::find_if(std::begin(daemon_codes), std::end(daemon_codes),
                                   [code](const DaemonCode &known) { return known.code == code; });
    const bool known = row != std::end(daemon_codes);
    refusal.because("the configuration daemon refused it with code %d, \"%s\"; %s", code,
                    known ? row->meaning : sr_strerror(code),
                    known ? row->advice : "see the daemon's log");
}

// The record in the making: what the next plugin_config sends. Its bytes stay
// when it has been sent; a later record of the same edit is built over them.
struct PendingRecord {
    alignas(std::max_align_t) char data[send_buffer_size] = {};
    uint32_t length = 0;  // bytes; 0: none
    uint32_t sub_mod = 0; // 0: none

    int send(sr_change_oper_t operation) {
        const int rc = plugin_config(data, static_cast<int>(length), operation, MODULE_ID_BGP,
                                     static_cast<int>(sub_mod));
        if (rc != SR_ERR_OK) {
            note_daemon_code(rc);
        }
        return rc;
    }
    void clear() { length = sub_mod = 0; }
};

// One change, as the callbacks look at it.
struct Change {
    sr_change_oper_t operation;
    sr_val_t *value;
    const char *node;
};

// What a callback's lines say of itself: its name and the numbers that they
// carry.
struct CallbackLines {
    const char *function;
    int event;
    int iterator;
    const char *closing; // the walk ended with "not found"
};

template <typename Work>
int handle_event(const CallbackLines &lines, sr_session_ctx_t *session, const char *p_xpath,
                 sr_event_t event, Work work) {
    if (p_xpath == nullptr) {
        report(" path inval arg!");
        return SR_ERR_INVAL_ARG;
    }
    char xpath[path_size];
    const std::size_t size = std::strlen(p_xpath) + sizeof "//.";
    if (size > sizeof xpath) {
        return refuse_path(p_xpath, sizeof xpath - sizeof "//.");
    }
    std::snprintf(xpath, size, "%s%s", p_xpath, "//.");
    debug.print("[%s][%d]event is %d,p_xpath is %s,xpath is %s\n", lines.function, lines.event,
                event, p_xpath, xpath);
    if (event == SR_EV_ABORT || event == SR_EV_DONE) {
        return SR_ERR_OK;
    }
    ChangeWalk walk;
    int rc = walk.open(session, xpath);
    if (rc != SR_ERR_OK) {
        always.print("[%s][%d]Get change iter for xpath %s failed:%s\n", lines.function,
                     lines.iterator, xpath, sr_strerror(rc));
        return rc;
    }
    rc = work(walk);
    if (rc == SR_ERR_NOT_FOUND) {
        debug.line(lines.closing);
        return SR_ERR_OK;
    }
    return rc;
}

// Runs `work` on the changes of an edit when the event asks for it: done and
// abort come after the daemon has been told. `work` returns the callback's
// result; "not found", which is the end of the changes (or a daemon's answer
// with the same number), is success. The client is told of a failure.
template <typename Work>
int run_callback(const CallbackLines &lines, sr_session_ctx_t *session, const char *p_xpath,
                 sr_event_t event, Work work) {
    refusal.begin(p_xpath);
    return refusal.tell(session, handle_event(lines, session, p_xpath, event, work));
}

// Says that a change has no value to work on.
void report_no_value(const ChangeWalk &walk) {
    always.print("choose value for oper %d failed. old_value:%p, new_value:%p\n", walk.operation(),
                 static_cast<void *>(walk.old_value()), static_cast<void *>(walk.new_value()));
    refusal.because("a change carries no value");
}

// The last node of a value's path, or nullptr after saying so.
const char *node_name(const sr_val_t &value) {
    const char *name = value.xpath == nullptr ? nullptr : sr_xpath_node_name(value.xpath);
    if (name == nullptr) {
        always.print("get node name from xpath %s fail\n",
                     value.xpath == nullptr ? "(null)" : value.xpath);
        refusal.because("the path names no node");
    }
    return name;
}

} // namespace

// --- Change callback: AS number ------------------------------------------------

namespace {

constexpr CallbackLines as_lines = {"bgp_config_as_change_cb", 1369, 1378,
                                    "bgp-id change config over"};

// Sends the AS number as changed; g_bgp_id follows once the daemon has agreed.
int send_as(const Change &change) {
    // Nothing is ever pending here: each change goes out by itself.
    PendingRecord pending;
    debug.print("[%s][%d] need_send:%d sub_mod:%d\n", as_lines.function, 1412, 0, 0);

    bgp_as_val record{};
    record.as = change.value->data.uint32_val;
    record.op = changeOp_switch_config_set(change.operation);
    std::memcpy(pending.data, &record, sizeof record);
    pending.length = sizeof record;
    pending.sub_mod = BGP_SUB_BGP_AS;
    debug.print("as:%u bgp_as.op:%d\n", record.as, record.op);

    const int rc = pending.send(change.operation);
    if (rc != SR_ERR_OK) {
        debug.print("\nchange cfg for bgp from xpath:%s  failed:%s", change.value->xpath,
                    sr_strerror(rc));
        return rc;
    }
    if (record.op == 1) {
        g_bgp_id = record.as;
    } else if (record.op == 0) {
        g_bgp_id = 0;
    }
    return SR_ERR_OK;
}

// Sends every change of the AS leaf. A change without a value ends the walk as
// if nothing were left.
int walk_as(ChangeWalk &walk) {
    for (;;) {
        int rc = walk.next();
        if (rc == SR_ERR_NOT_FOUND) {
            debug.print("\nsr_get_change_next\tnot found");
            return SR_ERR_OK;
        }
        if (rc != SR_ERR_OK) {
            return rc;
        }
        if (walk.choose() != SR_ERR_OK) {
            report_no_value(walk);
            return SR_ERR_OK;
        }
        debug.print("choose value for oper %d success. old_value:%p, new_value:%p\n",
                    walk.operation(), static_cast<void *>(walk.old_value()),
                    static_cast<void *>(walk.new_value()));
        const Change change{walk.operation(), walk.value(), node_name(*walk.value())};
        if (change.node == nullptr) {
            return SR_ERR_INTERNAL;
        }
        debug.print("[%s][%d]pNodeName=%s.\n", as_lines.function, 1407, change.node);
        if (equal(change.node, "as")) {
            refusal.about(change.value->xpath);
            rc = send_as(change);
            if (rc != SR_ERR_OK) {
                return rc;
            }
        }
        debug.print("[%s:%d]rc = %d\n", as_lines.function, 1443, rc);
    }
}

} // namespace

int bgp_config_as_change_cb(sr_session_ctx_t *session, const char * /*module*/, const char *p_xpath,
                            sr_event_t event, uint32_t /*request_id*/, void * /*priv*/) {
    return run_callback(as_lines, session, p_xpath, event, walk_as);
}

// --- Change callbacks below an AS: what they share -----------------------------

namespace {

// The lines of a callback whose settings belong to the instance.
struct InstanceLines : CallbackLines {
    int not_found;
    int pending; // of the record pending at the end; 0: not traced
    int as_missing;
    int as_error;
    int node;
    int no_value_result; // of the callback when a change has no value
};

// Reads the configured AS number into g_bgp_id, 0 when there is none.
void refresh_bgp_id(sr_session_ctx_t *session) {
    uint32_t bgp_as = 0;
    const int rc = ip_bgp_check_bgp_as_config_exist(session, &bgp_as);
    g_bgp_id = rc == SR_ERR_OK ? bgp_as : 0;
}

// At the end of the changes: sends what is pending. A record that never got a
// sub-module code (a neighbour with no setting of its own) is an error.
int send_last(PendingRecord &pending, sr_change_oper_t last_operation) {
    if (pending.length == 0) {
        return SR_ERR_NOT_FOUND;
    }
    if (pending.sub_mod == 0) {
        debug.print("\nchange cfg for bgp failed:%s", sr_strerror(SR_ERR_NOT_FOUND));
        refusal.because("the edit ends with a neighbor that has no setting of its own; create or "
                        "delete one of its settings with it");
        return SR_ERR_INVAL_ARG;
    }
    const int rc = pending.send(last_operation);
    if (rc != SR_ERR_OK) {
        debug.print("\nchange cfg for bgp failed:%s", sr_strerror(rc));
    }
    return rc;
}

// Steps to the next change that is to be looked at, passing over deletions
// while no AS is configured. Returns nothing when *change holds it, otherwise
// the result to leave the walk with.
std::optional<int> next_change(const InstanceLines &lines, const char *p_xpath, ChangeWalk &walk,
                               PendingRecord &pending, Change *change) {
    for (;;) {
        const int rc = walk.next();
        if (rc == SR_ERR_NOT_FOUND) {
            debug.print("[%s][%d]not found!", lines.function, lines.not_found);
            if (lines.pending != 0) {
                debug.print("[%s][%d]send data_buf_len = %d,sub_mod = %d!", lines.function,
                            lines.pending, pending.length, pending.sub_mod);
            }
            return send_last(pending, walk.operation());
        }
        if (rc != SR_ERR_OK) {
            return rc;
        }
        if (g_bgp_id != 0) {
            break;
        }
        if (walk.operation() != SR_OP_DELETED) {
            debug.print("[%s][%d] error, as not exist!", lines.function, lines.as_error);
            refusal.about(walk.new_value() == nullptr ? p_xpath : walk.new_value()->xpath);
            refusal.because("no AS is configured; configure /orv_bgp:router-bgp/as first");
            return SR_ERR_CONFIG_FAILED;
        }
        debug.print("[%s][%d]as not exist!", lines.function, lines.as_missing);
    }
    if (walk.choose() != SR_ERR_OK) {
        report_no_value(walk);
        return lines.no_value_result;
    }
    debug.print("bgp node from xpath:%s, changeOper %d\n", p_xpath, walk.operation());
    *change = {walk.operation(), walk.value(), node_name(*walk.value())};
    if (change->node == nullptr) {
        return SR_ERR_INTERNAL;
    }
    debug.print("[%s][%d]pNodeName='%s'.\n", lines.function, lines.node, change->node);
    return std::nullopt;
}

// Walks the changes of an edit: each that is to be looked at goes to `work`,
// whose result ends the walk when it is not SR_ERR_OK.
template <typename Work>
int walk_changes(const InstanceLines &lines, const char *p_xpath, ChangeWalk &walk,
                 PendingRecord &pending, Work work) {
    Change change{};
    for (;;) {
        const std::optional<int> end = next_change(lines, p_xpath, walk, pending, &change);
        if (end) {
            return *end;
        }
        const int rc = work(change);
        if (rc != SR_ERR_OK) {
            return rc;
        }
    }
}

// A leaf of a record.
struct Leaf {
    enum Kind { text, number, flag };

    const char *node;
    Kind kind;
    std::size_t offset; // of its field in the record
    std::size_t size;   // of its field
    uint32_t sub_mod;
    const char *trace; // line of the leaf; nullptr: none
    bool traces_text;  // the line ends with the leaf's text
};

#define LEAF_FIELD(record, field) offsetof(record, field), sizeof(record::field)

// The row of a node's name, or nullptr.
template <typename Row, std::size_t count>
const Row *find_row(const Row (&rows)[count], const char *node) {
    for (const Row &row : rows) {
        if (row.node != nullptr && equal(row.node, node)) {
            return &row;
        }
    }
    return nullptr;
}

// Writes what a change says of a leaf into its field of `record`. A flag tells
// that the leaf was concerned, whatever its value.
int write_leaf(char *record, const Leaf &leaf, const sr_val_t &value) {
    char *field = record + leaf.offset;
    if (leaf.kind == Leaf::text) {
        const bool put = put_text(field, leaf.size, text_of(value), leaf.node);
        return put ? int{SR_ERR_OK} : int{SR_ERR_INVALID_VALUE};
    }
    const uint32_t number = leaf.kind == Leaf::number ? value.data.uint32_val : 1;
    std::memcpy(field, &number, sizeof number);
    return SR_ERR_OK;
}

// Lets `parser` work on the pending record's bytes as a record of its type.
template <typename Record, typename Parser>
int parse_pending(PendingRecord &pending, Parser parser) {
    static_assert(sizeof(Record) <= sizeof pending.data, "every record fits the send buffer");
    Record record;
    std::memcpy(&record, pending.data, sizeof record);
    const int result = parser(&record, &pending.length, &pending.sub_mod);
    std::memcpy(pending.data, &record, sizeof record);
    return result;
}

} // namespace

// --- Change callback: router identifier and global neighbours ------------------

namespace {

constexpr InstanceLines globle_lines = {
    {"bgp_config_globle_bgp_change_cb", 651, 660, "globle bgp change config over"},
    /*not_found=*/668,
    /*pending=*/0,
    /*as_missing=*/694,
    /*as_error=*/701,
    /*node=*/722,
    SR_ERR_INTERNAL};

constexpr Leaf globle_neighbor_leaves[] = {
    {"remote-as", Leaf::text, LEAF_FIELD(bgp_globle_neighbor_config, remote_as),
     BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, nullptr, false},
    {"description", Leaf::text, LEAF_FIELD(bgp_globle_neighbor_config, description),
     BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, nullptr, false},
    {"ebgp-multihop", Leaf::number, LEAF_FIELD(bgp_globle_neighbor_config, ebgp_multihop),
     BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, nullptr, false},
    {"update-source", Leaf::text, LEAF_FIELD(bgp_globle_neighbor_config, update_source),
     BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, nullptr, false},
};

// The state of one walk.
struct GlobleState {
    PendingRecord pending;
    int remote_as_delete_fg = 0;
};

// The settings that go with a neighbour when its remote AS is deleted.
bool goes_with_remote_as(uint32_t sub_mod) {
    return sub_mod == BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION ||
           sub_mod == BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP ||
           sub_mod == BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE;
}

void trace_globle_send(int line, const Change &change, const GlobleState &state) {
    debug.print("[%s][%d]send data_buf_len = %d,sub_mod = %d changeOp:%d  remote_as_delete_fg:%d!",
                globle_lines.function, line, state.pending.length, state.pending.sub_mod,
                change.operation, state.remote_as_delete_fg);
}

// Sends the record. Deleting a neighbour's remote AS removes the neighbour in
// the daemon, so deletions of its other settings are not sent, up to the next
// record that is.
int send_globle(const Change &change, GlobleState &state) {
    const char *function = globle_lines.function;
    PendingRecord &pending = state.pending;
    trace_globle_send(750, change, state);
    if (goes_with_remote_as(pending.sub_mod) && state.remote_as_delete_fg == 1 &&
        change.operation == SR_OP_DELETED) {
        pending.clear();
        debug.print("[%s][%d] sub_mod:%d continue\n", function, 760, pending.sub_mod);
        return SR_ERR_OK;
    }
    debug.print("[%s][%d] set remote_as_delete_fg = 0\n", function, 766);
    state.remote_as_delete_fg = 0;
    trace_globle_send(770, change, state);
    const int rc = pending.send(change.operation);
    if (rc == SR_ERR_OK && pending.sub_mod == BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS &&
        change.operation == SR_OP_DELETED) {
        debug.print("[%s][%d] set remote_as_delete_fg = 1\n", function, 777);
        state.remote_as_delete_fg = 1;
    }
    pending.clear();
    if (rc != SR_ERR_OK) {
        debug.print("\nchange cfg for bgp from xpath:%s  failed:%s", change.value->xpath,
                    sr_strerror(rc));
    }
    return rc;
}

// Makes the router identifier the pending record.
int put_router_id(const Change &change, PendingRecord &pending) {
    bgp_globle_config record{};
    record.op = changeOp_switch_config_set(change.operation);
    record.bgp_id = g_bgp_id;
    if (!put_text(record.router_id, text_of(*change.value), change.node)) {
        return SR_ERR_INVALID_VALUE;
    }
    std::memcpy(pending.data, &record, sizeof record);
    pending.length = sizeof record;
    pending.sub_mod = BGP_SUB_ROUTER_ID;
    return SR_ERR_OK;
}

int globle_change(sr_session_ctx_t *session, const Change &change, GlobleState &state) {
    if (is_continue_by_node_name(change.node) != 0) {
        return SR_ERR_OK;
    }
    refusal.about(change.value->xpath);
    int need_send = 0;
    if (equal(change.node, "router-id")) {
        const int rc = put_router_id(change, state.pending);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        need_send = 1;
    }
    debug.print("[%s][%d]use_val->xpath = %s .\n", globle_lines.function, 741, change.value->xpath);
    if (contains(change.value->xpath, "/orv_bgp:router-bgp/bgp/bgp-globle-neighbors/"
                                      "globle-neighbor")) {
        need_send = parse_pending<bgp_globle_neighbor_config>(
            state.pending, [&](auto *record, uint32_t *length, uint32_t *sub_mod) {
                return container_bgp_globle_neighbor_plugin_change_parse(
                    session, change.operation, change.value, change.node, record, length, sub_mod);
            });
    }
    if (need_send > 1) {
        debug.print("[%s][%d] error, need send = %d", globle_lines.function, 794, need_send);
        return need_send;
    }
    return need_send == 1 ? send_globle(change, state) : SR_ERR_OK;
}

} // namespace

int container_bgp_globle_neighbor_plugin_change_parse(sr_session_ctx_t *session,
                                                      sr_change_oper_t changeOp, sr_val_t *use_val,
                                                      const char *pNodeName,
                                                      bgp_globle_neighbor_config *buff,
                                                      uint32_t *buff_len, uint32_t *sub_mod) {
    if (buff == nullptr || buff_len == nullptr || pNodeName == nullptr || sub_mod == nullptr ||
        use_val == nullptr || session == nullptr) {
        return SR_ERR_INTERNAL;
    }
    if (equal(pNodeName, "neighbor-address")) {
        std::memset(buff, 0, sizeof *buff);
    }
    buff->op = changeOp_switch_config_set(changeOp);
    buff->bgp_id = g_bgp_id;
    *buff_len = sizeof *buff;

    const char *address = key_value(use_val->xpath, "globle-neighbor", "neighbor-address");
    if (address == nullptr) {
        report("neighbor address value is NULL.");
        return SR_ERR_INTERNAL;
    }
    if (!put_text(buff->neighbor_ip_or_tag, address, "neighbor-address")) {
        return SR_ERR_INVALID_VALUE;
    }
    const Leaf *leaf = find_row(globle_neighbor_leaves, pNodeName);
    if (leaf == nullptr) {
        return 0;
    }
    const int rc = write_leaf(reinterpret_cast<char *>(buff), *leaf, *use_val);
    if (rc != SR_ERR_OK) {
        return rc;
    }
    *sub_mod = leaf->sub_mod;
    return 1;
}

int bgp_config_globle_bgp_change_cb(sr_session_ctx_t *session, const char * /*module*/,
                                    const char *p_xpath, sr_event_t event, uint32_t /*request_id*/,
                                    void * /*priv*/) {
    refresh_bgp_id(session);
    return run_callback(globle_lines, session, p_xpath, event, [&](ChangeWalk &walk) {
        GlobleState state;
        return walk_changes(globle_lines, p_xpath, walk, state.pending, [&](const Change &change) {
            return globle_change(session, change, state);
        });
    });
}

// --- Change callbacks: address families, of the instance and of VRFs -----------

namespace {

constexpr uint32_t safi_vrf = 71;

// What the three records of an address family start with.
struct FamilyRecordHead {
    int32_t op;
    uint32_t bgp_id;
    address_family_val address_family;
};
static_assert(offsetof(bgp_address_family_network_universal_val, network_ip_str) ==
                      sizeof(FamilyRecordHead) &&
                  offsetof(bgp_address_family_neighbor_universal_val, neighbor_ip_or_tag) ==
                      sizeof(FamilyRecordHead) &&
                  offsetof(bgp_address_family_redistribute_universal_val, protocol_name) ==
                      sizeof(FamilyRecordHead),
              "the records share their head");

// A key of a list.
struct Key {
    const char *node;
    std::size_t offset;  // of its field in the record
    std::size_t size;    // of its field
    const char *missing; // line when a path lacks it
    const char *trace;   // line of the key, before its text; nullptr: none
};

// What a container of an address family is made of. In a VRF the list has
// another name; the neighbour's leaves differ as well.
struct FamilyContainer {
    std::size_t size; // of the record
    Key keys[2];      // the leaf of the first starts a new record and clears it
    Leaf leaves[5];
    uint32_t sub_mod; // of every change; 0: the leaf's, and other nodes leave it
};

constexpr FamilyContainer network_container = {
    sizeof(bgp_address_family_network_universal_val),
    {{"prefix", LEAF_FIELD(bgp_address_family_network_universal_val, network_ip_str),
      "network prefix is NULL.", "set network prefix "}},
    {{"route-map", Leaf::text, LEAF_FIELD(bgp_address_family_network_universal_val, route_map),
      BGP_SUB_NETWORK, "set network routemap ", true},
     {"backdoor", Leaf::flag, LEAF_FIELD(bgp_address_family_network_universal_val, backdoor),
      BGP_SUB_NETWORK, "set network backdoor", false}},
    BGP_SUB_NETWORK};

constexpr FamilyContainer redistribute_container = {
    sizeof(bgp_address_family_redistribute_universal_val),
    {{"protocol", LEAF_FIELD(bgp_address_family_redistribute_universal_val, protocol_name),
      "redistribute protocol is NULL.", nullptr},
     {"process", LEAF_FIELD(bgp_address_family_redistribute_universal_val, protocol_id_or_tag),
      "redistribute process is NULL.", nullptr}},
    {{"route-map", Leaf::text, LEAF_FIELD(bgp_address_family_redistribute_universal_val, route_map),
      BGP_SUB_REDISTRIBUTE, nullptr, false}},
    BGP_SUB_REDISTRIBUTE};

constexpr Key neighbor_key = {
    "neighbor-address", LEAF_FIELD(bgp_address_family_neighbor_universal_val, neighbor_ip_or_tag),
    "neighbor ip address is NULL.", nullptr};

constexpr FamilyContainer neighbor_container = {
    sizeof(bgp_address_family_neighbor_universal_val),
    {neighbor_key},
    {{"activate", Leaf::flag, LEAF_FIELD(bgp_address_family_neighbor_universal_val, active),
      BGP_SUB_NEIGHBOR_ACTIVATE, "set neighbor activate", false},
     {"next-hop-self", Leaf::flag,
      LEAF_FIELD(bgp_address_family_neighbor_universal_val, next_hop_self),
      BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, "set neighbor next hop self", false},
     {"route-reflector-client", Leaf::flag,
      LEAF_FIELD(bgp_address_family_neighbor_universal_val, route_reflector_client),
      BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, "set neighbor route_reflector_client", false}},
    0};

constexpr FamilyContainer vrf_neighbor_container = {
    sizeof(bgp_address_family_neighbor_universal_val),
    {neighbor_key},
    {{"activate", Leaf::flag, LEAF_FIELD(bgp_address_family_neighbor_universal_val, active),
      BGP_SUB_NEIGHBOR_VRF_ACTIVATE, "set neighbor activate", false},
     {"remote-as", Leaf::text, LEAF_FIELD(bgp_address_family_neighbor_universal_val, remote_as),
      BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, "set vrf neighbor remote as", false},
     {"description", Leaf::text, LEAF_FIELD(bgp_address_family_neighbor_universal_val, description),
      BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, "set vrf neighbor description", false},
     {"ebgp-multihop", Leaf::number,
      LEAF_FIELD(bgp_address_family_neighbor_universal_val, ebgp_multihop),
      BGP_SUB_NEIGHBOR_VRF_MULTIHOP, "set vrf neighbor ebgp_multihop", false},
     {"update-source", Leaf::text,
      LEAF_FIELD(bgp_address_family_neighbor_universal_val, update_source),
      BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, "set vrf neighbor update_source", false}},
    0};

// Takes the list's keys out of the value's path and puts them into the record.
int put_keys(const FamilyContainer &container, const char *list, const char *function, char *record,
             sr_val_t &value) {
    // A look-up cuts the text that it is given, so the second needs a copy.
    char copy[path_size];
    const bool several = container.keys[1].node != nullptr;
    if (several) {
        std::memset(copy, 0, sizeof copy);
    }
    for (const Key &key : container.keys) {
        if (key.node == nullptr) {
            break;
        }
        if (several && value.xpath != nullptr) {
            const int rc = copy_path(copy, value.xpath);
            if (rc != SR_ERR_OK) {
                return rc;
            }
        }
        const char *text = key_value(several ? copy : value.xpath, list, key.node);
        if (text == nullptr) {
            always.line(key.missing);
            return SR_ERR_INTERNAL;
        }
        if (!put_text(record + key.offset, key.size, text, key.node)) {
            return SR_ERR_INVALID_VALUE;
        }
        if (key.trace != nullptr) {
            debug.print("[%s][%d]%s%s.\n", function, __LINE__, key.trace, text);
        }
    }
    return SR_ERR_OK;
}

void trace_leaf(const Leaf &leaf, const char *function, const sr_val_t &value) {
    if (leaf.trace != nullptr) {
        debug.print("[%s][%d]%s%s.\n", function, __LINE__, leaf.trace,
                    leaf.traces_text ? text_of(value) : "");
    }
}

// Puts one change into a record of the container; what the six parsers share.
// `function` is the parser's name.
int parse_family(const FamilyContainer &container, const char *list, const char *function,
                 sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,
                 const address_family_val *family_data, const char *pNodeName, void *buff,
                 uint32_t *buff_len, uint32_t *sub_mod) {
    if (buff == nullptr || buff_len == nullptr || pNodeName == nullptr || sub_mod == nullptr ||
        use_val == nullptr || session == nullptr || family_data == nullptr) {
        return SR_ERR_INTERNAL;
    }
    auto *record = static_cast<char *>(buff);
    if (equal(pNodeName, container.keys[0].node)) {
        std::memset(record, 0, container.size);
    }
    const FamilyRecordHead head{changeOp_switch_config_set(changeOp), g_bgp_id, *family_data};
    std::memcpy(record, &head, sizeof head);
    *buff_len = static_cast<uint32_t>(container.size);

    int rc = put_keys(container, list, function, record, *use_val);
    if (rc != SR_ERR_OK) {
        return rc;
    }
    const Leaf *leaf = find_row(container.leaves, pNodeName);
    if (leaf != nullptr) {
        rc = write_leaf(record, *leaf, *use_val);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        trace_leaf(*leaf, function, *use_val);
        *sub_mod = leaf->sub_mod;
    }
    if (container.sub_mod != 0) {
        *sub_mod = container.sub_mod;
    }
    return SR_ERR_OK;
}

} // namespace

// The parsers of the six lists differ in container and list name alone.
#define FAMILY_PARSER(parser, record, container, list)                                             \
    int parser(sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,            \
               const address_family_val *family_data, const char *pNodeName, record *buff,         \
               uint32_t *buff_len, uint32_t *sub_mod) {                                            \
        return parse_family(container, list, __func__, session, changeOp, use_val, family_data,    \
                            pNodeName, buff, buff_len, sub_mod);                                   \
    }

FAMILY_PARSER(container_address_family_network_plugin_change_parse,
              bgp_address_family_network_universal_val, network_container, "family-network")
FAMILY_PARSER(container_address_family_neighbor_plugin_change_parse,
              bgp_address_family_neighbor_universal_val, neighbor_container, "family-neighbor")
FAMILY_PARSER(container_address_family_redistribute_plugin_change_parse,
              bgp_address_family_redistribute_universal_val, redistribute_container,
              "family-redistribute")
FAMILY_PARSER(container_address_family_vrf_network_plugin_change_parse,
              bgp_address_family_network_universal_val, network_container, "family-vrf-network")
FAMILY_PARSER(container_address_family_vrf_neighbor_plugin_change_parse,
              bgp_address_family_neighbor_universal_val, vrf_neighbor_container,
              "family-vrf-neighbor")
FAMILY_PARSER(container_address_family_vrf_redistribute_plugin_change_parse,
              bgp_address_family_redistribute_universal_val, redistribute_container,
              "family-vrf-redistribute")

namespace {

// What becomes of the pending record when a change arrives, by its sub-module
// code; a code without a row is kept.
struct PendingRule {
    uint32_t sub_mod;
    const char *own_leaves[3] = {};     // changes of these are added to the record
    const char *carried_leaves[4] = {}; // their deletion goes with the record's own deletion
    bool carries_containers = false;    // deletions below the entry go with the record
};

enum class Decision { keep, send, drop_change };

constexpr PendingRule network_rule = {BGP_SUB_NETWORK, {"route-map", "backdoor", "prefix"}};
constexpr PendingRule redistribute_rule = {BGP_SUB_REDISTRIBUTE,
                                           {"process", "route-map", "protocol"}};

constexpr PendingRule family_rules[] = {
    network_rule,
    redistribute_rule,
    {BGP_SUB_NEIGHBOR_ACTIVATE, {}, {"next-hop-self", "route-reflector-client"}},
    {BGP_SUB_NEIGHBOR_NEXT_HOP_SELF},
    {BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET},
};

constexpr PendingRule vrf_family_rules[] = {
    network_rule,
    redistribute_rule,
    {BGP_SUB_NEIGHBOR_VRF_REMOTE_AS,
     {},
     {"activate", "description", "ebgp-multihop", "update-source"}},
    {BGP_SUB_NEIGHBOR_VRF_ACTIVATE},
    {BGP_SUB_NEIGHBOR_VRF_DESCRIPTION},
    {BGP_SUB_NEIGHBOR_VRF_MULTIHOP},
    {BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE},
    {BGP_SUB_ADDRESS_FAMILY_VRF, {}, {}, true},
};

// Parses a change into the pending record.
using PendingParser = int (*)(sr_session_ctx_t *session, const Change &change,
                              const address_family_val &family, PendingRecord &pending);

template <typename Record,
          int (*parser)(sr_session_ctx_t *, sr_change_oper_t, sr_val_t *,
                        const address_family_val *, const char *, Record *, uint32_t *, uint32_t *)>
int parse_into_pending(sr_session_ctx_t *session, const Change &change,
                       const address_family_val &family, PendingRecord &pending) {
    return parse_pending<Record>(pending, [&](Record *record, uint32_t *length, uint32_t *sub_mod) {
        return parser(session, change.operation, change.value, &family, change.node, record, length,
                      sub_mod);
    });
}

// What differs between the address families of the instance and of the VRFs.
struct FamilyKind {
    InstanceLines lines;
    const char *list;
    bool has_vrf; // the list has the third key "vrf-name", and its entries are sent themselves
    const PendingRule *rules;
    std::size_t rule_count;
    struct Container {
        const char *name;
        PendingParser parse;
    } containers[3];
};

// Their lines carry no numbers that anybody relies on.
constexpr InstanceLines family_lines(const char *function, const char *closing) {
    return {{function, __LINE__, __LINE__, closing},
            /*not_found=*/__LINE__,
            /*pending=*/__LINE__,
            /*as_missing=*/__LINE__,
            /*as_error=*/__LINE__,
            /*node=*/__LINE__,
            SR_ERR_OK};
}

constexpr FamilyKind family_kind = {
    family_lines("bgp_config_address_family_change_cb", "address family change config over"),
    "address-family",
    false,
    family_rules,
    std::size(family_rules),
    {{"bgp-family-networks",
      parse_into_pending<bgp_address_family_network_universal_val,
                         container_address_family_network_plugin_change_parse>},
     {"bgp-family-neighbors",
      parse_into_pending<bgp_address_family_neighbor_universal_val,
                         container_address_family_neighbor_plugin_change_parse>},
     {"bgp-family-redistributes",
      parse_into_pending<bgp_address_family_redistribute_universal_val,
                         container_address_family_redistribute_plugin_change_parse>}}};

constexpr FamilyKind vrf_family_kind = {
    family_lines("bgp_config_address_family_vrf_change_cb",
                 "address family change vrf config over"),
    "address-family-vrf",
    true,
    vrf_family_rules,
    std::size(vrf_family_rules),
    {{"bgp-family-vrf-networks",
      parse_into_pending<bgp_address_family_network_universal_val,
                         container_address_family_vrf_network_plugin_change_parse>},
     {"bgp-family-vrf-neighbors",
      parse_into_pending<bgp_address_family_neighbor_universal_val,
                         container_address_family_vrf_neighbor_plugin_change_parse>},
     {"bgp-family-vrf-redistributes",
      parse_into_pending<bgp_address_family_redistribute_universal_val,
                         container_address_family_vrf_redistribute_plugin_change_parse>}}};

// The state of one walk.
struct FamilyState {
    address_family_val family{}; // the entry that the change belongs to
    PendingRecord pending;
    char path[path_size] = {}; // working copy for the key look-ups
};

// The value of one of the entry's keys in the change's path. It lies in
// state.path; nullptr, with *rc set, when the path does not fit or lacks it.
const char *family_key(const FamilyKind &kind, const Change &change, const char *key,
                       const char *missing, FamilyState &state, int *rc) {
    *rc = copy_path(state.path, change.value->xpath);
    if (*rc != SR_ERR_OK) {
        return nullptr;
    }
    const char *text = key_value(state.path, kind.list, key);
    if (text == nullptr) {
        report(missing);
        *rc = SR_ERR_INTERNAL;
    }
    return text;
}

// The keys that are numbers for the daemon, in the order of their look-up.
struct NumberKey {
    const char *node;
    uint32_t (*number)(const char *);
    uint32_t address_family_val::*field;
    const char *missing;
    const char *wrong;
};
constexpr NumberKey number_keys[] = {
    {"safi", bgp_key_safi_str_to_int, &address_family_val::safi, "address family safi is NULL.",
     "safi value is wrong."},
    {"afi", bgp_key_afi_str_to_int, &address_family_val::afi, "address family afi is NULL.",
     "afi value is wrong."},
};

// Reads the keys of the entry that a change belongs to into state.family.
int read_family(const FamilyKind &kind, const Change &change, FamilyState &state) {
    int rc = SR_ERR_OK;
    address_family_val &family = state.family;
    for (const NumberKey &key : number_keys) {
        const char *text = family_key(kind, change, key.node, key.missing, state, &rc);
        if (text == nullptr) {
            return rc;
        }
        family.*key.field = key.number(text);
        if (family.*key.field == 0) {
            report(key.wrong);
            return SR_ERR_INTERNAL;
        }
    }
    const char *function = kind.lines.function;
    if (!kind.has_vrf) {
        debug.print("[%s][%d]get afi= %d, safi = %d .\n", function, __LINE__, family.afi,
                    family.safi);
        return SR_ERR_OK;
    }
    const char *vrf =
        family_key(kind, change, "vrf-name", "address family vrf name is NULL.", state, &rc);
    if (vrf == nullptr) {
        return rc;
    }
    if (!put_text(family.vrf_name, vrf, "vrf-name")) {
        return SR_ERR_INVALID_VALUE;
    }
    debug.print("[%s][%d]get afi= %d, safi = %d , vrf name = %s.\n", function, __LINE__, family.afi,
                family.safi, vrf);
    return SR_ERR_OK;
}

template <std::size_t count>
bool names(const char *const (&nodes)[count], const char *node) {
    return std::any_of(std::begin(nodes), std::end(nodes),
                       [node](const char *name) { return name != nullptr && equal(name, node); });
}

bool is_below_container(const FamilyKind &kind, const Change &change) {
    return std::any_of(std::begin(kind.containers), std::end(kind.containers),
                       [&change](const FamilyKind::Container &container) {
                           return contains(change.value->xpath, container.name);
                       });
}

// Decides what becomes of the pending record, and of the change itself.
Decision decide(const FamilyKind &kind, const Change &change, const PendingRecord &pending) {
    const PendingRule *end = kind.rules + kind.rule_count;
    const PendingRule *rule = kind.rules;
    while (rule != end && rule->sub_mod != pending.sub_mod) {
        ++rule;
    }
    if (rule == end || names(rule->own_leaves, change.node)) {
        return Decision::keep;
    }
    const bool deletion = change.operation == SR_OP_DELETED;
    if (rule->carried_leaves[0] != nullptr) {
        int32_t op = 0;
        std::memcpy(&op, pending.data, sizeof op);
        debug.print("[%s][%d] neighbor_data->op:%d  changeOp:%d\n", kind.lines.function, __LINE__,
                    op, change.operation);
        if (op == 0 && deletion && names(rule->carried_leaves, change.node)) {
            return Decision::drop_change;
        }
    }
    if (rule->carries_containers && deletion && is_below_container(kind, change)) {
        return Decision::drop_change;
    }
    return Decision::send;
}

// Sends the pending record because `change` does not belong to it.
int send_pending(const FamilyKind &kind, const Change &change, PendingRecord &pending) {
    debug.print("[%s][%d]send data_buf_len = %d,sub_mod = %d!", kind.lines.function, __LINE__,
                pending.length, pending.sub_mod);
    const int rc = pending.send(change.operation);
    pending.clear();
    if (rc != SR_ERR_OK) {
        debug.print("\nchange cfg for bgp from xpath:%s  failed:%s", change.value->xpath,
                    sr_strerror(rc));
    }
    return rc;
}

// A VRF's address family is a setting of its own: its last key leaf stands for
// the entry.
bool is_vrf_entry(const FamilyKind &kind, const Change &change, const address_family_val &family) {
    return kind.has_vrf && equal(change.node, "vrf-name") && family.safi == safi_vrf;
}

// Makes the entry itself the pending record.
void put_vrf_entry(const Change &change, const address_family_val &family, PendingRecord &pending) {
    address_family_val entry = family;
    entry.op = changeOp_switch_config_set(change.operation);
    entry.bgp_id = g_bgp_id;
    pending = PendingRecord{};
    std::memcpy(pending.data, &entry, sizeof entry);
    pending.length = sizeof entry;
    pending.sub_mod = BGP_SUB_ADDRESS_FAMILY_VRF;
    debug.print("address family get op = %d, bgp id = %d, afi = %d, safi = %d, vrfname = %.*s, "
                "sub_mode = %d\n",
                entry.op, entry.bgp_id, entry.afi, entry.safi,
                static_cast<int>(sizeof entry.vrf_name), entry.vrf_name, pending.sub_mod);
}

// Gives the change to the parser of the container that it lies in; the entry
// and its key leaves lie in none. A missing list key does not end the walk, a
// text that does not fit does.
int parse_change(const FamilyKind &kind, sr_session_ctx_t *session, const Change &change,
                 FamilyState &state) {
    for (const FamilyKind::Container &container : kind.containers) {
        if (!contains(change.value->xpath, container.name)) {
            continue;
        }
        const int rc = container.parse(session, change, state.family, state.pending);
        debug.print("[%s][%d]get data_buf_len = %d,sub_mod = %d!", kind.lines.function, __LINE__,
                    state.pending.length, state.pending.sub_mod);
        return rc == SR_ERR_INVALID_VALUE ? rc : SR_ERR_OK;
    }
    return SR_ERR_OK;
}

int family_change(const FamilyKind &kind, sr_session_ctx_t *session, const Change &change,
                  FamilyState &state) {
    const char *function = kind.lines.function;
    debug.print("[%s][%d]use_val->xpath = %s \n", function, __LINE__, change.value->xpath);
    int rc = read_family(kind, change, state);
    if (rc != SR_ERR_OK) {
        refusal.about(change.value->xpath);
        return rc;
    }
    if (is_continue_by_node_name(change.node) != 0) {
        return SR_ERR_OK;
    }
    debug.print("[%s][%d] sub_mod:%d  pNodeName:%s\n", function, __LINE__, state.pending.sub_mod,
                change.node);
    switch (decide(kind, change, state.pending)) {
    case Decision::drop_change:
        return SR_ERR_OK;
    case Decision::send:
        rc = send_pending(kind, change, state.pending);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        break;
    case Decision::keep:
        break;
    }
    refusal.about(change.value->xpath);
    if (is_vrf_entry(kind, change, state.family)) {
        put_vrf_entry(change, state.family, state.pending);
    }
    debug.print("[%s][%d]use_val->xpath = %s \n", function, __LINE__, change.value->xpath);
    return parse_change(kind, session, change, state);
}

int change_families(const FamilyKind &kind, sr_session_ctx_t *session, const char *p_xpath,
                    sr_event_t event) {
    refresh_bgp_id(session);
    return run_callback(kind.lines, session, p_xpath, event, [&](ChangeWalk &walk) {
        FamilyState state;
        return walk_changes(kind.lines, p_xpath, walk, state.pending, [&](const Change &change) {
            return family_change(kind, session, change, state);
        });
    });
}

} // namespace

int bgp_config_address_family_change_cb(sr_session_ctx_t *session, const char * /*module*/,
                                        const char *p_xpath, sr_event_t event,
                                        uint32_t /*request_id*/, void * /*priv*/) {
    return change_families(family_kind, session, p_xpath, event);
}

int bgp_config_address_family_vrf_change_cb(sr_session_ctx_t *session, const char * /*module*/,
                                            const char *p_xpath, sr_event_t event,
                                            uint32_t /*request_id*/, void * /*priv*/) {
    return change_families(vrf_family_kind, session, p_xpath, event);
}

// --- Reply parsers: what they share ---------------------------------------------

namespace {

// What may be read of a payload: replies lie in the transport's buffer.
constexpr std::size_t payload_room = BUF_SIZE_MAX - sizeof(netconf_data_struc);

// How often `size` bytes find room in a payload from `offset` on.
constexpr std::size_t room_for(std::size_t size, std::size_t offset) {
    return offset > payload_room ? 0 : (payload_room - offset) / size;
}

// Whose reply a parser takes, and what it prints of it.
struct ReplyKind {
    const char *function;
    const char *trace; // the name in the header's trace
    int sub_mod;
    const char *other; // line when it is another query's
};

bool accept_reply(const ReplyKind &kind, sr_val_t **output, const size_t *output_cnt,
                  const netconf_data_struc *reply_buf) {
    if (reply_buf == nullptr || output_cnt == nullptr || output == nullptr) {
        report("reply_buf is NULL");
        return false;
    }
    debug.print("%s,module:%d,subMod:%d\n", kind.trace, reply_buf->module, reply_buf->subMod);
    if (reply_buf->module != MODULE_ID_BGP || reply_buf->subMod != kind.sub_mod) {
        debug.line(kind.other);
        refusal.because("the configuration daemon answered another query; see its log");
        return false;
    }
    return true;
}

constexpr const char *counts_lead_outside_reply = "its counts lead outside the reply";
constexpr const char *counts_lead_outside_array = "it describes more values than it announces";

// Notes for the client why a reply is refused.
void note_refused_reply(const char *why) {
    refusal.because("the configuration daemon's reply is refused: %s; see its log", why);
}

// Sizes sysrepo's array for what the reply announces. More than a reply can hold is more than
// there is an array for, and sysrepo is not asked. Returns whether there is one.
bool size_array(bool plausible, size_t old_count, size_t new_count, sr_val_t **output) {
    if (!plausible) {
        note_refused_reply(counts_lead_outside_reply);
        return false;
    }
    return sr_realloc_values(old_count, new_count, output) == SR_ERR_OK;
}

// The result for a reply whose counts turn out to be untrue on the way.
int refuse_reply(const ReplyKind &kind, const char *why) {
    always.print("[%s]reply refused: %s\n", kind.function, why);
    note_refused_reply(why);
    return -1;
}

int refuse_values(const ReplyKind &kind, OutputValues &values) {
    values.discard();
    return refuse_reply(kind, counts_lead_outside_array);
}

template <typename Record>
Record record_at(const char *payload, std::size_t offset) {
    Record record;
    std::memcpy(&record, payload + offset, sizeof record);
    return record;
}

// A text ends at its first NUL or at its field's end.
std::string_view text_at(const char *field, std::size_t size) {
    return {field, strnlen(field, size)};
}
template <std::size_t size>
std::string_view text_in(const char (&field)[size]) {
    return text_at(field, size);
}

uint32_t number_at(const char *field, FieldType type) {
    if (type == FieldType::byte) {
        return static_cast<unsigned char>(*field);
    }
    if (type == FieldType::number16) {
        return record_at<uint16_t>(field, 0);
    }
    return record_at<uint32_t>(field, 0);
}

void trace_record(const ReplyRecord &layout, const void *record) {
    if (debug_bgp == 0) {
        return;
    }
    debug.line(layout.begin);
    for (std::size_t i = 0; i < layout.field_count; ++i) {
        const ReplyField &row = layout.fields[i];
        const char *field = static_cast<const char *>(record) + row.offset;
        if (row.type == FieldType::text) {
            const std::string_view text = text_at(field, row.size);
            debug.print("%-*s:%.*s\n", layout.column, row.trace, static_cast<int>(text.size()),
                        text.data());
        } else {
            debug.print("%-*s:%d\n", layout.column, row.trace, number_at(field, row.type));
        }
    }
    debug.line(layout.end);
}

const char *valid_name(uint32_t flag) {
    return flag == 1 ? "valid" : "other";
}

const char *best_name(uint32_t flag) {
    return flag == 1 ? "best" : "other";
}

const char *source_name(uint32_t type) {
    if (type == 1) {
        return "internal";
    }
    return type == 2 ? "local" : "other";
}

// Adds a number as the unsigned type of its field's size.
template <FieldType type>
bool add_number(OutputValues &values, const OutputXPath &entry, std::string_view leaf,
                uint32_t number) {
    switch (type) {
    case FieldType::byte:
        return values.add(entry, leaf, SR_UINT8_T, &sr_data_t::uint8_val,
                          static_cast<uint8_t>(number));
    case FieldType::number16:
        return values.add(entry, leaf, SR_UINT16_T, &sr_data_t::uint16_val,
                          static_cast<uint16_t>(number));
    default:
        return values.add(entry, leaf, SR_UINT32_T, &sr_data_t::uint32_val, number);
    }
}

// Publishes the field of one row, which the compiler knows: of the branches only
// the row's own remain. Returns false when the array has no room for it.
template <const ReplyRecord &layout, std::size_t index>
bool publish_field(OutputValues &values, const OutputXPath &entry, const char *record) {
    constexpr ReplyField row = layout.fields[index];
    if (row.publish == Publish::never) {
        return true;
    }
    const char *field = record + row.offset;
    if (row.type == FieldType::text) {
        return values.add_text(entry, row.leaf, SR_STRING_T, text_at(field, row.size));
    }
    const uint32_t number = number_at(field, row.type);
    switch (row.publish) {
    case Publish::as_number32:
        return values.add(entry, row.leaf, SR_UINT32_T, &sr_data_t::uint32_val, number);
    case Publish::low_16_bits:
        return values.add(entry, row.leaf, SR_UINT16_T, &sr_data_t::uint16_val,
                          static_cast<uint16_t>(number));
    case Publish::zero_byte:
        return values.add(entry, row.leaf, SR_UINT8_T, &sr_data_t::uint8_val, uint8_t{0});
    case Publish::boolean:
        return values.add(entry, row.leaf, SR_BOOL_T, &sr_data_t::bool_val, number != 0);
    case Publish::unless_zero:
        return number == 0 || add_number<row.type>(values, entry, row.leaf, number);
    case Publish::valid:
        return values.add_text(entry, row.leaf, SR_ENUM_T, valid_name(number));
    case Publish::best:
        return values.add_text(entry, row.leaf, SR_ENUM_T, best_name(number));
    case Publish::source:
        return values.add_text(entry, row.leaf, SR_ENUM_T, source_name(number));
    default:
        return add_number<row.type>(values, entry, row.leaf, number);
    }
}

// Publishes a record's leaves, from its first on, below the entry's XPath.
template <const ReplyRecord &layout, std::size_t... indexes>
bool publish_rows(OutputValues &values, const OutputXPath &entry, const char *record,
                  std::index_sequence<indexes...> /*rows*/) {
    return (publish_field<layout, (layout.published_first + indexes) % layout.field_count>(
                values, entry, record) &&
            ...);
}
template <const ReplyRecord &layout>
bool publish_record(OutputValues &values, const OutputXPath &entry, const void *record) {
    return publish_rows<layout>(values, entry, static_cast<const char *>(record),
                                std::make_index_sequence<layout.field_count>());
}

} // namespace

// --- Reply parser: EVPN routes ----------------------------------------------------

namespace {

constexpr ReplyKind evpn_reply = {"ip_bgp_evpn_output_parse", "ip_bgp_evpn_output_parse",
                                  BGP_SUB_RPC_IP_BGP_EVPN,
                                  "output data is not bgp and ip bgp evpn data!"};

// No 12 bytes of a reply make more than 5 values (a route with two empty texts
// and no next hop does): more values cannot be meant.
constexpr std::size_t evpn_values_limit = payload_room / 12 * 5 + 5;

// The walk through an EVPN reply: the stream, the values and the XPath of the
// entry at hand. Each step returns false when the stream ends too early, or
// when the array has no room for a value, which sets is_full.
struct EvpnWalk {
    PackedReader stream;
    OutputValues &values;
    OutputXPath entry{};
    bool is_full = false;

    bool kept(bool added) {
        is_full = !added;
        return added;
    }
    bool add_enum(std::string_view leaf, const char *name) {
        return kept(values.add_text(entry, leaf, SR_ENUM_T, name));
    }
    bool add_text(std::string_view leaf, std::string_view text) {
        return kept(values.add_text(entry, leaf, SR_STRING_T, text));
    }
    bool add_number(std::string_view leaf, uint32_t number) {
        return kept(values.add(entry, leaf, SR_UINT32_T, &sr_data_t::uint32_val, number));
    }
};

bool walk_next_hop(EvpnWalk &walk) {
    std::string_view address;
    std::string_view as_path;
    uint32_t metric = 0;
    uint32_t local_preference = 0;
    uint32_t weight = 0;
    PackedReader &stream = walk.stream;
    if (!stream.text(&address)) {
        return false;
    }
    debug.print("          nexthop:%s\n", address.data());
    walk.entry.append("/list-nexthop-brief[nexthop-address='", address, "']/");
    if (!stream.number(&metric) || !walk.add_number("metric", metric) ||
        !stream.number(&local_preference) || !walk.add_number("LocPrf", local_preference) ||
        !stream.number(&weight) || !walk.add_number("Weight", weight)) {
        return false;
    }
    debug.print("          metric:%d locPrf:%d weight:%d\n", metric, local_preference, weight);
    if (!stream.text(&as_path)) {
        return false;
    }
    debug.print("          aspath_str:%s\n", as_path.data());
    return walk.add_text("path", as_path);
}

// A text that stands in the stream when the flag before it is not zero.
bool walk_optional_text(EvpnWalk &walk, const char *trace, std::string_view leaf) {
    signed char present = 0;
    if (!walk.stream.flag(&present)) {
        return false;
    }
    if (present == 0) {
        return true;
    }
    std::string_view text;
    if (!walk.stream.text(&text)) {
        return false;
    }
    debug.print("     %s: %s\n", trace, text.data());
    return walk.add_text(leaf, text);
}

bool walk_route(EvpnWalk &walk) {
    std::string_view route;
    signed char valid = 0;
    signed char selected = 0;
    signed char source = 0;
    PackedReader &stream = walk.stream;
    if (!stream.text(&route)) {
        return false;
    }
    debug.print("     route:%s\n", route.data());
    walk.entry.append("/list-evpn-route-brief[evpn-route='", route, "']");
    const std::size_t route_length = walk.entry.length();
    walk.entry.append("/");
    if (!stream.flag(&valid) ||
        !walk.add_enum("valid-flag", valid_name(static_cast<unsigned char>(valid))) ||
        !stream.flag(&selected) ||
        !walk.add_enum("select-flag", best_name(static_cast<unsigned char>(selected))) ||
        !stream.flag(&source) ||
        !walk.add_enum("source-type", source_name(static_cast<unsigned char>(source)))) {
        return false;
    }
    debug.print("     valid:%d select_flag:%d source_type:%d\n", valid, selected, source);
    if (!walk_optional_text(walk, "external community", "ext-community") ||
        !walk_optional_text(walk, "lable-info", "lable-info")) {
        return false;
    }
    uint32_t next_hops = 0;
    if (!stream.number(&next_hops)) {
        return false;
    }
    debug.print("     nexthop_number:%d\n", next_hops);
    for (uint32_t i = 0; i < next_hops; ++i) {
        walk.entry.cut(route_length);
        if (!walk_next_hop(walk)) {
            return false;
        }
    }
    return true;
}

bool walk_distinguisher(EvpnWalk &walk) {
    std::string_view distinguisher;
    uint32_t routes = 0;
    if (!walk.stream.text(&distinguisher)) {
        return false;
    }
    debug.print("rd:%s\n", distinguisher.data());
    if (!walk.stream.number(&routes)) {
        return false;
    }
    debug.print("route number:%u\n", routes);
    walk.entry.cut(0);
    walk.entry.append("/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher[route-distinguisher='",
                      distinguisher, "']");
    const std::size_t length = walk.entry.length();
    for (uint32_t i = 0; i < routes; ++i) {
        walk.entry.cut(length);
        if (!walk_route(walk)) {
            return false;
        }
    }
    return true;
}

bool walk_evpn(EvpnWalk &walk) {
    uint32_t distinguishers = 0;
    if (!walk.stream.number(&distinguishers)) {
        return false;
    }
    debug.print("rd_number:%u\n", distinguishers);
    for (uint32_t i = 0; i < distinguishers; ++i) {
        if (!walk_distinguisher(walk)) {
            return false;
        }
    }
    return true;
}

} // namespace

int ip_bgp_evpn_output_parse(sr_val_t **output, size_t *output_cnt, netconf_data_struc *reply_buf) {
    if (!accept_reply(evpn_reply, output, output_cnt, reply_buf)) {
        return -1;
    }
    PackedReader stream(reply_buf->transferData, payload_room);
    uint32_t get_count = 0;
    stream.number(&get_count);
    // Without an array of its own the walk goes on with the one that there is: an array without a
    // count is taken to be as large as was asked for.
    std::size_t capacity = get_count;
    OutputValues::Excess excess = OutputValues::Excess::refuse;
    if (!size_array(get_count <= evpn_values_limit, *output_cnt, get_count, output)) {
        always.line("realloc failed");
        capacity = *output_cnt == 0 ? get_count : *output_cnt;
        excess = OutputValues::Excess::drop;
    }
    OutputValues values(*output, capacity, excess);
    EvpnWalk walk{stream, values};
    if (!walk_evpn(walk)) {
        values.discard();
        return refuse_reply(evpn_reply,
                            walk.is_full ? counts_lead_outside_array : counts_lead_outside_reply);
    }
    *output_cnt = values.count();
    return 0;
}

// --- Reply parser: route information ----------------------------------------------

namespace {

constexpr ReplyKind info_reply = {"ip_bgp_info_output_parse", "ip_bgp_info_output_parse",
                                  BGP_SUB_RPC_IP_BGP_INFO,
                                  "output data is not bgp and ip bgp info data!"};

using InfoTable = bgp_rpc_ip_bgp_info_output_public;
using InfoNetwork = bgp_rpc_ip_bgp_info_output_entry;
using InfoNextHop = bgp_rpc_ip_bgp_info_next_hop_output_entry;
constexpr std::size_t info_networks_offset = sizeof(uint32_t) + sizeof(InfoTable);

// Whether so many networks and next hops have room in a reply.
bool info_fits(std::size_t networks, std::size_t next_hops) {
    const std::size_t offset = info_networks_offset;
    return networks <= room_for(sizeof(InfoNetwork), offset) &&
           next_hops <= room_for(sizeof(InfoNextHop), offset + networks * sizeof(InfoNetwork));
}

// The walk through the networks of a reply.
struct InfoWalk {
    const char *payload;
    OutputValues &values;
    OutputXPath entry{};
    std::size_t next_hop_cnt_all = 0; // next hops of the networks passed
};

// Publishes the next hops of a network, whose XPath and record end where the
// walk's entry and `offset` stand. Returns false when the array is full.
bool publish_next_hops(InfoWalk &walk, std::size_t offset, uint32_t network, uint32_t count) {
    const std::size_t network_length = walk.entry.length();
    for (uint32_t j = 0; j < count; ++j, offset += sizeof(InfoNextHop)) {
        debug.print("%s\t%d\toffset:%d i:%d\tnext_hop_cnt_all:%d  next_hop_cnt:%d\n",
                    info_reply.function, 2024, static_cast<int>(offset), network,
                    static_cast<int>(walk.next_hop_cnt_all), j);
        const auto next_hop = record_at<InfoNextHop>(walk.payload, offset);
        trace_record(info_next_hop, &next_hop);
        walk.entry.cut(network_length);
        walk.entry.append("/next-hop-information[next-hop='", text_in(next_hop.nexthop),
                          "'][metric='", text_in(next_hop.metric), "'][path='",
                          text_in(next_hop.path), "']/");
        if (!publish_record<info_next_hop>(walk.values, walk.entry, &next_hop)) {
            return false;
        }
    }
    walk.next_hop_cnt_all += count;
    return true;
}

// Publishes network number i with its next hops. Returns nullptr, or why the
// reply is refused.
const char *publish_network(InfoWalk &walk, uint32_t i) {
    if (!info_fits(i + std::size_t{1}, walk.next_hop_cnt_all)) {
        return counts_lead_outside_reply;
    }
    const std::size_t offset = info_networks_offset + i * sizeof(InfoNetwork) +
                               walk.next_hop_cnt_all * sizeof(InfoNextHop);
    debug.print("%s\t%d\toffset:%d i:%d\tnext_hop_cnt_all:%d\n", info_reply.function, 1996,
                static_cast<int>(offset), i, static_cast<int>(walk.next_hop_cnt_all));
    debug.print("%s\t%d\thand struct:%d network struct:%d  next-hop struct:%d\n",
                info_reply.function, 2001, static_cast<int>(sizeof(InfoTable)),
                static_cast<int>(sizeof(InfoNetwork)), static_cast<int>(sizeof(InfoNextHop)));
    const auto network = record_at<InfoNetwork>(walk.payload, offset);
    trace_record(info_network, &network);
    if (network.nextop_num > room_for(sizeof(InfoNextHop), offset + sizeof network)) {
        return counts_lead_outside_reply;
    }
    walk.entry.cut(0);
    walk.entry.append("/ip-bgp-info/bgp-info/entry[network='", text_in(network.network), "']");
    const std::size_t network_length = walk.entry.length();
    walk.entry.append("/");
    if (!publish_record<info_network>(walk.values, walk.entry, &network)) {
        return counts_lead_outside_array;
    }
    walk.entry.cut(network_length);
    if (!publish_next_hops(walk, offset + sizeof network, i, network.nextop_num)) {
        return counts_lead_outside_array;
    }
    return nullptr;
}

// Publishes the table and its networks. Returns nullptr, or why the reply is
// refused.
const char *publish_info(InfoWalk &walk, const InfoTable &table) {
    walk.entry.append("/ip-bgp-info/bgp-info/");
    if (!publish_record<info_table>(walk.values, walk.entry, &table)) {
        return counts_lead_outside_array;
    }
    for (uint32_t i = 0; i < table.prefix_number; ++i) {
        const char *why = publish_network(walk, i);
        if (why != nullptr) {
            return why;
        }
    }
    return nullptr;
}

} // namespace

int ip_bgp_info_output_parse(sr_val_t **output, size_t *output_cnt, netconf_data_struc *reply_buf) {
    if (!accept_reply(info_reply, output, output_cnt, reply_buf)) {
        return -1;
    }
    const char *payload = reply_buf->transferData;
    const auto next_hop_num = record_at<uint32_t>(payload, 0);
    const auto table = record_at<InfoTable>(payload, sizeof next_hop_num);
    const uint32_t network_num = table.prefix_number;
    debug.print("next_hop_num              :%d\n", next_hop_num);
    trace_record(info_table, &table);
    const std::size_t add_count =
        *output_cnt + network_num + std::size_t{5} * next_hop_num + std::size_t{3};
    debug.print("*output_cnt:%d network_num:%d  next_hop_num:%d add_count:%d\n",
                static_cast<int>(*output_cnt), network_num, next_hop_num,
                static_cast<int>(add_count));
    if (!size_array(info_fits(network_num, next_hop_num), *output_cnt, add_count, output)) {
        report("bgp info realloc failed!");
        return -1;
    }
    if (network_num == 0) {
        return 0;
    }
    OutputValues values(*output, add_count);
    InfoWalk walk{payload, values};
    const char *why = publish_info(walk, table);
    if (why != nullptr) {
        values.discard();
        return refuse_reply(info_reply, why);
    }
    debug.print("ip_bgp_info_output_parse cnt:%d\n", static_cast<int>(values.count()));
    *output_cnt = values.count();
    return 0;
}

// --- Reply parser: neighbour detail -----------------------------------------------

namespace {

constexpr ReplyKind neighbor_reply = {"ip_bgp_neighbor_output_parse", "ip_bgp_info_neighbor_parse",
                                      BGP_SUB_RPC_IP_BGP_NEIGHBOR,
                                      "output data is not bgp and ip bgp info data!"};

using Peer = bgp_rpc_ip_bgp_neighbor_output_neighbor;
using PeerFamily = bgp_rpc_ip_bgp_neighbor_output_addrsss_family;

// Publishes the address families of a peer. All of them are published from the
// peer's first record, under the same keys: the position in the reply moves on
// with the next peer only.
int publish_families(OutputValues &values, OutputXPath &entry, const char *first, uint32_t count) {
    const std::size_t peer_length = entry.length();
    for (uint32_t j = 0; j < count; ++j) {
        const auto family = record_at<PeerFamily>(first, 0);
        trace_record(neighbor_family, &family);
        const char *afi = bgp_key_afi_int_to_str(family.address_family.afi);
        if (afi == nullptr) {
            report("afi is NULL!");
            return SR_ERR_INVAL_ARG;
        }
        const char *safi = bgp_key_safi_int_to_str(family.address_family.safi);
        if (safi == nullptr) {
            report("safi is NULL!");
            return SR_ERR_INVAL_ARG;
        }
        debug.print("afi_str:%s  safi_str:%s\n", afi, safi);
        entry.cut(peer_length);
        entry.append("address-familys/afi-safi[afi='", afi, "'][safi='", safi, "']/");
        if (!publish_record<neighbor_family>(values, entry, &family)) {
            return refuse_values(neighbor_reply, values);
        }
    }
    return SR_ERR_OK;
}

} // namespace

int ip_bgp_neighbor_output_parse(sr_val_t **output, size_t *output_cnt,
                                 netconf_data_struc *reply_buf) {
    if (!accept_reply(neighbor_reply, output, output_cnt, reply_buf)) {
        return -1;
    }
    const char *payload = reply_buf->transferData;
    const auto peer_cnt = record_at<uint32_t>(payload, 0);
    std::size_t offset = sizeof peer_cnt;
    // The count's own four bytes vanish in the division. A length below that of
    // the peers wraps to a number that no reply has room for.
    const uint32_t peers_length = static_cast<uint32_t>(sizeof(Peer)) * peer_cnt;
    const uint32_t entry_cnt = (static_cast<uint32_t>(reply_buf->dataLen) - peers_length) /
                               static_cast<uint32_t>(sizeof(PeerFamily));
    const std::size_t add_count =
        *output_cnt + std::size_t{9} * entry_cnt + std::size_t{20} * peer_cnt;
    debug.print("peer_cnt:%d entry_cnt:%d add_count:%d\n", peer_cnt, entry_cnt,
                static_cast<int>(add_count));
    const bool plausible =
        peer_cnt <= room_for(sizeof(Peer), offset) && entry_cnt <= room_for(sizeof(PeerFamily), 0);
    if (!size_array(plausible, *output_cnt, add_count, output)) {
        report("bgp neighbor realloc failed!");
        return -1;
    }
    OutputValues values(*output, add_count);
    OutputXPath entry;
    for (uint32_t i = 0; i < peer_cnt; ++i) {
        if (room_for(sizeof(Peer), offset) == 0) {
            values.discard();
            return refuse_reply(neighbor_reply, counts_lead_outside_reply);
        }
        const auto peer = record_at<Peer>(payload, offset);
        trace_record(neighbor_peer, &peer);
        offset += sizeof peer;
        if (peer.address_family_cnt > room_for(sizeof(PeerFamily), offset)) {
            values.discard();
            return refuse_reply(neighbor_reply, counts_lead_outside_reply);
        }
        entry.cut(0);
        entry.append("/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='",
                     text_in(peer.neighbor_addr), "'][vrf-name='", text_in(peer.vrf_name), "']/");
        if (!publish_record<neighbor_peer>(values, entry, &peer)) {
            return refuse_values(neighbor_reply, values);
        }
        const int rc = publish_families(values, entry, payload + offset, peer.address_family_cnt);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        offset += peer.address_family_cnt * sizeof(PeerFamily);
    }
    *output_cnt = values.count();
    return 0;
}

// --- Reply parser: summary --------------------------------------------------------

namespace {

constexpr ReplyKind summary_reply = {"ip_bgp_summary_output_parse", "ip_bgp_summary_output_parse",
                                     BGP_SUB_RPC_IP_BGP_SUMMARY,
                                     "output data is not bgp and ip bgp info data!"};

using SummaryBlock = bgp_rpc_ip_bgp_summary_output_neighbors;
using SummaryEntry = bgp_rpc_ip_bgp_summary_output_entry;

} // namespace

int ip_bgp_summary_output_parse(sr_val_t **output, size_t *output_cnt,
                                netconf_data_struc *reply_buf) {
    if (!accept_reply(summary_reply, output, output_cnt, reply_buf)) {
        return -1;
    }
    const char *payload = reply_buf->transferData;
    const auto block = record_at<SummaryBlock>(payload, 0);
    const std::size_t add_count = std::size_t{9} * block.neighbor_number + 6;
    debug.print("*output_cnt:%d add_count:%d\n", static_cast<int>(*output_cnt),
                static_cast<int>(add_count));
    const bool plausible = block.neighbor_number <= room_for(sizeof(SummaryEntry), sizeof block);
    if (!size_array(plausible, *output_cnt, add_count, output)) {
        report("bgp info realloc failed!");
        return -1;
    }
    trace_record(summary_block, &block);
    if (block.neighbor_number == 0) {
        return 0;
    }
    OutputValues values(*output, add_count);
    OutputXPath entry;
    entry.append("/ip-bgp-summary/neighbors/");
    const std::size_t block_length = entry.length();
    if (!publish_record<summary_block>(values, entry, &block)) {
        return refuse_values(summary_reply, values);
    }
    std::size_t offset = sizeof block;
    for (uint32_t i = 0; i < block.neighbor_number; ++i, offset += sizeof(SummaryEntry)) {
        const auto neighbor = record_at<SummaryEntry>(payload, offset);
        trace_record(summary_entry, &neighbor);
        entry.cut(block_length);
        entry.append("entry[neighbor='", text_in(neighbor.neighbor), "']/");
        if (!publish_record<summary_entry>(values, entry, &neighbor)) {
            return refuse_values(summary_reply, values);
        }
    }
    *output_cnt = values.count();
    debug.print("ip_bgp_summary_output_parse cnt:%d\n", static_cast<int>(values.count()));
    return 0;
}

// --- Query requests ---------------------------------------------------------------

netconf_data_struc *bgp_plugin_send_and_receive(int context, void *input, int inDataLen,
                                                int sub_mod) {
    debug.line("\nin bgp_plugin_send_and_receive");
    if (input == nullptr) {
        report("input data is NULL");
        return nullptr;
    }
    const RequestMessage message(input, inDataLen, MODULE_ID_BGP, sub_mod);
    if (message.get() == nullptr) {
        always.print("[%s][%d]malloc err.\n", __func__, 1480);
        return nullptr;
    }
    message.get()->resValue = 0;
    debug.print("\nin bgp_plugin_send_and_receive  inDataLen:%d sub_mod:%d\n", inDataLen, sub_mod);
    netconf_data_struc *reply = sendAndGetReplyBuff(context, message.get());
    debug.print("[%s]reply_buf = %p\n", __func__, static_cast<void *>(reply));
    return reply;
}

netconf_data_struc *bgp_plugin_get(void *input, int inDataLen, int sub_mod) {
    int context = 0;
    const int rc = plugin_connect(&context);
    if (rc != 0) {
        always.print("error, parameter send error :%d", rc);
        return nullptr;
    }
    netconf_data_struc *reply = bgp_plugin_send_and_receive(context, input, inDataLen, sub_mod);
    plugin_close(context);
    return reply;
}

namespace {

bool input_is(const sr_val_t &value, const char *part) {
    return value.xpath != nullptr && contains(value.xpath, part);
}

// Copies a text input into its field of the query, which is zero: an input comes
// once.
template <std::size_t size>
int put_input(char (&field)[size], const sr_val_t &value) {
    const char *text = text_of(value);
    if (!text_fits(size, text, value.xpath)) {
        refusal.about(value.xpath);
        return SR_ERR_INVALID_VALUE;
    }
    std::memcpy(field, text, std::strlen(text));
    return SR_ERR_OK;
}

bool starts_with(const sr_val_t &value, const char *start) {
    const char *text = text_of(value);
    return text != nullptr && std::strncmp(text, start, std::strlen(start)) == 0;
}

// The inputs that the two queries about the table have in common.
template <typename Query>
int put_table_input(Query &query, const sr_val_t &value, bool *taken) {
    *taken = true;
    if (input_is(value, "vrf-name")) {
        return put_input(query.vrf_name, value);
    }
    if (input_is(value, "ip-type")) {
        query.ip_type = starts_with(value, "IPV4") ? 1 : 2;
        return SR_ERR_OK;
    }
    *taken = false;
    return SR_ERR_OK;
}

int put_query_input(bgp_rpc_ip_bgp_info_input &query, const sr_val_t &value) {
    bool taken = false;
    const int rc = put_table_input(query, value, &taken);
    if (taken) {
        return rc;
    }
    if (input_is(value, "all")) {
        query.all = 2;
    } else if (input_is(value, "ipv4-address")) {
        return put_input(query.ipaddr, value);
    } else if (input_is(value, "ip-str")) {
        return put_input(query.ipaddr_str, value);
    }
    return SR_ERR_OK;
}

int put_query_input(bgp_rpc_ip_bgp_summary_input &query, const sr_val_t &value) {
    bool taken = false;
    return put_table_input(query, value, &taken);
}

// Puts as many inputs into the query as it says that there are.
template <typename Query>
int put_query_inputs(Query &query, const sr_val_t *input) {
    for (uint32_t i = 0; i < query.input_cnt; ++i) {
        const int rc = put_query_input(query, input[i]);
        if (rc != SR_ERR_OK) {
            return rc;
        }
    }
    return SR_ERR_OK;
}

// A field of a query for a trace: it may have no terminator.
#define QUERY_TEXT(field) static_cast<int>(sizeof(field)), field

int parse_info_input(const sr_val_t *input, bgp_rpc_ip_bgp_info_input &query) {
    const int rc = put_query_inputs(query, input);
    debug.print("[%s:%d],input_cnt = %d, vrf_name:%.*s, ip_type:%d ipaddr:%.*s ipaddr_str:%.*s\n",
                "bgp_input_parse", 1576, query.input_cnt, QUERY_TEXT(query.vrf_name), query.ip_type,
                QUERY_TEXT(query.ipaddr), QUERY_TEXT(query.ipaddr_str));
    return rc;
}

int parse_summary_input(const sr_val_t *input, bgp_rpc_ip_bgp_summary_input &query) {
    const int rc = put_query_inputs(query, input);
    debug.print("[%s:%d],input_cnt = %d, vrf_name:%.*s, ip_type:%d\n", "bgp_input_parse", 1604,
                query.input_cnt, QUERY_TEXT(query.vrf_name), query.ip_type);
    return rc;
}

} // namespace

int bgp_input_parse(const sr_val_t *input, void *inData, int subMod) {
    if (input == nullptr || inData == nullptr) {
        debug.line("vxlan_input_parse err!");
        return SR_ERR_CALLBACK_FAILED;
    }
    switch (subMod) {
    case BGP_SUB_RPC_IP_BGP_INFO:
        return parse_info_input(input, *static_cast<bgp_rpc_ip_bgp_info_input *>(inData));
    case BGP_SUB_RPC_IP_BGP_SUMMARY:
        return parse_summary_input(input, *static_cast<bgp_rpc_ip_bgp_summary_input *>(inData));
    default:
        debug.print("[%s]The subMod is undefined\n", __func__);
        return SR_ERR_INVAL_ARG;
    }
}

// --- RPC callbacks ------------------------------------------------------------------

namespace {

using ReplyParser = int (*)(sr_val_t **, size_t *, netconf_data_struc *);

// Does the work of a call. The client is told of a failure.
template <typename Work>
int run_call(sr_session_ctx_t *session, const char *path, Work work) {
    refusal.begin(path);
    return refusal.tell(session, work());
}

// Sends the query and gives the reply to its parser; without one, any reply is
// success.
template <typename Query>
int answer_query(const char *function, Query &query, int sub_mod, ReplyParser parse,
                 sr_val_t **output, size_t *output_cnt) {
    netconf_data_struc *reply = bgp_plugin_get(&query, sizeof query, sub_mod);
    if (reply == nullptr) {
        always.line("get reply buff error!");
        return SR_ERR_CALLBACK_FAILED;
    }
    debug.print("[%s]reply_buf = %p\n", function, static_cast<void *>(reply));
    const int rc = parse == nullptr ? int{SR_ERR_OK} : parse(output, output_cnt, reply);
    debug.print("[%s]rc = %d\n", function, rc);
    // sysrepo frees as many values as it is told of: an array for none would stay. The library's
    // arrays hold at least one value, and those that were not written are zero.
    if (host.is_sysrepo() && parse != nullptr && rc == SR_ERR_OK && *output_cnt == 0 &&
        *output != nullptr) {
        sr_free_values(*output, 1);
        *output = nullptr;
    }
    return rc;
}

int check_arguments(const char *path, const sr_session_ctx_t *session) {
    if (path == nullptr) {
        report(" path inval arg!");
        return SR_ERR_INVAL_ARG;
    }
    if (session == nullptr) {
        report(" session inval arg!");
        return SR_ERR_INVAL_ARG;
    }
    return SR_ERR_OK;
}

int check_event(const char *function, int line, sr_event_t event) {
    if (event == SR_EV_RPC) {
        return SR_ERR_OK;
    }
    always.print("[%s][%d]invalid argument.\n", function, line);
    refusal.because("event %d is not that of a call", event);
    return SR_ERR_OPERATION_FAILED;
}

// What three of the callbacks begin with; `line` is the event test's number.
int begin_query(const char *function, int trace_line, int line, const char *path,
                const sr_session_ctx_t *session, sr_event_t event, size_t input_cnt) {
    const int rc = check_arguments(path, session);
    if (rc != SR_ERR_OK) {
        return rc;
    }
    debug.print("in [%s][%d]event= %d, input_cnt = %d\n", function, trace_line, event,
                static_cast<int>(input_cnt));
    return check_event(function, line, event);
}

// An input that does not fit refuses the call; whatever else bgp_input_parse
// says (there may be no input at all) does not.
bool inputs_fit(const sr_val_t *input, void *query, int sub_mod) {
    return bgp_input_parse(input, query, sub_mod) != SR_ERR_INVALID_VALUE;
}

int put_evpn_input(bgp_rpc_ip_bgp_evpn &query, const sr_val_t &value) {
    if (value.xpath == nullptr) {
        return SR_ERR_OK;
    }
    if (equal(value.xpath, "/orv_bgp:ip-bgp-evpn/get-all")) {
        query.type = 0xFFFFFFFF;
    } else if (equal(value.xpath, "/orv_bgp:ip-bgp-evpn/evpn-type")) {
        query.type = value.data.uint32_val;
    } else if (equal(value.xpath, "/orv_bgp:ip-bgp-evpn/evpn-route")) {
        return put_input(query.evpn_route_str, value);
    }
    return SR_ERR_OK;
}

// Only a single input is decoded; several ask for nothing in particular.
int put_neighbor_input(bgp_rpc_ip_bgp_neighbor_input &query, const sr_val_t *input,
                       size_t input_cnt) {
    if (input_cnt == 0) {
        query.all = 1;
    }
    if (input_cnt != 1 || input == nullptr) {
        return SR_ERR_OK;
    }
    if (input_is(*input, "all")) {
        query.all = 1;
    } else if (input_is(*input, "ipaddr")) {
        return put_input(query.neighbor_addr, *input);
    } else if (input_is(*input, "vrf-name")) {
        return put_input(query.vrf_name, *input);
    }
    return SR_ERR_OK;
}

uint32_t reconfig_type(const sr_val_t &value, uint32_t otherwise) {
    const char *text = text_of(value);
    switch (text == nullptr ? '\0' : text[0]) {
    case 'i':
        return 1;
    case 'o':
        return 2;
    case 's':
        return 3;
    default:
        return otherwise;
    }
}

int put_clear_input(bgp_rpc_clear_ip_bgp_input &query, const sr_val_t &value) {
    if (input_is(value, "reconfig-type")) {
        query.reconfig_type = reconfig_type(value, query.reconfig_type);
    } else if (input_is(value, "vrf-name")) {
        return put_input(query.address_family.vrf_name, value);
    }
    return SR_ERR_OK;
}

} // namespace

int ip_bgp_evpn_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                   const size_t /*input_cnt*/, sr_event_t event, uint32_t /*request_id*/,
                   sr_val_t **output, size_t *output_cnt, void * /*private_data*/) {
    const char *function = __func__;
    return run_call(session, path, [&]() -> int {
        if (path == nullptr || session == nullptr || input == nullptr) {
            report("inval arg!");
            return SR_ERR_INVAL_ARG;
        }
        debug.print("in [%s][%d]path = %s,input[0].xpath = '%s'\n", function, 2687, path,
                    input[0].xpath == nullptr ? "(null)" : input[0].xpath);
        debug.print("in [%s][%d]event= '%d'\n", function, 2688, event);
        int rc = check_event(function, 2692, event);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        bgp_rpc_ip_bgp_evpn query{};
        rc = put_evpn_input(query, input[0]);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        return answer_query(function, query, BGP_SUB_RPC_IP_BGP_EVPN, ip_bgp_evpn_output_parse,
                            output, output_cnt);
    });
}

int ip_bgp_info_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                   const size_t input_cnt, sr_event_t event, uint32_t /*request_id*/,
                   sr_val_t **output, size_t *output_cnt, void * /*private_data*/) {
    const char *function = __func__;
    return run_call(session, path, [&]() -> int {
        const int rc = begin_query(function, 2753, 2757, path, session, event, input_cnt);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        bgp_rpc_ip_bgp_info_input query{};
        query.input_cnt = static_cast<uint32_t>(input_cnt);
        debug.print("in [%s][%d]inData.input_cnt = %d\n", function, 2763, query.input_cnt);
        if (!inputs_fit(input, &query, BGP_SUB_RPC_IP_BGP_INFO)) {
            return SR_ERR_INVALID_VALUE;
        }
        if (input_cnt == 0) {
            query.ip_type = 1;
            query.all = 1;
        }
        debug.print("in [%s][%d] vrf_name:%.*s ip_type:%d all:%d ipaddr:%.*s ipaddr_str:%.*s\n",
                    function, 2773, QUERY_TEXT(query.vrf_name), query.ip_type, query.all,
                    QUERY_TEXT(query.ipaddr), QUERY_TEXT(query.ipaddr_str));
        return answer_query(function, query, BGP_SUB_RPC_IP_BGP_INFO, ip_bgp_info_output_parse,
                            output, output_cnt);
    });
}

int ip_bgp_neighbor_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                       const size_t input_cnt, sr_event_t event, uint32_t /*request_id*/,
                       sr_val_t **output, size_t *output_cnt, void * /*private_data*/) {
    const char *function = __func__;
    return run_call(session, path, [&]() -> int {
        int rc = begin_query(function, 2817, 2821, path, session, event, input_cnt);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        bgp_rpc_ip_bgp_neighbor_input query{};
        rc = put_neighbor_input(query, input, input_cnt);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        debug.print("in inData.neighbor_addr:%.*s\n", QUERY_TEXT(query.neighbor_addr));
        debug.print("in inData.all flag:%d\n", query.all);
        debug.print("in inData.vrf_name:%.*s\n", QUERY_TEXT(query.vrf_name));
        return answer_query(function, query, BGP_SUB_RPC_IP_BGP_NEIGHBOR,
                            ip_bgp_neighbor_output_parse, output, output_cnt);
    });
}

int ip_bgp_summary_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                      const size_t input_cnt, sr_event_t event, uint32_t /*request_id*/,
                      sr_val_t **output, size_t *output_cnt, void * /*private_data*/) {
    const char *function = __func__;
    return run_call(session, path, [&]() -> int {
        const int rc = begin_query(function, 2891, 2895, path, session, event, input_cnt);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        bgp_rpc_ip_bgp_summary_input query{};
        query.input_cnt = static_cast<uint32_t>(input_cnt);
        if (!inputs_fit(input, &query, BGP_SUB_RPC_IP_BGP_SUMMARY)) {
            return SR_ERR_INVALID_VALUE;
        }
        query.all = 1;
        debug.print("inData.all flag:%d\n", query.all);
        return answer_query(function, query, BGP_SUB_RPC_IP_BGP_SUMMARY,
                            ip_bgp_summary_output_parse, output, output_cnt);
    });
}

int clear_ip_bgp_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                    const size_t input_cnt, sr_event_t event, uint32_t /*request_id*/,
                    sr_val_t **output, size_t *output_cnt, void * /*private_data*/) {
    const char *function = __func__;
    return run_call(session, path, [&]() -> int {
        int rc = check_arguments(path, session);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        refresh_bgp_id(session);
        if (g_bgp_id == 0) {
            return SR_ERR_OK;
        }
        bgp_rpc_clear_ip_bgp_input query{};
        for (size_t i = 0; input != nullptr && i < input_cnt; ++i) {
            rc = put_clear_input(query, input[i]);
            if (rc != SR_ERR_OK) {
                return rc;
            }
        }
        query.clear_all = input_cnt == 0 ? 1 : 0;

        constexpr const char *frame = "-------------in clear_ip_bgp_cb inData info -------------";
        debug.line(frame);
        debug.print("input_cnt:%d\n", static_cast<int>(input_cnt));
        debug.print("inData.clear_all:%d\n", query.clear_all);
        debug.print("inData.reconfig_type:%d\n", query.reconfig_type);
        debug.print("inData.vrf_name:%.*s\n", QUERY_TEXT(query.address_family.vrf_name));
        debug.line(frame);
        debug.print("in [%s][%d]event= '%d'\n", function, 3004, event);
        rc = check_event(function, 3008, event);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        return answer_query(function, query, BGP_SUB_RPC_CLEAR_IP_BGP, nullptr, output, output_cnt);
    });
}

// --- Life cycle --------------------------------------------------------------

namespace {

constexpr const char *module_name = "orv_bgp";
constexpr const char *module_path = "/orv_bgp:router-bgp";

// One registration: a change callback or an RPC callback on a path.
struct Registration {
    const char *path;
    decltype(&bgp_config_as_change_cb) change;
    decltype(&ip_bgp_info_cb) rpc;
    uint32_t options;
};

// The first creates the subscription with sysrepo's handler thread, the others
// join it: one thread calls all callbacks, one at a time.
constexpr Registration registrations[] = {
    {"/orv_bgp:router-bgp/as", bgp_config_as_change_cb, nullptr, SR_SUBSCR_DEFAULT},
    {"/orv_bgp:router-bgp/bgp", bgp_config_globle_bgp_change_cb, nullptr, SR_SUBSCR_CTX_REUSE},
    {"/orv_bgp:router-bgp/bgp-address-family/address-family", bgp_config_address_family_change_cb,
     nullptr, SR_SUBSCR_CTX_REUSE},
    {"/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
     bgp_config_address_family_vrf_change_cb, nullptr, SR_SUBSCR_CTX_REUSE},
    {"/orv_bgp:ip-bgp-evpn", nullptr, ip_bgp_evpn_cb, SR_SUBSCR_CTX_REUSE},
    {"/orv_bgp:ip-bgp-info", nullptr, ip_bgp_info_cb, SR_SUBSCR_CTX_REUSE},
    {"/orv_bgp:ip-bgp-neighbor", nullptr, ip_bgp_neighbor_cb, SR_SUBSCR_CTX_REUSE},
    {"/orv_bgp:ip-bgp-summary", nullptr, ip_bgp_summary_cb, SR_SUBSCR_CTX_REUSE},
    {"/orv_bgp:clear-ip-bgp", nullptr, clear_ip_bgp_cb, SR_SUBSCR_CTX_REUSE},
};

int subscribe(sr_session_ctx_t *session, const Registration &row,
              sr_subscription_ctx_t **subscription) {
    if (row.rpc != nullptr) {
        return sr_rpc_subscribe(session, row.path, row.rpc, nullptr, 0, row.options, subscription);
    }
    const int rc = sr_module_change_subscribe(session, module_name, row.path, row.change, nullptr,
                                              0, row.options, subscription);
    if (rc != SR_ERR_OK) {
        always.print("Failed to subscribe subtree change for %s, error %s\n", module_path,
                     sr_strerror(rc));
    }
    return rc;
}

} // namespace

int sr_plugin_init_cb(sr_session_ctx_t *session, void ** /*private_ctx*/) {
    debug.print("sysrepo bgp plugin INIT...");

    sr_subscription_ctx_t *subscription = nullptr;
    for (const Registration &row : registrations) {
        const int rc = subscribe(session, row, &subscription);
        if (rc == SR_ERR_OK) {
            continue;
        }
        always.print("Module '%s' plugin initalization failed: %s\n", module_name, sr_strerror(rc));
        if (subscription != nullptr) {
            sr_unsubscribe(subscription);
        }
        return rc;
    }
    host.registered();
    debug.line("OK");
    return SR_ERR_OK;
}

void sr_plugin_cleanup_cb(sr_session_ctx_t * /*session*/, void *private_ctx) {
    host.left();
    sr_unsubscribe(static_cast<sr_subscription_ctx_t *>(private_ctx));
    debug.print(" %s plugin cleanup finished.\n", module_name);
}
