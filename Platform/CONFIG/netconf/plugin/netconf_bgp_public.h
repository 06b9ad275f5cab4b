/*
 * The BGP records of the daemon protocol: the payload of a message with module
 * MODULE_ID_BGP, by its sub-module code. Plain C11 and C++17: the daemon
 * includes this file too.
 *
 * Numbers are in host byte order. A text fills the start of its field, followed by
 * zeros. A text as long as its field has no terminator.
 *
 * A configuration record sets or deletes one setting, which its sub-module code
 * names; for a network or a redistribution, the keys and the leaves that changed.
 * The record keeps the bytes of the records before it in the same edit; only a
 * change of a list entry's first key leaf clears it. Fields that the code does not
 * name, and padding, may therefore hold anything. A flag is set if it is not 0.
 *
 * The EVPN reply is a packed stream of counts, flags and NUL-terminated texts, not
 * a record. Its layout follows its query.
 */
#ifndef NETCONF_BGP_PUBLIC_H
#define NETCONF_BGP_PUBLIC_H

#include "netconf_public.h"

/* Sub-module codes: settings, then queries (BGP_SUB_RPC_*). */
enum {
    BGP_SUB_BGP_AS = 1,
    BGP_SUB_ROUTER_ID = 2,
    BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS = 3,
    BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION = 4,
    BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP = 5,
    BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE = 6,
    BGP_SUB_NETWORK = 7,
    BGP_SUB_REDISTRIBUTE = 8,
    BGP_SUB_NEIGHBOR_ACTIVATE = 9,
    BGP_SUB_NEIGHBOR_NEXT_HOP_SELF = 10,
    BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET = 11,
    BGP_SUB_ADDRESS_FAMILY_VRF = 12,
    BGP_SUB_NEIGHBOR_VRF_REMOTE_AS = 13,
    BGP_SUB_NEIGHBOR_VRF_ACTIVATE = 14,
    BGP_SUB_NEIGHBOR_VRF_DESCRIPTION = 15,
    BGP_SUB_NEIGHBOR_VRF_MULTIHOP = 16,
    BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE = 17,
    BGP_SUB_RPC_IP_BGP_EVPN = 18,
    BGP_SUB_RPC_IP_BGP_INFO = 19,
    BGP_SUB_RPC_IP_BGP_NEIGHBOR = 20,
    BGP_SUB_RPC_IP_BGP_SUMMARY = 21,
    BGP_SUB_RPC_CLEAR_IP_BGP = 22,
    BGP_SUB_MAX = 23 /* bound, never sent */
};

/* Operations: `op` of a configuration record. */
enum { BGP_OP_SET = 1, BGP_OP_DELETE = 0, BGP_OP_OTHER = -1 };

/* Address families and sub-address families. */
enum { BGP_AFI_IP = 1, BGP_AFI_IPV6 = 2, BGP_AFI_L2VPN = 3 };
enum { BGP_SAFI_UNICAST = 1, BGP_SAFI_MULTICAST = 2, BGP_SAFI_EVPN = 5, BGP_SAFI_VRF = 71 };

/*
 * BGP_SUB_BGP_AS: the AS number of the BGP instance.
 *
 * bgp_as_val: 8 bytes
 *
 *   offset size  field
 *        0    4  op                      1 set, 0 delete, -1 anything else
 *        4    4  as                      AS number: the new one of a set, the old one of a delete
 */
typedef struct bgp_as_val {
    int32_t op;
    uint32_t as;
} bgp_as_val;

NETCONF_FIELD(bgp_as_val, op, 0);
NETCONF_FIELD(bgp_as_val, as, 4);
NETCONF_RECORD(bgp_as_val, 8);

/*
 * BGP_SUB_ROUTER_ID: settings of the BGP instance itself.
 *
 * bgp_globle_config: 44 bytes
 *
 *   offset size  field
 *        0    4  op                      1 set, 0 delete, -1 anything else
 *        4    4  bgp_id                  AS number of the instance
 *        8   33  router_id               router identifier
 *       41    3  reserved                zero
 */
