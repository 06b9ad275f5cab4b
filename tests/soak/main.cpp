// bgp_soak: random edits and RPCs through the real datastore and the real plug-in host to the
// reference daemon. After every edit the daemon must hold what the datastore holds.
#include "client.h"
#include "configuration.h"
#include "datastore.h"
#include "edits.h"
#include "namespaces.h"
#include "process.h"
#include "series.h"
#include "session.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <exception>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace soak;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

struct Options {
    double minutes = 30;
    std::uint64_t edits = std::numeric_limits<std::uint64_t>::max();
    std::size_t clients = 4;
    std::uint64_t seed = std::random_device{}();
    std::uint64_t warm_up = 100;
    std::size_t replacement = 5000;
    double interval = 10;
    std::string picture;
    std::string plugin = ORV_BGP_PLUGIN;
    std::string daemon = BGP_CONFIGD;
    std::string state = EXAMPLE_STATE;
};

void add_options(CLI::App &app, Options &options) {
    app.add_option("--minutes", options.minutes, "How long to run; default 30")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--edits", options.edits, "End after this many edits, if that is earlier");
    app.add_option("--clients", options.clients, "Number of clients at once; default 4")
        ->check(CLI::Range(1, 100));
    app.add_option(
        "--seed", options.seed,
        "Seed of the random edits; the same seed repeats them. Default: a new one each time");
    app.add_option("--warm-up", options.warm_up,
                   "Measure memory and descriptors of a new host and daemon after this many edits; "
                   "default 100");
    app.add_option("--replacement", options.replacement,
                   "Kill and replace the daemon after this many edits on average; default 5000; "
                   "0: never");
    app.add_option("--interval", options.interval,
                   "Seconds between two lines of progress; default 10")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--picture", options.picture,
                   "Draw memory and times of edits into this SVG file at the end (with gnuplot)");
    app.add_option("--plugin", options.plugin, "The plug-in; default: the one of this build")
        ->check(CLI::ExistingFile);
    app.add_option("--daemon", options.daemon, "The daemon; default: the one of this build")
        ->check(CLI::ExistingFile);
}

// A run of at least this many seconds fails when memory grows by more KiB per hour.
constexpr double judged_after = 1800;
constexpr double growth_limit = 2048;

volatile std::sig_atomic_t interrupted = 0;

// Waiting system calls return, so that everything is cleaned up.
void end_on_signals() {
    struct sigaction action = {};
    action.sa_handler = [](int) { interrupted = 1; };
    for (const int number : {SIGINT, SIGTERM}) {
        sigaction(number, &action, nullptr);
    }
}

Use use_of(const support::Process &process) {
    return {process.resident(), process.descriptors()};
}

// Reads the output of the host, which would fill the pipe, and keeps the last lines.
class HostOutput {
  public:
    explicit HostOutput(support::Host &host) : host_{host}, thread_{[this] { take(); }} {}
    HostOutput(const HostOutput &) = delete;
    HostOutput &operator=(const HostOutput &) = delete;
    ~HostOutput() {
        if (thread_.joinable()) {
            host_.process().signal(SIGKILL);
            thread_.join();
        }
    }

    // Returns the last lines once the host has ended.
    const std::deque<std::string> &finish() {
        thread_.join();
        return lines_;
    }

  private:
    void take() {
        while (host_.is_alive()) {
            std::string line = host_.process().read_line();
            if (line.empty()) {
                continue;
            }
            lines_.push_back(std::move(line));
            if (lines_.size() > 10) {
                lines_.pop_front();
            }
        }
    }

    support::Host &host_;
    std::deque<std::string> lines_;
    std::thread thread_;
};

// Starts the daemon and waits until it listens.
std::unique_ptr<support::Process> start_daemon(const Options &options) {
    auto daemon = std::make_unique<support::Process>(
        options.daemon, std::vector<std::string>{"--log", "none", "--state", options.state});
    const std::string line = daemon->read_line();
    if (line.rfind("listening", 0) != 0) {
        throw std::runtime_error("the daemon does not start: " + line);
    }
    return daemon;
}

