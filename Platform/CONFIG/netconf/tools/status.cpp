#include "commands.h"

#include "datastore.h"
#include "host.h"
#include "netconf_public.h"
#include "plugin.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace bgpctl {
namespace {

// The result of one check.
struct Finding {
    const char *what;
    bool ok;
    std::string detail; // what was found
    std::string advice; // what to do; empty when all is well
};

// What the checks have found so far: later checks use the results of earlier ones.
struct Look {
    std::string plugin;
    std::optional<Host> host;
};

// The paths that the plug-in registers; sysrepo lists changes and RPCs in different places.
constexpr std::array change_paths = {
    "/orv_bgp:router-bgp/as", "/orv_bgp:router-bgp/bgp",
    "/orv_bgp:router-bgp/bgp-address-family/address-family",
    "/orv_bgp:router-bgp/bgp-address-family-vrf/address-family-vrf"};
constexpr std::array rpc_paths = {"/orv_bgp:ip-bgp-evpn", "/orv_bgp:ip-bgp-info",
                                  "/orv_bgp:ip-bgp-neighbor", "/orv_bgp:ip-bgp-summary",
                                  "/orv_bgp:clear-ip-bgp"};

Finding plugin_version(Look &look) {
    const auto found = version_of(look.plugin);
    if (!found || found->version != own_version().version) {
        return {
            "plug-in", false,
            fmt::format("{} of version {}", look.plugin, found ? found->version : "0.1 or unknown"),
            fmt::format("install version {} of the plug-in, or use the orv_bgpctl of its package",
                        own_version().version)};
    }
    return {"plug-in", true, fmt::format("version {}", found->version), {}};
}

Finding module_revision(Look & /*look*/) {
    const std::string module_file =
        "PATH/orv_bgp.yang (the package has it in /usr/share/yang/modules)";
    const std::string revision = Datastore().revision();
    const std::string expected = own_version().revision;
    if (revision.empty()) {
        return {"module", false, "not installed", "sysrepoctl --install " + module_file};
    }
    if (revision != expected) {
        return {"module", false,
                fmt::format("revision {}, the plug-in needs {}", revision, expected),
                "sysrepoctl --update " + module_file};
    }
    return {"module", true, fmt::format("revision {}", revision), {}};
}

Finding running_host(Look &look) {
    try {
        look.host = host();
    } catch (const std::exception &error) {
        return {"host", false, error.what(),
                "systemctl start sysrepo-plugind; only one host may run"};
    }
    return {"host", true, fmt::format("{} ({})", look.host->name, look.host->pid), {}};
}

// The text of a leaf below a node of the monitoring data.
std::string leaf_of(const lyd_node *entry, std::string_view name) {
    for (const lyd_node *child = entry->child; child != nullptr; child = child->next) {
        if (child->schema->name == name) {
            return reinterpret_cast<const lyd_node_leaf_list *>(child)->value_str;
        }
    }
    return {};
}

// The values of a leaf in all nodes at the path.
std::vector<std::string> values(const Datastore &datastore, const char *path, const char *leaf) {
    const Tree tree = datastore.data(SR_DS_OPERATIONAL, path);
    std::vector<std::string> found;
    if (tree == nullptr) {
        return found;
    }
    ly_set *set = lyd_find_path(tree.get(), path);
    for (unsigned i = 0; set != nullptr && i < set->number; ++i) {
        found.push_back(leaf_of(set->set.d[i], leaf));
    }
    ly_set_free(set);
    return found;
}

Finding registrations(Look & /*look*/) {
    const Datastore datastore;
    const auto changes =
        values(datastore,
               "/sysrepo-monitoring:sysrepo-state/module[name='orv_bgp']/subscriptions/change-sub",
               "xpath");
    const auto rpcs = values(datastore, "/sysrepo-monitoring:sysrepo-state/rpc/rpc-sub", "xpath");
    std::string missing;
    std::size_t count = 0;
    const auto look_for = [&](const auto &paths, const std::vector<std::string> &found) {
        for (const char *path : paths) {
            const bool there = std::find(found.begin(), found.end(), path) != found.end();
            count += there ? 1 : 0;
            missing += there ? "" : fmt::format(" {}", path);
        }
    };
    look_for(change_paths, changes);
    look_for(rpc_paths, rpcs);
    const std::string found =
        fmt::format("{} of {}", count, change_paths.size() + rpc_paths.size());
    if (!missing.empty()) {
        return {"registrations", false, fmt::format("{}, missing:{}", found, missing),
                "systemctl restart sysrepo-plugind, then read its journal"};
    }
    return {"registrations", true, found, {}};
}

// The sockets in the host's network, or in this process's own without a host.
std::vector<Socket> network(const Look &look) {
    return sockets_of_network(look.host ? std::to_string(look.host->pid) : "self");
}

Finding daemon_listens(Look &look) {
    for (const Socket &socket : network(look)) {
        if (socket.state == Socket::listening && socket.local_port == NETCONF_DAEMON_PORT) {
            const std::string owner = owner_of(socket.inode);
            return {"daemon",
                    true,
                    fmt::format("{} listens on port {}",
                                owner.empty() ? "a process of another user" : owner,
                                NETCONF_DAEMON_PORT),
                    {}};
        }
    }
    return {"daemon", false, fmt::format("no process listens on port {}", NETCONF_DAEMON_PORT),
            "start the configuration daemon"};
}

Finding connection(Look &look) {
    if (!look.host) {
        return {"connection", false, "no host", "see host"};
    }
    bool established = false;
    for (const Socket &socket : network(look)) {
        if (socket.remote_port != NETCONF_DAEMON_PORT || !has_open(look.host->pid, socket.inode)) {
            continue;
        }
        if (socket.state == Socket::close_wait) {
            return {"connection", false, "closed by the daemon: every edit will be refused",
                    "systemctl restart sysrepo-plugind, then orv_bgpctl replay"};
        }
        established = established || socket.state == Socket::established;
    }
    // A connection that the daemon reset is no socket in the list any more.
    if (!established && Switches(*look.host).value("netconf_plugin_context") > 0) {
        return {"connection", false, "reset by the daemon: every edit will be refused",
                "systemctl restart sysrepo-plugind, then orv_bgpctl replay"};
    }
    return {
        "connection", true, established ? "established" : "none yet: the first edit connects", {}};
}

Finding traces(Look &look) {
    if (!look.host) {
        return {"traces", false, "no host", "see host"};
    }
    const Switches switches(*look.host);
    const auto word = [&](const char *symbol) {
        return switches.value(symbol) == 0 ? "off" : "on";
    };
    return {
        "traces",
        true,
        fmt::format("debug_bgp {}, com_printf_flag {}", word("debug_bgp"), word("com_printf_flag")),
        {}};
}

using Check = Finding (*)(Look &);
struct Row {
    const char *what;
    Check check;
};
constexpr Row checks[] = {
    {"plug-in", plugin_version}, {"module", module_revision},
    {"host", running_host},      {"registrations", registrations},
    {"daemon", daemon_listens},  {"connection", connection},
    {"traces", traces},
};

std::vector<Finding> look_at_all(const std::string &plugin) {
    Look look{plugin, std::nullopt};
    std::vector<Finding> findings;
    for (const Row &row : checks) {
        try {
            findings.push_back(row.check(look));
        } catch (const std::exception &error) {
            findings.push_back({row.what, false, "cannot be checked", error.what()});
        }
    }
    return findings;
}

bool all_well(const std::vector<Finding> &findings) {
    return std::all_of(findings.begin(), findings.end(),
                       [](const Finding &finding) { return finding.ok; });
}

void print(const std::vector<Finding> &findings) {
    for (const Finding &finding : findings) {
        fmt::print("{:<14} {:<4} {}{}{}\n", finding.what, finding.ok ? "ok" : "BAD", finding.detail,
                   finding.advice.empty() ? "" : "; ", finding.advice);
    }
}

void print_json(const std::vector<Finding> &findings) {
    nlohmann::ordered_json object;
    object["ok"] = all_well(findings);
    for (const Finding &finding : findings) {
        object["checks"].push_back({{"what", finding.what},
                                    {"ok", finding.ok},
                                    {"detail", finding.detail},
                                    {"advice", finding.advice}});
    }
    fmt::print("{}\n", object.dump());
}

} // namespace

int status(const StatusOptions &options) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double>(options.wait);
    std::vector<Finding> findings = look_at_all(options.plugin);
    while (!all_well(findings) && Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        findings = look_at_all(options.plugin);
    }
    options.json ? print_json(findings) : print(findings);
    return all_well(findings) ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace bgpctl
