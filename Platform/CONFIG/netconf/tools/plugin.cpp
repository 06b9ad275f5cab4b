#include "plugin.h"

#include <fmt/format.h>

#include <dlfcn.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace bgpctl {
namespace {

// The plug-in whose registrations are recorded; one at a time in a process.
Plugin *initializing = nullptr;

using Subscribe = int (*)(sr_session_ctx_t *, const char *, const char *, sr_module_change_cb,
                          void *, std::uint32_t, sr_subscr_options_t, sr_subscription_ctx_t **);

// The library's own function, which the function below replaces.
Subscribe library_subscribe() {
    return reinterpret_cast<Subscribe>(dlsym(RTLD_NEXT, "sr_module_change_subscribe"));
}

} // namespace

struct StandIns {
    static void take(const char *module, const char *path, sr_module_change_cb callback,
                     std::uint32_t priority) {
        initializing->registrations_.push_back({module, path, callback, priority});
    }
};

} // namespace bgpctl

// The dynamic linker finds these functions before the library's when it loads the plug-in. They
// record its registrations instead of making them, since the host has made them already.
extern "C" {

int sr_module_change_subscribe(sr_session_ctx_t * /*session*/, const char *module_name,
                               const char *xpath, sr_module_change_cb callback,
                               void * /*private_data*/, uint32_t priority,
                               sr_subscr_options_t /*opts*/,
                               sr_subscription_ctx_t ** /*subscription*/) {
    bgpctl::StandIns::take(module_name, xpath, callback, priority);
    return SR_ERR_OK;
}

int sr_rpc_subscribe(sr_session_ctx_t * /*session*/, const char * /*xpath*/, sr_rpc_cb /*callback*/,
                     void * /*private_data*/, uint32_t /*priority*/, sr_subscr_options_t /*opts*/,
                     sr_subscription_ctx_t ** /*subscription*/) {
    return SR_ERR_OK;
}

} // extern "C"

namespace bgpctl {

std::optional<PluginVersion> version_of(const std::string &file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw std::runtime_error(fmt::format("the plug-in {} cannot be read", file));
    }
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    const std::string mark = "@(#)orv_bgp_plugin ";
    const std::size_t found = bytes.find(mark);
    if (found == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t start = found + mark.size();
    const std::string text = bytes.substr(start, bytes.find('\0', start) - start);
    const std::size_t blank = text.find(' ');
    return PluginVersion{text.substr(0, blank), text.substr(blank + 1)};
}

PluginVersion own_version() {
    return {ORV_BGP_VERSION, ORV_BGP_REVISION};
}

void check_version(const std::string &file) {
    const std::optional<PluginVersion> found = version_of(file);
    if (!found || found->version != own_version().version) {
        throw std::runtime_error(fmt::format(
            "the plug-in {} is of version {}, orv_bgpctl of {}; use the orv_bgpctl that was "
            "installed with it",
            file, found ? found->version : "0.1 or unknown", own_version().version));
    }
}

Plugin::Plugin(const std::string &file, sr_session_ctx_t *session) {
    check_version(file);
    void *library = dlopen(file.c_str(), RTLD_NOW);
    if (library == nullptr) {
        throw std::runtime_error(fmt::format("the plug-in cannot be loaded: {}", dlerror()));
    }
    using Init = int (*)(sr_session_ctx_t *, void **);
    const auto init = reinterpret_cast<Init>(dlsym(library, "sr_plugin_init_cb"));
    if (init == nullptr) {
        throw std::runtime_error(fmt::format("{} is no plug-in of sysrepo's host", file));
    }
    initializing = this;
    void *context = nullptr;
    const int code = init(session, &context);
    initializing = nullptr;
    if (code != SR_ERR_OK || registrations_.empty()) {
        throw std::runtime_error(
            fmt::format("the plug-in {} does not start: {}", file, sr_strerror(code)));
    }
}

// sysrepo ignores the result of a callback for the running configuration, so this records it.
struct Plugin::Work {
    sr_module_change_cb callback;
    int code = SR_ERR_OK;

    static int run(sr_session_ctx_t *session, const char *module, const char *path,
                   sr_event_t event, std::uint32_t request_id, void *data) {
        auto &work = *static_cast<Work *>(data);
        const int code = work.callback(session, module, path, event, request_id, nullptr);
        work.code = work.code == SR_ERR_OK ? code : work.code;
        return code;
    }
};

int Plugin::take_configuration(sr_session_ctx_t *session) const {
    for (const Registration &row : registrations_) {
        Work work{row.callback};
        sr_subscription_ctx_t *subscription = nullptr;
        const int code = library_subscribe()(
            session, row.module.c_str(), row.path.c_str(), Work::run, &work, row.priority,
            SR_SUBSCR_ENABLED | SR_SUBSCR_NO_THREAD, &subscription);
        sr_unsubscribe(subscription);
        if (code != SR_ERR_OK || work.code != SR_ERR_OK) {
            return code != SR_ERR_OK ? code : work.code;
        }
    }
    return SR_ERR_OK;
}

} // namespace bgpctl
