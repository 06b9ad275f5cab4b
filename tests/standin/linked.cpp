#include "bgp_plugin.h"
#include "standins.h"

extern "C" char buf[BUF_SIZE_MAX];

namespace standin {

const Plugin &plugin() {
    static const Plugin linked = {
        sr_plugin_init_cb, sr_plugin_cleanup_cb,    &g_bgp_id, &bgp_nc, &debug_bgp,
        &com_printf_flag,  &netconf_plugin_context, buf};
    return linked;
}

} // namespace standin
