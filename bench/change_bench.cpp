// Measures the change callbacks without sending. The floor takes the same changes from sysrepo,
// looks up the node and the keys of each, and frees them; "sysrepo" only takes and frees them. The
// time per change does not depend on the number of changes.
#include "bgp_plugin.h"
#include "scripted_sysrepo.h"
#include "side_by_side.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

extern "C" int __wrap_plugin_config(void *data, int /*data_len*/, int /*option*/, int /*module_id*/,
                                    int /*sub_mod*/) {
    benchmark::DoNotOptimize(data);
    return SR_ERR_OK;
}

namespace {

// A function of the real library: the XPath functions are measured as they are on
// a switch.
template <typename Function>
Function library_function(const char *name) {
    static void *const library = dlopen(LIBSYSREPO, RTLD_NOW | RTLD_LOCAL);
    return reinterpret_cast<Function>(dlsym(library, name));
}

} // namespace

extern "C" char *__wrap_sr_xpath_node_name(const char *xpath) {
    static const auto function = library_function<char *(*)(const char *)>("sr_xpath_node_name");
    return function(xpath);
}

extern "C" char *__wrap_sr_xpath_key_value(char *xpath, const char *node_name, const char *key_name,
                                           sr_xpath_ctx_t *state) {
    static const auto function =
        library_function<char *(*)(char *, const char *, const char *, sr_xpath_ctx_t *)>(
            "sr_xpath_key_value");
    return function(xpath, node_name, key_name, state);
}

namespace {

using scripted::Change;

using Callback = int (*)(sr_session_ctx_t *, const char *, const char *, sr_event_t, std::uint32_t,
                         void *);

// A key and the list that it belongs to.
struct KeyOf {
    const char *list;
    const char *key;
};

// The edit for measuring a callback: list entries, created one after the other,
// each with the same nodes.
struct Workload {
    const char *name;
    Callback callback;
    const char *subscription;
    const char *list; // below the subscription, up to the key's value
    const char *key;
    std::vector<const char *> leaves; // texts
    std::vector<KeyOf> looked_up;     // with sr_xpath_key_value, for each change
};

const std::vector<Workload> workloads = {
    {"global neighbors",
     bgp_config_globle_bgp_change_cb,
     "/orv_bgp:router-bgp/bgp",
     "/bgp-globle-neighbors/globle-neighbor[neighbor-address='",
     "neighbor-address",
     {"remote-as", "description"},
     {{"globle-neighbor", "neighbor-address"}}},
    {"networks",
     bgp_config_address_family_change_cb,
     "/orv_bgp:router-bgp/bgp-address-family/address-family",
     "[afi='AFI_IP'][safi='SAFI_UNICAST']/bgp-family-networks/family-network[prefix='",
     "prefix",
     {"route-map"},
     {{"address-family", "safi"}, {"address-family", "afi"}, {"family-network", "prefix"}}},
    {"VRF networks",
     bgp_config_address_family_vrf_change_cb,
     "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
     "[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']/bgp-family-vrf-networks/"
     "family-vrf-network[prefix='",
     "prefix",
     {"route-map"},
     {{"address-family-vrf", "safi"},
      {"address-family-vrf", "afi"},
      {"address-family-vrf", "vrf-name"},
      {"family-vrf-network", "prefix"}}},
};

// The first `count` changes of the workload's edit.
std::vector<Change> make_changes(const Workload &workload, std::size_t count) {
    std::vector<Change> changes;
    changes.reserve(count + workload.leaves.size() + 2);
    for (std::size_t entry = 0; changes.size() < count; ++entry) {
        const std::string key = "10." + std::to_string(entry / 65536) + "." +
                                std::to_string(entry / 256 % 256) + "." +
                                std::to_string(entry % 256);
        const std::string path = std::string(workload.subscription) + workload.list + key + "']";
        changes.push_back(scripted::created(scripted::node(path, SR_LIST_T)));
        changes.push_back(scripted::created(scripted::text(path + "/" + workload.key, key)));
        for (const char *leaf : workload.leaves) {
            changes.push_back(scripted::created(scripted::text(path + "/" + leaf, "65001")));
        }
    }
    changes.resize(count);
    return changes;
}

// Takes all changes from sysrepo, passes each to `look` and frees it.
template <typename Look>
void walk(const Workload &workload, Look look) {
    sr_change_iter_t *iterator = nullptr;
    sr_get_changes_iter(scripted::session(), workload.subscription, &iterator);
    sr_change_oper_t operation = SR_OP_CREATED;
    sr_val_t *old_value = nullptr;
    sr_val_t *new_value = nullptr;
    while (sr_get_change_next(scripted::session(), iterator, &operation, &old_value, &new_value) ==
           SR_ERR_OK) {
        look(*new_value);
        sr_free_val(old_value);
        sr_free_val(new_value);
    }
    sr_free_change_iter(iterator);
}

// Looks up the change's node and keys, each in a copy, because a look-up cuts the path.
void look_up(const Workload &workload, const sr_val_t &value) {
    benchmark::DoNotOptimize(sr_xpath_node_name(value.xpath));
    char path[1000];
    const std::size_t size = std::strlen(value.xpath) + 1;
    for (const KeyOf &row : workload.looked_up) {
        std::memcpy(path, value.xpath, size);
        sr_xpath_ctx_t state{};
        benchmark::DoNotOptimize(sr_xpath_key_value(path, row.list, row.key, &state));
    }
}

// A run repeats short edits, so that the time of reading the clock does not
// matter.
constexpr std::size_t changes_in_a_run = 10000;

void change(benchmark::State &state, const Workload &workload, std::size_t count) {
    const std::string as = "/orv_bgp:router-bgp/as";
    scripted::reset();
    scripted::sysrepo().items.emplace(as, scripted::number(as, 65001));
    scripted::sysrepo().changes = make_changes(workload, count);
    const std::size_t edits = std::max<std::size_t>(1, changes_in_a_run / count);
    int result = SR_ERR_OK;
    const auto repeated = [edits](const auto &edit) {
        return [edits, edit] {
            return bench::thread_seconds([&] {
                for (std::size_t i = 0; i < edits; ++i) {
                    edit();
                }
            });
        };
    };
    const auto plugin = [&] {
        result |= workload.callback(scripted::session(), "orv_bgp", workload.subscription,
                                    SR_EV_CHANGE, 1, nullptr);
    };
    const auto floor = [&] {
        walk(workload, [&](const sr_val_t &value) { look_up(workload, value); });
    };
    const auto sysrepo = [&] {
        walk(workload, [](const sr_val_t &value) { benchmark::DoNotOptimize(&value); });
    };
    bench::side_by_side(state,
                        {{"plugin", repeated(plugin)},
                         {"floor", repeated(floor), [] {}, 1.6},
                         {"sysrepo", repeated(sysrepo)}},
                        static_cast<double>(count * edits));
    if (result != SR_ERR_OK) {
        state.SkipWithError("the edit was refused");
    }
}

const bool changes_registered = [] {
    for (const Workload &workload : workloads) {
        for (const std::size_t count : {100U, 1000U, 10000U, 100000U}) {
            const std::string name =
                std::string("change/") + workload.name + "/" + std::to_string(count) + " changes";
            benchmark::RegisterBenchmark(name.c_str(), change, workload, count)->UseManualTime();
        }
    }
    return true;
}();

} // namespace