// Installs the other plug-in with its module, for the hosts that start from now on.
void install_other_plugin(const support::Datastore &datastore) {
    datastore.install(OTHER_YANG);
    std::filesystem::copy(OTHER_PLUGIN, datastore.directory() / "plugins");
}

std::string text_of(const Edit &edit) {
    std::string text;
    for (const auto &[kind, path, value] : edit.changes) {
        text += fmt::format("  {} {}{}{}\n", kind == Change::set ? "set   " : "delete", root, path,
                            value.empty() ? "" : " = " + value);
    }
    return text;
}

class Soak {
  public:
    Soak(const Options &options, std::ofstream &picture);

    // Runs until the end of the time or of the edits, or until a failure. Returns whether all is
    // well.
    bool run();

  private:
    // Each of these returns what is wrong; empty: all is well.
    std::string step();
    std::string judge(const Edit &edit, const Outcome &outcome);
    std::string compare();
    std::string replace_daemon();
    std::string edit_without_daemon();
    std::string end_host();
    std::string end();
    std::string judge_descriptors();

    bool is_over() const;
    void let_query(bool querying);
    // The resources of host and daemon while no RPC is in progress.
    void look(Use &host, Use &daemon);
    std::size_t edits() const { return made_ + refused_; }
    // Whether host and daemon have had their largest configuration and have a usual one now.
    bool is_comparable() const {
        return edits() >= warm_at_ && had_all_blocks_ && expected_.size() < block_size;
    }
    Configuration held();
    void print_progress(const char *what);
    void print_report() const;
    void draw();
    double elapsed() const { return Seconds(Clock::now() - start_).count(); }
    Client &any_client() { return *random_.pick(clients_); }

    const Options &options_;
    Random random_;
    EditMaker maker_;
    support::Datastore datastore_;
    std::unique_ptr<support::Process> daemon_;
    std::unique_ptr<support::Host> host_;
    Tally &tally_ = shared_tally();
    std::vector<std::unique_ptr<Client>> clients_;
    std::unique_ptr<HostOutput> output_;
    std::unique_ptr<Session> session_;
    Clock::time_point start_ = Clock::now();

    Configuration expected_; // the expected result of the edits so far
    std::size_t made_ = 0;
    std::size_t refused_ = 0;
    std::size_t set_ = 0;
    std::size_t removed_ = 0;
    std::size_t largest_ = 0;
    std::size_t replacements_ = 0;
    std::size_t refused_without_daemon_ = 0;
    std::size_t warm_at_; // the number of edits after which this host and this daemon are warm
    bool had_all_blocks_ = false; // since they started
    Series series_;
    std::ofstream &picture_;
    Differences differences_;
    std::size_t unexpected_ = 0;
    Use host_start_, daemon_start_, host_end_, daemon_end_;
};

Soak::Soak(const Options &options, std::ofstream &picture)
    : options_{options}, random_{options.seed}, maker_{options.seed}, datastore_{options.plugin},
      daemon_{start_daemon(options)}, warm_at_{options.warm_up}, picture_{picture} {
    install_other_plugin(datastore_);
    host_ = std::make_unique<support::Host>(datastore_);
    for (std::size_t i = 0; i < options.clients; ++i) {
        clients_.push_back(std::make_unique<Client>(options.seed + i, tally_));
    }
    // Threads and connections only after the clients are forked.
    output_ = std::make_unique<HostOutput>(*host_);
    session_ = std::make_unique<Session>();
}

bool Soak::is_over() const {
    return edits() >= options_.edits || elapsed() >= options_.minutes * 60;
}

void Soak::let_query(bool querying) {
    tally_.querying = querying;
    for (const auto &client : clients_) {
        client->rest();
    }
}

