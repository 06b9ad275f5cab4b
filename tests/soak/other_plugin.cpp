// Another plug-in in the host: it accepts each change of its own module.
#include <sysrepo.h>

#include <cstdint>

extern "C" int sr_plugin_init_cb(sr_session_ctx_t *session, void **private_data) {
    const auto accept = [](sr_session_ctx_t * /*session*/, const char * /*module*/,
                           const char * /*xpath*/, sr_event_t /*event*/,
                           std::uint32_t /*request_id*/,
                           void * /*private_data*/) -> int { return SR_ERR_OK; };
    auto **subscription = reinterpret_cast<sr_subscription_ctx_t **>(private_data);
    return sr_module_change_subscribe(session, "soak_other", nullptr, accept, nullptr, 0,
                                      SR_SUBSCR_DEFAULT, subscription);
}

extern "C" void sr_plugin_cleanup_cb(sr_session_ctx_t * /*session*/, void *private_data) {
    sr_unsubscribe(static_cast<sr_subscription_ctx_t *>(private_data));
}
