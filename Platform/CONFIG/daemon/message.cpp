#include "message.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>
#include <utility>

namespace configd {
namespace {

template <typename T>
constexpr FieldType field_type() {
    if constexpr (std::is_array_v<T>) {
        return FieldType::Text;
    } else if constexpr (std::is_same_v<T, address_family_val>) {
        return FieldType::AddressFamily;
    } else {
        return std::numeric_limits<T>::is_signed ? FieldType::Signed : FieldType::Unsigned;
    }
}

#define FIELD(record, field)                                                                       \
    Field {                                                                                        \
#field, offsetof(record, field), sizeof(record::field),                                    \
            field_type < decltype(record::field)>()                                                \
    }

constexpr Field as_fields[] = {
    FIELD(bgp_as_val, op),
    FIELD(bgp_as_val, as),
};

constexpr Field globle_fields[] = {
    FIELD(bgp_globle_config, op),
    FIELD(bgp_globle_config, bgp_id),
    FIELD(bgp_globle_config, router_id),
};

constexpr Field globle_neighbor_fields[] = {
    FIELD(bgp_globle_neighbor_config, op),
    FIELD(bgp_globle_neighbor_config, bgp_id),
    FIELD(bgp_globle_neighbor_config, neighbor_ip_or_tag),
    FIELD(bgp_globle_neighbor_config, remote_as),
    FIELD(bgp_globle_neighbor_config, description),
    FIELD(bgp_globle_neighbor_config, update_source),
    FIELD(bgp_globle_neighbor_config, ebgp_multihop),
};

constexpr Field address_family_fields[] = {
    FIELD(address_family_val, op),       FIELD(address_family_val, bgp_id),
    FIELD(address_family_val, afi),      FIELD(address_family_val, safi),
    FIELD(address_family_val, vrf_name),
};

constexpr Field network_fields[] = {
    FIELD(bgp_address_family_network_universal_val, op),
    FIELD(bgp_address_family_network_universal_val, bgp_id),
    FIELD(bgp_address_family_network_universal_val, address_family),
    FIELD(bgp_address_family_network_universal_val, network_ip_str),
    FIELD(bgp_address_family_network_universal_val, route_map),
    FIELD(bgp_address_family_network_universal_val, backdoor),
};

constexpr Field redistribute_fields[] = {
    FIELD(bgp_address_family_redistribute_universal_val, op),
    FIELD(bgp_address_family_redistribute_universal_val, bgp_id),
    FIELD(bgp_address_family_redistribute_universal_val, address_family),
    FIELD(bgp_address_family_redistribute_universal_val, protocol_name),
    FIELD(bgp_address_family_redistribute_universal_val, protocol_id_or_tag),
    FIELD(bgp_address_family_redistribute_universal_val, route_map),
};

constexpr Field neighbor_fields[] = {
    FIELD(bgp_address_family_neighbor_universal_val, op),
    FIELD(bgp_address_family_neighbor_universal_val, bgp_id),
    FIELD(bgp_address_family_neighbor_universal_val, address_family),
    FIELD(bgp_address_family_neighbor_universal_val, neighbor_ip_or_tag),
    FIELD(bgp_address_family_neighbor_universal_val, active),
    FIELD(bgp_address_family_neighbor_universal_val, next_hop_self),
    FIELD(bgp_address_family_neighbor_universal_val, remote_as),
    FIELD(bgp_address_family_neighbor_universal_val, description),
    FIELD(bgp_address_family_neighbor_universal_val, update_source),
    FIELD(bgp_address_family_neighbor_universal_val, ebgp_multihop),
    FIELD(bgp_address_family_neighbor_universal_val, route_reflector_client),
};

constexpr Field evpn_query_fields[] = {
    FIELD(bgp_rpc_ip_bgp_evpn, type),
    FIELD(bgp_rpc_ip_bgp_evpn, evpn_route_str),
};

constexpr Field info_query_fields[] = {
    FIELD(bgp_rpc_ip_bgp_info_input, input_cnt), FIELD(bgp_rpc_ip_bgp_info_input, vrf_name),
    FIELD(bgp_rpc_ip_bgp_info_input, ip_type),   FIELD(bgp_rpc_ip_bgp_info_input, all),
    FIELD(bgp_rpc_ip_bgp_info_input, ipaddr),    FIELD(bgp_rpc_ip_bgp_info_input, ipaddr_str),
};

constexpr Field neighbor_query_fields[] = {
    FIELD(bgp_rpc_ip_bgp_neighbor_input, all),
    FIELD(bgp_rpc_ip_bgp_neighbor_input, neighbor_addr),
    FIELD(bgp_rpc_ip_bgp_neighbor_input, vrf_name),
};

constexpr Field summary_query_fields[] = {
    FIELD(bgp_rpc_ip_bgp_summary_input, input_cnt),
    FIELD(bgp_rpc_ip_bgp_summary_input, vrf_name),
    FIELD(bgp_rpc_ip_bgp_summary_input, ip_type),
    FIELD(bgp_rpc_ip_bgp_summary_input, all),
};

constexpr Field clear_query_fields[] = {
    FIELD(bgp_rpc_clear_ip_bgp_input, address_family),
    FIELD(bgp_rpc_clear_ip_bgp_input, clear_all),
    FIELD(bgp_rpc_clear_ip_bgp_input, reconfig_type),
};

#define LAYOUT(record, fields)                                                                     \
    RecordLayout {                                                                                 \
#record, sizeof(record), std::begin(fields), std::end(fields)                              \
    }

constexpr RecordLayout as_record = LAYOUT(bgp_as_val, as_fields);
constexpr RecordLayout globle_record = LAYOUT(bgp_globle_config, globle_fields);
constexpr RecordLayout globle_neighbor_record =
    LAYOUT(bgp_globle_neighbor_config, globle_neighbor_fields);
constexpr RecordLayout address_family_record = LAYOUT(address_family_val, address_family_fields);
constexpr RecordLayout network_record =
    LAYOUT(bgp_address_family_network_universal_val, network_fields);
constexpr RecordLayout redistribute_record =
    LAYOUT(bgp_address_family_redistribute_universal_val, redistribute_fields);
constexpr RecordLayout neighbor_record =
    LAYOUT(bgp_address_family_neighbor_universal_val, neighbor_fields);
constexpr RecordLayout evpn_query = LAYOUT(bgp_rpc_ip_bgp_evpn, evpn_query_fields);
constexpr RecordLayout info_query = LAYOUT(bgp_rpc_ip_bgp_info_input, info_query_fields);
constexpr RecordLayout neighbor_query =
    LAYOUT(bgp_rpc_ip_bgp_neighbor_input, neighbor_query_fields);
constexpr RecordLayout summary_query = LAYOUT(bgp_rpc_ip_bgp_summary_input, summary_query_fields);
constexpr RecordLayout clear_query = LAYOUT(bgp_rpc_clear_ip_bgp_input, clear_query_fields);

#define KIND(sub_mod, record)                                                                      \
    RecordKind {                                                                                   \
        sub_mod, #sub_mod, &(record)                                                               \
    }

constexpr RecordKind record_kinds[] = {
    KIND(BGP_SUB_BGP_AS, as_record),
    KIND(BGP_SUB_ROUTER_ID, globle_record),
    KIND(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, globle_neighbor_record),
    KIND(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, globle_neighbor_record),
    KIND(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, globle_neighbor_record),
    KIND(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, globle_neighbor_record),
    KIND(BGP_SUB_NETWORK, network_record),
    KIND(BGP_SUB_REDISTRIBUTE, redistribute_record),
    KIND(BGP_SUB_NEIGHBOR_ACTIVATE, neighbor_record),
    KIND(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, neighbor_record),
    KIND(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, neighbor_record),
    KIND(BGP_SUB_ADDRESS_FAMILY_VRF, address_family_record),
    KIND(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, neighbor_record),
    KIND(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, neighbor_record),
    KIND(BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, neighbor_record),
    KIND(BGP_SUB_NEIGHBOR_VRF_MULTIHOP, neighbor_record),
    KIND(BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, neighbor_record),
    KIND(BGP_SUB_RPC_IP_BGP_EVPN, evpn_query),
    KIND(BGP_SUB_RPC_IP_BGP_INFO, info_query),
    KIND(BGP_SUB_RPC_IP_BGP_NEIGHBOR, neighbor_query),
    KIND(BGP_SUB_RPC_IP_BGP_SUMMARY, summary_query),
    KIND(BGP_SUB_RPC_CLEAR_IP_BGP, clear_query),
};

#undef KIND
#undef LAYOUT
#undef FIELD

static_assert(has_one_row_each(record_kinds, is_sub_module), "one row for each sub-module code");

// A number as it lies in the bytes, which may be anywhere in memory.
template <typename Number>
Number number_from(std::string_view bytes) {
    Number number;
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

nlohmann::ordered_json field_value(FieldType type, std::string_view bytes) {
    switch (type) {
    case FieldType::Signed:
        return number_from<std::int32_t>(bytes);
    case FieldType::Unsigned:
        return number_from<std::uint32_t>(bytes);
    case FieldType::AddressFamily:
        return decode_record(address_family_record, bytes);
    case FieldType::Text:
        break;
    }
    return bytes.substr(0, bytes.find('\0'));
}

const char *operation_name(std::int32_t op) {
    switch (op) {
    case BGP_OP_SET:
        return "set";
    case BGP_OP_DELETE:
        return "delete";
    default:
        return "other";
    }
}

// The fields as blank-separated assignments.
std::string assignments(const nlohmann::ordered_json &fields) {
    std::string text;
    for (const auto &[name, value] : fields.items()) {
        text += fmt::format("{}{}={}", text.empty() ? "" : " ", name,
                            value.is_object() ? "{" + assignments(value) + "}" : json_line(value));
    }
    return text;
}

} // namespace

const RecordKind *find_record_kind(std::int32_t sub_mod) {
    return row_of(record_kinds, sub_mod);
}

std::optional<std::int32_t> sub_mod_from_text(std::string_view text) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc{} && end == text.data() + text.size()) {
        return find_record_kind(number) != nullptr ? std::optional{number} : std::nullopt;
    }