void Soak::look(Use &host, Use &daemon) {
    using namespace std::chrono_literals;
    let_query(false);
    host = use_of(host_->process());
    daemon = use_of(*daemon_);
    // The daemon closes a connection some time after the plug-in does.
    for (int i = 0; i < 20; ++i) {
        std::this_thread::sleep_for(10ms);
        host.descriptors = std::min(host.descriptors, host_->process().descriptors());
        daemon.descriptors = std::min(daemon.descriptors, daemon_->descriptors());
    }
}

Configuration Soak::held() {
    daemon_->signal(SIGUSR1);
    return held_configuration(nlohmann::json::parse(daemon_->read_line()));
}

// Compares the datastore with the expected configuration, and the daemon with what the plug-in
// sends of it.
std::string Soak::compare() {
    const Configuration stored = stored_configuration(session_->get());
    if (!differences(expected_, stored).empty()) {
        return "left a wrong configuration in the datastore";
    }
    differences_ = differences(told(stored), told(held()));
    std::string text;
    for (const auto &[what, paths] :
         {std::pair{"lost", &differences_.lost}, std::pair{"left over", &differences_.left_over},
          std::pair{"differing", &differences_.differing}}) {
        for (const std::string &path : *paths) {
            text += fmt::format("  {}: {}\n", what, path);
        }
    }
    return text.empty() ? text : "left daemon and datastore different:\n" + text;
}

// Counts the result of an edit.
std::string Soak::judge(const Edit &edit, const Outcome &outcome) {
    if (outcome.code != expected_code(edit.refusal)) {
        ++unexpected_;
        return outcome.code == SR_ERR_OK ? "was not refused, but " + edit.refusal
                                         : fmt::format("was refused: {} ({})",
                                                       sr_strerror(outcome.code), outcome.message);
    }
    if (outcome.code != SR_ERR_OK) {
        ++refused_;
        return {};
    }
    ++made_;
    Configuration after = applied(expected_, edit.changes);
    const Differences changed = differences(expected_, after);
    set_ += changed.left_over.size() + changed.differing.size();
    removed_ += changed.lost.size();
    largest_ = std::max(largest_, after.size());
    had_all_blocks_ = had_all_blocks_ || after.size() >= blocks.size() * block_size;
    expected_ = std::move(after);
    return {};
}

// One edit by one of the clients, the comparison, and a query about it.
std::string Soak::step() {
    const Edit edit = maker_.next(expected_);
    const double asked = elapsed();
    const Outcome outcome = any_client().edit(edit.changes);
    series_.add_edit((elapsed() - asked) * 1000);
    std::string problem = judge(edit, outcome);
    if (problem.empty()) {
        problem = compare();
    }
    if (!problem.empty()) {
        return fmt::format("the last edit {}\n{}", problem, text_of(edit));
    }
    any_client().query(expected_);
    return {};
}

// An edit while no daemon runs: it is refused, unless the plug-in has nothing to send for it.
std::string Soak::edit_without_daemon() {
    const Edit edit = maker_.next(expected_);
    const Outcome outcome = any_client().edit(edit.changes);
    if (outcome.code == SR_ERR_OK && edit.refusal.empty()) {
        expected_ = applied(expected_, edit.changes);
        return {};
    }
    if (outcome.code != SR_ERR_CALLBACK_FAILED) {
        ++unexpected_;
        return fmt::format("an edit without the daemon: {} ({})\n{}", sr_strerror(outcome.code),
                           outcome.message, text_of(edit));
    }
    ++refused_without_daemon_;
    return {};
}