typedef struct bgp_globle_config {
    int32_t op;
    uint32_t bgp_id;
    char router_id[33];
    char reserved[3];
} bgp_globle_config;

NETCONF_FIELD(bgp_globle_config, op, 0);
NETCONF_FIELD(bgp_globle_config, bgp_id, 4);
NETCONF_FIELD(bgp_globle_config, router_id, 8);
NETCONF_FIELD(bgp_globle_config, reserved, 41);
NETCONF_RECORD(bgp_globle_config, 44);

/*
 * BGP_SUB_GLOBLE_NEIGHBOR_*: one setting of a global neighbor, named by the
 * sub-module code.
 *
 * bgp_globle_neighbor_config: 412 bytes
 *
 *   offset size  field
 *        0    4  op                      1 set, 0 delete, -1 anything else
 *        4    4  bgp_id                  AS number of the instance
 *        8   47  neighbor_ip_or_tag      address of the neighbor
 *       55   13  remote_as               AS number of the neighbor
 *       68   81  description
 *      149  257  update_source           interface or address that the session starts from
 *      406    2  reserved
 *      408    4  ebgp_multihop           hop count
 */
typedef struct bgp_globle_neighbor_config {
    int32_t op;
    uint32_t bgp_id;
    char neighbor_ip_or_tag[47];
    char remote_as[13];
    char description[81];
    char update_source[257];
    char reserved[2];
    uint32_t ebgp_multihop;
} bgp_globle_neighbor_config;

NETCONF_FIELD(bgp_globle_neighbor_config, op, 0);
NETCONF_FIELD(bgp_globle_neighbor_config, bgp_id, 4);
NETCONF_FIELD(bgp_globle_neighbor_config, neighbor_ip_or_tag, 8);
NETCONF_FIELD(bgp_globle_neighbor_config, remote_as, 55);
NETCONF_FIELD(bgp_globle_neighbor_config, description, 68);
NETCONF_FIELD(bgp_globle_neighbor_config, update_source, 149);
NETCONF_FIELD(bgp_globle_neighbor_config, reserved, 406);
NETCONF_FIELD(bgp_globle_neighbor_config, ebgp_multihop, 408);
NETCONF_RECORD(bgp_globle_neighbor_config, 412);

/*
 * BGP_SUB_ADDRESS_FAMILY_VRF: an address family of a VRF; embedded in the records
 * below, where it is the key and op and bgp_id stay 0.
 *
 * address_family_val: 84 bytes
 *
 *   offset size  field
 *        0    4  op                      1 set, 0 delete, -1 anything else
 *        4    4  bgp_id                  AS number of the instance
 *        8    4  afi                     1 IPv4, 2 IPv6, 3 L2VPN
 *       12    4  safi                    1 unicast, 2 multicast, 5 EVPN, 71 VRF
 *       16   65  vrf_name                empty outside a VRF
 *       81    3  reserved                zero
 */
typedef struct address_family_val {
    int32_t op;
    uint32_t bgp_id;
    uint32_t afi;
    uint32_t safi;
    char vrf_name[65];
    char reserved[3];
} address_family_val;

NETCONF_FIELD(address_family_val, op, 0);
NETCONF_FIELD(address_family_val, bgp_id, 4);
NETCONF_FIELD(address_family_val, afi, 8);
NETCONF_FIELD(address_family_val, safi, 12);
NETCONF_FIELD(address_family_val, vrf_name, 16);
NETCONF_FIELD(address_family_val, reserved, 81);
NETCONF_RECORD(address_family_val, 84);

/*
 * BGP_SUB_NETWORK: a network that an address family announces.
 *
 * bgp_address_family_network_universal_val: 404 bytes
 *
 *   offset size  field
 *        0    4  op                      1 set, 0 delete, -1 anything else
 *        4    4  bgp_id                  AS number of the instance
 *        8   84  address_family          the family, and the VRF
 *       92   50  network_ip_str          prefix, the key
 *      142  257  route_map
 *      399    1  reserved
 *      400    4  backdoor                1 when the change concerned it
 */
typedef struct bgp_address_family_network_universal_val {
    int32_t op;
    uint32_t bgp_id;
    address_family_val address_family;
    char network_ip_str[50];
    char route_map[257];
    char reserved[1];
    uint32_t backdoor;
} bgp_address_family_network_universal_val;

