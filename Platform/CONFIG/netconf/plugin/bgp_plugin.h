// What bgp_plugin.cpp offers: the two entry points and the callbacks to
// sysrepo, the helpers and parsers to tests and benchmarks as well. All of it
// has C linkage, so that a function's symbol is its name.
#ifndef BGP_PLUGIN_H
#define BGP_PLUGIN_H

#include "netconf_bgp_public.h"
#include "plugin_public.h"

extern "C" {

// --- Process-wide variables, 0 at load ---------------------------------------

// AS number of the configured BGP instance as the plug-in knows it; 0: none.
extern uint32_t g_bgp_id;

// Kept for what links against it; nothing reads or writes it.
extern int bgp_nc;

// Non-zero: the plug-in's logic traces what it does; set from outside.
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

// The way back: a constant name, or NULL for any other number.
const char *bgp_key_afi_int_to_str(uint32_t afi);
const char *bgp_key_safi_int_to_str(uint32_t safi);

// 1 when the node is one of the containers around a list, which carry no
// setting of their own, otherwise 0.
int is_continue_by_node_name(const char *node_name);

// Reads the configured AS number as `session` sees it into *bgp_as. Returns
// SR_ERR_OK, SR_ERR_INVAL_ARG without a session, or SR_ERR_NOT_FOUND when it
// cannot be read or is 0; *bgp_as is then left as it was.
int ip_bgp_check_bgp_as_config_exist(sr_session_ctx_t *session, uint32_t *bgp_as);

// --- Change parsers ----------------------------------------------------------
//
// Each puts one change into the record `buff`, which keeps what earlier changes
// put there: only the change of a list entry's first key leaf clears it.
// use_val is the chosen value; taking a key out of its path may cut the path
// with a NUL. *buff_len receives the record's size in bytes, *sub_mod the
// sub-module code of a leaf that has one. Nothing is kept or freed.
//
// All return SR_ERR_INTERNAL without an argument they need or without the list
// key, and SR_ERR_INVALID_VALUE, after saying why, for a text that does not
// fit its field.

// A global neighbour. Returns 1 when the record is ready to be sent, 0 when
// there is nothing to send yet, or one of the two codes above.
int container_bgp_globle_neighbor_plugin_change_parse(sr_session_ctx_t *session,
                                                      sr_change_oper_t changeOp, sr_val_t *use_val,
                                                      const char *pNodeName,
                                                      bgp_globle_neighbor_config *buff,
                                                      uint32_t *buff_len, uint32_t *sub_mod);

// The lists of an address family; family_data is the family's key and is only
// read. They return SR_ERR_OK or one of the two codes above.
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

// The lists of a VRF's address family, in the same way.
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
// the edit: the daemon's own code, the transport's, or one of the plug-in's.
// All but the first refresh g_bgp_id from the datastore on every event, and
// refuse everything but deletions while no AS is configured. module,
// request_id and priv are not used.

// The AS number of the instance.
int bgp_config_as_change_cb(sr_session_ctx_t *session, const char *module, const char *p_xpath,
                            sr_event_t event, uint32_t request_id, void *priv);

// The router identifier and the global neighbours.
int bgp_config_globle_bgp_change_cb(sr_session_ctx_t *session, const char *module,
                                    const char *p_xpath, sr_event_t event, uint32_t request_id,
                                    void *priv);

// Networks, neighbours and redistribution of the address families.
int bgp_config_address_family_change_cb(sr_session_ctx_t *session, const char *module,
                                        const char *p_xpath, sr_event_t event, uint32_t request_id,
                                        void *priv);

// The same for the address families of VRFs, and these families themselves.
int bgp_config_address_family_vrf_change_cb(sr_session_ctx_t *session, const char *module,
                                            const char *p_xpath, sr_event_t event,
                                            uint32_t request_id, void *priv);

// --- Reply parsers -----------------------------------------------------------
//
// Each sizes the array *output once, from *output_cnt values to what the reply
// announces, writes one value per leaf from the array's start and sets
// *output_cnt. XPaths and texts are copies that belong to sysrepo with the
// array. reply_buf is only read; BUF_SIZE_MAX bytes may be read from it, as of
// a reply in the transport's buffer.
//
// They return 0, or -1 for a NULL argument, for another query's reply, without
// memory for the array, and, after saying why, for counts that lead outside
// reply or array; *output_cnt is then left as it was.

// Without memory for the array it goes on with the room that there is.
int ip_bgp_evpn_output_parse(sr_val_t **output, size_t *output_cnt, netconf_data_struc *reply_buf);

// An empty table writes nothing and leaves *output_cnt as it was.
int ip_bgp_info_output_parse(sr_val_t **output, size_t *output_cnt, netconf_data_struc *reply_buf);

// Returns 1 for an address family that has no name: the values written so far
// stay in the array, *output_cnt is left as it was.
int ip_bgp_neighbor_output_parse(sr_val_t **output, size_t *output_cnt,
                                 netconf_data_struc *reply_buf);

// No neighbours: writes nothing and leaves *output_cnt as it was.
int ip_bgp_summary_output_parse(sr_val_t **output, size_t *output_cnt,
                                netconf_data_struc *reply_buf);

// --- Query requests ----------------------------------------------------------

// Sends the query record `input` (inDataLen bytes) over the connected socket
// `context` and returns the reply, or NULL. The reply lies in the transport's
// buffer: nobody frees it, and the next query overwrites it.
netconf_data_struc *bgp_plugin_send_and_receive(int context, void *input, int inDataLen,
                                                int sub_mod);

// The same on a connection opened and closed for the one query.
netconf_data_struc *bgp_plugin_get(void *input, int inDataLen, int sub_mod);

// Puts the RPC's inputs into a query record: a bgp_rpc_ip_bgp_info_input for
// subMod 19, a bgp_rpc_ip_bgp_summary_input for 21. The number of inputs is
// read from the record's first field. Returns 0, 1 for another subMod, 14 for
// a NULL argument, or SR_ERR_INVALID_VALUE, after saying why, for an input
// that does not fit its field.
int bgp_input_parse(const sr_val_t *input, void *inData, int subMod);

// --- RPC callbacks -----------------------------------------------------------
//
// Each turns its input into a query to the daemon, on a connection of its own,
// and the reply into output values, which belong to sysrepo. They return
// SR_ERR_OK, SR_ERR_INVAL_ARG without an argument they need,
// SR_ERR_OPERATION_FAILED for any event but SR_EV_RPC, SR_ERR_INVALID_VALUE for
// an input that does not fit its field in the query, SR_ERR_CALLBACK_FAILED
// without a reply, or what the reply's parser returns.

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

// Has no output: any reply is success. Does nothing while no AS is configured.
int clear_ip_bgp_cb(sr_session_ctx_t *session, const char *path, const sr_val_t *input,
                    size_t input_cnt, sr_event_t event, uint32_t request_id, sr_val_t **output,
                    size_t *output_cnt, void *private_data);

// --- Life cycle --------------------------------------------------------------

// Registers every callback on one subscription, which stays with sysrepo:
// private_ctx is left untouched. Returns SR_ERR_OK, or the code of the first
// registration that failed, after undoing those before it.
int sr_plugin_init_cb(sr_session_ctx_t *session, void **private_ctx);

// Unsubscribes the host's private_ctx, which initialisation never set. The
// daemon connection stays open.
void sr_plugin_cleanup_cb(sr_session_ctx_t *session, void *private_ctx);

} // extern "C"

#endif