// Kills the daemon, starts an empty one, and recovers as an operator does.
std::string Soak::replace_daemon() {
    std::string problem = judge_descriptors();
    let_query(true);
    tally_.daemon_is_away = true;
    daemon_->signal(SIGKILL);
    daemon_->wait();
    problem += edit_without_daemon();
    let_query(false);
    problem += end_host();
    if (!problem.empty()) {
        return problem;
    }
    daemon_ = start_daemon(options_);
    host_ = std::make_unique<support::Host>(datastore_);
    output_ = std::make_unique<HostOutput>(*host_);
    tally_.daemon_is_away = false;
    const support::Outcome replay = support::run(ORV_BGPCTL, {"replay"});
    if (replay.exit_code != 0) {
        return "orv_bgpctl replay failed: " + replay.output;
    }
    ++replacements_;
    warm_at_ = edits() + options_.warm_up;
    had_all_blocks_ = false;
    host_start_ = daemon_start_ = {};
    problem = compare();
    let_query(true);
    print_progress("replaced");
    return problem.empty() ? problem : "the replay " + problem;
}

std::string Soak::end_host() {
    host_->process().signal(SIGTERM);
    const std::deque<std::string> &lines = output_->finish();
    const int code = host_->process().wait();
    return code == 0 ? std::string{}
                     : fmt::format("the host ended with {}; its last lines:\n{}\n", code,
                                   fmt::join(lines, "\n"));
}

// Compares the descriptors with those of the warm processes.
std::string Soak::judge_descriptors() {
    const auto has_more = [&] {
        look(host_end_, daemon_end_);
        return host_start_.descriptors != 0 &&
               (host_end_.descriptors > host_start_.descriptors ||
                daemon_end_.descriptors > daemon_start_.descriptors);
    };
    int looks = 0;
    while (has_more()) {
        if (++looks == 50) {
            return "there are more descriptors than at the start\n";
        }
    }
    return {};
}

std::string Soak::end() {
    const std::string problem = judge_descriptors();
    print_progress("end");
    for (const auto &client : clients_) {
        client->end();
    }
    session_.reset();
    if (std::string failure = end_host(); !failure.empty()) {
        return failure;
    }
    daemon_->signal(SIGTERM);
    if (const int code = daemon_->wait(); code != 0) {
        return fmt::format("the daemon ended with {}\n", code);
    }
    if (elapsed() >= judged_after && series_.host_growth() > growth_limit) {
        return "the host's memory grows\n";
    }
    if (elapsed() >= judged_after && series_.daemon_growth() > growth_limit) {
        return "the daemon's memory grows\n";
    }
    return problem;
}

void Soak::print_progress(const char *what) {
    const Use host = use_of(host_->process());
    const Use daemon = use_of(*daemon_);
    series_.add(elapsed(), host, daemon, is_comparable() ? replacements_ + 1 : 0);
    fmt::print("{:8.0f} s {:8} edits {:6} refusals {:9} queries {:3} settings  host {} KiB, {} "
               "descriptors  daemon {} KiB  {}\n",
               elapsed(), made_, refused_, tally_.queries.load(), expected_.size(), host.memory,
               host.descriptors, daemon.memory, what);
    std::fflush(stdout);
}