NETCONF_FIELD(bgp_address_family_network_universal_val, op, 0);
NETCONF_FIELD(bgp_address_family_network_universal_val, bgp_id, 4);
NETCONF_FIELD(bgp_address_family_network_universal_val, address_family, 8);
NETCONF_FIELD(bgp_address_family_network_universal_val, network_ip_str, 92);
NETCONF_FIELD(bgp_address_family_network_universal_val, route_map, 142);
NETCONF_FIELD(bgp_address_family_network_universal_val, reserved, 399);
NETCONF_FIELD(bgp_address_family_network_universal_val, backdoor, 400);
NETCONF_RECORD(bgp_address_family_network_universal_val, 404);

/*
 * BGP_SUB_REDISTRIBUTE: a protocol whose routes an address family announces.
 *
 * bgp_address_family_redistribute_universal_val: 376 bytes
 *
 *   offset size  field
 *        0    4  op                      1 set, 0 delete, -1 anything else
 *        4    4  bgp_id                  AS number of the instance
 *        8   84  address_family          the family, and the VRF
 *       92   11  protocol_name           first key
 *      103   16  protocol_id_or_tag      process, second key
 *      119  257  route_map
 */
typedef struct bgp_address_family_redistribute_universal_val {
    int32_t op;
    uint32_t bgp_id;
    address_family_val address_family;
    char protocol_name[11];
    char protocol_id_or_tag[16];
    char route_map[257];
} bgp_address_family_redistribute_universal_val;

NETCONF_FIELD(bgp_address_family_redistribute_universal_val, op, 0);
NETCONF_FIELD(bgp_address_family_redistribute_universal_val, bgp_id, 4);
NETCONF_FIELD(bgp_address_family_redistribute_universal_val, address_family, 8);
NETCONF_FIELD(bgp_address_family_redistribute_universal_val, protocol_name, 92);
NETCONF_FIELD(bgp_address_family_redistribute_universal_val, protocol_id_or_tag, 103);
NETCONF_FIELD(bgp_address_family_redistribute_universal_val, route_map, 119);
NETCONF_RECORD(bgp_address_family_redistribute_universal_val, 376);

/*
 * BGP_SUB_NEIGHBOR_*: one setting of a neighbor in an address family,
 * named by the sub-module code.
 *
 * bgp_address_family_neighbor_universal_val: 508 bytes
 *
 *   offset size  field
 *        0    4  op                      1 set, 0 delete, -1 anything else
 *        4    4  bgp_id                  AS number of the instance
 *        8   84  address_family          the family, and the VRF
 *       92   47  neighbor_ip_or_tag      address, the key
 *      139    1  reserved
 *      140    4  active                  1 when the change concerned it
 *      144    4  next_hop_self           1 when the change concerned it; not in a VRF
 *      148   13  remote_as               VRF only
 *      161   81  description             VRF only
 *      242  257  update_source           VRF only
 *      499    1  reserved2
 *      500    4  ebgp_multihop           hop count; VRF only
 *      504    4  route_reflector_client  1 when the change concerned it; not in a VRF
 */
typedef struct bgp_address_family_neighbor_universal_val {
    int32_t op;
    uint32_t bgp_id;
    address_family_val address_family;
    char neighbor_ip_or_tag[47];
    char reserved[1];
    uint32_t active;
    uint32_t next_hop_self;
    char remote_as[13];
    char description[81];
    char update_source[257];
    char reserved2[1];
    uint32_t ebgp_multihop;
    uint32_t route_reflector_client;
} bgp_address_family_neighbor_universal_val;

NETCONF_FIELD(bgp_address_family_neighbor_universal_val, op, 0);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, bgp_id, 4);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, address_family, 8);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, neighbor_ip_or_tag, 92);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, reserved, 139);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, active, 140);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, next_hop_self, 144);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, remote_as, 148);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, description, 161);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, update_source, 242);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, reserved2, 499);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, ebgp_multihop, 500);
NETCONF_FIELD(bgp_address_family_neighbor_universal_val, route_reflector_client, 504);
NETCONF_RECORD(bgp_address_family_neighbor_universal_val, 508);

