// Reply fields: what the records of the daemon's replies hold, and as which
// leaves they are published.
#ifndef REPLY_FIELDS_H
#define REPLY_FIELDS_H

#include "netconf_bgp_public.h"

#include <string_view>

// A field's type on the wire.
enum class FieldType { text, byte, number16, number32 };

// How a field becomes a leaf's value.
enum class Publish {
    never,
    as_it_is,    // a text as SR_STRING_T, a number as the unsigned type of its size
    as_number32, // a number of any size as SR_UINT32_T
    low_16_bits, // SR_UINT16_T, modulo 65536
    zero_byte,   // SR_UINT8_T of 0, whatever the field holds
    boolean,     // SR_BOOL_T, non-zero is true
    unless_zero, // as it is; a zero is not published at all
    valid,       // SR_ENUM_T: 1 "valid", else "other"
    best,        // SR_ENUM_T: 1 "best", else "other"
    source,      // SR_ENUM_T: 1 "internal", 2 "local", else "other"
};

// A field of a record. Records are traced in row order and published in row order, starting at the
// record's first.
struct ReplyField {
    const char *trace; // its name in the traces
    FieldType type;
    std::size_t offset;
    std::size_t size;
    std::string_view leaf{}; // empty: not published
    Publish publish = Publish::never;
};

// A record and how it is traced.
struct ReplyRecord {
    const char *begin; // lines around its fields' lines
    const char *end;
    int column; // width of the names
    const ReplyField *fields;
    std::size_t field_count;
    std::size_t published_first = 0; // the row that publishing starts with, to come round to it
};

#define REPLY_FIELD(record, field) offsetof(record, field), sizeof(record::field)

// --- Summary -------------------------------------------------------------------

#define BLOCK(field) REPLY_FIELD(bgp_rpc_ip_bgp_summary_output_neighbors, field)
inline constexpr ReplyField summary_block_fields[] = {
    {"as", FieldType::text, BLOCK(as), "as", Publish::as_it_is},
    {"router_id", FieldType::text, BLOCK(router_id), "router-id", Publish::as_it_is},
    {"version", FieldType::number32, BLOCK(version), "version", Publish::as_it_is},
    {"as_path_number", FieldType::number32, BLOCK(as_path_number), "as-path-number",
     Publish::as_it_is},
    {"community_number", FieldType::number32, BLOCK(community_number), "community-number",
     Publish::as_it_is},
    {"neighbor_number", FieldType::number32, BLOCK(neighbor_number), "neighbor-number",
     Publish::as_it_is},
};
#undef BLOCK

#define ENTRY(field) REPLY_FIELD(bgp_rpc_ip_bgp_summary_output_entry, field)
inline constexpr ReplyField summary_entry_fields[] = {
    {"neighbor", FieldType::text, ENTRY(neighbor)},
    {"version", FieldType::byte, ENTRY(version), "version", Publish::as_it_is},
    {"AS", FieldType::text, ENTRY(AS), "AS", Publish::as_it_is},
    {"msg_recvd", FieldType::number32, ENTRY(msg_recvd), "msg-recvd", Publish::as_it_is},
    {"msg_send", FieldType::number32, ENTRY(msg_send), "msg-sent", Publish::as_it_is},
    {"tblver", FieldType::number32, ENTRY(tblver), "tblver", Publish::as_it_is},
    {"inq", FieldType::number32, ENTRY(inq), "inq", Publish::as_it_is},
    {"outq", FieldType::number32, ENTRY(outq), "outq", Publish::as_it_is},
    {"up_down", FieldType::text, ENTRY(up_down), "up-down", Publish::as_it_is},
    {"state_pfxrcd", FieldType::text, ENTRY(state_pfxrcd), "state-pfxrcd", Publish::as_it_is},
};
#undef ENTRY

inline constexpr ReplyRecord summary_block = {
    "ip_bgp_summary_output_parse neighbor information begin---------------",
    "ip_bgp_summary_output_parse neighbor information end-----------------", 20,
    summary_block_fields, sizeof summary_block_fields / sizeof *summary_block_fields};
