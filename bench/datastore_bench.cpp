// Measures edits and RPCs on the real datastore and in the real plug-in host, beside hosts with the
// comparison plug-in: as the floor, and as one that leaves sysrepo's own time. Each host has its
// own datastore and its clients in its own process; the hosts take turns.
#include "datastore.h"
#include "namespaces.h"
#include "netconf_bgp_public.h"
#include "recording_daemon.h"
#include "replies.h"
#include "side_by_side.h"

#include <sysrepo.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr uint32_t time_limit = 120000; // milliseconds
const std::string module_path = "/orv_bgp:";

// --- What a client does --------------------------------------------------------------

// What each of some clients does at the same time as the others, one time after the other.
struct Task {
    std::int32_t sub_mod; // of the query; 0: an edit that creates networks
    std::uint32_t entries;
    std::uint32_t clients = 1;
    std::uint32_t times = 1;

    std::size_t results() const { return std::size_t{clients} * times; }
};

struct RpcCall {
    std::int32_t sub_mod;
    const char *name;
    const char *input; // a text, by which the comparison plug-in distinguishes RPCs
};
constexpr RpcCall rpc_calls[] = {
    {BGP_SUB_RPC_IP_BGP_SUMMARY, "ip-bgp-summary", "vrf-name"},
    {BGP_SUB_RPC_IP_BGP_NEIGHBOR, "ip-bgp-neighbor", "vrf-name"},
    {BGP_SUB_RPC_IP_BGP_INFO, "ip-bgp-info", "ip-str"},
    {BGP_SUB_RPC_IP_BGP_EVPN, "ip-bgp-evpn", "evpn-route"},
    {BGP_SUB_RPC_CLEAR_IP_BGP, "clear-ip-bgp", "vrf-name"},
};

const RpcCall &rpc_call(std::int32_t sub_mod) {
    const RpcCall *row = rpc_calls;
    while (row->sub_mod != sub_mod) {
        ++row;
    }
    return *row;
}

// A session on the datastore that the environment names.
class Client {
  public:
    explicit Client(std::size_t number) : number_(number) {
        check(sr_connect(SR_CONN_DEFAULT, &connection_), "sr_connect");
        check(sr_session_start(connection_, SR_DS_RUNNING, &session_), "sr_session_start");
        set("router-bgp/as", "65001");
        apply();
    }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client() { sr_disconnect(connection_); }

    // Returns the seconds that the datastore takes.
    double perform(const Task &task) {
        return task.sub_mod == 0 ? create_networks(task.entries) : call(task);
    }

  private:
    static void check(int rc, const char *what) {
        if (rc != SR_ERR_OK) {
            throw std::runtime_error(std::string(what) + ": " + sr_strerror(rc));
        }
    }
    void set(const std::string &path, const std::string &value) {
        check(sr_set_item_str(session_, (module_path + path).c_str(), value.c_str(), nullptr,
                              SR_EDIT_DEFAULT),
              "sr_set_item_str");
    }
    void apply() { check(sr_apply_changes(session_, time_limit, 1), "sr_apply_changes"); }

    // Creates the networks, measures the time, and deletes them again: the whole family, but a
    // single network alone, because other clients may use the family.
    double create_networks(std::uint32_t count) {
        const std::string family = "router-bgp/bgp-address-family/"
                                   "address-family[afi='AFI_IP'][safi='SAFI_UNICAST']";
        std::string network;
        for (std::uint32_t i = 0; i < count; ++i) {
            network = family + "/bgp-family-networks/family-network[prefix='" +
                      std::to_string(10 + number_) + "." + std::to_string(i / 256) + "." +
                      std::to_string(i % 256) + ".0/24']";
            set(network + "/route-map", "OFFICE");
        }
        const double taken = bench::seconds([this] { apply(); });
        const std::string created = module_path + (count == 1 ? network : family);
        check(sr_delete_item(session_, created.c_str(), SR_EDIT_DEFAULT), "sr_delete_item");
        apply();
        return taken;
    }

