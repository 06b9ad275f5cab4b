// The functions of bgp_plugin.cpp. sysrepo uses the two entry points and the
// callbacks; tests and benchmarks also use the helpers and parsers. All have C
// linkage: the symbol of a function is its name.
#ifndef BGP_PLUGIN_H
#define BGP_PLUGIN_H

#include "netconf_bgp_public.h"
#include "plugin_public.h"

extern "C" {

// --- Process-wide variables, 0 at load ---------------------------------------

// AS number of the BGP instance: as last read from the datastore, or accepted
// by the daemon; 0: none.
extern uint32_t g_bgp_id;

// Exported for programs that link against it; the plug-in does not use it.
extern int bgp_nc;

// Non-zero: the callbacks and parsers trace what they do. Set from outside.
extern int debug_bgp;

// --- Change-processing helpers -----------------------------------------------

// The record operation code `op`: 1 for created and modified, 0 for deleted,
// -1 for anything else.
int changeOp_switch_config_set(sr_change_oper_t changeOp);

// The daemon's number of an address family ("AFI_IP" 1, "AFI_IPV6" 2,
// "AFI_L2VPN" 3) or sub-address family ("SAFI_UNICAST" 1, "SAFI_MULTICAST" 2,
// "SAFI_EVPN" 5, "SAFI_VRF" 71); 0 for NULL and for any other text.
uint32_t bgp_key_afi_str_to_int(const char *key_str);
uint32_t bgp_key_safi_str_to_int(const char *key_str);

// The opposite: a constant name, or NULL for any other number.
const char *bgp_key_afi_int_to_str(uint32_t afi);
const char *bgp_key_safi_int_to_str(uint32_t safi);

// 1 when the node is one of the containers around a list, which hold no
// setting of their own, otherwise 0.
int is_continue_by_node_name(const char *node_name);

// Reads the configured AS number as `session` sees it into *bgp_as. Returns
// SR_ERR_OK, SR_ERR_INVAL_ARG for a NULL argument, or SR_ERR_NOT_FOUND when it
// cannot be read or is 0; *bgp_as is then left as it was.
int ip_bgp_check_bgp_as_config_exist(sr_session_ctx_t *session, uint32_t *bgp_as);

// --- Change parsers ----------------------------------------------------------
//
// Each writes one change into the record `buff`. The record keeps what earlier
// changes wrote; only the change of a list entry's first key leaf clears it.
// use_val is the chosen value; reading a key from its path may cut the path
// with a NUL. *buff_len receives the record's size in bytes, *sub_mod the
// sub-module code of a leaf that has one. They keep and free nothing.
//
// All return SR_ERR_INTERNAL when a required argument or the list key is
// missing. They print why and return SR_ERR_INVALID_VALUE for a text that does
// not fit its field.

// A global neighbor. Returns 1 when the record is ready to be sent, 0 when
// there is nothing to send yet, or one of the two codes above.
int container_bgp_globle_neighbor_plugin_change_parse(sr_session_ctx_t *session,
                                                      sr_change_oper_t changeOp, sr_val_t *use_val,
                                                      const char *pNodeName,
                                                      bgp_globle_neighbor_config *buff,
                                                      uint32_t *buff_len, uint32_t *sub_mod);

// The lists of an address family. family_data is the family's key; they only
// read it. They return SR_ERR_OK or one of the two codes above.
int container_address_family_network_plugin_change_parse(
    sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,
    const address_family_val *family_data, const char *pNodeName,
    bgp_address_family_network_universal_val *buff, uint32_t *buff_len, uint32_t *sub_mod);
int container_address_family_neighbor_plugin_change_parse(
    sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,
    const address_family_val *family_data, const char *pNodeName,
    bgp_address_family_neighbor_universal_val *buff, uint32_t *buff_len, uint32_t *sub_mod);
int container_address_family_redistribute_plugin_change_parse(
    sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,
    const address_family_val *family_data, const char *pNodeName,
    bgp_address_family_redistribute_universal_val *buff, uint32_t *buff_len, uint32_t *sub_mod);

// The same for the lists of a VRF's address family.
int container_address_family_vrf_network_plugin_change_parse(
    sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,
    const address_family_val *family_data, const char *pNodeName,
    bgp_address_family_network_universal_val *buff, uint32_t *buff_len, uint32_t *sub_mod);
int container_address_family_vrf_neighbor_plugin_change_parse(
    sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,
    const address_family_val *family_data, const char *pNodeName,
    bgp_address_family_neighbor_universal_val *buff, uint32_t *buff_len, uint32_t *sub_mod);
int container_address_family_vrf_redistribute_plugin_change_parse(
    sr_session_ctx_t *session, sr_change_oper_t changeOp, sr_val_t *use_val,
    const address_family_val *family_data, const char *pNodeName,
    bgp_address_family_redistribute_universal_val *buff, uint32_t *buff_len, uint32_t *sub_mod);

// --- Change callbacks --------------------------------------------------------
//
// Each sends what changed below its path to the daemon during the change event
// and does nothing on done and abort. A result other than SR_ERR_OK refuses
// the edit: a code of the daemon, of the transport or of the plug-in.
// All except the first read g_bgp_id from the datastore on every event. While
// no AS is configured, they refuse every change except deletions. They do not
// use module, request_id and priv.

// The AS number of the instance.
int bgp_config_as_change_cb(sr_session_ctx_t *session, const char *module, const char *p_xpath,
                            sr_event_t event, uint32_t request_id, void *priv);

// The router identifier and the global neighbors.
int bgp_config_globle_bgp_change_cb(sr_session_ctx_t *session, const char *module,
                                    const char *p_xpath, sr_event_t event, uint32_t request_id,
                                    void *priv);

// Networks, neighbors and redistribution of the address families.
int bgp_config_address_family_change_cb(sr_session_ctx_t *session, const char *module,
                                        const char *p_xpath, sr_event_t event, uint32_t request_id,
                                        void *priv);

// The same for the address families of VRFs, and the entries of these families.
int bgp_config_address_family_vrf_change_cb(sr_session_ctx_t *session, const char *module,
                                            const char *p_xpath, sr_event_t event,
                                            uint32_t request_id, void *priv);

// --- Reply parsers -----------------------------------------------------------
//
// Each resizes the array *output once, from *output_cnt values to the number
// that the reply announces, writes one value per leaf from the start of the
// array and sets *output_cnt. XPaths and texts are copies; sysrepo owns them and
// the array. They only read reply_buf, of which BUF_SIZE_MAX bytes must be
// readable, as in the transport's buffer.
//
// They return 0. They return -1 and leave *output_cnt as it was for a NULL
// argument, for the reply to another query, without memory for the array, and
// for counts that exceed the reply or the array; in that case they print why.

// Without memory for the array it uses the array as it is.
int ip_bgp_evpn_output_parse(sr_val_t **output, size_t *output_cnt, netconf_data_struc *reply_buf);

// For an empty table it writes nothing and leaves *output_cnt as it was.
int ip_bgp_info_output_parse(sr_val_t **output, size_t *output_cnt, netconf_data_struc *reply_buf);

// Returns 1 for an AFI or SAFI without a name. The values written so far then
// stay in the array, and *output_cnt stays as it was.
int ip_bgp_neighbor_output_parse(sr_val_t **output, size_t *output_cnt,
                                 netconf_data_struc *reply_buf);

// Without neighbors it writes nothing and leaves *output_cnt as it was.
int ip_bgp_summary_output_parse(sr_val_t **output, size_t *output_cnt,
                                netconf_data_struc *reply_buf);

// --- Query requests ----------------------------------------------------------

// Sends the query record `input` (inDataLen bytes) over the connected socket
// `context` and returns the reply, or NULL. The reply is in the transport's
// buffer: do not free it. The next query overwrites it.
netconf_data_struc *bgp_plugin_send_and_receive(int context, void *input, int inDataLen,
                                                int sub_mod);

// The same on a new connection, which it closes after the query.
netconf_data_struc *bgp_plugin_get(void *input, int inDataLen, int sub_mod);

// Writes the RPC's inputs into a query record: a bgp_rpc_ip_bgp_info_input for
// subMod 19, a bgp_rpc_ip_bgp_summary_input for 21. The record's first field
// must hold the number of inputs. Returns 0, 1 for another subMod or 14 for a
// NULL argument. Prints why and returns SR_ERR_INVALID_VALUE for an input that
// does not fit its field.
int bgp_input_parse(const sr_val_t *input, void *inData, int subMod);

// --- RPC callbacks -----------------------------------------------------------
//
// Each sends its input to the daemon as a query, on a separate connection,
// and returns the reply as output values, which sysrepo owns. They return
// SR_ERR_OK, SR_ERR_INVAL_ARG when a required argument is missing,
// SR_ERR_OPERATION_FAILED for any event other than SR_EV_RPC,
// SR_ERR_INVALID_VALUE for an input that does not fit its field in the query,
// SR_ERR_CALLBACK_FAILED without a reply, or the result of the reply's parser.

int ip_bgp_evpn_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                   size_t input_cnt, sr_event_t event, uint32_t request_id, sr_val_t **output,
                   size_t *output_cnt, void *private_data);
