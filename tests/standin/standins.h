// The program's replacements of sysrepo's functions, and the plug-in that calls them.
#ifndef STANDINS_H
#define STANDINS_H

#include <sysrepo.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace standin {

// The exports of the plug-in, linked or loaded.
struct Plugin {
    int (*init)(sr_session_ctx_t *, void **);
    void (*cleanup)(sr_session_ctx_t *, void *);
    std::uint32_t *g_bgp_id;
    int *bgp_nc;
    int *debug_bgp;
    int *com_printf_flag;
    int *netconf_plugin_context;
    char *buf;
};
const Plugin &plugin();

struct Change {
    sr_change_oper_t operation;
    sr_val_t *old_value;
    sr_val_t *new_value;
};

// What the replacements do, and how they were called.
struct State {
    std::uint32_t as = 0;
    int open_result = SR_ERR_OK;
    std::vector<Change> changes;
    int realloc_result = SR_ERR_OK;
    sr_val_t *array = nullptr; // the array after sr_realloc_values
    std::vector<std::size_t> reallocs;
    std::map<std::string, sr_module_change_cb> edits;
    std::map<std::string, sr_rpc_cb> calls;
    int told = 0;     // sr_set_error
    int released = 0; // sr_free_values
};
State &state();

// An invalid session: code that reads it crashes.
sr_session_ctx_t *session();

} // namespace standin

#endif