/*
 * BGP_SUB_RPC_IP_BGP_EVPN, query.
 *
 * bgp_rpc_ip_bgp_evpn: 84 bytes
 *
 *   offset size  field
 *        0    4  type                    0xFFFFFFFF all routes, else the EVPN route type, or 0
 *        4   80  evpn_route_str          the one route asked for, or empty
 */
typedef struct bgp_rpc_ip_bgp_evpn {
    uint32_t type;
    char evpn_route_str[80];
} bgp_rpc_ip_bgp_evpn;

NETCONF_FIELD(bgp_rpc_ip_bgp_evpn, type, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_evpn, evpn_route_str, 4);
NETCONF_RECORD(bgp_rpc_ip_bgp_evpn, 84);

/*
 * BGP_SUB_RPC_IP_BGP_EVPN, reply: numbers of 4 bytes, flags of 1 byte and texts
 * that end with a NUL, one after the other, without alignment.
 *
 *   +-----------+-----------+----------------------------
 *   | get_count | rd_number | route distinguishers
 *   +-----------+-----------+----------------------------
 *   route distinguisher, rd_number times:
 *   +-- ... -+-------------------+-----------------------
 *   | rd_str | evpn_route_number | routes
 *   +-- ... -+-------------------+-----------------------
 *   route, evpn_route_number times:
 *   +---- ... -------+------------+-------------+-------------+
 *   | evpn_route_str | valid_flag | select_flag | source_type |
 *   +---- ... -------+------------+-------------+-------------+
 *   | extcommu_str_len | evpn_extcommunity_str  | only if extcommu_str_len is not 0
 *   +------------------+-------- ... -----------+
 *   | vni_str_len      | evpn_vni_str           | only if vni_str_len is not 0
 *   +------------------+-------- ... -----------+
 *   | nexthop_number   | next hops
 *   +------------------+-------------------------------------
 *   next hop, nexthop_number times:
 *   +---- ... ----+--------+--------+--------+---- ... ---+
 *   | nexthop_str | metric | locPrf | weight | aspath_str |
 *   +---- ... ----+--------+--------+--------+---- ... ---+
 *
 * get_count is the number of output values of the whole reply: three for a route,
 * one for each text that is present, four for a next hop. The two lengths only say
 * whether a text follows.
 */

/*
 * BGP_SUB_RPC_IP_BGP_INFO, query.
 *
 * bgp_rpc_ip_bgp_info_input: 116 bytes
 *
 *   offset size  field
 *        0    4  input_cnt               number of inputs that the client gave
 *        4   64  vrf_name
 *       68    4  ip_type                 1 IPv4, 2 other, 0 not given
 *       72    4  all                     2 asked for, 1 no input at all, else 0
 *       76   17  ipaddr                  IPv4 address
 *       93   21  ipaddr_str              prefix
 *      114    2  reserved                zero
 */
typedef struct bgp_rpc_ip_bgp_info_input {
    uint32_t input_cnt;
    char vrf_name[64];
    uint32_t ip_type;
    uint32_t all;
    char ipaddr[17];
    char ipaddr_str[21];
    char reserved[2];
} bgp_rpc_ip_bgp_info_input;

NETCONF_FIELD(bgp_rpc_ip_bgp_info_input, input_cnt, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_input, vrf_name, 4);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_input, ip_type, 68);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_input, all, 72);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_input, ipaddr, 76);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_input, ipaddr_str, 93);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_input, reserved, 114);
NETCONF_RECORD(bgp_rpc_ip_bgp_info_input, 116);

/*
 * BGP_SUB_RPC_IP_BGP_NEIGHBOR, query.
 *
 * bgp_rpc_ip_bgp_neighbor_input: 116 bytes
 *
 *   offset size  field
 *        0    4  all                     1 all neighbors
 *        4   47  neighbor_addr
 *       51   65  vrf_name
 */
typedef struct bgp_rpc_ip_bgp_neighbor_input {
    uint32_t all;
    char neighbor_addr[47];
    char vrf_name[65];
} bgp_rpc_ip_bgp_neighbor_input;

NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_input, all, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_input, neighbor_addr, 4);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_input, vrf_name, 51);
NETCONF_RECORD(bgp_rpc_ip_bgp_neighbor_input, 116);

/*
 * BGP_SUB_RPC_IP_BGP_SUMMARY, query.
 *
 * bgp_rpc_ip_bgp_summary_input: 76 bytes
 *
 *   offset size  field
 *        0    4  input_cnt               number of inputs that the client gave
 *        4   64  vrf_name
 *       68    4  ip_type                 1 IPv4, 2 other, 0 not given
 *       72    4  all                     always 1
 */
typedef struct bgp_rpc_ip_bgp_summary_input {
    uint32_t input_cnt;
    char vrf_name[64];
    uint32_t ip_type;
    uint32_t all;
} bgp_rpc_ip_bgp_summary_input;

NETCONF_FIELD(bgp_rpc_ip_bgp_summary_input, input_cnt, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_input, vrf_name, 4);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_input, ip_type, 68);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_input, all, 72);
NETCONF_RECORD(bgp_rpc_ip_bgp_summary_input, 76);

/*
 * BGP_SUB_RPC_CLEAR_IP_BGP, query.
 *
 * bgp_rpc_clear_ip_bgp_input: 92 bytes
 *
 *   offset size  field
 *        0   84  address_family          only its vrf_name is filled
 *       84    4  clear_all               1 no input at all, else 0
 *       88    4  reconfig_type           1 in, 2 out, 3 soft, 0 not given
 */
typedef struct bgp_rpc_clear_ip_bgp_input {
    address_family_val address_family;
    uint32_t clear_all;
    uint32_t reconfig_type;
} bgp_rpc_clear_ip_bgp_input;

NETCONF_FIELD(bgp_rpc_clear_ip_bgp_input, address_family, 0);
NETCONF_FIELD(bgp_rpc_clear_ip_bgp_input, clear_all, 84);
NETCONF_FIELD(bgp_rpc_clear_ip_bgp_input, reconfig_type, 88);
NETCONF_RECORD(bgp_rpc_clear_ip_bgp_input, 92);

/*
 * BGP_SUB_RPC_IP_BGP_INFO, reply: the table. The payload is a 4-byte total of all
 * next hops, this record, then for each network an _output_entry and its
 * _next_hop_output_entry records.
 *
 * bgp_rpc_ip_bgp_info_output_public: 56 bytes
 *
 *   offset size  field
 *        0    4  version                 table version
 *        4   47  router_id
 *       51    1  reserved
 *       52    4  prefix_number           networks that follow
 */
typedef struct bgp_rpc_ip_bgp_info_output_public {
    uint32_t version;
    char router_id[47];
    char reserved[1];
    uint32_t prefix_number;
} bgp_rpc_ip_bgp_info_output_public;

NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_public, version, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_public, router_id, 4);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_public, reserved, 51);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_public, prefix_number, 52);
NETCONF_RECORD(bgp_rpc_ip_bgp_info_output_public, 56);

/*
 * BGP_SUB_RPC_IP_BGP_INFO, reply: a network.
 *
 * bgp_rpc_ip_bgp_info_output_entry: 56 bytes
 *
 *   offset size  field
 *        0   47  network                 network address, the key
 *       47    1  reserved
 *       48    2  mask_len
 *       50    2  reserved2
 *       52    4  nextop_num              next hops that follow
 */
typedef struct bgp_rpc_ip_bgp_info_output_entry {
    char network[47];
    char reserved[1];
    uint16_t mask_len;
    char reserved2[2];
    uint32_t nextop_num;
} bgp_rpc_ip_bgp_info_output_entry;

NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_entry, network, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_entry, reserved, 47);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_entry, mask_len, 48);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_entry, reserved2, 50);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_output_entry, nextop_num, 52);
NETCONF_RECORD(bgp_rpc_ip_bgp_info_output_entry, 56);