inline constexpr ReplyRecord summary_entry = {
    "ip_bgp_summary_output_parse entry information begin---------------",
    "ip_bgp_summary_output_parse entry information end-----------------", 16, summary_entry_fields,
    sizeof summary_entry_fields / sizeof *summary_entry_fields};

// --- Neighbour detail ----------------------------------------------------------

#define PEER(field) REPLY_FIELD(bgp_rpc_ip_bgp_neighbor_output_neighbor, field)
inline constexpr ReplyField neighbor_peer_fields[] = {
    {"neighbor.neighbor_addr", FieldType::text, PEER(neighbor_addr)},
    {"neighbor.vrf_name", FieldType::text, PEER(vrf_name)},
    {"neighbor.remote_as", FieldType::number32, PEER(remote_as), "remote-as", Publish::low_16_bits},
    {"neighbor.local_as", FieldType::number32, PEER(local_as), "local-as", Publish::as_it_is},
    {"neighbor.version", FieldType::number16, PEER(version), "version", Publish::as_number32},
    {"neighbor.remote_router_id", FieldType::text, PEER(remote_router_id), "remote-router-id",
     Publish::as_it_is},
    {"neighbor.state", FieldType::text, PEER(state), "state", Publish::as_it_is},
    {"neighbor.home_time", FieldType::number32, PEER(home_time), "hold-time", Publish::as_it_is},
    {"neighbor.interval", FieldType::number32, PEER(interval), "interval", Publish::as_it_is},
    {"neighbor.messages_in", FieldType::number32, PEER(messages_in), "messages-in",
     Publish::as_it_is},
    {"neighbor.notifications_in", FieldType::number32, PEER(notifications_in), "notifications-in",
     Publish::as_it_is},
    {"neighbor.queue_in", FieldType::number32, PEER(queue_in), "queue-in", Publish::as_it_is},
    {"neighbor.messages_out", FieldType::number32, PEER(messages_out), "messages-out",
     Publish::as_it_is},
    {"neighbor.notifications_out", FieldType::number32, PEER(notifications_out),
     "notifications-out", Publish::as_it_is},
    {"neighbor.queue_out", FieldType::number32, PEER(queue_out), "queue-out", Publish::as_it_is},
    {"neighbor.refresh_in", FieldType::number32, PEER(refresh_in), "refresh-in", Publish::as_it_is},
    {"neighbor.refresh_out", FieldType::number32, PEER(refresh_out), "refresh-out",
     Publish::as_it_is},
    {"neighbor.adver_interval", FieldType::number32, PEER(adver_interval), "adver-interval",
     Publish::as_it_is},
    {"neighbor.update_source", FieldType::text, PEER(update_source), "update-source",
     Publish::as_it_is},
    {"neighbor.connection_established", FieldType::number32, PEER(connection_established),
     "connection-established", Publish::as_it_is},
    {"neighbor.connection_dropped", FieldType::number32, PEER(connection_dropped),
     "connection-dropped", Publish::as_it_is},
    {"neighbor.next_connect_timer", FieldType::number32, PEER(next_connect_timer),
     "next-connect-timer", Publish::as_it_is},
    {"neighbor.address_family_cnt", FieldType::number32, PEER(address_family_cnt)},
};
#undef PEER

// remote-as carries 16 bits and mask is always 0: clients of the module rely on
// both as they have always been.
#define FAMILY(field) REPLY_FIELD(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, field)
inline constexpr ReplyField neighbor_family_fields[] = {
    {"entry.address_family.afi", FieldType::number32,
     offsetof(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, address_family.afi),
     sizeof(address_family_val::afi)},
    {"entry.address_family.safi", FieldType::number32,
     offsetof(bgp_rpc_ip_bgp_neighbor_output_addrsss_family, address_family.safi),
     sizeof(address_family_val::safi)},
    {"entry.table_version", FieldType::number32, FAMILY(table_version), "table-version",
     Publish::as_it_is},
    {"entry.neighbor_version", FieldType::number32, FAMILY(neighbor_version), "neighbor-version",
     Publish::as_it_is},
    {"entry.index", FieldType::number32, FAMILY(index), "index", Publish::as_it_is},
    {"entry.offset", FieldType::byte, FAMILY(offset), "offset", Publish::as_it_is},
    {"entry.mask", FieldType::byte, FAMILY(mask), "mask", Publish::zero_byte},
    {"entry.route_reflector_client", FieldType::byte, FAMILY(route_reflector_client),
     "route-reflector-client", Publish::boolean},
    {"entry.community_attribute", FieldType::byte, FAMILY(community_attribute),
     "community-attribute", Publish::boolean},
    {"entry.prefix_accepted_statis", FieldType::number32, FAMILY(prefix_accepted_statis),
     "prefix-accepted-statis", Publish::as_it_is},
    {"entry.prefix_announced_statis", FieldType::number32, FAMILY(prefix_announced_statis),
     "prefix-announced-statis", Publish::as_it_is},
};
#undef FAMILY