    double call(const Task &task) {
        const RpcCall &rpc = rpc_call(task.sub_mod);
        std::string path = module_path + rpc.name;
        std::string input_path = path + "/" + rpc.input;
        std::string text = std::to_string(task.entries);
        sr_val_t input{};
        input.xpath = input_path.data();
        input.type = SR_STRING_T;
        input.data.string_val = text.data();
        sr_val_t *output = nullptr;
        std::size_t count = 0;
        int rc = SR_ERR_OK;
        const double taken = bench::seconds([&] {
            rc = sr_rpc_send(session_, path.c_str(), &input, 1, time_limit, &output, &count);
        });
        check(rc, "sr_rpc_send");
        sr_free_values(output, count);
        return taken;
    }

    std::size_t number_; // among the clients of a datastore
    sr_conn_ctx_t *connection_ = nullptr;
    sr_session_ctx_t *session_ = nullptr;
};

using Clients = std::vector<std::unique_ptr<Client>>;

// Returns the seconds that each time of each client took.
std::vector<double> perform(Clients &clients, const Task &task) {
    while (clients.size() < task.clients) {
        clients.push_back(std::make_unique<Client>(clients.size()));
    }
    std::vector<double> taken(task.results());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < task.clients; ++i) {
        threads.emplace_back([&, i] {
            for (std::size_t j = 0; j < task.times; ++j) {
                taken[i * task.times + j] = clients[i]->perform(task);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    return taken;
}

// --- Clients in processes of their own --------------------------------------------------

// A datastore, a host with one plug-in and its clients, in a process that performs
// one task at a time.
class Worker {
  public:
    // `asks`: see the comparison plug-in.
    explicit Worker(const char *plugin, bool asks = false) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::runtime_error("socketpair");
        }
        process_ = fork();
        if (process_ == 0) {
            close(ends[0]);
            // It cleans up and ends when the program closes the channel or ends.
            signal(SIGINT, SIG_IGN);
            signal(SIGPIPE, SIG_IGN);
            if (asks) {
                setenv("BENCH_ASKS", "1", 1);
            }
            _exit(serve(ends[1], plugin));
        }
        close(ends[1]);
        channel_ = ends[0];
    }
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;
    ~Worker() {
        close(channel_);
        waitpid(process_, nullptr, 0);
    }

    // Returns the seconds that each time of each client took.
    std::vector<double> perform(const Task &task) const {
        std::vector<double> taken(task.results());
        const std::size_t size = taken.size() * sizeof taken.front();
        if (write(channel_, &task, sizeof task) != sizeof task ||
            recv(channel_, taken.data(), size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
            throw std::runtime_error("a client has failed");
        }
        return taken;
    }

  private:
    // The process's main loop: until the other end of the channel is closed.
    static int serve(int channel, const char *plugin) {
        try {
            const support::Datastore datastore(plugin);
            support::Host host(datastore);
            Clients clients; // created for the first tasks, when the daemon runs
            Task task{};
            while (read(channel, &task, sizeof task) == sizeof task) {
                const std::vector<double> taken = ::perform(clients, task);
                const std::size_t size = taken.size() * sizeof taken.front();
                if (write(channel, taken.data(), size) != static_cast<ssize_t>(size)) {
                    break;
                }
            }
            clients.clear();
            host.terminate();
            return 0;
        } catch (const std::exception &error) {
            std::cerr << "datastore_bench: " << error.what() << '\n';
            return 1;
        }
    }

    pid_t process_ = 0;
    int channel_ = -1;
};

// The daemon that the hosts talk to, and the workers.
struct Stage {
    Worker plugin{ORV_BGP_PLUGIN};
    Worker floor{COMPARISON_PLUGIN, true};
    Worker sysrepo{COMPARISON_PLUGIN};
    support::RecordingDaemon daemon; // has a thread, so it comes after the forks
};
std::unique_ptr<Stage> stage;

// --- The measurements ----------------------------------------------------------------

void set_answer(const Task &task) {
    if (task.sub_mod == 0) {
        stage->daemon.answer_otherwise(configd::ResultCode{0});
        return;
    }
    std::string payload;
    for (const bench::ReplyKind &kind : bench::reply_kinds()) {
        if (kind.sub_mod == task.sub_mod) {
            payload = kind.payload(task.entries);
        }
    }
    stage->daemon.answer_otherwise(
        configd::Reply{MODULE_ID_BGP, task.sub_mod, 0, std::move(payload)});
}

void on_datastore(benchmark::State &state, const Task &task, double target) {
    // The first RPC does not count: the comparison plug-in computes the values in
    // it.
    set_answer(task);
    const auto forget = [] { stage->daemon.take_messages(); };
    const auto contender = [&](const char *name, const Worker &worker, double wanted) {
        return bench::Contender{name, [&] { return worker.perform(task).front(); }, forget, wanted};
    };
    bench::side_by_side(state,
                        {contender("plugin", stage->plugin, 0),
                         contender("floor", stage->floor, target),
                         contender("sysrepo", stage->sysrepo, 0)},
                        1);
}

// The same for large answers: how the time grows with the number of entries.
void large_answer(benchmark::State &state, const Task &task) {
    on_datastore(state, task, 0);
    state.counters["entries"] = task.entries;
}

// How long clients wait that work at the same time.
void latency(benchmark::State &state, const Task &task) {
    set_answer(task);
    while (state.KeepRunning()) {
        double together = 0;
        for (const auto &[name, worker] :
             {std::pair<const char *, const Worker *>{"", &stage->plugin},
              {"sysrepo_", &stage->sysrepo}}) {
            worker->perform({task.sub_mod, task.entries, task.clients}); // warms up
            std::vector<double> taken;
            together += bench::seconds([&, one = worker] { taken = one->perform(task); });
            stage->daemon.take_messages();
            std::sort(taken.begin(), taken.end());
            const auto counter = [&, prefix = std::string(name)](const char *what, std::size_t at) {
                state.counters[prefix + what] = taken[at];
            };
            counter("median", taken.size() / 2);
            counter("99th", taken.size() * 99 / 100);
            counter("longest", taken.size() - 1);
        }
        state.SetIterationTime(together);
    }
}

void register_latency(const std::string &name, const Task &task) {
    constexpr std::uint32_t in_all = 240;
    for (const std::uint32_t clients : {1U, 4U, 16U}) {
        const std::string row = "latency/" + name + "/" + std::to_string(clients) +
                                (clients == 1 ? " client" : " clients");
        benchmark::RegisterBenchmark(row.c_str(), latency,
                                     Task{task.sub_mod, task.entries, clients, in_all / clients})
            ->UseManualTime()
            ->Iterations(1)
            ->Repetitions(1);
    }
}

void register_benchmarks() {
    for (const std::uint32_t entries : {1U, 100U, 1000U}) {
        const std::string name =
            "edit/" + std::to_string(entries) + (entries == 1 ? " network" : " networks");
        benchmark::RegisterBenchmark(name.c_str(), on_datastore, Task{0, entries}, 1.1)
            ->UseManualTime();
    }
    for (const bench::ReplyKind &kind : bench::reply_kinds()) {
        const std::string rpc = std::string("rpc/") + kind.name + "/";
        for (const std::uint32_t entries : {1U, 100U, 1000U}) {
            const std::string name =
                rpc + std::to_string(entries) + (entries == 1 ? " entry" : " entries");
            benchmark::RegisterBenchmark(name.c_str(), on_datastore, Task{kind.sub_mod, entries},
                                         1.1)
                ->UseManualTime();
        }
    }
    benchmark::RegisterBenchmark("rpc/clear-ip-bgp/no output", on_datastore,
                                 Task{BGP_SUB_RPC_CLEAR_IP_BGP, 0}, 1.1)
        ->UseManualTime();
    register_latency("edit of 1 network", {0, 1});
    for (const RpcCall &rpc : rpc_calls) {
        register_latency(rpc.name, {rpc.sub_mod, 100});
    }
    for (const bench::ReplyKind &kind : bench::reply_kinds()) {
        for (const std::uint32_t entries : {1000U, 2000U, 4000U}) {
            const std::string name =
                std::string("size/") + kind.name + "/" + std::to_string(entries) + " entries";
            benchmark::RegisterBenchmark(name.c_str(), large_answer, Task{kind.sub_mod, entries})
                ->UseManualTime()
                ->Iterations(1)
                ->Repetitions(1);
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    support::enter_namespaces();
    stage = std::make_unique<Stage>();
    register_benchmarks();
    benchmark::RunSpecifiedBenchmarks();
    stage.reset();
    return 0;
}