    constexpr std::string_view prefix = "BGP_SUB_";
    std::string name{text};
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto *kind =
        std::find_if(std::begin(record_kinds), std::end(record_kinds), [&](const RecordKind &row) {
            const std::string_view full = row.name;
            return name == full || name == full.substr(prefix.size());
        });
    return kind == std::end(record_kinds) ? std::nullopt : std::optional{kind->sub_mod};
}

Message make_message(std::int32_t module, std::int32_t sub_mod, std::string_view payload,
                     std::int32_t res_value) {
    const std::array<std::int32_t, 4> header{
        module, sub_mod, res_value, static_cast<std::int32_t>(header_size + payload.size())};
    std::string bytes(header_size + payload.size(), '\0');
    std::memcpy(bytes.data(), header.data(), header_size);
    std::copy(payload.begin(), payload.end(), bytes.begin() + header_size);
    return {module, sub_mod, std::move(bytes)};
}

Frame frame_of(std::string_view input) {
    if (input.size() < header_size) {
        return {Framing::Incomplete, 0};
    }
    const auto length =
        number_from<std::int32_t>(input.substr(offsetof(netconf_data_struc, dataLen)));
    if (length < static_cast<std::int32_t>(header_size) || length > BUF_SIZE_MAX) {
        return {Framing::Broken, length};
    }
    const bool complete = input.size() >= static_cast<std::size_t>(length);
    return {complete ? Framing::Complete : Framing::Incomplete, length};
}

