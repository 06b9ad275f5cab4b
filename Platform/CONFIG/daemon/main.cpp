// bgp_configd: starts, serves and stops the configuration daemon.
#include "daemon.h"
#include "memory_backend.h"
#include "options.h"
#include "server.h"
#include "state.h"
#ifdef BACKEND_FRR
#include "frr/frr_backend.h"
#endif

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

std::unique_ptr<configd::Backend> make_backend(const configd::Options &options) {
    if (options.backend == configd::BackendKind::Frr) {
#ifdef BACKEND_FRR
        return std::make_unique<configd::frr::FrrBackend>(options.vty_socket, options.frr_lines);
#else
        throw std::runtime_error{"--backend frr: this daemon was built without it (BACKEND_FRR)"};
#endif
    }
    return std::make_unique<configd::MemoryBackend>(
        options.state_file.empty() ? configd::State{} : configd::load_state(options.state_file));
}

// Logs the backend's configuration, for a slow backend after its work under way.
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

void serve(const configd::Options &options) {
    // The daemon continues when nobody reads its log any more.
    std::signal(SIGPIPE, SIG_IGN);
    configd::Log log{std::cout, options.log, STDOUT_FILENO};
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
    configd::Options options;
    if (const auto exit_code = configd::read_options(argc, argv, options)) {
        return *exit_code;
    }
    serve(options);
    return 0;
} catch (const std::exception &error) {
    std::fprintf(stderr, "bgp_configd: %s\n", error.what());
    return 1;
}