void Soak::print_report() const {
    const double seconds = elapsed();
    const auto per_second = [=](auto count) { return static_cast<double>(count) / seconds; };
    const std::uint64_t queries = tally_.queries;
    fmt::print("\n{:<44}{:>12.0f} s\n", "time", seconds);
    fmt::print("{:<44}{:>12}   {:.1f}/s\n", "edits made and compared", made_, per_second(made_));
    fmt::print("{:<44}{:>12}\n", "  settings created or changed by them", set_);
    fmt::print("{:<44}{:>12}\n", "  settings deleted by them", removed_);
    fmt::print("{:<44}{:>12}\n", "  most settings at once", largest_);
    const EditTimes times = series_.all_edits();
    fmt::print("{:<44}{:>12.1f} ms\n", "  median time of one", times.median);
    fmt::print("{:<44}{:>12.1f} ms\n", "  99 % take at most", times.percentile_99);
    fmt::print("{:<44}{:>12.1f} ms\n", "  longest time of one", times.longest);
    fmt::print("{:<44}{:>12}\n", "edits refused as expected", refused_);
    fmt::print("{:<44}{:>12}\n", "daemons killed and replaced", replacements_);
    fmt::print("{:<44}{:>12}\n", "  edits refused without a daemon", refused_without_daemon_);
    fmt::print("{:<44}{:>12}\n", "  queries refused without a daemon",
               tally_.failed_queries.load());
    fmt::print("{:<44}{:>12}   {:.1f}/s\n", "queries", queries, per_second(queries));
    fmt::print("{:<44}{:>12}\n", "  refused as expected", tally_.refused_queries.load());
    fmt::print("{:<44}{:>12}\n", "  most entries in an answer", tally_.largest_answer.load());
    fmt::print("{:<44}{:>12}\n", "edits of the other plug-in's module", tally_.other_edits.load());
    fmt::print("{:<44}{:>12}\n", "connections of clients", tally_.connections.load());
    fmt::print("{:<44}{:>12}\n", "edits with an unexpected result", unexpected_);
    fmt::print("{:<44}{:>12}\n", "settings lost", differences_.lost.size());
    fmt::print("{:<44}{:>12}\n", "settings left over", differences_.left_over.size());
    fmt::print("{:<44}{:>12}\n", "settings differing", differences_.differing.size());
    fmt::print("\n{:<32}{:>12}{:>12}\n", "", "start", "end");
    const auto row = [](const char *name, auto start, auto end) {
        fmt::print("{:<32}{:>12}{:>12}\n", name, start, end);
    };
    row("host, resident KiB", host_start_.memory, host_end_.memory);
    row("host, descriptors", host_start_.descriptors, host_end_.descriptors);
    row("daemon, resident KiB", daemon_start_.memory, daemon_end_.memory);
    row("daemon, descriptors", daemon_start_.descriptors, daemon_end_.descriptors);
    fmt::print("\n{:<44}{:>12.0f} KiB/h\n", "host, growth", series_.host_growth());
    fmt::print("{:<44}{:>12.0f} KiB/h\n", "daemon, growth", series_.daemon_growth());
}

void Soak::draw() {
    if (picture_.is_open()) {
        picture_ << series_.picture() << std::flush;
    }
}

bool Soak::run() {
    std::string problem;
    try {
        let_query(true);
        start_ = Clock::now();
        double next_line = options_.interval;
        while (problem.empty() && !is_over()) {
            problem = step();
            if (problem.empty() && options_.replacement != 0 &&
                random_.one_in(options_.replacement)) {
                problem = replace_daemon();
            }
            if (is_comparable() && host_start_.descriptors == 0) {
                look(host_start_, daemon_start_);
                let_query(true);
                print_progress("warm");
            } else if (elapsed() >= next_line) {
                next_line += options_.interval;
                print_progress("");
            }
        }
        if (problem.empty()) {
            problem = end();
        }
    } catch (const std::exception &error) {
        problem = std::string(error.what()) + "\n";
    }
    if (interrupted != 0) {
        fmt::print("interrupted\n");
        return false;
    }
    print_report();
    fmt::print("\n{}", problem.empty() ? "passed\n" : "FAILED: " + problem);
    draw();
    return problem.empty();
}

} // namespace

int main(int argc, char **argv) try {
    CLI::App app{"Random edits and RPCs: checks that the daemon holds what the datastore holds"};
    Options options;
    add_options(app, options);
    CLI11_PARSE(app, argc, argv);
    // The namespaces have a temporary directory of their own.
    std::ofstream picture;
    if (!options.picture.empty()) {
        picture.exceptions(std::ios::badbit | std::ios::failbit);
        picture.open(options.picture);
    }
    support::enter_namespaces();
    end_on_signals();
    fmt::print("seed {}\n", options.seed);
    return Soak(options, picture).run() ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception &error) {
    std::fprintf(stderr, "bgp_soak: %s\n", error.what());
    return EXIT_FAILURE;
}