Message message_from_bytes(std::string bytes) {
    const std::string_view header = bytes;
    const auto module =
        number_from<std::int32_t>(header.substr(offsetof(netconf_data_struc, module)));
    const auto sub_mod =
        number_from<std::int32_t>(header.substr(offsetof(netconf_data_struc, subMod)));
    return {module, sub_mod, std::move(bytes)};
}

nlohmann::ordered_json decode_record(const RecordLayout &record, std::string_view payload) {
    auto fields = nlohmann::ordered_json::object();
    for (const Field &field : record) {
        fields[field.name] = field_value(field.type, payload.substr(field.offset, field.size));
    }
    return fields;
}

nlohmann::ordered_json decode(const Message &message) {
    nlohmann::ordered_json object{
        {"module", message.module}, {"subMod", message.sub_mod}, {"dataLen", message.bytes.size()}};
    const RecordKind *kind = find_record_kind(message.sub_mod);
    if (kind == nullptr) {
        return object;
    }
    object["name"] = kind->name;
    object["record"] = kind->record->name;
    if (message.payload().size() == kind->record->size) {
        object["fields"] = decode_record(*kind->record, message.payload());
    }
    return object;
}

std::string readable(const Message &message) {
    const RecordKind *kind = find_record_kind(message.sub_mod);
    if (kind == nullptr || message.payload().size() != kind->record->size) {
        return fmt::format("{} module={} subMod={} dataLen={}",
                           kind == nullptr ? "unknown" : kind->name, message.module,
                           message.sub_mod, message.bytes.size());
    }
    auto fields = decode_record(*kind->record, message.payload());
    std::string operation;
    if (const auto op = fields.find("op"); op != fields.end()) {
        operation = fmt::format("op={} ", operation_name(op->get<std::int32_t>()));
        fields.erase(op);
    }
    return fmt::format("{} {} {}{}", kind->name, kind->record->name, operation,
                       assignments(fields));
}

std::string json_line(const nlohmann::ordered_json &value) {
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

} // namespace configd
