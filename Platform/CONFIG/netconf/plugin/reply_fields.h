// Reply fields: the fields of the records in the daemon's replies, and the leaves
// that they are published as.
#ifndef REPLY_FIELDS_H
#define REPLY_FIELDS_H

#include "netconf_bgp_public.h"

#include <iterator>
#include <string_view>
#include <type_traits>
#include <utility>

// A field's type on the wire.
enum class FieldType { text, byte, number16, number32 };

template <typename Field>
constexpr FieldType field_type() {
    if (std::is_array_v<Field>) {
        return FieldType::text;
    }
    switch (sizeof(Field)) {
    case 1:
        return FieldType::byte;
    case 2:
        return FieldType::number16;
    default:
        static_assert(std::is_same_v<std::remove_extent_t<Field>, char> ||
                          std::is_same_v<Field, uint8_t> || std::is_same_v<Field, uint16_t> ||
                          std::is_same_v<Field, uint32_t>,
                      "a field of a reply is a text or an unsigned number");
        return FieldType::number32;
    }
}

// How a field becomes a leaf's value.
enum class Publish {
    as_it_is,    // a text as SR_STRING_T, a number as the unsigned type of its size
    as_number32, // a number of any size as SR_UINT32_T
    low_16_bits, // SR_UINT16_T, modulo 65536
    zero_byte,   // SR_UINT8_T of 0, whatever the field holds
    boolean,     // SR_BOOL_T: true if not 0
    unless_zero, // as it is; 0 is not published
    valid,       // SR_ENUM_T: 1 "valid", else "other"
    best,        // SR_ENUM_T: 1 "best", else "other"
    source,      // SR_ENUM_T: 1 "internal", 2 "local", else "other"
};

// A field of a record. A record is traced in row order. It is published in row order too, starting
// with the row `published_first`.
struct ReplyField {
    const char *trace; // its name in the traces
    FieldType type;
    std::size_t offset;
    std::size_t size;
    std::string_view leaf{}; // empty: not published
    Publish publish = Publish::as_it_is;
};

// A record and how it is traced.
struct ReplyRecord {
    const char *begin; // lines around its fields' lines
    const char *end;
    int column; // width of the names
    const ReplyField *fields;
    std::size_t field_count;
    std::size_t published_first; // publishing starts with this row and wraps around

    // The largest number of leaves that a record is published as.
    constexpr std::size_t leaves() const {
        std::size_t count = 0;
        for (std::size_t i = 0; i < field_count; ++i) {
            count += fields[i].leaf.empty() ? 0 : 1;
        }
        return count;
    }
};

// Whether a row starts in each field of the record from `offset` on, except in reserved bytes.
template <typename Record, const auto &fields, std::size_t offset = 0>
constexpr bool has_a_row_for_each_field() {
    using Field = netconf_field<Record, offset>;
    constexpr std::size_t end = offset + sizeof(typename Field::type);
    bool found = std::string_view(Field::name).substr(0, 8) == "reserved";
    for (const ReplyField &row : fields) {
        found = found || (row.offset >= offset && row.offset < end);
    }
    if constexpr (end < sizeof(Record)) {
        return found && has_a_row_for_each_field<Record, fields, end>();
    } else {
        return found;
    }
}

// Publishing starts with the leaf `first`, or with the first row.
template <typename Record, const auto &fields>
constexpr ReplyRecord reply_record(const char *begin, const char *end, int column,
                                   std::string_view first = {}) {
    static_assert(has_a_row_for_each_field<Record, fields>(), "one row for each field");
    std::size_t row = 0;
    while (!first.empty() && fields[row].leaf != first) {
        ++row; // an unknown leaf does not compile
    }
    return {begin, end, column, fields, std::size(fields), row};
}

// The start of a row: the name in the traces with its prefix, then the type, offset and size, which
// the compiler takes from the field.
#define REPLY_FIELD(prefix, record, field)                                                         \
    prefix #field, field_type<decltype(std::declval<record &>().field)>(),                         \
        offsetof(record, field), sizeof(std::declval<record &>().field)

// --- Summary -----------------------------------------------------------------

#define BLOCK(field) REPLY_FIELD("", bgp_rpc_ip_bgp_summary_output_neighbors, field)
inline constexpr ReplyField summary_block_fields[] = {
    {BLOCK(as), "as"},
    {BLOCK(router_id), "router-id"},
    {BLOCK(version), "version"},
    {BLOCK(as_path_number), "as-path-number"},
    {BLOCK(community_number), "community-number"},
    {BLOCK(neighbor_number), "neighbor-number"},
};
#undef BLOCK

#define ENTRY(field) REPLY_FIELD("", bgp_rpc_ip_bgp_summary_output_entry, field)
inline constexpr ReplyField summary_entry_fields[] = {
    {ENTRY(neighbor)},
    {ENTRY(version), "version"},
    {ENTRY(AS), "AS"},
    {ENTRY(msg_recvd), "msg-recvd"},
    {ENTRY(msg_send), "msg-sent"},
    {ENTRY(tblver), "tblver"},
    {ENTRY(inq), "inq"},
    {ENTRY(outq), "outq"},
    {ENTRY(up_down), "up-down"},
    {ENTRY(state_pfxrcd), "state-pfxrcd"},
};
#undef ENTRY

inline constexpr ReplyRecord summary_block =
    reply_record<bgp_rpc_ip_bgp_summary_output_neighbors, summary_block_fields>(
        "ip_bgp_summary_output_parse neighbor information begin---------------",
        "ip_bgp_summary_output_parse neighbor information end-----------------", 20);
