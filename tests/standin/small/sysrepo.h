/*
 * A sysrepo.h with the types and functions that the plug-in depends on, and
 * nothing else: no optional function, no type of value that it does not name, no
 * header beside it.
 */
#ifndef SMALL_SYSREPO_H
#define SMALL_SYSREPO_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum sr_error_e {
    SR_ERR_OK = 0,
    SR_ERR_INVAL_ARG,
    SR_ERR_LY,
    SR_ERR_SYS,
    SR_ERR_NOMEM,
    SR_ERR_NOT_FOUND,
    SR_ERR_EXISTS,
    SR_ERR_INTERNAL,
    SR_ERR_UNSUPPORTED,
    SR_ERR_VALIDATION_FAILED,
    SR_ERR_OPERATION_FAILED,
    SR_ERR_UNAUTHORIZED,
    SR_ERR_LOCKED,
    SR_ERR_TIME_OUT,
    SR_ERR_CALLBACK_FAILED,
    SR_ERR_CALLBACK_SHELVE
} sr_error_t;

typedef enum sr_change_oper_e {
    SR_OP_CREATED,
    SR_OP_MODIFIED,
    SR_OP_DELETED,
    SR_OP_MOVED
} sr_change_oper_t;

typedef enum sr_event_e { SR_EV_CHANGE = 1, SR_EV_DONE, SR_EV_ABORT, SR_EV_RPC = 5 } sr_event_t;

enum { SR_SUBSCR_DEFAULT = 0, SR_SUBSCR_CTX_REUSE = 1 };

typedef struct sr_session_ctx_s sr_session_ctx_t;
typedef struct sr_subscription_ctx_s sr_subscription_ctx_t;
typedef struct sr_change_iter_s sr_change_iter_t;

typedef struct sr_xpath_ctx_s {
    char *begining;
    char *current_node;
    char *replaced_position;
    char replaced_char;
} sr_xpath_ctx_t;

typedef enum {
    SR_BOOL_T = 8,
    SR_ENUM_T = 10,
    SR_STRING_T = 17,
    SR_UINT8_T,
    SR_UINT16_T,
    SR_UINT32_T
} value_type;

typedef union sr_data_u {
    bool bool_val;
    char *enum_val;
    char *string_val;
    uint8_t uint8_val;
    uint16_t uint16_val;
    uint32_t uint32_val;
} sr_data_t;

typedef struct sr_val_s {
    char *xpath;
    value_type type;
    bool dflt;
    sr_data_t data;
} sr_val_t;

int sr_module_change_subscribe(
    sr_session_ctx_t *session, const char *module_name, const char *xpath,
    int (*callback)(sr_session_ctx_t *, const char *, const char *, sr_event_t, uint32_t, void *),
    void *private_data, uint32_t priority, uint32_t opts, sr_subscription_ctx_t **subscription);
int sr_rpc_subscribe(sr_session_ctx_t *session, const char *xpath,
                     int (*callback)(sr_session_ctx_t *, const char *, const sr_val_t *,
                                     const size_t, sr_event_t, uint32_t, sr_val_t **, size_t *,
                                     void *),
                     void *private_data, uint32_t priority, uint32_t opts,
                     sr_subscription_ctx_t **subscription);
int sr_unsubscribe(sr_subscription_ctx_t *subscription);
int sr_get_changes_iter(sr_session_ctx_t *session, const char *xpath, sr_change_iter_t **iter);
int sr_get_change_next(sr_session_ctx_t *session, sr_change_iter_t *iter,
                       sr_change_oper_t *operation, sr_val_t **old_value, sr_val_t **new_value);
void sr_free_change_iter(sr_change_iter_t *iter);
int sr_get_item(sr_session_ctx_t *session, const char *path, uint32_t timeout_ms, sr_val_t **value);
void sr_free_val(sr_val_t *value);
int sr_realloc_values(size_t old_value_cnt, size_t new_value_cnt, sr_val_t **values);
const char *sr_strerror(int err_code);
char *sr_xpath_node_name(const char *xpath);
char *sr_xpath_key_value(char *xpath, const char *node_name, const char *key_name,
                         sr_xpath_ctx_t *state);

#ifdef __cplusplus
}
#endif

#endif
