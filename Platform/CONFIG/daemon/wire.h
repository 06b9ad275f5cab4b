// The wire as data: the records field by field, the record of each sub-module, and the names of
// numbers in the records. Fields, offsets, sizes and types are those of the headers' structs.
#ifndef CONFIGD_WIRE_H
#define CONFIGD_WIRE_H

#include "netconf_bgp_public.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>
#include <type_traits>

namespace configd {

// --- Records -------------------------------------------------------------------

enum class FieldType { Signed, Unsigned, Text, AddressFamily, Reserved };

// A field of a record: its name on the wire, its offset and its size in bytes.
struct Field {
    const char *name;
    std::size_t offset;
    std::size_t size;
    FieldType type;
};

// The fields of a record in wire order, including reserved bytes.
struct RecordLayout {
    const char *name;
    std::size_t size; // bytes
    const Field *first;
    const Field *last;

    const Field *begin() const { return first; }
    const Field *end() const { return last; }
};

// The field of this name and type that starts at `offset`.
template <typename T>
constexpr Field make_field(const char *name, std::size_t offset) {
    FieldType type = std::is_same_v<T, std::int32_t> ? FieldType::Signed : FieldType::Unsigned;
    if constexpr (std::is_array_v<T>) {
        const bool is_reserved = std::string_view{name}.substr(0, 8) == "reserved";
        type = is_reserved ? FieldType::Reserved : FieldType::Text;
    } else if constexpr (std::is_same_v<T, address_family_val>) {
        type = FieldType::AddressFamily;
    }
    return {name, offset, sizeof(T), type};
}

// `fields` and the fields from `offset` on. The fields fill the record: each starts where the one
// before it ends, and each has a NETCONF_FIELD.
template <typename Record, std::size_t offset = 0, typename... Fields>
constexpr auto fields_from(Fields... fields) {
    using Next = netconf_field<Record, offset>;
    constexpr std::size_t end = offset + sizeof(typename Next::type);
    constexpr Field next = make_field<typename Next::type>(Next::name, offset);
    if constexpr (end == sizeof(Record)) {
        return std::array{fields..., next};
    } else {
        return fields_from<Record, end>(fields..., next);
    }
}

template <typename Record>
inline constexpr auto fields_of = fields_from<Record>();

template <typename Record>
inline constexpr RecordLayout layout_of{netconf_record<Record>::name, sizeof(Record),
                                        fields_of<Record>.data(),
                                        fields_of<Record>.data() + fields_of<Record>.size()};

// The records of the replies. The records of the requests follow from the sub-modules.
inline constexpr const RecordLayout *reply_records[] = {
    &layout_of<bgp_rpc_ip_bgp_info_output_public>,
    &layout_of<bgp_rpc_ip_bgp_info_output_entry>,
    &layout_of<bgp_rpc_ip_bgp_info_next_hop_output_entry>,
    &layout_of<bgp_rpc_ip_bgp_neighbor_output_neighbor>,
    &layout_of<bgp_rpc_ip_bgp_neighbor_output_addrsss_family>,
    &layout_of<bgp_rpc_ip_bgp_summary_output_neighbors>,
    &layout_of<bgp_rpc_ip_bgp_summary_output_entry>,
};

// --- Sub-modules ---------------------------------------------------------------

// The settings and the queries, each with the record of its request.
#define CONFIGD_SETTINGS(ROW)                                                                      \
    ROW(BGP_SUB_BGP_AS, bgp_as_val)                                                                \
    ROW(BGP_SUB_ROUTER_ID, bgp_globle_config)                                                      \
    ROW(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, bgp_globle_neighbor_config)                             \
    ROW(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, bgp_globle_neighbor_config)                           \
    ROW(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, bgp_globle_neighbor_config)                              \
    ROW(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, bgp_globle_neighbor_config)                         \
    ROW(BGP_SUB_NETWORK, bgp_address_family_network_universal_val)                                 \
    ROW(BGP_SUB_REDISTRIBUTE, bgp_address_family_redistribute_universal_val)                       \
    ROW(BGP_SUB_NEIGHBOR_ACTIVATE, bgp_address_family_neighbor_universal_val)                      \
    ROW(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, bgp_address_family_neighbor_universal_val)                 \
    ROW(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, bgp_address_family_neighbor_universal_val)        \
    ROW(BGP_SUB_ADDRESS_FAMILY_VRF, address_family_val)                                            \
    ROW(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, bgp_address_family_neighbor_universal_val)                 \
    ROW(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, bgp_address_family_neighbor_universal_val)                  \
    ROW(BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, bgp_address_family_neighbor_universal_val)               \
    ROW(BGP_SUB_NEIGHBOR_VRF_MULTIHOP, bgp_address_family_neighbor_universal_val)                  \
    ROW(BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, bgp_address_family_neighbor_universal_val)
#define CONFIGD_QUERIES(ROW)                                                                       \
    ROW(BGP_SUB_RPC_IP_BGP_EVPN, bgp_rpc_ip_bgp_evpn)                                              \
    ROW(BGP_SUB_RPC_IP_BGP_INFO, bgp_rpc_ip_bgp_info_input)                                        \
    ROW(BGP_SUB_RPC_IP_BGP_NEIGHBOR, bgp_rpc_ip_bgp_neighbor_input)                                \
    ROW(BGP_SUB_RPC_IP_BGP_SUMMARY, bgp_rpc_ip_bgp_summary_input)                                  \
    ROW(BGP_SUB_RPC_CLEAR_IP_BGP, bgp_rpc_clear_ip_bgp_input)

// The payload of a request with this sub-module code.
struct RecordKind {
    std::int32_t sub_mod;
    const char *name; // of the enumerator
    const RecordLayout *record;
    enum Use { Setting, Query } use;

