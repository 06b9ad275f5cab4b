#include "standins.h"

#include <sysrepo/values.h>

namespace standin {

State &state() {
    static State state;
    return state;
}

sr_session_ctx_t *session() {
    return reinterpret_cast<sr_session_ctx_t *>(1); // NOLINT(performance-no-int-to-ptr)
}

} // namespace standin

using standin::state;

extern "C" {

struct sr_change_iter_s {
    std::size_t next;
};

int sr_module_change_subscribe(sr_session_ctx_t * /*session*/, const char * /*module*/,
                               const char *xpath, sr_module_change_cb callback, void * /*data*/,
                               uint32_t /*priority*/, sr_subscr_options_t /*options*/,
                               sr_subscription_ctx_t ** /*subscription*/) {
    state().edits[xpath] = callback;
    return SR_ERR_OK;
}

int sr_rpc_subscribe(sr_session_ctx_t * /*session*/, const char *xpath, sr_rpc_cb callback,
                     void * /*data*/, uint32_t /*priority*/, sr_subscr_options_t /*options*/,
                     sr_subscription_ctx_t ** /*subscription*/) {
    state().calls[xpath] = callback;
    return SR_ERR_OK;
}

int sr_unsubscribe(sr_subscription_ctx_t * /*subscription*/) {
    return SR_ERR_OK;
}

int sr_get_item(sr_session_ctx_t * /*session*/, const char * /*path*/, uint32_t /*timeout*/,
                sr_val_t **value) {
    static sr_val_t as{};
    as.type = SR_UINT32_T;
    as.data.uint32_val = state().as;
    *value = &as;
    return SR_ERR_OK;
}

// The values belong to the test.
void sr_free_val(sr_val_t * /*value*/) {}

int sr_get_changes_iter(sr_session_ctx_t * /*session*/, const char * /*xpath*/,
                        sr_change_iter_t **iterator) {
    static sr_change_iter_s only;
    only.next = 0;
    *iterator = &only;
    return state().open_result;
}

int sr_get_change_next(sr_session_ctx_t * /*session*/, sr_change_iter_t *iterator,
                       sr_change_oper_t *operation, sr_val_t **old_value, sr_val_t **new_value) {
    if (iterator->next == state().changes.size()) {
        return SR_ERR_NOT_FOUND;
    }
    const standin::Change &change = state().changes[iterator->next++];
    *operation = change.operation;
    *old_value = change.old_value;
    *new_value = change.new_value;
    return SR_ERR_OK;
}

void sr_free_change_iter(sr_change_iter_t * /*iterator*/) {}

int sr_realloc_values(size_t /*old_count*/, size_t new_count, sr_val_t **values) {
    state().reallocs.push_back(new_count);
    *values = state().array;
    return state().realloc_result;
}

#ifdef STANDS_IN_FOR_ALL
int sr_set_error(sr_session_ctx_t * /*session*/, const char * /*path*/, const char * /*format*/,
                 ...) {
    ++state().told;
    return SR_ERR_OK;
}

void sr_free_values(sr_val_t * /*values*/, size_t /*count*/) {
    ++state().released;
}
#endif

} // extern "C"
