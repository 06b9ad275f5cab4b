// The BGP plug-in: configuration translation, queries and life cycle; see bgp_plugin.h.
#include "bgp_plugin.h"

#include "change_fields.h"
#include "change_values.h"
#include "change_walk.h"
#include "diagnostics.h"
#include "host.h"
#include "packed_reader.h"
#include "pending_record.h"
#include "record_text.h"
#include "record_values.h"
#include "refusal.h"
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

// A literal number in the brackets of a line, such as 169, is part of the line's
// text. It is not a line number of this file: do not change it.
constexpr Diagnostics debug{debug_bgp};

bool equal(const char *left, const char *right) {
    return std::strcmp(left, right) == 0;
}

// --- Names and numbers -------------------------------------------------------

struct FamilyName {
    const char *name;
    uint32_t number;
};

constexpr FamilyName afi_names[] = {
    {"AFI_IP", BGP_AFI_IP}, {"AFI_IPV6", BGP_AFI_IPV6}, {"AFI_L2VPN", BGP_AFI_L2VPN}};
constexpr FamilyName safi_names[] = {{"SAFI_UNICAST", BGP_SAFI_UNICAST},
                                     {"SAFI_MULTICAST", BGP_SAFI_MULTICAST},
                                     {"SAFI_EVPN", BGP_SAFI_EVPN},
                                     {"SAFI_VRF", BGP_SAFI_VRF}};

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
        return BGP_OP_SET;
    case SR_OP_DELETED:
        return BGP_OP_DELETE;
    default:
        return BGP_OP_OTHER;
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

// --- Change callbacks: what they share ---------------------------------------

