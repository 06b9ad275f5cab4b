#include "plugin.h"

#include <fmt/format.h>

#include <dlfcn.h>

#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace bgpctl {
namespace {

// The plug-in whose registrations are recorded; one at a time in a process.
Plugin *initializing = nullptr;

using Subscribe = int (*)(sr_session_ctx_t *, const char *, const char *, sr_module_change_cb,
                          void *, std::uint32_t, sr_subscr_options_t, sr_subscription_ctx_t **);

using GetChangeNext = int (*)(sr_session_ctx_t *, sr_change_iter_t *, sr_change_oper_t *,
                              sr_val_t **, sr_val_t **);

// The library's own function, which a function below replaces.
template <typename Function>
Function library(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// The created nodes of one subtree, without the neighbors that have no setting.
class CreatedNodes {
  public:
    // Like sr_get_change_next.
    int next(sr_session_ctx_t *session, sr_change_iter_t *iterator, sr_change_oper_t *operation,
             sr_val_t **value) {
        while (wants_more()) {
            fetch(session, iterator, operation);
            drop_neighbor_without_setting();
        }
        if (nodes_.empty()) {
            return end_;
        }
        *operation = SR_OP_CREATED;
        *value = nodes_.front().release();
        nodes_.pop_front();
        return SR_ERR_OK;
    }

  private:
    struct Free {
        void operator()(sr_val_t *value) const { sr_free_val(value); }
    };

    void fetch(sr_session_ctx_t *session, sr_change_iter_t *iterator, sr_change_oper_t *operation) {
        sr_val_t *old = nullptr;
        sr_val_t *value = nullptr;
        static const auto library_next = library<GetChangeNext>("sr_get_change_next");
        end_ = library_next(session, iterator, operation, &old, &value);
        if (end_ == SR_ERR_OK) {
            nodes_.emplace_back(value);
        }
    }

    bool starts_with_neighbor() const {
        // No list is below that of the neighbors.
        const sr_val_t &first = *nodes_.front();
        return first.type == SR_LIST_T &&
               std::strstr(first.xpath, "-neighbor[neighbor-address=") != nullptr;
    }

    // The key follows the entry. A setting follows the key, if there is one.
    bool wants_more() const {
        return end_ == SR_ERR_OK &&
               (nodes_.empty() || (starts_with_neighbor() && nodes_.size() < 3));
    }

    void drop_neighbor_without_setting() {
        if (nodes_.empty() || wants_more() || !starts_with_neighbor()) {
            return;
        }
        const std::string entry = std::string(nodes_.front()->xpath) + "/";
        const bool has_setting =
            nodes_.size() == 3 && std::string_view(nodes_.back()->xpath).rfind(entry, 0) == 0;
        if (!has_setting) {
            nodes_.erase(nodes_.begin(), nodes_.begin() + 2);
        }
    }

    std::deque<std::unique_ptr<sr_val_t, Free>> nodes_; // fetched in advance
    int end_ = SR_ERR_OK;                               // why there are no more
};

// Those of the subtree that the plug-in takes.
CreatedNodes &created_nodes() {
    static CreatedNodes nodes;
    return nodes;
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

int sr_get_change_next(sr_session_ctx_t *session, sr_change_iter_t *iter,
                       sr_change_oper_t *operation, sr_val_t **old_value, sr_val_t **new_value) {
    *old_value = nullptr;
    return bgpctl::created_nodes().next(session, iter, operation, new_value);
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
        created_nodes() = {};
        const int code = work.callback(session, module, path, event, request_id, nullptr);
        work.code = work.code == SR_ERR_OK ? code : work.code;
        return code;
    }
};

void Plugin::require_as(const Datastore &datastore) {
    if (datastore.as() == 0 && !datastore.configuration().empty()) {
        throw std::runtime_error("the configuration has no AS number, and without one the plug-in "
                                 "sends nothing; set router-bgp/as");
    }
}

int Plugin::take_configuration(const Datastore &datastore, const ModuleLock & /*lock*/) const {
    require_as(datastore);
    if (datastore.as() == 0) {
        return SR_ERR_OK;
    }
    for (const Registration &row : registrations_) {
        Work work{row.callback};
        sr_subscription_ctx_t *subscription = nullptr;
        const int code = library<Subscribe>("sr_module_change_subscribe")(
            datastore.session(), row.module.c_str(), row.path.c_str(), Work::run, &work,
            row.priority, SR_SUBSCR_ENABLED | SR_SUBSCR_NO_THREAD, &subscription);
        sr_unsubscribe(subscription);
        if (code != SR_ERR_OK || work.code != SR_ERR_OK) {
            return code != SR_ERR_OK ? code : work.code;
        }
    }
    return SR_ERR_OK;
}

} // namespace bgpctl
