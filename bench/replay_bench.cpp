// Measures time and memory of "orv_bgpctl replay" with small and large configurations. The floor is
// a process that gets the same configuration from sysrepo as changes, looks up their keys and makes
// one exchange with the daemon for each entry; "sysrepo" only gets the changes.
#include "datastore.h"
#include "namespaces.h"
#include "process.h"
#include "side_by_side.h"

#include <fmt/format.h>
#include <sysrepo.h>

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

// --- The contenders -----------------------------------------------------------------------

// The resources that a process used.
struct Cost {
    double seconds = 0;
    double bytes = 0; // peak of the resident memory
};

// Runs `work` in a separate process. Throws std::runtime_error when that fails.
Cost cost_of(int (*work)()) {
    int status = 0;
    rusage used{};
    const double taken = bench::seconds([&] {
        const pid_t child = fork();
        if (child == 0) {
            _exit(work());
        }
        if (wait4(child, &status, 0, &used) != child) {
            throw std::runtime_error("wait4");
        }
    });
    if (status != 0) {
        throw std::runtime_error("a process has failed");
    }
    return {taken, static_cast<double>(used.ru_maxrss) * 1024};
}

int replay() {
    if (std::freopen("/dev/null", "w", stdout) != nullptr) {
        execl(ORV_BGPCTL, ORV_BGPCTL, "replay", "--plugin", ORV_BGP_PLUGIN, nullptr);
    }
    return EXIT_FAILURE;
}

// Gets the configuration from sysrepo as changes. The comparison plug-in walks them.
int list_changes() {
    sr_conn_ctx_t *connection = nullptr;
    sr_session_ctx_t *session = nullptr;
    sr_subscription_ctx_t *subscription = nullptr;
    void *library = dlopen(COMPARISON_PLUGIN, RTLD_NOW);
    const auto walk = library == nullptr
                          ? nullptr
                          : reinterpret_cast<sr_module_change_cb>(dlsym(library, "walk_changes"));
    int rc = walk == nullptr ? SR_ERR_NOT_FOUND : sr_connect(SR_CONN_DEFAULT, &connection);
    if (rc == SR_ERR_OK) {
        rc = sr_session_start(connection, SR_DS_RUNNING, &session);
    }
    if (rc == SR_ERR_OK) {
        rc = sr_module_change_subscribe(session, "orv_bgp", "/orv_bgp:router-bgp", walk, nullptr, 0,
                                        SR_SUBSCR_ENABLED | SR_SUBSCR_NO_THREAD, &subscription);
    }
    sr_unsubscribe(subscription);
    sr_disconnect(connection);
    return rc;
}

int list_changes_and_ask() {
    return setenv("BENCH_ASKS", "", 1) == 0 ? list_changes() : EXIT_FAILURE;
}

// --- The configuration ----------------------------------------------------------------------

std::string prefix(int number) {
    return fmt::format("10.{}.{}", number / 256 % 256, number % 256);
}

std::string networks(int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += support::element(
            "family-network",
            support::element("prefix", fmt::format("{}.{}/32", prefix(i), i / 65536)) +
                support::element("route-map", "OFFICE"));
    }
    return support::element("bgp-family-networks", all);
}

std::string neighbors(int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += support::element("family-vrf-neighbor",
                                support::element("neighbor-address", prefix(i) + ".1") +
                                    support::element("remote-as", "64521") +
                                    support::element("activate"));
    }
    return support::element("bgp-family-vrf-neighbors", all);
}

std::string family(const std::string &safi, const std::string &content) {
    return support::element("afi", "AFI_IP") + support::element("safi", safi) + content;
}

void configure(const support::Datastore &datastore, int network_count, int neighbor_count) {
    const std::string file = datastore.write(
        "configuration.xml",
        support::router_bgp(
            support::element("as", "65001") +
            support::element("bgp-address-family",
                             support::element("address-family",
                                              family("SAFI_UNICAST", networks(network_count)))) +
            support::element(
                "bgp-address-family-vrf",
                support::element("address-family-vrf",
                                 family("SAFI_VRF", support::element("vrf-name", "red") +
                                                        neighbors(neighbor_count))))));
    const support::Outcome outcome =
        support::run("sysrepocfg", {"--import=" + file, "-m", "orv_bgp", "-f", "xml", "-d",
                                    "running", "-t", "600"});
    if (outcome.exit_code != 0) {
        throw std::runtime_error(outcome.output);
    }
}

// --- The measurement ------------------------------------------------------------------------

void replay_of(benchmark::State &state, int network_count, int neighbor_count) {
    const support::Datastore datastore;
    configure(datastore, network_count, neighbor_count);
    support::Process daemon(BGP_CONFIGD, {"--log", "none"});
    daemon.read_line();
    const auto contender = [&](const char *name, int (*work)()) {
        return bench::Contender{name, [&state, name, work] {
                                    const Cost cost = cost_of(work);
                                    state.counters[std::string(name) + "_memory"] = cost.bytes;
                                    return cost.seconds;
                                }};
    };
    bench::side_by_side(state,
                        {contender("plugin", replay), contender("floor", list_changes_and_ask),
                         contender("sysrepo", list_changes)},
                        1);
}

void register_benchmark(int network_count, int neighbor_count) {
    const std::string name =
        fmt::format("replay/{} networks, {} VRF neighbors", network_count, neighbor_count);
    benchmark::RegisterBenchmark(name.c_str(), replay_of, network_count, neighbor_count)
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(network_count < 10000 ? 5 : 1);
}

} // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    support::enter_namespaces();
    register_benchmark(1000, 100);
    register_benchmark(100000, 10000);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