int ip_bgp_info_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                   size_t input_cnt, sr_event_t event, uint32_t request_id, sr_val_t **output,
                   size_t *output_cnt, void *private_data);
int ip_bgp_neighbor_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                       size_t input_cnt, sr_event_t event, uint32_t request_id, sr_val_t **output,
                       size_t *output_cnt, void *private_data);
int ip_bgp_summary_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                      size_t input_cnt, sr_event_t event, uint32_t request_id, sr_val_t **output,
                      size_t *output_cnt, void *private_data);

// Has no output: any reply is success. Without an AS it does nothing.
int clear_ip_bgp_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                    size_t input_cnt, sr_event_t event, uint32_t request_id, sr_val_t **output,
                    size_t *output_cnt, void *private_data);

// --- Life cycle --------------------------------------------------------------

// Registers every callback on one subscription, which sysrepo keeps; does not
// set private_ctx. If a registration fails, it undoes those before it and
// returns the code of the failure, otherwise SR_ERR_OK.
int sr_plugin_init_cb(sr_session_ctx_t *session, void **private_ctx);

// Unsubscribes the host's private_ctx, which initialization never set. The
// connection to the daemon stays open.
void sr_plugin_cleanup_cb(sr_session_ctx_t *session, void *private_ctx);

} // extern "C"

#endif
