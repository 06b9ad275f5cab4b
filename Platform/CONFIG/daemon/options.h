// The daemon's command line.
#ifndef CONFIGD_OPTIONS_H
#define CONFIGD_OPTIONS_H

#include "daemon.h"
#include "server.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace configd {

enum class BackendKind { Memory, Frr };

struct Options {
    LogFormat log = LogFormat::Text;
    std::uint16_t port = NETCONF_DAEMON_PORT;
    BackendKind backend = BackendKind::Memory;
    std::string state_file; // empty: none
    std::string vty_socket = "/var/run/frr/bgpd.vty";
    std::vector<std::string> frr_lines;
    Overrides overrides;
    Limits limits;
};

// Fills `options` from the command line. Returns std::nullopt when the daemon is to run, otherwise
// the program's exit code: 0 after --help and --version, which are printed to standard output;
// another one for an invalid command line, which is reported on standard error. Throws
// std::system_error when a file that an option names cannot be read.
std::optional<int> read_options(int argc, const char *const *argv, Options &options);

} // namespace configd

#endif