inline constexpr ReplyRecord neighbor_peer = {
    "ip_bgp_neighbor_output_parse neighbor information begin--------------",
    "ip_bgp_neighbor_output_parse neighbor information end----------------", 32,
    neighbor_peer_fields, sizeof neighbor_peer_fields / sizeof *neighbor_peer_fields};
inline constexpr ReplyRecord neighbor_family = {
    "ip_bgp_neighbor_output_parse entry information begin--------------",
    "ip_bgp_neighbor_output_parse entry information end----------------", 32,
    neighbor_family_fields, sizeof neighbor_family_fields / sizeof *neighbor_family_fields};

// --- Route information ---------------------------------------------------------

#define TABLE(field) REPLY_FIELD(bgp_rpc_ip_bgp_info_output_public, field)
inline constexpr ReplyField info_table_fields[] = {
    {"version", FieldType::number32, TABLE(version), "version", Publish::as_it_is},
    {"router_id", FieldType::text, TABLE(router_id), "router-id", Publish::as_it_is},
    {"prefix_number", FieldType::number32, TABLE(prefix_number), "prefix-number",
     Publish::as_it_is},
};
#undef TABLE

#define NETWORK(field) REPLY_FIELD(bgp_rpc_ip_bgp_info_output_entry, field)
inline constexpr ReplyField info_network_fields[] = {
    {"network", FieldType::text, NETWORK(network)},
    {"mask_len", FieldType::number16, NETWORK(mask_len), "mask-len", Publish::as_it_is},
    {"nextop_num", FieldType::number32, NETWORK(nextop_num)},
};
#undef NETWORK

#define HOP(field) REPLY_FIELD(bgp_rpc_ip_bgp_info_next_hop_output_entry, field)
inline constexpr ReplyField info_next_hop_fields[] = {
    {"nexthop", FieldType::text, HOP(nexthop)},
    {"metric", FieldType::text, HOP(metric)},
    {"loc_prf", FieldType::number32, HOP(loc_prf), "loc-prf", Publish::unless_zero},
    {"weight", FieldType::number32, HOP(weight), "weight", Publish::as_it_is},
    {"path", FieldType::text, HOP(path)},
    {"valid_flag", FieldType::byte, HOP(valid_flag), "valid-flag", Publish::valid},
    {"select_flag", FieldType::byte, HOP(select_flag), "select-flag", Publish::best},
    {"source_type", FieldType::byte, HOP(source_type), "source-type", Publish::source},
};
#undef HOP

inline constexpr ReplyRecord info_table = {
    "ip_bgp_info_output_parse network information begin--------------",
    "ip_bgp_info_output_parse network information end----------------", 26, info_table_fields,
    sizeof info_table_fields / sizeof *info_table_fields};
inline constexpr ReplyRecord info_network = {
    "ip_bgp_info_output_parse entry information begin------------",
    "ip_bgp_info_output_parse entry information end--------------", 26, info_network_fields,
    sizeof info_network_fields / sizeof *info_network_fields};
inline constexpr ReplyRecord info_next_hop = {
    "ip_bgp_info_output_parse next-hop information begin------------",
    "ip_bgp_info_output_parse next-hop information end--------------",
    26,
    info_next_hop_fields,
    sizeof info_next_hop_fields / sizeof *info_next_hop_fields,
    /*published_first=*/5}; // the flags come before the numbers

#endif
