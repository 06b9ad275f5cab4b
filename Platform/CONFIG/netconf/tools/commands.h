// What orv_bgpctl does: one function for each of its commands.
#ifndef BGPCTL_COMMANDS_H
#define BGPCTL_COMMANDS_H

#include <string>

#include <sys/types.h>

namespace bgpctl {

// Each command prints its result on standard output and returns the exit code: 0 when all is
// well, 1 when not. Each throws std::exception with one sentence for the operator when it cannot
// do what it is asked.

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
// Prints the records that the daemon would get, and tells it nothing.
int preview(const PreviewOptions &options);

struct StatusOptions {
    std::string plugin;
    bool json = false;
    double wait = 0; // seconds to wait until all is well
};
// Prints what is well and what is to be done about the rest.
int status(const StatusOptions &options);

enum class TraceAction { on, off, status };
struct TraceOptions {
    TraceAction action = TraceAction::status;
    bool transport = false; // the exchanges with the daemon as well
    pid_t pid = 0;          // of the host; 0: the only one that has loaded the plug-in
};
// Turns the plug-in's traces on and off in the running host.
int trace(const TraceOptions &options);

// Where sysrepo's host looks for the plug-in: below $SRPD_PLUGINS_PATH, or where this build
// installs it.
std::string installed_plugin();

} // namespace bgpctl

#endif
