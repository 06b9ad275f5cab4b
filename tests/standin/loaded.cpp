#include "standins.h"

#include <dlfcn.h>

#include <stdexcept>

namespace standin {

namespace {

void *open_plugin() {
    void *handle = dlopen(ORV_BGP_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    return handle != nullptr ? handle : throw std::runtime_error(dlerror());
}

template <typename Pointer>
Pointer look_up(const char *name) {
    static void *const handle = open_plugin();
    void *symbol = dlsym(handle, name);
    return symbol != nullptr ? reinterpret_cast<Pointer>(symbol)
                             : throw std::runtime_error(dlerror());
}

} // namespace

const Plugin &plugin() {
    static const Plugin loaded = {
        look_up<int (*)(sr_session_ctx_t *, void **)>("sr_plugin_init_cb"),
        look_up<void (*)(sr_session_ctx_t *, void *)>("sr_plugin_cleanup_cb"),
        look_up<std::uint32_t *>("g_bgp_id"),
        look_up<int *>("bgp_nc"),
        look_up<int *>("debug_bgp"),
        look_up<int *>("com_printf_flag"),
        look_up<int *>("netconf_plugin_context"),
        look_up<char *>("buf")};
    return loaded;
}

} // namespace standin
