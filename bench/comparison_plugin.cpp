// Subscribes to the same paths as the real plug-in, in the same host on its own datastore. It walks
// the changes of an edit and answers an RPC with copies of values that it computed at the first
// one: what remains is sysrepo's own time.
//
// With BENCH_ASKS in the environment it is the floor of the real plug-in. It also does what any
// plug-in for this daemon must do: it asks the datastore for the AS number on every event and in
// clear-ip-bgp, looks up the node and the keys of each change, and makes one exchange with the
// daemon for each created network or neighbor and for every RPC.
#include "bgp_plugin.h"

#include <sysrepo/values.h>
#include <sysrepo/xpath.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

bool asks() {
    static const bool set = std::getenv("BENCH_ASKS") != nullptr;
    return set;
}

// The AS number, which the answer to an edit or a query may depend on.
void ask_for_as(sr_session_ctx_t *session) {
    sr_val_t *as = nullptr;
    if (sr_get_item(session, "/orv_bgp:router-bgp/as", 0, &as) == SR_ERR_OK) {
        sr_free_val(as);
    }
}

// --- Edits ---------------------------------------------------------------------------

// One write and one read of a configuration record's sizes.
void exchange() {
    static int connection = -1;
    if (connection < 0) {
        plugin_connect(&connection);
    }
    constexpr std::size_t size =
        sizeof(netconf_data_struc) + sizeof(bgp_address_family_network_universal_val);
    char bytes[size] = {};
    netconf_data_struc header{};
    header.module = MODULE_ID_BGP;
    header.subMod = BGP_SUB_NETWORK;
    header.dataLen = size;
    std::memcpy(bytes, &header, sizeof header);
    char result[4];
    if (write(connection, bytes, sizeof bytes) < 0 || read(connection, result, sizeof result) < 0) {
        std::abort();
    }
}

// The node and the keys of a change to a network, each in a copy, because a look-up cuts the path.
void look_up(const sr_val_t &value) {
    constexpr const char *keys[][2] = {
        {"address-family", "safi"}, {"address-family", "afi"}, {"family-network", "prefix"}};
    const char *volatile found = sr_xpath_node_name(value.xpath);
    for (const auto &[list, key] : keys) {
        std::string path = value.xpath;
        sr_xpath_ctx_t state{};
        found = sr_xpath_key_value(path.data(), list, key, &state);
    }
    static_cast<void>(found);
}

// Whether the daemon gets a record when this node is created.
bool has_record(const sr_val_t &value) {
    return value.type == SR_LIST_T && (std::strstr(value.xpath, "-network[") != nullptr ||
                                       std::strstr(value.xpath, "-neighbor[") != nullptr);
}

} // namespace

// The benchmark of a replay calls this function, too.
extern "C" int walk_changes(sr_session_ctx_t *session, const char * /*module*/, const char *xpath,
                            sr_event_t event, uint32_t /*request_id*/, void * /*priv*/) {
    if (asks()) {
        ask_for_as(session);
    }
    if (event == SR_EV_DONE || event == SR_EV_ABORT) {
        return SR_ERR_OK;
    }
    sr_change_iter_t *iterator = nullptr;
    const int rc = sr_get_changes_iter(session, (std::string(xpath) + "//.").c_str(), &iterator);
    if (rc != SR_ERR_OK) {
        return rc;
    }
    sr_change_oper_t operation = SR_OP_CREATED;
    sr_val_t *old_value = nullptr;
    sr_val_t *new_value = nullptr;
    while (sr_get_change_next(session, iterator, &operation, &old_value, &new_value) == SR_ERR_OK) {
        if (asks() && new_value != nullptr) {
            look_up(*new_value);
            if (has_record(*new_value)) {
                exchange();
            }
        }
        sr_free_val(old_value);
        sr_free_val(new_value);
    }
    sr_free_change_iter(iterator);
    return SR_ERR_OK;
}