/*
 * BGP_SUB_RPC_IP_BGP_INFO, reply: a next hop of a network.
 *
 * bgp_rpc_ip_bgp_info_next_hop_output_entry: 92 bytes
 *
 *   offset size  field
 *        0   47  nexthop                 first key
 *       47   11  metric                  as text, second key
 *       58    2  reserved
 *       60    4  loc_prf                 local preference
 *       64    4  weight
 *       68   21  path                    AS path, third key
 *       89    1  valid_flag              1 valid
 *       90    1  select_flag             1 best
 *       91    1  source_type             1 internal, 2 local
 */
typedef struct bgp_rpc_ip_bgp_info_next_hop_output_entry {
    char nexthop[47];
    char metric[11];
    char reserved[2];
    uint32_t loc_prf;
    uint32_t weight;
    char path[21];
    char valid_flag;
    char select_flag;
    char source_type;
} bgp_rpc_ip_bgp_info_next_hop_output_entry;

NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, nexthop, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, metric, 47);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, reserved, 58);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, loc_prf, 60);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, weight, 64);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, path, 68);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, valid_flag, 89);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, select_flag, 90);
NETCONF_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, source_type, 91);
NETCONF_RECORD(bgp_rpc_ip_bgp_info_next_hop_output_entry, 92);

/*
 * BGP_SUB_RPC_IP_BGP_NEIGHBOR, reply: a peer. The payload is a 4-byte count of
 * peers, then for each peer this record and its _output_addrsss_family records.
 *
 * bgp_rpc_ip_bgp_neighbor_output_neighbor: 312 bytes
 *
 *   offset size  field
 *        0   47  neighbor_addr           first key
 *       47   65  vrf_name                second key
 *      112    4  remote_as
 *      116    4  local_as
 *      120    2  version                 BGP version
 *      122   47  remote_router_id
 *      169   33  state                   session state as text
 *      202    2  reserved
 *      204    4  home_time               hold time, seconds
 *      208    4  interval                keepalive interval, seconds
 *      212    4  messages_in
 *      216    4  notifications_in
 *      220    4  queue_in
 *      224    4  messages_out
 *      228    4  notifications_out
 *      232    4  queue_out
 *      236    4  refresh_in
 *      240    4  refresh_out
 *      244    4  adver_interval          advertisement interval, seconds
 *      248   47  update_source
 *      295    1  reserved2
 *      296    4  connection_established
 *      300    4  connection_dropped
 *      304    4  next_connect_timer      seconds
 *      308    4  address_family_cnt      address-family records that follow
 */
typedef struct bgp_rpc_ip_bgp_neighbor_output_neighbor {
    char neighbor_addr[47];
    char vrf_name[65];
    uint32_t remote_as;
    uint32_t local_as;
    uint16_t version;
    char remote_router_id[47];
    char state[33];
    char reserved[2];
    uint32_t home_time;
    uint32_t interval;
    uint32_t messages_in;
    uint32_t notifications_in;
    uint32_t queue_in;
    uint32_t messages_out;
    uint32_t notifications_out;
    uint32_t queue_out;
    uint32_t refresh_in;
    uint32_t refresh_out;
    uint32_t adver_interval;
    char update_source[47];
    char reserved2[1];
    uint32_t connection_established;
    uint32_t connection_dropped;
    uint32_t next_connect_timer;
    uint32_t address_family_cnt;
} bgp_rpc_ip_bgp_neighbor_output_neighbor;

NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, neighbor_addr, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, vrf_name, 47);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, remote_as, 112);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, local_as, 116);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, version, 120);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, remote_router_id, 122);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, state, 169);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, reserved, 202);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, home_time, 204);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, interval, 208);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, messages_in, 212);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, notifications_in, 216);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, queue_in, 220);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, messages_out, 224);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, notifications_out, 228);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, queue_out, 232);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, refresh_in, 236);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, refresh_out, 240);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, adver_interval, 244);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, update_source, 248);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, reserved2, 295);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, connection_established, 296);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, connection_dropped, 300);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, next_connect_timer, 304);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, address_family_cnt, 308);
NETCONF_RECORD(bgp_rpc_ip_bgp_neighbor_output_neighbor, 312);

