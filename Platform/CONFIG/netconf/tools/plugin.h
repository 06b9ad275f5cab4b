// Loads the plug-in into this process and runs its change callbacks.
#ifndef BGPCTL_PLUGIN_H
#define BGPCTL_PLUGIN_H

#include "datastore.h"

#include <sysrepo.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bgpctl {

// The version in a plug-in's file.
struct PluginVersion {
    std::string version;  // of the project
    std::string revision; // of the module that it needs
};

// std::nullopt when the file contains no version. Throws std::runtime_error when the file cannot be
// read.
std::optional<PluginVersion> version_of(const std::string &file);

// The version of this program.
PluginVersion own_version();

// The plug-in with its change callbacks, loaded into this process instead of sysrepo's host. The
// host continues to serve the RPCs.
class Plugin {
  public:
    // Loads the file and initializes the plug-in. Throws std::runtime_error when it cannot be
    // loaded, has another version or does not start.
    Plugin(const std::string &file, sr_session_ctx_t *session);

    // Makes sysrepo pass the running configuration to the change callbacks as created changes, in
    // the order of the plug-in's registrations and in this thread; nothing for an empty one. Leaves
    // out neighbors without a setting: there is no record for them, and the plug-in refuses changes
    // that end with one. Stops at the first callback that fails. Returns the code of sysrepo or of
    // the callback. Throws std::runtime_error for a configuration without an AS number: the plug-in
    // sends nothing of it. Needs the lock: without one, sysrepo makes each callback's reads wait
    // for their time limit.
    int take_configuration(const Datastore &datastore, const ModuleLock &lock) const;

    // Throws what take_configuration() throws for a configuration without an AS number.
    static void require_as(const Datastore &datastore);

  private:
    struct Registration {
        std::string module, path;
        sr_module_change_cb callback;
        std::uint32_t priority;
    };
    struct Work;

    std::vector<Registration> registrations_;

    // The functions of sysrepo that plugin.cpp replaces for the plug-in.
    friend struct StandIns;
};

// Throws std::runtime_error unless the file is the plug-in with the version of this program.
void check_version(const std::string &file);

} // namespace bgpctl

#endif
