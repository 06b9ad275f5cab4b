// What the change callbacks cost per change, next to what it costs to hand the
// same changes out. The time per change stays the same however many there are.
#include "bgp_plugin.h"
#include "scripted_sysrepo.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

std::int64_t records_sent = 0;

} // namespace

extern "C" int __wrap_plugin_config(const void *data, int /*data_len*/, int /*option*/,
                                    int /*module_id*/, int /*sub_mod*/) {
    benchmark::DoNotOptimize(data);
    ++records_sent;
    return SR_ERR_OK;
}

namespace {

using scripted::Change;

using Callback = int (*)(sr_session_ctx_t *, const char *, const char *, sr_event_t, std::uint32_t,
                         void *);

// The edit that a callback is measured with: list entries, created one after
// the other, each with the same nodes.
struct Workload {
    Callback callback;
    const char *subscription;
    const char *list; // below the subscription, up to the key's value
    const char *key;
    std::vector<const char *> leaves; // texts
};

const Workload &globle_neighbors() {
    static const Workload workload = {bgp_config_globle_bgp_change_cb,
                                      "/orv_bgp:router-bgp/bgp",
                                      "/bgp-globle-neighbors/globle-neighbor[neighbor-address='",
                                      "neighbor-address",
                                      {"remote-as", "description"}};
    return workload;
}

const Workload &networks() {
    static const Workload workload = {
        bgp_config_address_family_change_cb,
        "/orv_bgp:router-bgp/bgp-address-family/address-family",
        "[afi='AFI_IP'][safi='SAFI_UNICAST']/bgp-family-networks/family-network[prefix='",
        "prefix",
        {"route-map"}};
    return workload;
}

const Workload &vrf_networks() {
    static const Workload workload = {
        bgp_config_address_family_vrf_change_cb,
        "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf",
        "[afi='AFI_IP'][safi='SAFI_VRF'][vrf-name='red']/bgp-family-vrf-networks/"
        "family-vrf-network[prefix='",
        "prefix",
        {"route-map"}};
    return workload;
}

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

void set_up(const Workload &workload, const benchmark::State &state) {
    const std::string as = "/orv_bgp:router-bgp/as";
    scripted::reset();
    scripted::sysrepo().items.emplace(as, scripted::number(as, 65001));
    scripted::sysrepo().changes = make_changes(workload, static_cast<std::size_t>(state.range(0)));
}

void report(benchmark::State &state) {
    const auto changes = static_cast<double>(state.range(0));
    state.counters["per_change"] = benchmark::Counter(
        changes, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetComplexityN(state.range(0));
}

// What the library's stand-in alone costs.
void hand_out(benchmark::State &state, const Workload &workload) {
    set_up(workload, state);
    while (state.KeepRunning()) {
        sr_change_iter_t *iterator = nullptr;
        sr_get_changes_iter(scripted::session(), workload.subscription, &iterator);
        sr_change_oper_t operation = SR_OP_CREATED;
        sr_val_t *old_value = nullptr;
        sr_val_t *new_value = nullptr;
        while (sr_get_change_next(scripted::session(), iterator, &operation, &old_value,
                                  &new_value) == SR_ERR_OK) {
            benchmark::DoNotOptimize(new_value);
            sr_free_val(old_value);
            sr_free_val(new_value);
        }
        sr_free_change_iter(iterator);
    }
    report(state);
}

void callback(benchmark::State &state, const Workload &workload) {
    set_up(workload, state);
    records_sent = 0;
    while (state.KeepRunning()) {
        const int result = workload.callback(scripted::session(), "orv_bgp", workload.subscription,
                                             SR_EV_CHANGE, 1, nullptr);
        if (result != SR_ERR_OK) {
            state.SkipWithError("the edit was refused");
            break;
        }
    }
    report(state);
    state.counters["records"] =
        benchmark::Counter(static_cast<double>(records_sent), benchmark::Counter::kAvgIterations);
}

void sizes(benchmark::internal::Benchmark *benchmark) {
    benchmark->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMicrosecond);
    benchmark->Complexity(benchmark::oN);
}

BENCHMARK_CAPTURE(hand_out, globle_neighbors, globle_neighbors())->Apply(sizes);
BENCHMARK_CAPTURE(callback, globle_neighbors, globle_neighbors())->Apply(sizes);
BENCHMARK_CAPTURE(hand_out, networks, networks())->Apply(sizes);
BENCHMARK_CAPTURE(callback, networks, networks())->Apply(sizes);
BENCHMARK_CAPTURE(hand_out, vrf_networks, vrf_networks())->Apply(sizes);
BENCHMARK_CAPTURE(callback, vrf_networks, vrf_networks())->Apply(sizes);

} // namespace