    // A message answers a query, a bare result code a configuration message.
    constexpr bool is_query() const { return use == Query; }
};

#define SETTING(sub_mod, record)                                                                   \
    RecordKind{sub_mod, #sub_mod, &layout_of<record>, RecordKind::Setting},
#define QUERY(sub_mod, record) RecordKind{sub_mod, #sub_mod, &layout_of<record>, RecordKind::Query},
inline constexpr RecordKind record_kinds[] = {CONFIGD_SETTINGS(SETTING) CONFIGD_QUERIES(QUERY)};
#undef QUERY
#undef SETTING

// The record that requests with this sub-module code carry.
template <std::int32_t sub_mod>
struct Carried;
template <std::int32_t sub_mod>
using RecordOf = typename Carried<sub_mod>::Record;

#define CARRIED(sub_mod, record)                                                                   \
    template <>                                                                                    \
    struct Carried<sub_mod> {                                                                      \
        using Record = record;                                                                     \
    };
CONFIGD_SETTINGS(CARRIED)
CONFIGD_QUERIES(CARRIED)
#undef CARRIED

// A field of the record that requests with this sub-module code carry.
#define CONFIGD_FIELD(sub_mod, field)                                                              \
    configd::make_field<decltype(configd::RecordOf<sub_mod>::field)>(                              \
        #field, offsetof(configd::RecordOf<sub_mod>, field))

// --- Tables with a row for each sub-module -------------------------------------

// The row with this sub-module code, or nullptr.
template <typename Row, std::size_t N>
constexpr const Row *row_of(const Row (&table)[N], std::int32_t sub_mod) {
    for (const Row &row : table) {
        if (row.sub_mod == sub_mod) {
            return &row;
        }
    }
    return nullptr;
}

// The record kind of a sub-module code; nullptr for an unknown code.
constexpr const RecordKind *find_record_kind(std::int32_t sub_mod) {
    return row_of(record_kinds, sub_mod);
}

constexpr bool is_sub_module(std::int32_t sub_mod) {
    return sub_mod > 0 && sub_mod < BGP_SUB_MAX;
}

constexpr bool is_query(std::int32_t sub_mod) {
    const RecordKind *kind = find_record_kind(sub_mod);
    return kind != nullptr && kind->is_query();
}

// How many sub-modules are queries.
#define COUNT(sub_mod, record) +1
inline constexpr std::size_t query_count = CONFIGD_QUERIES(COUNT);
#undef COUNT

constexpr bool is_setting(std::int32_t sub_mod) {
    const RecordKind *kind = find_record_kind(sub_mod);
    return kind != nullptr && !kind->is_query();
}

// Whether the table has one row for each code for which `is_wanted` holds, and no other row.
template <typename Row, std::size_t N>
constexpr bool has_one_row_each(const Row (&table)[N], bool (*is_wanted)(std::int32_t sub_mod)) {
    std::size_t wanted = 0;
    for (std::int32_t sub_mod = 1; sub_mod < BGP_SUB_MAX; ++sub_mod) {
        if (!is_wanted(sub_mod)) {
            continue;
        }
        if (row_of(table, sub_mod) == nullptr) {
            return false;
        }
        ++wanted;
    }
    return wanted == N;
}

static_assert(has_one_row_each(record_kinds, is_sub_module), "one row for each sub-module code");

// --- Names of numbers ----------------------------------------------------------

struct NumberName {
    std::int64_t number;
    const char *name;
};

inline constexpr NumberName operation_names[] = {
    {BGP_OP_SET, "set"}, {BGP_OP_DELETE, "delete"}, {BGP_OP_OTHER, "other"}};

// As in the YANG model.
inline constexpr NumberName afi_names[] = {
    {BGP_AFI_IP, "AFI_IP"}, {BGP_AFI_IPV6, "AFI_IPV6"}, {BGP_AFI_L2VPN, "AFI_L2VPN"}};
inline constexpr NumberName safi_names[] = {{BGP_SAFI_UNICAST, "SAFI_UNICAST"},
                                            {BGP_SAFI_MULTICAST, "SAFI_MULTICAST"},
                                            {BGP_SAFI_EVPN, "SAFI_EVPN"},
                                            {BGP_SAFI_VRF, "SAFI_VRF"}};

// The name of a number in one of the tables above; nullptr when it has none.
template <std::size_t N>
const char *name_of(const NumberName (&names)[N], std::int64_t number) {
    const auto *row = std::find_if(std::begin(names), std::end(names),
                                   [=](const NumberName &known) { return known.number == number; });
    return row == std::end(names) ? nullptr : row->name;
}

// The number of a family's name in one of the tables above; std::nullopt when it has none.
template <std::size_t N>
std::optional<std::uint32_t> number_of(const NumberName (&names)[N], std::string_view name) {
    const auto *row = std::find_if(std::begin(names), std::end(names),
                                   [=](const NumberName &known) { return known.name == name; });
    return row == std::end(names) ? std::nullopt
                                  : std::optional{static_cast<std::uint32_t>(row->number)};
}

} // namespace configd

#endif