/*
 * BGP_SUB_RPC_IP_BGP_NEIGHBOR, reply: an address family of a peer.
 *
 * bgp_rpc_ip_bgp_neighbor_output_addrsss_family: 108 bytes
 *
 *   offset size  field
 *        0   84  address_family          only afi and safi count
 *       84    4  table_version
 *       88    4  neighbor_version
 *       92    4  index
 *       96    1  offset
 *       97    1  mask
 *       98    1  route_reflector_client  non-zero: set
 *       99    1  community_attribute     non-zero: set
 *      100    4  prefix_accepted_statis  prefixes accepted
 *      104    4  prefix_announced_statis prefixes announced
 */
typedef struct bgp_rpc_ip_bgp_neighbor_output_addrsss_family {
    address_family_val address_family;
    uint32_t table_version;
    uint32_t neighbor_version;
    uint32_t index;
    uint8_t offset;
    uint8_t mask;
    uint8_t route_reflector_client;
    uint8_t community_attribute;
    uint32_t prefix_accepted_statis;
    uint32_t prefix_announced_statis;
} bgp_rpc_ip_bgp_neighbor_output_addrsss_family;

NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, address_family, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, table_version, 84);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, neighbor_version, 88);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, index, 92);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, offset, 96);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, mask, 97);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, route_reflector_client, 98);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, community_attribute, 99);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, prefix_accepted_statis, 100);
NETCONF_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, prefix_announced_statis, 104);
NETCONF_RECORD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, 108);

/*
 * BGP_SUB_RPC_IP_BGP_SUMMARY, reply: the instance. The payload is this record and
 * its _output_entry records.
 *
 * bgp_rpc_ip_bgp_summary_output_neighbors: 84 bytes
 *
 *   offset size  field
 *        0   21  as                      local AS as text
 *       21   47  router_id
 *       68    4  version                 table version
 *       72    4  as_path_number          AS paths
 *       76    4  community_number        communities
 *       80    4  neighbor_number         entries that follow
 */
typedef struct bgp_rpc_ip_bgp_summary_output_neighbors {
    char as[21];
    char router_id[47];
    uint32_t version;
    uint32_t as_path_number;
    uint32_t community_number;
    uint32_t neighbor_number;
} bgp_rpc_ip_bgp_summary_output_neighbors;

NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_neighbors, as, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_neighbors, router_id, 21);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_neighbors, version, 68);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_neighbors, as_path_number, 72);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_neighbors, community_number, 76);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_neighbors, neighbor_number, 80);
NETCONF_RECORD(bgp_rpc_ip_bgp_summary_output_neighbors, 84);

/*
 * BGP_SUB_RPC_IP_BGP_SUMMARY, reply: a neighbor.
 *
 * bgp_rpc_ip_bgp_summary_output_entry: 160 bytes
 *
 *   offset size  field
 *        0   47  neighbor                address, the key
 *       47    1  version                 BGP version
 *       48   21  AS                      AS as text
 *       69    3  reserved
 *       72    4  msg_recvd
 *       76    4  msg_send
 *       80    4  tblver                  table version
 *       84    4  inq                     input queue
 *       88    4  outq                    output queue
 *       92   33  up_down                 time up or down, as text
 *      125   33  state_pfxrcd            state, or number of prefixes received
 *      158    2  reserved2
 */
typedef struct bgp_rpc_ip_bgp_summary_output_entry {
    char neighbor[47];
    uint8_t version;
    char AS[21];
    char reserved[3];
    uint32_t msg_recvd;
    uint32_t msg_send;
    uint32_t tblver;
    uint32_t inq;
    uint32_t outq;
    char up_down[33];
    char state_pfxrcd[33];
    char reserved2[2];
} bgp_rpc_ip_bgp_summary_output_entry;

NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, neighbor, 0);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, version, 47);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, AS, 48);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, reserved, 69);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, msg_recvd, 72);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, msg_send, 76);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, tblver, 80);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, inq, 84);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, outq, 88);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, up_down, 92);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, state_pfxrcd, 125);
NETCONF_FIELD(bgp_rpc_ip_bgp_summary_output_entry, reserved2, 158);
NETCONF_RECORD(bgp_rpc_ip_bgp_summary_output_entry, 160);

#endif
