// Each option takes texts and reads them itself: CLI11's typed options are templates that take
// longer to compile than the rest of the daemon.
#include "options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <cstddef>
#include <functional>
#include <utility>

namespace configd {
namespace {

// Stores one value; false when it is not valid for the option.
using Take = std::function<bool(const std::string &value)>;

struct Row {
    const char *name;
    const char *values; // as the help and the error show them
    bool is_repeatable;
    std::string help;
    Take take;
};

template <typename Table, typename Parse>
Take into_table(Table &table, Parse parse) {
    return [&table, parse](const std::string &text) {
        const auto entry = parse(text);
        if (entry) {
            table.insert_or_assign(entry->first, entry->second);
        }
        return entry.has_value();
    };
}

template <typename Value>
Take one_of(Value &target, std::vector<std::pair<std::string, Value>> names) {
    return [&target, names = std::move(names)](const std::string &text) {
        for (const auto &[name, value] : names) {
            if (name == text) {
                target = value;
                return true;
            }
        }
        return false;
    };
}

Take any_text(std::string &target) {
    return [&target](const std::string &text) {
        target = text;
        return true;
    };
}

// Reads a whole number of at least `least` and passes it to `set`.
template <typename Number>
Take whole_number(Number least, std::function<void(Number)> set) {
    return [least, set = std::move(set)](const std::string &text) {
        Number number = 0;
        const char *end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc{} || stop != end || number < least) {
            return false;
        }
        set(number);
        return true;
    };
}

std::vector<Row> rows_of(Options &options) {
    return {
        {"--log", "text|json|none", false, "How to print messages; default text",
         one_of<LogFormat>(
             options.log,
             {{"text", LogFormat::Text}, {"json", LogFormat::Json}, {"none", LogFormat::None}})},
        {"--port", "0-65535", false, "Port to listen on, 0 for any free one; default 8888",
         whole_number<std::uint16_t>(0, [&](std::uint16_t port) { options.port = port; })},
        {"--max-connections", "1-65535", false, "Connections at once; default 1024",
         whole_number<std::uint16_t>(
             1, [&](std::uint16_t number) { options.limits.connections = number; })},
        {"--message-time", "SECONDS", false,
         "How long a message may take from its first byte to its last, and a peer to read a "
         "large answer; default 30",
         whole_number<std::uint16_t>(
             1, [&](std::uint16_t time) { options.limits.message = std::chrono::seconds{time}; })},
        {"--message-memory", "MIB", false,
         "Memory for the unfinished messages of all connections together; default 64",
         whole_number<std::uint16_t>(1,
                                     [&](std::uint16_t size) {
                                         options.limits.unfinished =
                                             std::size_t{size} * 1024 * 1024;
                                     })},
        {"--fail", "SUBMOD=CODE", true, "Answer this result code to a sub-module and apply nothing",
         into_table(options.overrides.codes, parse_failure)},
        {"--fault", "SUBMOD=close|short|silent", true,
         "Do not answer a sub-module: close the connection, send 3 bytes and close it, or stay "
         "silent",
         into_table(options.overrides.faults, parse_fault)},
        {"--reply", "SUBMOD=FILE", true,
         "Answer a query with the bytes of a file as the reply's payload",
         into_table(options.overrides.replies, parse_reply)},
        {"--backend", "memory|frr", false,
         "What holds the configuration: memory (default), or frr, FRRouting's bgpd, which must be "
         "running",
         one_of<BackendKind>(options.backend,
                             {{"memory", BackendKind::Memory}, {"frr", BackendKind::Frr}})},
        {"--vty-socket", "PATH", false,
         "Backend frr: the socket of bgpd's terminal; default " + options.vty_socket,
         any_text(options.vty_socket)},
        {"--frr-line", "LINE", true,
         "Backend frr: a line that each BGP instance gets when it is created",
         [&options](const std::string &line) {
             options.frr_lines.push_back(line);
             return true;
         }},
        {"--state", "FILE", false,
         "Backend memory: JSON file with the operational state of a BGP speaker; default: none",
         any_text(options.state_file)},
    };
}

void add(CLI::App &app, const Row &row) {
    const auto take_all = [row](const CLI::results_t &values) {
        for (const std::string &value : values) {
            if (!row.take(value)) {
                throw CLI::ValidationError(row.name,
                                           fmt::format("'{}' is not {}", value, row.values));
            }
        }
        return true;
    };
    CLI::Option *option = app.add_option(row.name, take_all, row.help)->type_name(row.values);
    if (row.is_repeatable) {
        option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
    }
}

constexpr const char *footer =
    "SUBMOD is a sub-module code or its name, such as BGP_SUB_ROUTER_ID or router_id.\n"
    "--fail, --fault, --reply and --frr-line are repeatable.\n"
    "SIGUSR1 prints the configuration as one JSON object; SIGINT and SIGTERM end "
    "the daemon.\n"
    "\n"
    "A state file is one JSON object. Members marked with * are required, all others are\n"
    "optional. Leaves have the names and formats of the output of the module's RPCs:\n"
    "  table-version, as-path-number, community-number\n"
    "  neighbors: a list of neighbor-addr*, vrf-name, state, version, remote-router-id,\n"
    "    up-down, state-pfxrcd, tblver, the counters and timers of ip-bgp-neighbor\n"
    "    (messages-in, hold-time ...) and\n"
    "    address-familys: a list of afi*, safi*, community-attribute and its counters;\n"
    "    the configuration has the other leaves of ip-bgp-neighbor\n"
    "  evpn: a list of route-distinguisher* and\n"
    "    routes: a list of evpn-route*, valid-flag, select-flag, source-type,\n"
    "      ext-community, lable-info and\n"
    "      next-hops: a list of nexthop-address*, metric, LocPrf, Weight, path";

} // namespace

std::optional<int> read_options(int argc, const char *const *argv, Options &options) {
    CLI::App app{"Reference configuration daemon of the BGP plug-in"};
    for (const Row &row : rows_of(options)) {
        add(app, row);
    }
    app.set_version_flag("--version", "bgp_configd " BGP_CONFIGD_VERSION);
    app.footer(footer);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &end) {
        return app.exit(end);
    }
    return std::nullopt;
}

} // namespace configd
