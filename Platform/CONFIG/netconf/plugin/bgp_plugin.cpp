// The BGP plug-in: life cycle and configuration translation; see bgp_plugin.h.
#include "bgp_plugin.h"

#include "change_walk.h"
#include "diagnostics.h"
#include "record_text.h"

#include <sysrepo/xpath.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <optional>

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
    for (const char *container : list_containers) {
        if (equal(node_name, container)) {
            return 1;
        }
    }
    return 0;
}

int ip_bgp_check_bgp_as_config_exist(sr_session_ctx_t *session, uint32_t *bgp_as) {
    if (session == nullptr) {
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

bool contains(const char *text, const char *part) {
    return std::strstr(text, part) != nullptr;
}

// Refuses a path that is longer than its working buffer has room for.
int refuse_path(const char *path, std::size_t limit) {
    always.print("path %.100s... is %zu bytes long, the limit is %zu\n", path, std::strlen(path),
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
// is a union, and a number read as a pointer would lead anywhere.
const char *text_of(const sr_val_t &value) {
    switch (value.type) {
    case SR_LIST_T:
    case SR_CONTAINER_T:
    case SR_CONTAINER_PRESENCE_T:
    case SR_LEAF_EMPTY_T:
    case SR_BOOL_T:
    case SR_DECIMAL64_T:
    case SR_INT8_T:
    case SR_INT16_T:
    case SR_INT32_T:
    case SR_INT64_T:
    case SR_UINT8_T:
    case SR_UINT16_T:
    case SR_UINT32_T:
    case SR_UINT64_T:
        return nullptr;
    default:
        return value.data.string_val;
    }
}

// The record in the making: what the next plugin_config sends. Its bytes stay
// when it has been sent; a later record of the same edit is built over them.
struct PendingRecord {
    alignas(std::max_align_t) char data[send_buffer_size] = {};
    uint32_t length = 0;  // bytes; 0: none
    uint32_t sub_mod = 0; // 0: none

    int send(sr_change_oper_t operation) const {
        return plugin_config(data, static_cast<int>(length), operation, MODULE_ID_BGP,
                             static_cast<int>(sub_mod));
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

// Runs `work` on the changes of an edit when the event asks for it: done and
// abort come after the daemon has been told. `work` returns the callback's
// result; "not found", which is the end of the changes (or a daemon's answer
// with the same number), is success.
template <typename Work>
int run_callback(const CallbackLines &lines, sr_session_ctx_t *session, const char *p_xpath,
                 sr_event_t event, Work work) {
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

// Says that a change has no value to work on.
void report_no_value(const ChangeWalk &walk) {
    always.print("choose value for oper %d failed. old_value:%p, new_value:%p\n", walk.operation(),
                 static_cast<void *>(walk.old_value()), static_cast<void *>(walk.new_value()));
}

// The last node of a value's path, or nullptr after saying so.
const char *node_name(const sr_val_t &value) {
    const char *name = value.xpath == nullptr ? nullptr : sr_xpath_node_name(value.xpath);
    if (name == nullptr) {
        always.print("get node name from xpath %s fail\n",
                     value.xpath == nullptr ? "(null)" : value.xpath);
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
    PendingRecord pending;
    debug.print("[%s][%d] need_send:%d sub_mod:%d\n", as_lines.function, 1412, 0, pending.sub_mod);

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
int send_last(const PendingRecord &pending, sr_change_oper_t last_operation) {
    if (pending.length == 0) {
        return SR_ERR_NOT_FOUND;
    }
    if (pending.sub_mod == 0) {
        debug.print("\nchange cfg for bgp failed:%s", sr_strerror(SR_ERR_NOT_FOUND));
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
                               const PendingRecord &pending, Change *change) {
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
                 const PendingRecord &pending, Work work) {
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
        always.line("neighbor address value is NULL.");
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
    char copy[path_size] = {};
    const bool several = container.keys[1].node != nullptr;
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
        always.line(missing);
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
            always.line(key.wrong);
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
    for (const char *name : nodes) {
        if (name != nullptr && equal(name, node)) {
            return true;
        }
    }
    return false;
}

bool is_below_container(const FamilyKind &kind, const Change &change) {
    for (const FamilyKind::Container &container : kind.containers) {
        if (contains(change.value->xpath, container.name)) {
            return true;
        }
    }
    return false;
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
    if (rc != SR_ERR_OK || is_continue_by_node_name(change.node) != 0) {
        return rc;
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

// --- Life cycle --------------------------------------------------------------

namespace {

constexpr const char *module_name = "orv_bgp";
constexpr const char *module_path = "/orv_bgp:router-bgp";

// One registration: a change callback or an RPC callback on a path.
struct Registration {
    const char *path;
    sr_module_change_cb change;
    sr_rpc_cb rpc;
    sr_subscr_options_t options;
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
    debug.line("OK");
    return SR_ERR_OK;
}

void sr_plugin_cleanup_cb(sr_session_ctx_t * /*session*/, void *private_ctx) {
    sr_unsubscribe(static_cast<sr_subscription_ctx_t *>(private_ctx));
    debug.print(" %s plugin cleanup finished.\n", module_name);
}
