// The plug-in as orv_bgpctl uses it.
#ifndef BGPCTL_PLUGIN_H
#define BGPCTL_PLUGIN_H

#include <sysrepo.h>

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

// The plug-in with its change callbacks, loaded into this process instead of sysrepo's host. Its
// RPCs are the host's.
class Plugin {
  public:
    // Loads the file and has the plug-in initialize itself. Throws std::runtime_error when it
    // cannot be loaded, is of another version or does not start.
    Plugin(const std::string &file, sr_session_ctx_t *session);

    // Has sysrepo hand the running configuration to the change callbacks as created changes, in
    // the order of the plug-in's registrations and in this thread, up to the first that fails.
    // Returns sysrepo's code, or that of the callback.
    int take_configuration(sr_session_ctx_t *session) const;

  private:
    struct Registration {
        std::string module, path;
        sr_module_change_cb callback;
        std::uint32_t priority;
    };
    struct Work;

    std::vector<Registration> registrations_;

    // sysrepo's functions as the plug-in finds them: see plugin.cpp.
    friend struct StandIns;
};

// Throws std::runtime_error unless the file is the plug-in of this program's version.
void check_version(const std::string &file);

} // namespace bgpctl

#endif