namespace {

// Prints why a callback fails, and notes it for the client.
void report(const char *why) {
    always.line(why);
    refusal.because("%s", why);
}

bool contains(const char *text, const char *part) {
    return std::strstr(text, part) != nullptr;
}

// One change, as the callbacks use it.
struct Change {
    sr_change_oper_t operation;
    sr_val_t *value;
    const char *node;
};

// Sends the pending record because of `change`.
int send_for(const Change &change, PendingRecord &pending) {
    const int rc = pending.send(change.operation);
    if (rc != SR_ERR_OK) {
        debug.print("\nchange cfg for bgp from xpath:%s  failed:%s", change.value->xpath,
                    sr_strerror(rc));
    }
    return rc;
}

// The texts in a callback's lines: its name and the numbers in their brackets.
struct CallbackLines {
    const char *function;
    int event;
    int iterator;
    const char *closing; // line when the walk ended with "not found"
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

// Runs `work` on the changes of an edit. Does nothing on done and abort, which
// come after the daemon has the records. `work` returns the callback's result;
// "not found" is the end of the changes (or a daemon's answer with the same
// number) and counts as success. Tells the client of a failure.
template <typename Work>
int run_callback(const CallbackLines &lines, sr_session_ctx_t *session, const char *p_xpath,
                 sr_event_t event, Work work) {
    refusal.begin(p_xpath);
    return refusal.tell(session, handle_event(lines, session, p_xpath, event, work));
}

// Prints that a change has no value, and notes it for the client.
void report_no_value(const ChangeWalk &walk) {
    always.print("choose value for oper %d failed. old_value:%p, new_value:%p\n", walk.operation(),
                 static_cast<void *>(walk.old_value()), static_cast<void *>(walk.new_value()));
    refusal.because("a change carries no value");
}

// The last node of a value's path. Prints an error and returns nullptr without one.
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

// --- Change callback: AS number ----------------------------------------------

namespace {

constexpr CallbackLines as_lines = {"bgp_config_as_change_cb", 1369, 1378,
                                    "bgp-id change config over"};

// Sends the changed AS number; sets g_bgp_id after the daemon has accepted it.
int send_as(const Change &change) {
    // Each change is sent at once, so nothing stays pending.
    PendingRecord pending;
    debug.print("[%s][%d] need_send:%d sub_mod:%d\n", as_lines.function, 1412, 0, 0);

    bgp_as_val record{};
    write_leaf(reinterpret_cast<char *>(&record), as_leaf, *change.value);
    record.op = changeOp_switch_config_set(change.operation);
    pending.hold(record, as_leaf.sub_mod);
    debug.print("as:%u bgp_as.op:%d\n", record.as, record.op);

    const int rc = send_for(change, pending);
    if (rc != SR_ERR_OK) {
        return rc;
    }
    if (record.op == BGP_OP_SET) {
        g_bgp_id = record.as;
    } else if (record.op == BGP_OP_DELETE) {
        g_bgp_id = 0;
    }
    return SR_ERR_OK;
}

// Sends every change of the AS leaf. A change without a value ends the walk like
// the last change.
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
        if (equal(change.node, as_leaf.node)) {
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

// --- Change callbacks below an AS: what they share ---------------------------

namespace {

// The texts in the lines of a callback whose settings belong to the instance.
struct InstanceLines : CallbackLines {
    int not_found;
    int pending; // number for the record pending at the end; 0: not traced
    int as_missing;
    int as_error;
    int node;
    int no_value_result; // the callback's result when a change has no value
};

// Reads the configured AS number into g_bgp_id, 0 when there is none.
void refresh_bgp_id(sr_session_ctx_t *session) {
    uint32_t bgp_as = 0;
    const int rc = ip_bgp_check_bgp_as_config_exist(session, &bgp_as);
    g_bgp_id = rc == SR_ERR_OK ? bgp_as : 0;
}

// Sends the pending record at the end of the changes. A record without a
// sub-module code (a neighbor without a setting) is an error.
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

// Steps to the next change, skipping deletions while no AS is configured.
// Returns nothing when *change holds the change, otherwise the result of the
// walk.
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

// Walks the changes of an edit and passes each to `work`. A result of `work`
// other than SR_ERR_OK ends the walk.
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

// Runs `parser` on the bytes of the pending record as a record of its type.
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

// --- Change callback: router identifier and global neighbors -----------------

namespace {

constexpr InstanceLines globle_lines = {
    {"bgp_config_globle_bgp_change_cb", 651, 660, "globle bgp change config over"},
    /*not_found=*/668,
    /*pending=*/0,
    /*as_missing=*/694,
    /*as_error=*/701,
    /*node=*/722,
    SR_ERR_INTERNAL};

// The state of one walk.
struct GlobleState {
    PendingRecord pending;
    int remote_as_delete_fg = 0;
};

// Whether the deletion of a neighbor's remote AS includes this setting.
bool goes_with_remote_as(uint32_t sub_mod) {
    const auto &leaves = globle_neighbor_record.leaves;
    return sub_mod != BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS &&
           std::any_of(std::begin(leaves), std::end(leaves),
                       [sub_mod](const Leaf &leaf) { return leaf.sub_mod == sub_mod; });
}

void trace_globle_send(int line, const Change &change, const GlobleState &state) {
    debug.print("[%s][%d]send data_buf_len = %d,sub_mod = %d changeOp:%d  remote_as_delete_fg:%d!",
                globle_lines.function, line, state.pending.length, state.pending.sub_mod,
                change.operation, state.remote_as_delete_fg);
}

// Sends the record. The deletion of a neighbor's remote AS removes the neighbor in
// the daemon, so this skips deletions of other settings that follow it, until it
// sends another record.
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
    const int rc = send_for(change, pending);
    if (rc == SR_ERR_OK && pending.sub_mod == BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS &&
        change.operation == SR_OP_DELETED) {
        debug.print("[%s][%d] set remote_as_delete_fg = 1\n", function, 777);
        state.remote_as_delete_fg = 1;
    }
    pending.clear();
    return rc;
}

// Makes the router identifier the pending record.
int put_router_id(const Change &change, PendingRecord &pending) {
    bgp_globle_config record{};
    record.op = changeOp_switch_config_set(change.operation);
    record.bgp_id = g_bgp_id;
    const int rc = write_leaf(reinterpret_cast<char *>(&record), router_id_leaf, *change.value);
    if (rc == SR_ERR_OK) {
        pending.hold(record, router_id_leaf.sub_mod);
    }
    return rc;
}

int globle_change(sr_session_ctx_t *session, const Change &change, GlobleState &state) {
    if (is_continue_by_node_name(change.node) != 0) {
        return SR_ERR_OK;
    }
    refusal.about(change.value->xpath);
    int need_send = 0;
    if (equal(change.node, router_id_leaf.node)) {
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
    const EntryRecord &layout = globle_neighbor_record;
    auto *record = reinterpret_cast<char *>(buff);
    if (equal(pNodeName, layout.keys[0].node)) {
        std::memset(record, 0, sizeof *buff);
    }
    buff->op = changeOp_switch_config_set(changeOp);
    buff->bgp_id = g_bgp_id;
    *buff_len = sizeof *buff;

    int rc = put_keys(debug, layout, "globle-neighbor", __func__, record, *use_val);
    if (rc != SR_ERR_OK) {
        refusal.because("%s", layout.keys[0].missing);
        return rc;
    }
    const Leaf *leaf = find_row(layout.leaves, pNodeName);
    if (leaf == nullptr) {
        return 0;
    }
    rc = write_leaf(record, *leaf, *use_val);
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

// --- Change callbacks: address families, of the instance and of VRFs ---------

namespace {

void trace_leaf(const Leaf &leaf, const char *function, const sr_val_t &value) {
    if (leaf.trace != nullptr) {
        debug.print("[%s][%d]%s%s.\n", function, __LINE__, leaf.trace,
                    leaf.traces_text ? text_of(value) : "");
    }
}

// Writes one change into the record of a list entry; shared by the six parsers.
// `function` is the name of the parser.
int parse_family(const EntryRecord &layout, const char *list, const char *function,
                 sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,
                 const address_family_val *family_data, const char *pNodeName, void *buff,
                 uint32_t *buff_len, uint32_t *sub_mod) {
    if (buff == nullptr || buff_len == nullptr || pNodeName == nullptr || sub_mod == nullptr ||
        use_val == nullptr || session == nullptr || family_data == nullptr) {
        return SR_ERR_INTERNAL;
    }
    auto *record = static_cast<char *>(buff);
    if (equal(pNodeName, layout.keys[0].node)) {
        std::memset(record, 0, layout.size);
    }
    const FamilyRecordHead head{changeOp_switch_config_set(changeOp), g_bgp_id, *family_data};
    std::memcpy(record, &head, sizeof head);
    *buff_len = static_cast<uint32_t>(layout.size);

    int rc = put_keys(debug, layout, list, function, record, *use_val);
    if (rc != SR_ERR_OK) {
        return rc;
    }
    const Leaf *leaf = find_row(layout.leaves, pNodeName);
    if (leaf != nullptr) {
        rc = write_leaf(record, *leaf, *use_val);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        trace_leaf(*leaf, function, *use_val);
        *sub_mod = leaf->sub_mod;
    }
    if (layout.sub_mod != 0) {
        *sub_mod = layout.sub_mod;
    }
    return SR_ERR_OK;
}

} // namespace

// The parsers of the six lists differ only in record and list name.
#define FAMILY_PARSER(parser, record, layout, list)                                                \
    int parser(sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,            \
               const address_family_val *family_data, const char *pNodeName, record *buff,         \
               uint32_t *buff_len, uint32_t *sub_mod) {                                            \
        return parse_family(layout, list, __func__, session, changeOp, use_val, family_data,       \
                            pNodeName, buff, buff_len, sub_mod);                                   \
    }

FAMILY_PARSER(container_address_family_network_plugin_change_parse,
              bgp_address_family_network_universal_val, network_record, "family-network")
FAMILY_PARSER(container_address_family_neighbor_plugin_change_parse,
              bgp_address_family_neighbor_universal_val, neighbor_record, "family-neighbor")
FAMILY_PARSER(container_address_family_redistribute_plugin_change_parse,
              bgp_address_family_redistribute_universal_val, redistribute_record,
              "family-redistribute")
FAMILY_PARSER(container_address_family_vrf_network_plugin_change_parse,
              bgp_address_family_network_universal_val, network_record, "family-vrf-network")
FAMILY_PARSER(container_address_family_vrf_neighbor_plugin_change_parse,
              bgp_address_family_neighbor_universal_val, vrf_neighbor_record, "family-vrf-neighbor")
FAMILY_PARSER(container_address_family_vrf_redistribute_plugin_change_parse,
              bgp_address_family_redistribute_universal_val, redistribute_record,
              "family-vrf-redistribute")

namespace {

// What to do with the pending record, or with the change, when a change arrives.
enum class Decision { keep, send, drop_change };

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
    bool has_vrf;     // the list has the third key "vrf-name", and each entry has a record
    uint32_t carrier; // deleting this leaf of a neighbor includes its other leaves
    struct Container {
        const char *name;
        const EntryRecord &record;
        PendingParser parse;
    } containers[3];
};

// No program relies on the numbers in these lines.
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
    BGP_SUB_NEIGHBOR_ACTIVATE,
    {{"bgp-family-networks", network_record,
      parse_into_pending<bgp_address_family_network_universal_val,
                         container_address_family_network_plugin_change_parse>},
     {"bgp-family-neighbors", neighbor_record,
      parse_into_pending<bgp_address_family_neighbor_universal_val,
                         container_address_family_neighbor_plugin_change_parse>},
     {"bgp-family-redistributes", redistribute_record,
      parse_into_pending<bgp_address_family_redistribute_universal_val,
                         container_address_family_redistribute_plugin_change_parse>}}};

constexpr FamilyKind vrf_family_kind = {
    family_lines("bgp_config_address_family_vrf_change_cb",
                 "address family change vrf config over"),
    "address-family-vrf",
    true,
    BGP_SUB_NEIGHBOR_VRF_REMOTE_AS,
    {{"bgp-family-vrf-networks", network_record,
      parse_into_pending<bgp_address_family_network_universal_val,
                         container_address_family_vrf_network_plugin_change_parse>},
     {"bgp-family-vrf-neighbors", vrf_neighbor_record,
      parse_into_pending<bgp_address_family_neighbor_universal_val,
                         container_address_family_vrf_neighbor_plugin_change_parse>},
     {"bgp-family-vrf-redistributes", redistribute_record,
      parse_into_pending<bgp_address_family_redistribute_universal_val,
                         container_address_family_vrf_redistribute_plugin_change_parse>}}};

// The state of one walk.
struct FamilyState {
    address_family_val family{}; // the entry that the change belongs to
    PendingRecord pending;
    char path[path_size] = {}; // working copy for the key look-ups
};

// The value of one of the entry's keys in the change's path. The result points
// into state.path. nullptr, with *rc set, when the path does not fit or lacks
// the key.
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

// The keys that the daemon receives as numbers, in the order of their look-up.
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

bool is_below_container(const FamilyKind &kind, const Change &change) {
    return std::any_of(std::begin(kind.containers), std::end(kind.containers),
                       [&change](const FamilyKind::Container &container) {
                           return contains(change.value->xpath, container.name);
                       });
}

// Whether the pending record gathers the changes of its entry and has a field for `node`.
bool is_gathered(const FamilyKind &kind, const PendingRecord &pending, const char *node) {
    return std::any_of(std::begin(kind.containers), std::end(kind.containers),
                       [&](const FamilyKind::Container &container) {
                           const EntryRecord &record = container.record;
                           return record.sub_mod == pending.sub_mod &&
                                  (find_row(record.keys, node) != nullptr ||
                                   find_row(record.leaves, node) != nullptr);
                       });
}

// Whether the pending record is a deletion, and the change another leaf of a record that is sent
// leaf by leaf.
bool is_carried(const FamilyKind &kind, const PendingRecord &pending, const Change &change) {
    int32_t op = 0;
    std::memcpy(&op, pending.data, sizeof op);
    debug.print("[%s][%d] neighbor_data->op:%d  changeOp:%d\n", kind.lines.function, __LINE__, op,
                change.operation);
    return op == BGP_OP_DELETE &&
           std::any_of(std::begin(kind.containers), std::end(kind.containers),
                       [&](const FamilyKind::Container &container) {
                           const Leaf *leaf = find_row(container.record.leaves, change.node);
                           return leaf != nullptr && leaf->sub_mod != 0 &&
                                  leaf->sub_mod != kind.carrier;
                       });
}

// Decides whether to keep or send the pending record, or to drop the change.
Decision decide(const FamilyKind &kind, const Change &change, const PendingRecord &pending) {
    if (pending.sub_mod == 0 || is_gathered(kind, pending, change.node)) {
        return Decision::keep;
    }
    bool is_dropped = false;
    if (pending.sub_mod == kind.carrier) {
        is_dropped = is_carried(kind, pending, change);
    } else if (pending.sub_mod == BGP_SUB_ADDRESS_FAMILY_VRF) {
        is_dropped = is_below_container(kind, change);
    }
    return is_dropped && change.operation == SR_OP_DELETED ? Decision::drop_change : Decision::send;
}

// Sends the pending record because `change` does not belong to it.
int send_pending(const FamilyKind &kind, const Change &change, PendingRecord &pending) {
    debug.print("[%s][%d]send data_buf_len = %d,sub_mod = %d!", kind.lines.function, __LINE__,
                pending.length, pending.sub_mod);
    const int rc = send_for(change, pending);
    pending.clear();
    return rc;
}

// A VRF's address family is itself a setting; the change of its last key leaf is
// the change of the entry.
bool is_vrf_entry(const FamilyKind &kind, const Change &change, const address_family_val &family) {
    return kind.has_vrf && equal(change.node, "vrf-name") && family.safi == BGP_SAFI_VRF;
}

// Makes the entry itself the pending record.
void put_vrf_entry(const Change &change, const address_family_val &family, PendingRecord &pending) {
    address_family_val entry = family;
    entry.op = changeOp_switch_config_set(change.operation);
    entry.bgp_id = g_bgp_id;
    pending = PendingRecord{};
    pending.hold(entry, BGP_SUB_ADDRESS_FAMILY_VRF);
    debug.print("address family get op = %d, bgp id = %d, afi = %d, safi = %d, vrfname = %.*s, "
                "sub_mode = %d\n",
                entry.op, entry.bgp_id, entry.afi, entry.safi,
                static_cast<int>(sizeof entry.vrf_name), entry.vrf_name, pending.sub_mod);
}

// Passes the change to the parser of its container. The entry and its key leaves
// are in no container. A missing list key does not end the walk; a text that
// does not fit does.
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
    const Decision decision = decide(kind, change, state.pending);
    if (decision == Decision::drop_change) {
        return SR_ERR_OK;
    }
    if (decision == Decision::send) {
        rc = send_pending(kind, change, state.pending);
        if (rc != SR_ERR_OK) {
            return rc;
        }
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

// --- Reply parsers: what they share ------------------------------------------

namespace {

// The readable bytes of a payload: a reply is in the transport's buffer.
constexpr std::size_t payload_room = BUF_SIZE_MAX - sizeof(netconf_data_struc);

// How many times `size` bytes fit into a payload from `offset` on.
constexpr std::size_t room_for(std::size_t size, std::size_t offset) {
    return (payload_room - std::min(offset, payload_room)) / size;
}

// The query whose reply a parser accepts, and what the parser prints.
struct ReplyKind {
    const char *function;
    const char *trace; // the name in the header's trace
    int sub_mod;
    const char *other; // line for the reply to another query
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

// Notes for the client why the plug-in refuses a reply.
void note_refused_reply(const char *why) {
    refusal.because("the configuration daemon's reply is refused: %s; see its log", why);
}
constexpr const char *counts_exceed_reply = "its counts exceed the reply";
constexpr const char *counts_exceed_array = "it describes more values than it announces";

// Resizes sysrepo's array for the values that the reply announces, unless they are more than a
// reply can hold. Returns whether the array has the new size.
bool size_array(bool plausible, size_t old_count, size_t new_count, sr_val_t **output) {
    if (!plausible) {
        note_refused_reply(counts_exceed_reply);
        return false;
    }
    return sr_realloc_values(old_count, new_count, output) == SR_ERR_OK;
}

// The result of a body for counts that exceed the reply or the array.
constexpr int refused = -1;

// Lets `body` publish a reply into the values, and counts them. Removes all values of a reply that
// `body` refuses. Returns the result of `body`.
template <typename Body>
int publish_reply(const ReplyKind &kind, OutputValues &values, size_t *output_cnt, Body body) {
    const int rc = body();
    if (rc == refused) {
        const char *why = values.overflowed() ? counts_exceed_array : counts_exceed_reply;
        values.discard();
        always.print("[%s]reply refused: %s\n", kind.function, why);
        note_refused_reply(why);
    } else if (rc == SR_ERR_OK) {
        *output_cnt = values.count();
    }
    return rc;
}

} // namespace

// --- Reply parser: EVPN routes -----------------------------------------------

namespace {

constexpr ReplyKind evpn_reply = {"ip_bgp_evpn_output_parse", "ip_bgp_evpn_output_parse",
                                  BGP_SUB_RPC_IP_BGP_EVPN,
                                  "output data is not bgp and ip bgp evpn data!"};

// 12 bytes of a reply make at most 5 values (a route with two empty texts and no
// next hop), so a larger count is invalid.
constexpr std::size_t evpn_values_limit = payload_room / 12 * 5 + 5;

// The state of the walk through an EVPN reply: the stream, the values and the
// XPath of the current entry. Each step returns false when the stream ends too
// early or the array is full.
struct EvpnWalk {
    PackedReader stream;
    OutputValues &values;
    OutputXPath entry{};

    bool add_enum(std::string_view leaf, const char *name) {
        return values.add_text(entry, leaf, SR_ENUM_T, name);
    }
    bool add_text(std::string_view leaf, std::string_view text) {
        return values.add_text(entry, leaf, SR_STRING_T, text);
    }
    bool add_number(std::string_view leaf, uint32_t number) {
        return values.add(entry, leaf, SR_UINT32_T, &sr_data_t::uint32_val, number);
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

// A text that follows its flag in the stream if the flag is not 0.
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
    // If the array was not resized, the walk uses it as it is. An array with count 0 is assumed to
    // have the size that the reply announces.
    std::size_t capacity = get_count;
    OutputValues::Excess excess = OutputValues::Excess::refuse;
    if (!size_array(get_count <= evpn_values_limit, *output_cnt, get_count, output)) {
        always.line("realloc failed");
        capacity = *output_cnt == 0 ? get_count : *output_cnt;
        excess = OutputValues::Excess::drop;
    }
    OutputValues values(*output, capacity, excess);
    EvpnWalk walk{stream, values};
    return publish_reply(evpn_reply, values, output_cnt,
                         [&] { return walk_evpn(walk) ? int{SR_ERR_OK} : refused; });
}

// --- Reply parser: route information -----------------------------------------

namespace {

constexpr ReplyKind info_reply = {"ip_bgp_info_output_parse", "ip_bgp_info_output_parse",
                                  BGP_SUB_RPC_IP_BGP_INFO,
                                  "output data is not bgp and ip bgp info data!"};

using InfoTable = bgp_rpc_ip_bgp_info_output_public;
using InfoNetwork = bgp_rpc_ip_bgp_info_output_entry;
using InfoNextHop = bgp_rpc_ip_bgp_info_next_hop_output_entry;
constexpr std::size_t info_networks_offset = sizeof(uint32_t) + sizeof(InfoTable);

// Whether this many networks and next hops fit into a reply.
bool info_fits(std::size_t networks, std::size_t next_hops) {
    const std::size_t offset = info_networks_offset;
    return networks <= room_for(sizeof(InfoNetwork), offset) &&
           next_hops <= room_for(sizeof(InfoNextHop), offset + networks * sizeof(InfoNetwork));
}

// The state of the walk through the networks of a reply. Each step returns false
// when a count exceeds the reply or the array is full.
struct InfoWalk {
    const char *payload;
    OutputValues &values;
    OutputXPath entry{};
    std::size_t next_hop_cnt_all = 0; // next hops of the networks so far
};

// Publishes the next hops of a network. walk.entry holds the network's XPath;
// `offset` is the end of its record.
bool publish_next_hops(InfoWalk &walk, std::size_t offset, uint32_t network, uint32_t count) {
    const std::size_t network_length = walk.entry.length();
    for (uint32_t j = 0; j < count; ++j, offset += sizeof(InfoNextHop)) {
        debug.print("%s\t%d\toffset:%d i:%d\tnext_hop_cnt_all:%d  next_hop_cnt:%d\n",
                    info_reply.function, 2024, static_cast<int>(offset), network,
                    static_cast<int>(walk.next_hop_cnt_all), j);
        const auto next_hop = record_at<InfoNextHop>(walk.payload, offset);
        trace_record(debug, info_next_hop, &next_hop);
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

// Publishes network number i with its next hops.
bool publish_network(InfoWalk &walk, uint32_t i) {
    if (!info_fits(i + std::size_t{1}, walk.next_hop_cnt_all)) {
        return false;
    }
    const std::size_t offset = info_networks_offset + i * sizeof(InfoNetwork) +
                               walk.next_hop_cnt_all * sizeof(InfoNextHop);
    debug.print("%s\t%d\toffset:%d i:%d\tnext_hop_cnt_all:%d\n", info_reply.function, 1996,
                static_cast<int>(offset), i, static_cast<int>(walk.next_hop_cnt_all));
    debug.print("%s\t%d\thand struct:%d network struct:%d  next-hop struct:%d\n",
                info_reply.function, 2001, static_cast<int>(sizeof(InfoTable)),
                static_cast<int>(sizeof(InfoNetwork)), static_cast<int>(sizeof(InfoNextHop)));
    const auto network = record_at<InfoNetwork>(walk.payload, offset);
    trace_record(debug, info_network, &network);
    if (network.nextop_num > room_for(sizeof(InfoNextHop), offset + sizeof network)) {
        return false;
    }
    walk.entry.cut(0);
    walk.entry.append("/ip-bgp-info/bgp-info/entry[network='", text_in(network.network), "']");
    const std::size_t network_length = walk.entry.length();
    walk.entry.append("/");
    if (!publish_record<info_network>(walk.values, walk.entry, &network)) {
        return false;
    }
    walk.entry.cut(network_length);
    return publish_next_hops(walk, offset + sizeof network, i, network.nextop_num);
}

// Publishes the table and its networks.
bool publish_info(InfoWalk &walk, const InfoTable &table) {
    walk.entry.append("/ip-bgp-info/bgp-info/");
    if (!publish_record<info_table>(walk.values, walk.entry, &table)) {
        return false;
    }
    for (uint32_t i = 0; i < table.prefix_number; ++i) {
        if (!publish_network(walk, i)) {
            return false;
        }
    }
    debug.print("ip_bgp_info_output_parse cnt:%d\n", static_cast<int>(walk.values.count()));
    return true;
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
    trace_record(debug, info_table, &table);
    const std::size_t add_count = *output_cnt + info_network.leaves() * network_num +
                                  info_next_hop.leaves() * next_hop_num + info_table.leaves();
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
    return publish_reply(info_reply, values, output_cnt,
                         [&] { return publish_info(walk, table) ? int{SR_ERR_OK} : refused; });
}

// --- Reply parser: neighbor detail -------------------------------------------

namespace {

constexpr ReplyKind neighbor_reply = {"ip_bgp_neighbor_output_parse", "ip_bgp_info_neighbor_parse",
                                      BGP_SUB_RPC_IP_BGP_NEIGHBOR,
                                      "output data is not bgp and ip bgp info data!"};

using Peer = bgp_rpc_ip_bgp_neighbor_output_neighbor;
using PeerFamily = bgp_rpc_ip_bgp_neighbor_output_addrsss_family;

// Publishes the address families of a peer. It publishes each of them from the
// peer's first record, under the same keys: only the next peer advances the
// position in the reply.
int publish_families(OutputValues &values, OutputXPath &entry, const char *first, uint32_t count) {
    const std::size_t peer_length = entry.length();
    for (uint32_t j = 0; j < count; ++j) {
        const auto family = record_at<PeerFamily>(first, 0);
        trace_record(debug, neighbor_family, &family);
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
            return refused;
        }
    }
    return SR_ERR_OK;
}

// Publishes the peers of a payload, which follow their count.
int publish_peers(OutputValues &values, const char *payload, uint32_t count) {
    OutputXPath entry;
    std::size_t offset = sizeof count;
    for (uint32_t i = 0; i < count; ++i) {
        if (room_for(sizeof(Peer), offset) == 0) {
            return refused;
        }
        const auto peer = record_at<Peer>(payload, offset);
        trace_record(debug, neighbor_peer, &peer);
        offset += sizeof peer;
        if (peer.address_family_cnt > room_for(sizeof(PeerFamily), offset)) {
            return refused;
        }
        entry.cut(0);
        entry.append("/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='",
                     text_in(peer.neighbor_addr), "'][vrf-name='", text_in(peer.vrf_name), "']/");
        if (!publish_record<neighbor_peer>(values, entry, &peer)) {
            return refused;
        }
        const int rc = publish_families(values, entry, payload + offset, peer.address_family_cnt);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        offset += peer.address_family_cnt * sizeof(PeerFamily);
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
    // The division absorbs the four bytes of the count. A length below the
    // length of the peers wraps to a number that exceeds every reply.
    const uint32_t peers_length = static_cast<uint32_t>(sizeof(Peer)) * peer_cnt;
    const uint32_t entry_cnt = (static_cast<uint32_t>(reply_buf->dataLen) - peers_length) /
                               static_cast<uint32_t>(sizeof(PeerFamily));
    const std::size_t add_count =
        *output_cnt + neighbor_family.leaves() * entry_cnt + neighbor_peer.leaves() * peer_cnt;
    debug.print("peer_cnt:%d entry_cnt:%d add_count:%d\n", peer_cnt, entry_cnt,
                static_cast<int>(add_count));
    const bool plausible = peer_cnt <= room_for(sizeof(Peer), sizeof peer_cnt) &&
                           entry_cnt <= room_for(sizeof(PeerFamily), 0);
    if (!size_array(plausible, *output_cnt, add_count, output)) {
        report("bgp neighbor realloc failed!");
        return -1;
    }
    OutputValues values(*output, add_count);
    return publish_reply(neighbor_reply, values, output_cnt,
                         [&] { return publish_peers(values, payload, peer_cnt); });
}

// --- Reply parser: summary ---------------------------------------------------

namespace {

constexpr ReplyKind summary_reply = {"ip_bgp_summary_output_parse", "ip_bgp_summary_output_parse",
                                     BGP_SUB_RPC_IP_BGP_SUMMARY,
                                     "output data is not bgp and ip bgp info data!"};

using SummaryBlock = bgp_rpc_ip_bgp_summary_output_neighbors;
using SummaryEntry = bgp_rpc_ip_bgp_summary_output_entry;

// Publishes the block at the start of the payload and its entries.
int publish_summary(OutputValues &values, const char *payload, const SummaryBlock &block) {
    OutputXPath entry;
    entry.append("/ip-bgp-summary/neighbors/");
    const std::size_t block_length = entry.length();
    if (!publish_record<summary_block>(values, entry, &block)) {
        return refused;
    }
    std::size_t offset = sizeof block;
    for (uint32_t i = 0; i < block.neighbor_number; ++i, offset += sizeof(SummaryEntry)) {
        const auto neighbor = record_at<SummaryEntry>(payload, offset);
        trace_record(debug, summary_entry, &neighbor);
        entry.cut(block_length);
        entry.append("entry[neighbor='", text_in(neighbor.neighbor), "']/");
        if (!publish_record<summary_entry>(values, entry, &neighbor)) {
            return refused;
        }
    }
    debug.print("ip_bgp_summary_output_parse cnt:%d\n", static_cast<int>(values.count()));
    return SR_ERR_OK;
}

} // namespace

int ip_bgp_summary_output_parse(sr_val_t **output, size_t *output_cnt,
                                netconf_data_struc *reply_buf) {
    if (!accept_reply(summary_reply, output, output_cnt, reply_buf)) {
        return -1;
    }
    const char *payload = reply_buf->transferData;
    const auto block = record_at<SummaryBlock>(payload, 0);
    const std::size_t add_count =
        summary_entry.leaves() * block.neighbor_number + summary_block.leaves();
    debug.print("*output_cnt:%d add_count:%d\n", static_cast<int>(*output_cnt),
                static_cast<int>(add_count));
    const bool plausible = block.neighbor_number <= room_for(sizeof(SummaryEntry), sizeof block);
    if (!size_array(plausible, *output_cnt, add_count, output)) {
        report("bgp info realloc failed!");
        return -1;
    }
    trace_record(debug, summary_block, &block);
    if (block.neighbor_number == 0) {
        return 0;
    }
    OutputValues values(*output, add_count);
    return publish_reply(summary_reply, values, output_cnt,
                         [&] { return publish_summary(values, payload, block); });
}

// --- Query requests ----------------------------------------------------------

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

// Copies a text input into its field of the query. The field is zero, because
// each input comes once.
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

// Writes the inputs that the two queries about the table share.
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

// Writes the inputs into the query, as many as its count says.
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

// A text field of a query as printf arguments: it may have no terminator.
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

// --- RPC callbacks -----------------------------------------------------------

namespace {

// The arguments of an RPC callback.
struct RpcCall {
    sr_session_ctx_t *session;
    const char *path;
    const sr_val_t *input;
    size_t input_cnt;
    sr_event_t event;
    sr_val_t **output;
    size_t *output_cnt;
};

// What differs between the RPCs.
template <typename Query>
struct Rpc {
    const char *function; // the callback's name, and the numbers in its lines
    int trace;
    int event;
    int sub_mod;
    int (*parse)(sr_val_t **, size_t *, netconf_data_struc *); // nullptr: any reply is success
    // Fills the query from the arguments. Returns nothing, or the result of the callback.
    std::optional<int> (*ask)(const Rpc &rpc, const RpcCall &call, Query &query);
};

// Sends the query and passes the reply to its parser.
template <typename Query>
int answer_query(const Rpc<Query> &rpc, const RpcCall &call, Query &query) {
    netconf_data_struc *reply = bgp_plugin_get(&query, sizeof query, rpc.sub_mod);
    if (reply == nullptr) {
        always.line("get reply buff error!");
        return SR_ERR_CALLBACK_FAILED;
    }
    debug.print("[%s]reply_buf = %p\n", rpc.function, static_cast<void *>(reply));
    const int rc =
        rpc.parse == nullptr ? int{SR_ERR_OK} : rpc.parse(call.output, call.output_cnt, reply);
    debug.print("[%s]rc = %d\n", rpc.function, rc);
    // sysrepo frees only as many values as *output_cnt says, so it would leak an array with count
    // 0. The library's arrays hold at least one value, and values that were not written are zero.
    if (host.is_sysrepo() && rpc.parse != nullptr && rc == SR_ERR_OK && *call.output_cnt == 0 &&
        *call.output != nullptr) {
        sr_free_values(*call.output, 1);
        *call.output = nullptr;
    }
    return rc;
}

// Runs an RPC callback and tells the client of a failure.
template <typename Query>
int run_call(const Rpc<Query> &rpc, const RpcCall &call) {
    refusal.begin(call.path);
    Query query{};
    const std::optional<int> end = rpc.ask(rpc, call, query);
    return refusal.tell(call.session, end ? *end : answer_query(rpc, call, query));
}

// Each check returns nothing, or the result of the callback.
using Check = std::optional<int>;

Check check_arguments(const RpcCall &call) {
    if (call.path == nullptr) {
        report(" path inval arg!");
        return SR_ERR_INVAL_ARG;
    }
    if (call.session == nullptr) {
        report(" session inval arg!");
        return SR_ERR_INVAL_ARG;
    }
    return std::nullopt;
}

template <typename Query>
Check check_event(const Rpc<Query> &rpc, const RpcCall &call) {
    if (call.event == SR_EV_RPC) {
        return std::nullopt;
    }
    always.print("[%s][%d]invalid argument.\n", rpc.function, rpc.event);
    refusal.because("event %d is not an RPC event", call.event);
    return SR_ERR_OPERATION_FAILED;
}

// The checks at the start of three of the RPCs.
template <typename Query>
Check check_call(const Rpc<Query> &rpc, const RpcCall &call) {
    const Check end = check_arguments(call);
    if (end) {
        return end;
    }
    debug.print("in [%s][%d]event= %d, input_cnt = %d\n", rpc.function, rpc.trace, call.event,
                static_cast<int>(call.input_cnt));
    return check_event(rpc, call);
}

// An input that does not fit ends the callback.
Check check_input(int rc) {
    return rc == SR_ERR_INVALID_VALUE ? Check(rc) : std::nullopt;
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

Check ask_evpn(const Rpc<bgp_rpc_ip_bgp_evpn> &rpc, const RpcCall &call,
               bgp_rpc_ip_bgp_evpn &query) {
    const sr_val_t *input = call.input;
    if (call.path == nullptr || call.session == nullptr || input == nullptr) {
        report("inval arg!");
        return SR_ERR_INVAL_ARG;
    }
    debug.print("in [%s][%d]path = %s,input[0].xpath = '%s'\n", rpc.function, rpc.trace, call.path,
                input->xpath == nullptr ? "(null)" : input->xpath);
    debug.print("in [%s][%d]event= '%d'\n", rpc.function, 2688, call.event);
    const Check end = check_event(rpc, call);
    return end ? end : check_input(put_evpn_input(query, *input));
}

Check ask_info(const Rpc<bgp_rpc_ip_bgp_info_input> &rpc, const RpcCall &call,
               bgp_rpc_ip_bgp_info_input &query) {
    Check end = check_call(rpc, call);
    if (end) {
        return end;
    }
    query.input_cnt = static_cast<uint32_t>(call.input_cnt);
    debug.print("in [%s][%d]inData.input_cnt = %d\n", rpc.function, 2763, query.input_cnt);
    end = check_input(bgp_input_parse(call.input, &query, rpc.sub_mod));
    if (end) {
        return end;
    }
    if (call.input_cnt == 0) {
        query.ip_type = 1;
        query.all = 1;
    }
    debug.print("in [%s][%d] vrf_name:%.*s ip_type:%d all:%d ipaddr:%.*s ipaddr_str:%.*s\n",
                rpc.function, 2773, QUERY_TEXT(query.vrf_name), query.ip_type, query.all,
                QUERY_TEXT(query.ipaddr), QUERY_TEXT(query.ipaddr_str));
    return std::nullopt;
}

// Uses a single input only; with several the query selects nothing.
int put_neighbor_input(bgp_rpc_ip_bgp_neighbor_input &query, const RpcCall &call) {
    if (call.input_cnt == 0) {
        query.all = 1;
    }
    if (call.input_cnt != 1 || call.input == nullptr) {
        return SR_ERR_OK;
    }
    if (input_is(*call.input, "all")) {
        query.all = 1;
    } else if (input_is(*call.input, "ipaddr")) {
        return put_input(query.neighbor_addr, *call.input);
    } else if (input_is(*call.input, "vrf-name")) {
        return put_input(query.vrf_name, *call.input);
    }
    return SR_ERR_OK;
}

Check ask_neighbor(const Rpc<bgp_rpc_ip_bgp_neighbor_input> &rpc, const RpcCall &call,
                   bgp_rpc_ip_bgp_neighbor_input &query) {
    Check end = check_call(rpc, call);
    end = end ? end : check_input(put_neighbor_input(query, call));
    if (end) {
        return end;
    }
    debug.print("in inData.neighbor_addr:%.*s\n", QUERY_TEXT(query.neighbor_addr));
    debug.print("in inData.all flag:%d\n", query.all);
    debug.print("in inData.vrf_name:%.*s\n", QUERY_TEXT(query.vrf_name));
    return std::nullopt;
}

Check ask_summary(const Rpc<bgp_rpc_ip_bgp_summary_input> &rpc, const RpcCall &call,
                  bgp_rpc_ip_bgp_summary_input &query) {
    Check end = check_call(rpc, call);
    if (end) {
        return end;
    }
    query.input_cnt = static_cast<uint32_t>(call.input_cnt);
    end = check_input(bgp_input_parse(call.input, &query, rpc.sub_mod));
    if (end) {
        return end;
    }
    query.all = 1;
    debug.print("inData.all flag:%d\n", query.all);
    return std::nullopt;
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

// Without an AS there is nothing to clear: success, whatever the event.
Check ask_clear(const Rpc<bgp_rpc_clear_ip_bgp_input> &rpc, const RpcCall &call,
                bgp_rpc_clear_ip_bgp_input &query) {
    Check end = check_arguments(call);
    if (end) {
        return end;
    }
    refresh_bgp_id(call.session);
    if (g_bgp_id == 0) {
        return SR_ERR_OK;
    }
    for (size_t i = 0; call.input != nullptr && i < call.input_cnt; ++i) {
        end = check_input(put_clear_input(query, call.input[i]));
        if (end) {
            return end;
        }
    }
    query.clear_all = call.input_cnt == 0 ? 1 : 0;

    constexpr const char *frame = "-------------in clear_ip_bgp_cb inData info -------------";
    debug.line(frame);
    debug.print("input_cnt:%d\n", static_cast<int>(call.input_cnt));
    debug.print("inData.clear_all:%d\n", query.clear_all);
    debug.print("inData.reconfig_type:%d\n", query.reconfig_type);
    debug.print("inData.vrf_name:%.*s\n", QUERY_TEXT(query.address_family.vrf_name));
    debug.line(frame);
    debug.print("in [%s][%d]event= '%d'\n", rpc.function, rpc.trace, call.event);
    return check_event(rpc, call);
}

constexpr Rpc<bgp_rpc_ip_bgp_evpn> evpn_rpc = {
    "ip_bgp_evpn_cb", 2687, 2692, BGP_SUB_RPC_IP_BGP_EVPN, ip_bgp_evpn_output_parse, ask_evpn};
constexpr Rpc<bgp_rpc_ip_bgp_info_input> info_rpc = {
    "ip_bgp_info_cb", 2753, 2757, BGP_SUB_RPC_IP_BGP_INFO, ip_bgp_info_output_parse, ask_info};
constexpr Rpc<bgp_rpc_ip_bgp_neighbor_input> neighbor_rpc = {
    "ip_bgp_neighbor_cb",         2817,        2821, BGP_SUB_RPC_IP_BGP_NEIGHBOR,
    ip_bgp_neighbor_output_parse, ask_neighbor};
constexpr Rpc<bgp_rpc_ip_bgp_summary_input> summary_rpc = {
    "ip_bgp_summary_cb",         2891,       2895, BGP_SUB_RPC_IP_BGP_SUMMARY,
    ip_bgp_summary_output_parse, ask_summary};
constexpr Rpc<bgp_rpc_clear_ip_bgp_input> clear_rpc = {
    "clear_ip_bgp_cb", 3004, 3008, BGP_SUB_RPC_CLEAR_IP_BGP, nullptr, ask_clear};

} // namespace

// The callbacks of the RPCs differ only in these descriptions.
#define RPC_CALLBACK(callback, rpc)                                                                \
    int callback(sr_session_ctx_t *session, const char *path, const sr_val_t *input,               \
                 const size_t input_cnt, sr_event_t event, uint32_t /*request_id*/,                \
                 sr_val_t **output, size_t *output_cnt, void * /*private_data*/) {                 \
        return run_call(rpc, {session, path, input, input_cnt, event, output, output_cnt});        \
    }

RPC_CALLBACK(ip_bgp_evpn_cb, evpn_rpc)
RPC_CALLBACK(ip_bgp_info_cb, info_rpc)
RPC_CALLBACK(ip_bgp_neighbor_cb, neighbor_rpc)
RPC_CALLBACK(ip_bgp_summary_cb, summary_rpc)
RPC_CALLBACK(clear_ip_bgp_cb, clear_rpc)

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

// The first registration creates the subscription with sysrepo's handler thread,
// the others join it: one thread runs all callbacks, one at a time.
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
