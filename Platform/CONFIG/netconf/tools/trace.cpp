#include "commands.h"

#include "host.h"

#include <fmt/format.h>

#include <cstdlib>

namespace bgpctl {

int trace(const TraceOptions &options) {
    const Host target = host(options.pid);
    const Switches switches(target);
    switch (options.action) {
    case TraceAction::on:
        switches.set("debug_bgp", 1);
        if (options.transport) {
            switches.set("com_printf_flag", 1);
        }
        break;
    case TraceAction::off:
        switches.set("com_printf_flag", 0);
        if (!options.transport) {
            switches.set("debug_bgp", 0);
        }
        break;
    case TraceAction::status:
        break;
    }
    for (const char *symbol : {"debug_bgp", "com_printf_flag"}) {
        fmt::print("process {}: {:<15} {}\n", target.pid, symbol,
                   switches.value(symbol) == 0 ? "off" : "on");
    }
    return EXIT_SUCCESS;
}

} // namespace bgpctl
