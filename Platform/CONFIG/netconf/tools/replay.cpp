#include "commands.h"

#include "datastore.h"
#include "isolation.h"
#include "output.h"
#include "plugin.h"
#include "relay.h"

#include <fmt/format.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>

namespace bgpctl {
namespace {

constexpr const char *warning = "--replace makes the daemon drop the BGP instance first: "
                                "all BGP sessions go down.";

// Throws std::runtime_error unless the operator agrees that the sessions go down.
void ask_before_replacing(const ReplayOptions &options) {
    if (!options.replace || options.yes) {
        return;
    }
    if (isatty(STDIN_FILENO) == 0) {
        throw std::runtime_error(
            fmt::format("{} Without a terminal, confirm with --yes.", warning));
    }
    fmt::print(stderr, "{} Continue? [y/N] ", warning);
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw std::runtime_error("nothing was sent");
    }
}

// Makes the daemon drop its BGP instance with everything that belongs to it.
void drop_instance(const Datastore &datastore, const Upstream &daemon) {
    const bgp_as_val record{0, datastore.as()};
    const std::string_view payload(reinterpret_cast<const char *>(&record), sizeof record);
    const std::int32_t code =
        daemon.ask(configd::make_message(MODULE_ID_BGP, BGP_SUB_BGP_AS, payload));
    if (code != SR_ERR_OK) {
        throw std::runtime_error(fmt::format(
            "the configuration daemon refused to drop the BGP instance with code {}", code));
    }
}

// Shows on a terminal how many records were sent.
class Progress {
  public:
    Progress() : visible_(isatty(STDERR_FILENO) != 0) {}
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress() {
        if (visible_ && count_ != 0) {
            fmt::print(stderr, "\r{:40}\r", "");
        }
    }

    void step() {
        if (++count_ % 100 == 1 && visible_) {
            fmt::print(stderr, "\r{} records sent", count_);
        }
    }

  private:
    bool visible_;
    std::size_t count_ = 0;
};

void print_counts(std::FILE *file, const Relay &relay) {
    std::size_t all = 0;
    for (const auto &[name, count] : relay.accepted()) {
        fmt::print(file, "{:<44}{:>8}\n", name, count);
        all += count;
    }
    fmt::print(file, "{:<44}{:>8}\n", "records sent", all);
}

int report(std::FILE *file, int code, const Relay &relay) {
    const bool failed = code != SR_ERR_OK || relay.refused();
    if (relay.refused()) {
        fmt::print(stderr, "orv_bgpctl: {}\n", *relay.refused());
    } else if (failed) {
        fmt::print(stderr, "orv_bgpctl: the plug-in refused the configuration: {}\n",
                   sr_strerror(code));
    }
    if (failed) {
        fmt::print(stderr, "orv_bgpctl: records sent before the failure:\n");
    }
    print_counts(file, relay);
    return failed ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int replay(const ReplayOptions &options) {
    const OwnOutput output;
    ask_before_replacing(options);
    const Upstream daemon;
    if (!isolate()) {
        throw std::runtime_error(
            "this user cannot create a network namespace on this kernel; run orv_bgpctl as root");
    }
    const Datastore datastore;
    if (datastore.revision().empty()) {
        throw std::runtime_error(fmt::format(
            "the module {} is not installed in sysrepo; install it with sysrepoctl --install",
            module_name));
    }
    const Plugin plugin(options.plugin, datastore.session());
    Progress progress;
    const Relay relay(&daemon, [&](const configd::Message & /*message*/, std::int32_t /*code*/) {
        progress.step();
    });
    int code = SR_ERR_OK;
    {
        const ModuleLock lock(datastore);
        if (options.replace) {
            Plugin::require_as(datastore);
            drop_instance(datastore, daemon);
        }
        code = plugin.take_configuration(datastore, lock);
    }
    return report(output.file(), code, relay);
}

} // namespace bgpctl
