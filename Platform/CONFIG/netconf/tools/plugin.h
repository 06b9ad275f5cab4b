// The plug-in, loaded into orv_bgpctl instead of sysrepo's host.
#ifndef BGPCTL_PLUGIN_H
#define BGPCTL_PLUGIN_H

#include <sysrepo.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bgpctl {

// What a plug-in's file says of itself.
struct PluginVersion {
    std::string version;  // of the project
    std::string revision; // of the module that it was written for
};

// Throws std::runtime_error when the file cannot be read; nothing when it does not say.
std::optional<PluginVersion> version_of(const std::string &file);

// The version that this program belongs to.
PluginVersion own_version();

// A subscription while it lives.
class Subscription {
  public:
    Subscription() = default;
    Subscription(const Subscription &) = delete;
    Subscription &operator=(const Subscription &) = delete;
    ~Subscription() { sr_unsubscribe(handle); }

    sr_subscription_ctx_t *handle = nullptr;
};

// The plug-in with its change callbacks. Its RPCs are the host's.
class Plugin {
  public:
    // Loads the file and has the plug-in initialize itself. Throws std::runtime_error when it
    // cannot be loaded, is of another version or does not start.
    Plugin(const std::string &file, sr_session_ctx_t *session);

    // Subscribes the change callbacks, in the order of the plug-in's own registrations. With
    // SR_SUBSCR_ENABLED sysrepo hands them the running configuration meanwhile, in this thread.
    // Stops at the first that fails and, since sysrepo passes over what a callback says of the
    // running configuration, when `goes_on` is false. Returns sysrepo's code. The caller owns the
    // subscription, which may be there after a failure too.
    int subscribe(
        sr_session_ctx_t *session, sr_subscr_options_t options,
        sr_subscription_ctx_t **subscription,
        const std::function<bool()> &goes_on = [] { return true; }) const;

    // What the plug-in told a client last: path and reason. Empty: nothing.
    static std::string reason();

  private:
    struct Registration {
        std::string module, path;
        sr_module_change_cb callback;
        std::uint32_t priority;
    };

    std::vector<Registration> registrations_;

    // sysrepo's functions as the plug-in finds them: see plugin.cpp.
    friend struct StandIns;
};

} // namespace bgpctl

#endif
