#include "commands.h"

#include "datastore.h"
#include "isolation.h"
#include "message.h"
#include "output.h"
#include "plugin.h"
#include "relay.h"

#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace bgpctl {
namespace {

namespace fs = std::filesystem;

std::string content_of(const std::string &file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error(fmt::format("the edit {} cannot be read", file));
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Moves this process into a datastore of its own, in memory that ends with it, with the module
// and the running configuration of the real one.
void copy_datastore() {
    const std::string directory = "/dev/shm/orv_bgpctl";
    std::string configuration;
    std::string module;
    {
        const Datastore real;
        configuration = real.configuration();
        char name[] = "/tmp/orv_bgpctl.XXXXXX";
        if (mkdtemp(name) == nullptr) {
            throw std::runtime_error("no directory can be made in /tmp");
        }
        module = content_of(real.write_module(name));
        fs::remove_all(name);
    }
    if (!isolate(/*own_memory=*/true)) {
        throw std::runtime_error(
            "namespaces are needed, which neither this user nor this kernel allows; run orv_bgpctl "
            "as root");
    }
    fs::create_directories(directory);
    setenv("SYSREPO_REPOSITORY_PATH", directory.c_str(), 1);
    setenv("SYSREPO_SHM_PREFIX", "orv_bgpctl", 1);
    const std::string file = fmt::format("{}/{}.yang", directory, module_name);
    std::ofstream(file) << module;
    Datastore().install(file);
    if (!configuration.empty()) {
        check(Datastore().edit(configuration), "the running configuration cannot be copied");
    }
}

} // namespace

int preview(const PreviewOptions &options) {
    const OwnOutput output;
    const std::string edit = options.edit.empty() ? "" : content_of(options.edit);
    copy_datastore();
    const Datastore datastore;
    const Plugin plugin(options.plugin, datastore.session());
    const Relay relay(nullptr, [&](const configd::Message &message, std::int32_t /*code*/) {
        fmt::print(output.file(), "{}\n",
                   options.json ? configd::json_line(configd::decode(message))
                                : configd::readable(message));
    });
    Subscription subscription;
    const sr_subscr_options_t whole = SR_SUBSCR_ENABLED | SR_SUBSCR_NO_THREAD;
    int code = plugin.subscribe(
        datastore.session(), options.edit.empty() ? whole : sr_subscr_options_t{SR_SUBSCR_DEFAULT},
        &subscription.handle);
    if (code == SR_ERR_OK && !options.edit.empty()) {
        code = datastore.edit(edit);
    }
    if (code != SR_ERR_OK) {
        const std::string told = Plugin::reason();
        const std::string reason = told.empty() ? datastore.reason() : told;
        throw std::runtime_error(
            fmt::format("it would be refused: {}", reason.empty() ? sr_strerror(code) : reason));
    }
    return EXIT_SUCCESS;
}

} // namespace bgpctl
