// The commands of orv_bgpctl: one function for each.
#ifndef BGPCTL_COMMANDS_H
#define BGPCTL_COMMANDS_H

#include <string>

#include <sys/types.h>

namespace bgpctl {

// Each command prints its result to standard output and returns the exit code: 0 when all is well,
// otherwise 1. A command that fails throws a std::exception with one sentence for the operator.

struct ReplayOptions {
    std::string plugin;   // path of the plug-in
    bool replace = false; // let the daemon drop the instance first
    bool yes = false;     // do not ask
};
// Sends the running configuration to the daemon through the plug-in's own callbacks.
int replay(const ReplayOptions &options);

struct PreviewOptions {
    std::string plugin;
    std::string edit; // path of an edit; empty: the running configuration
    bool json = false;
};
// Prints the records that the plug-in would send; sends nothing.
int preview(const PreviewOptions &options);

struct StatusOptions {
    std::string plugin;
    bool json = false;
    double wait = 0; // seconds to wait until all is well
};
// Prints what works and what to do about the rest.
int status(const StatusOptions &options);

enum class TraceAction { on, off, status };
struct TraceOptions {
    TraceAction action = TraceAction::status;
    bool transport = false; // also the exchanges with the daemon
    pid_t pid = 0;          // of the host; 0: the only one that has loaded the plug-in
};
// Switches the plug-in's traces in the running host on or off, or prints them.
int trace(const TraceOptions &options);

// The path where sysrepo's host looks for the plug-in: in $SRPD_PLUGINS_PATH, or in the directory
// where this build installs it.
std::string installed_plugin();

} // namespace bgpctl

#endif
