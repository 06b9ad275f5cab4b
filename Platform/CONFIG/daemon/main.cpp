// bgp_configd: the configuration daemon's command line and its life.
#include "daemon.h"
#include "frr/frr_backend.h"
#include "memory_backend.h"
#include "server.h"
#include "state.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

enum class BackendKind { Memory, Frr };

struct Options {
    configd::LogFormat log = configd::LogFormat::Text;
    std::uint16_t port = NETCONF_DAEMON_PORT;
    BackendKind backend = BackendKind::Memory;
    std::string state_file;
    std::string vty_socket = "/var/run/frr/bgpd.vty";
    std::vector<std::string> frr_lines;
    configd::Overrides overrides;
    configd::Limits limits;
};

// Adds the repeatable option `name`, whose values `parse` turns into entries of `table`.
template <typename Table, typename Parse>
void add_table_option(CLI::App &app, const std::string &name, const std::string &help,
                      const std::string &value, Table &table, Parse parse) {
    const auto insert = [&table, name, value, parse](const std::string &text) {
        const auto entry = parse(text);
        if (!entry) {
            throw CLI::ValidationError(name, fmt::format("'{}' is not {}", text, value));
        }
        table.insert_or_assign(entry->first, entry->second);
    };
    app.add_option_function<std::vector<std::string>>(
           name,
           [insert](const std::vector<std::string> &texts) {
               for (const std::string &text : texts) {
                   insert(text);
               }
           },
           help)
        ->allow_extra_args(false)
        ->type_name(value);
}

void add_options(CLI::App &app, Options &options) {
    const std::map<std::string, configd::LogFormat> formats{{"text", configd::LogFormat::Text},
                                                            {"json", configd::LogFormat::Json},
                                                            {"none", configd::LogFormat::None}};
    app.add_option_function<std::string>(
           "--log",
           [&options, formats](const std::string &name) { options.log = formats.at(name); },
           "How messages are printed: text (default), json or none")
        ->check(CLI::IsMember(formats).description(""))
        ->type_name("FORMAT");
    app.add_option("--port", options.port, "Port to listen on, 0 for any free one; default 8888")
        ->type_name("PORT");
    add_table_option(app, "--fail", "Answer this result code to a sub-module and apply nothing",
                     "SUBMOD=CODE", options.overrides.codes, configd::parse_failure);
    add_table_option(app, "--fault",
                     "Do not answer a sub-module: close the connection, send 3 bytes and close "
                     "it, or stay silent",
                     "SUBMOD=close|short|silent", options.overrides.faults, configd::parse_fault);
    add_table_option(app, "--reply",
                     "Answer a query with the bytes of a file as the reply's payload",
                     "SUBMOD=FILE", options.overrides.replies, configd::parse_reply);
    const std::map<std::string, BackendKind> backends{{"memory", BackendKind::Memory},
                                                      {"frr", BackendKind::Frr}};
    app.add_option_function<std::string>(
           "--backend",
           [&options, backends](const std::string &name) { options.backend = backends.at(name); },
           "What holds the configuration: memory (default), or frr, FRRouting's bgpd, which is "
           "running already")
        ->check(CLI::IsMember(backends).description(""))
        ->type_name("BACKEND");
    app.add_option("--vty-socket", options.vty_socket,
                   "Backend frr: the socket of bgpd's terminal; default " + options.vty_socket)
        ->type_name("PATH");
    app.add_option("--frr-line", options.frr_lines,
                   "Backend frr: a line that each BGP instance gets when it is created")
        ->allow_extra_args(false)
        ->type_name("LINE");
    app.add_option("--state", options.state_file,
                   "Backend memory: JSON file with what a BGP speaker knows beside its "
                   "configuration; default: nothing is known")
        ->type_name("FILE");
    app.set_version_flag("--version", "bgp_configd " BGP_CONFIGD_VERSION);
    app.footer("SUBMOD is a number from 1 to 22 or a name such as BGP_SUB_ROUTER_ID or router_id.\n"
               "--fail, --fault, --reply and --frr-line may be given several times.\n"
               "SIGUSR1 prints the configuration held as one JSON object; SIGINT and SIGTERM end "
               "the daemon.\n"
               "\n"
               "A state file is one JSON object. Every member may be left out but those marked "
               "with *;\n"
               "leaves are named and written as in the output of the model's calls:\n"
               "  table-version, as-path-number, community-number\n"
               "  neighbors: a list of neighbor-addr*, vrf-name, up-down, state-pfxrcd, tblver,\n"
               "    the counters and timers of ip-bgp-neighbor (messages-in, hold-time ...) and\n"
               "    address-familys: a list of afi*, safi* and its counters\n"
               "  evpn: a list of route-distinguisher* and\n"
               "    routes: a list of evpn-route*, valid-flag, select-flag, source-type,\n"
               "      ext-community, lable-info and\n"
               "      next-hops: a list of nexthop-address*, metric, LocPrf, Weight, path");
}

std::unique_ptr<configd::Backend> make_backend(const Options &options) {
    if (options.backend == BackendKind::Frr) {
        return std::make_unique<configd::frr::FrrBackend>(options.vty_socket, options.frr_lines);
    }
    return std::make_unique<configd::MemoryBackend>(
        options.state_file.empty() ? configd::State{} : configd::load_state(options.state_file));
}

// Logs what the backend holds: behind what it is doing, where that takes its time.
void log_configuration(configd::Server &server, const configd::Backend &backend,
                       configd::Log &log) {
    if (!backend.is_slow()) {
        log.configuration(backend.configuration());
        return;
    }
    const auto held = std::make_shared<nlohmann::ordered_json>();
    server.in_order([held, &backend] { *held = backend.configuration(); },
                    [held, &log] { log.configuration(*held); });
}

void serve(const Options &options) {
    // A log that nobody reads any more ends nothing.
    std::signal(SIGPIPE, SIG_IGN);
    configd::Log log{std::cout, options.log};
    const std::unique_ptr<configd::Backend> backend = make_backend(options);
    configd::Daemon daemon{*backend, log, options.overrides};
    configd::Server server{daemon, options.port, options.limits};
    server.on_event([&](const configd::ConnectionEvent &event) { log.connection(event); });
    server.on_signal(SIGUSR1, [&] { log_configuration(server, *backend, log); });
    for (const int number : {SIGINT, SIGTERM}) {
        server.on_signal(number, [&] { server.stop(); });
    }
    log.listening(server.port());
    server.run();
    backend->give_up();
}

} // namespace

int main(int argc, char **argv) try {
    CLI::App app{"Reference configuration daemon of the BGP plug-in"};
    Options options;
    add_options(app, options);
    CLI11_PARSE(app, argc, argv);
    serve(options);
    return 0;
} catch (const std::exception &error) {
    std::fprintf(stderr, "bgp_configd: %s\n", error.what());
    return 1;
}