namespace {

// --- RPCs ----------------------------------------------------------------------------

bool has_text(const sr_val_t &value) {
    return value.type == SR_STRING_T || value.type == SR_ENUM_T;
}

// Sends a query and reads the reply, whatever it is.
void query() {
    static char reply[BUF_SIZE_MAX];
    constexpr std::size_t size = sizeof(netconf_data_struc) + sizeof(bgp_rpc_ip_bgp_info_input);
    char bytes[size] = {};
    netconf_data_struc header{};
    header.module = MODULE_ID_BGP;
    header.dataLen = size;
    std::memcpy(bytes, &header, sizeof header);
    int connection = -1;
    plugin_connect(&connection);
    ssize_t count = write(connection, bytes, sizeof bytes);
    std::size_t total = 0;
    do {
        count = count < 0 ? count : read(connection, reply + total, sizeof reply - total);
        total += count < 0 ? 0 : static_cast<std::size_t>(count);
        std::memcpy(&header, reply, sizeof header);
    } while (count > 0 && total < static_cast<std::size_t>(header.dataLen));
    plugin_close(connection);
}

struct Answer {
    sr_val_t *values = nullptr;
    std::size_t count = 0;
};

// By path and the text of the first input, which distinguishes RPCs.
std::map<std::pair<std::string, std::string>, Answer> answers;

// `callback`, the private data, is the callback of the real plug-in.
int answer(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
           const size_t input_cnt, sr_event_t event, uint32_t request_id, sr_val_t **output,
           size_t *output_cnt, void *callback) {
    const std::string text = input_cnt > 0 && has_text(*input) ? input->data.string_val : "";
    auto known = answers.find({path, text});
    if (known == answers.end()) {
        Answer made;
        const int rc = (*static_cast<sr_rpc_cb *>(callback))(
            session, path, input, input_cnt, event, request_id, &made.values, &made.count, nullptr);
        if (rc != SR_ERR_OK) {
            return rc;
        }
        known = answers.emplace(std::pair(path, text), made).first;
    } else if (asks()) {
        if (known->second.count == 0) { // clear-ip-bgp
            ask_for_as(session);
        }
        query();
    }
    const Answer &precomputed = known->second;
    if (precomputed.count == 0) {
        return SR_ERR_OK;
    }
    const int rc = sr_realloc_values(0, precomputed.count, output);
    if (rc != SR_ERR_OK) {
        return rc;
    }
    for (std::size_t i = 0; i < precomputed.count; ++i) {
        const sr_val_t &from = precomputed.values[i];
        sr_val_t &to = (*output)[i];
        to.xpath = strdup(from.xpath);
        to.type = from.type;
        to.data = from.data;
        if (has_text(from)) {
            to.data.string_val = strdup(from.data.string_val);
        }
    }
    *output_cnt = precomputed.count;
    return SR_ERR_OK;
}

constexpr const char *changed_paths[] = {
    "/orv_bgp:router-bgp/as",
    "/orv_bgp:router-bgp/bgp",
    "/orv_bgp:router-bgp/bgp-address-family/address-family",
    "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
};

struct Rpc {
    const char *path;
    sr_rpc_cb callback;
};
Rpc rpcs[] = {
    {"/orv_bgp:ip-bgp-evpn", ip_bgp_evpn_cb},
    {"/orv_bgp:ip-bgp-info", ip_bgp_info_cb},
    {"/orv_bgp:ip-bgp-neighbor", ip_bgp_neighbor_cb},
    {"/orv_bgp:ip-bgp-summary", ip_bgp_summary_cb},
    {"/orv_bgp:clear-ip-bgp", clear_ip_bgp_cb},
};

} // namespace

int sr_plugin_init_cb(sr_session_ctx_t *session, void ** /*private_ctx*/) {
    sr_subscription_ctx_t *subscription = nullptr;
    int rc = SR_ERR_OK;
    for (const char *path : changed_paths) {
        rc |= sr_module_change_subscribe(
            session, "orv_bgp", path, walk_changes, nullptr, 0,
            subscription == nullptr ? SR_SUBSCR_DEFAULT : SR_SUBSCR_CTX_REUSE, &subscription);
    }
    for (Rpc &rpc : rpcs) {
        rc |= sr_rpc_subscribe(session, rpc.path, answer, &rpc.callback, 0, SR_SUBSCR_CTX_REUSE,
                               &subscription);
    }
    return rc;
}

void sr_plugin_cleanup_cb(sr_session_ctx_t * /*session*/, void * /*private_ctx*/) {}