inline constexpr ReplyRecord summary_entry =
    reply_record<bgp_rpc_ip_bgp_summary_output_entry, summary_entry_fields>(
        "ip_bgp_summary_output_parse entry information begin---------------",
        "ip_bgp_summary_output_parse entry information end-----------------", 16);

// --- Neighbor detail ---------------------------------------------------------

// The module's remote-as has 16 bits: a larger AS number is published modulo 65536.
#define PEER(field) REPLY_FIELD("neighbor.", bgp_rpc_ip_bgp_neighbor_output_neighbor, field)
inline constexpr ReplyField neighbor_peer_fields[] = {
    {PEER(neighbor_addr)},
    {PEER(vrf_name)},
    {PEER(remote_as), "remote-as", Publish::low_16_bits},
    {PEER(local_as), "local-as"},
    {PEER(version), "version", Publish::as_number32},
    {PEER(remote_router_id), "remote-router-id"},
    {PEER(state), "state"},
    {PEER(home_time), "hold-time"},
    {PEER(interval), "interval"},
    {PEER(messages_in), "messages-in"},
    {PEER(notifications_in), "notifications-in"},
    {PEER(queue_in), "queue-in"},
    {PEER(messages_out), "messages-out"},
    {PEER(notifications_out), "notifications-out"},
    {PEER(queue_out), "queue-out"},
    {PEER(refresh_in), "refresh-in"},
    {PEER(refresh_out), "refresh-out"},
    {PEER(adver_interval), "adver-interval"},
    {PEER(update_source), "update-source"},
    {PEER(connection_established), "connection-established"},
    {PEER(connection_dropped), "connection-dropped"},
    {PEER(next_connect_timer), "next-connect-timer"},
    {PEER(address_family_cnt)},
};
#undef PEER

// The module publishes mask as 0, whatever the field holds.
#define FAMILY(field) REPLY_FIELD("entry.", bgp_rpc_ip_bgp_neighbor_output_addrsss_family, field)
inline constexpr ReplyField neighbor_family_fields[] = {
    {FAMILY(address_family.afi)},
    {FAMILY(address_family.safi)},
    {FAMILY(table_version), "table-version"},
    {FAMILY(neighbor_version), "neighbor-version"},
    {FAMILY(index), "index"},
    {FAMILY(offset), "offset"},
    {FAMILY(mask), "mask", Publish::zero_byte},
    {FAMILY(route_reflector_client), "route-reflector-client", Publish::boolean},
    {FAMILY(community_attribute), "community-attribute", Publish::boolean},
    {FAMILY(prefix_accepted_statis), "prefix-accepted-statis"},
    {FAMILY(prefix_announced_statis), "prefix-announced-statis"},
};
#undef FAMILY

inline constexpr ReplyRecord neighbor_peer =
    reply_record<bgp_rpc_ip_bgp_neighbor_output_neighbor, neighbor_peer_fields>(
        "ip_bgp_neighbor_output_parse neighbor information begin--------------",
        "ip_bgp_neighbor_output_parse neighbor information end----------------", 32);
inline constexpr ReplyRecord neighbor_family =
    reply_record<bgp_rpc_ip_bgp_neighbor_output_addrsss_family, neighbor_family_fields>(
        "ip_bgp_neighbor_output_parse entry information begin--------------",
        "ip_bgp_neighbor_output_parse entry information end----------------", 32);

// --- Route information -------------------------------------------------------

#define TABLE(field) REPLY_FIELD("", bgp_rpc_ip_bgp_info_output_public, field)
inline constexpr ReplyField info_table_fields[] = {
    {TABLE(version), "version"},
    {TABLE(router_id), "router-id"},
    {TABLE(prefix_number), "prefix-number"},
};
#undef TABLE

#define NETWORK(field) REPLY_FIELD("", bgp_rpc_ip_bgp_info_output_entry, field)
inline constexpr ReplyField info_network_fields[] = {
    {NETWORK(network)},
    {NETWORK(mask_len), "mask-len"},
    {NETWORK(nextop_num)},
};
#undef NETWORK

#define HOP(field) REPLY_FIELD("", bgp_rpc_ip_bgp_info_next_hop_output_entry, field)
inline constexpr ReplyField info_next_hop_fields[] = {
    {HOP(nexthop)},
    {HOP(metric)},
    {HOP(loc_prf), "loc-prf", Publish::unless_zero},
    {HOP(weight), "weight"},
    {HOP(path)},
    {HOP(valid_flag), "valid-flag", Publish::valid},
    {HOP(select_flag), "select-flag", Publish::best},
    {HOP(source_type), "source-type", Publish::source},
};
#undef HOP

inline constexpr ReplyRecord info_table =
    reply_record<bgp_rpc_ip_bgp_info_output_public, info_table_fields>(
        "ip_bgp_info_output_parse network information begin--------------",
        "ip_bgp_info_output_parse network information end----------------", 26);
inline constexpr ReplyRecord info_network =
    reply_record<bgp_rpc_ip_bgp_info_output_entry, info_network_fields>(
        "ip_bgp_info_output_parse entry information begin------------",
        "ip_bgp_info_output_parse entry information end--------------", 26);
inline constexpr ReplyRecord info_next_hop =
    reply_record<bgp_rpc_ip_bgp_info_next_hop_output_entry, info_next_hop_fields>(
        "ip_bgp_info_output_parse next-hop information begin------------",
        "ip_bgp_info_output_parse next-hop information end--------------", 26, "valid-flag");

#undef REPLY_FIELD

#endif
