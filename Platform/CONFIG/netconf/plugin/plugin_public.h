/*
 * The transport: connections to the configuration daemon and the two kinds of
 * exchange over them. Plain C11 and C++17.
 *
 * There are no locks: sysrepo calls a plug-in's callbacks one at a time, and
 * the persistent connection and the reply buffer rely on it.
 */
#ifndef PLUGIN_PUBLIC_H
#define PLUGIN_PUBLIC_H

#include "netconf_public.h"

#include <sysrepo.h>

/* The result codes of netconf_public.h continue the library's numbering. */
static_assert(SR_ERR_OK == 0 && SR_ERR_INVAL_ARG == 1 && SR_ERR_NOMEM == 4 &&
                  SR_ERR_NOT_FOUND == 5 && SR_ERR_INTERNAL == 7 && SR_ERR_OPERATION_FAILED == 10 &&
                  SR_ERR_CALLBACK_FAILED == 14 && SR_ERR_CALLBACK_SHELVE == 15,
              "sysrepo's result codes are 0 to 15");
static_assert(SR_OP_CREATED == 0 && SR_OP_MODIFIED == 1 && SR_OP_DELETED == 2 && SR_OP_MOVED == 3,
              "the numbers of sysrepo's change operations show in the traces");

#ifdef __cplusplus
extern "C" {
#endif

/* Non-zero: the transport traces to standard output what it does. 0 at load; set from outside. */
extern int com_printf_flag;

/* Descriptor of the persistent configuration connection; below 1: not connected. */
extern int netconf_plugin_context;

/*
 * Creates a socket and connects it to the daemon's address.
 *
 * domain, type, protocol: as for socket(2); port: in host byte order.
 * Returns the connected descriptor (0 or more), which the caller owns, or a
 * negative value. A failed connect leaves the descriptor open.
 */
int sockCreateAndConnect(int domain, int type, int protocol, int port);

/*
 * Opens a connection to the daemon and stores its descriptor in *context, or a
 * negative value on failure. The caller owns the descriptor.
 * Returns 0, or -1 on failure.
 */
int plugin_connect(int *context);

/* Closes the descriptor `context`. Returns 0 whatever the outcome. */
int plugin_close(int context);

/*
 * Sends the message send_data (send_data->dataLen bytes) over fd with one
 * write and reads the daemon's 4-byte result code with one read. Waits for the
 * code without a limit. Does not free send_data.
 *
 * *res_code: the daemon's code, or SR_ERR_SOCKET_FAILED when the write failed
 * or the read did not return the whole code. It may hold any 32-bit number, so
 * read it as bytes, not as an enumerator.
 * Returns the byte count of the last write or read, -1 if it failed.
 */
int sendAndGetResponseCode(int fd, netconf_data_struc *send_data, sr_error_t *res_code);

/*
 * Sends the query send_data (send_data->dataLen bytes) over fd with one write,
 * waits at most 60 seconds for the first bytes of the reply and reads all of
 * it, at most BUF_SIZE_MAX bytes, into the transport's static buffer.
 *
 * Returns the reply, or NULL. The reply is in that buffer: do not free it. It is
 * valid until the next call. BUF_SIZE_MAX bytes are readable whatever its
 * dataLen says; the bytes after the end of the reply are zero. After a time-out
 * it returns the previous reply again, if there was one, even if that reply was
 * refused or incomplete.
 */
netconf_data_struc *sendAndGetReplyBuff(int fd, netconf_data_struc *send_data);

/*
 * Builds the message for the record `data` (data_len bytes, not negative),
 * sends it over the connection `context` and waits for the daemon's result.
 * Does not use `option` and does not write the message's resValue.
 *
 * Returns the daemon's result code, SR_ERR_NOMEM without memory for the
 * message, or SR_ERR_SOCKET_FAILED. The caller keeps `data`.
 */
int plugin_send_and_receive(int context, void *data, int data_len, int option, int module_id,
                            int sub_mod);

/*
 * Sends one configuration record over the persistent connection. The first call
 * opens the connection and nothing closes it: once it is broken, every call
 * fails until the process restarts.
 *
 * Takes the arguments of plugin_send_and_receive. Returns its result,
 * SR_ERR_OPERATION_FAILED for a NULL record, or SR_ERR_SOCKET_FAILED when the
 * daemon is not reachable.
 */
int plugin_config(void *data, int data_len, int option, int module_id, int sub_mod);

/*
 * Chooses the value of a change: new_val for a created or modified node, old_val
 * for any other operation. *use_val is one of the two; the caller keeps both.
 * Returns SR_ERR_OK, or SR_ERR_INTERNAL when the chosen value is NULL.
 */
int plugin_value_choose(sr_change_oper_t changeOp, sr_val_t *old_val, sr_val_t *new_val,
                        sr_val_t **use_val);

#ifdef __cplusplus
}
#endif

#endif
