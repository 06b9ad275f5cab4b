#include "replies.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <utility>

namespace support {

// --- Output values ---------------------------------------------------------------

namespace {

bool is_text(sr_type_t type) {
    return type == SR_STRING_T || type == SR_ENUM_T;
}

std::string shown(const char *text) {
    return text == nullptr ? "(null)" : text;
}

std::string value_of(const sr_val_t &value) {
    switch (value.type) {
    case SR_STRING_T:
        return shown(value.data.string_val);
    case SR_ENUM_T:
        return shown(value.data.enum_val);
    case SR_UINT8_T:
        return std::to_string(value.data.uint8_val);
    case SR_UINT16_T:
        return std::to_string(value.data.uint16_val);
    case SR_UINT32_T:
        return std::to_string(value.data.uint32_val);
    case SR_BOOL_T:
        return value.data.bool_val ? "true" : "false";
    default:
        return "(no value)";
    }
}

} // namespace

Values::Values(std::size_t count) : array_(nullptr), count_(count), room_(count) {
    if (count == 0) {
        return;
    }
    array_ = static_cast<sr_val_t *>(std::calloc(count, sizeof *array_));
    for (std::size_t i = 0; i < count; ++i) {
        array_[i].dflt = true;
        std::memset(&array_[i].data, 0xff, sizeof array_[i].data);
    }
}

Values::~Values() {
    const std::size_t end = written_count();
    for (std::size_t i = 0; i < end; ++i) {
        if (is_text(array_[i].type)) {
            std::free(array_[i].data.string_val);
        }
        std::free(array_[i].xpath);
    }
    std::free(array_);
}

std::size_t Values::written_count() const {
    std::size_t end = array_ == nullptr ? 0 : room_;
    while (end > 0 && array_[end - 1].xpath == nullptr && array_[end - 1].type == SR_UNKNOWN_T) {
        --end;
    }
    return end;
}

Outputs Values::first(std::size_t count) const {
    EXPECT_LE(count, room_) << "more values than the array has room for";
    Outputs outputs;
    for (std::size_t i = 0; i < std::min(count, room_); ++i) {
        outputs.push_back({shown(array_[i].xpath), array_[i].type, value_of(array_[i])});
    }
    return outputs;
}

// --- Replies -----------------------------------------------------------------------

Reply::Reply(int sub_mod, const std::string &payload, char behind)
    : buffer_(static_cast<netconf_data_struc *>(std::calloc(1, BUF_SIZE_MAX))), behind_(behind) {
    buffer_->module = MODULE_ID_BGP;
    buffer_->subMod = sub_mod;
    if (behind != '\0') { // the buffer already contains zeros
        std::memset(buffer_->transferData, behind, payload_limit);
    }
    this->payload(payload);
}

Reply &Reply::payload(const std::string &bytes) {
    EXPECT_LE(bytes.size(), payload_limit);
    std::memset(buffer_->transferData, behind_, used_);
    used_ = std::min(bytes.size(), payload_limit);
    std::memcpy(buffer_->transferData, bytes.data(), used_);
    return length(static_cast<std::int64_t>(sizeof(netconf_data_struc) + used_));
}

Reply &Reply::module(int module) {
    buffer_->module = static_cast<ENUM_MODULE_ID>(module);
    return *this;
}

Reply &Reply::sub_mod(int sub_mod) {
    buffer_->subMod = sub_mod;
    return *this;
}

Reply &Reply::length(std::int64_t length) {
    buffer_->dataLen = static_cast<std::int32_t>(length);
    return *this;
}

// --- Records of fixed size ---------------------------------------------------------

namespace {

using Shown = std::optional<std::string>;

Shown as_it_is(std::uint32_t number) {
    return std::to_string(number);
}
Shown modulo_65536(std::uint32_t number) {
    return std::to_string(number % 65536);
}
Shown always_zero(std::uint32_t /*number*/) {
    return "0";
}
Shown truth(std::uint32_t number) {
    return number == 0 ? "false" : "true";
}
Shown unless_zero(std::uint32_t number) {
    return number == 0 ? std::nullopt : as_it_is(number);
}
Shown valid_or_other(std::uint32_t number) {
    return number == 1 ? "valid" : "other";
}
Shown best_or_other(std::uint32_t number) {
    return number == 1 ? "best" : "other";
}
Shown source_of(std::uint32_t number) {
    return number == 1 ? "internal" : number == 2 ? "local" : "other";
}

} // namespace

const WireRecord summary_block = {
    sizeof(bgp_rpc_ip_bgp_summary_output_neighbors),
    "/ip-bgp-summary/neighbors/",
    {
        {"as", 0, 21, true, "as", SR_STRING_T},
        {"router_id", 21, 47, true, "router-id", SR_STRING_T},
        {"version", 68, 4, false, "version", SR_UINT32_T, as_it_is},
        {"as_path_number", 72, 4, false, "as-path-number", SR_UINT32_T, as_it_is},
        {"community_number", 76, 4, false, "community-number", SR_UINT32_T, as_it_is},
        {"neighbor_number", 80, 4, false, "neighbor-number", SR_UINT32_T, as_it_is},
    }};

const WireRecord summary_entry = {
    sizeof(bgp_rpc_ip_bgp_summary_output_entry),
    "/ip-bgp-summary/neighbors/entry[neighbor='%s']/",
    {
        {"neighbor", 0, 47, true},
        {"version", 47, 1, false, "version", SR_UINT8_T, as_it_is},
        {"AS", 48, 21, true, "AS", SR_STRING_T},
        {"msg_recvd", 72, 4, false, "msg-recvd", SR_UINT32_T, as_it_is},
        {"msg_send", 76, 4, false, "msg-sent", SR_UINT32_T, as_it_is},
        {"tblver", 80, 4, false, "tblver", SR_UINT32_T, as_it_is},
        {"inq", 84, 4, false, "inq", SR_UINT32_T, as_it_is},
        {"outq", 88, 4, false, "outq", SR_UINT32_T, as_it_is},
        {"up_down", 92, 33, true, "up-down", SR_STRING_T},
        {"state_pfxrcd", 125, 33, true, "state-pfxrcd", SR_STRING_T},
    }};

const WireRecord peer_record = {
    sizeof(bgp_rpc_ip_bgp_neighbor_output_neighbor),
    "/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='%s'][vrf-name='%s']/",
    {
        {"neighbor_addr", 0, 47, true},
        {"vrf_name", 47, 65, true},
        {"remote_as", 112, 4, false, "remote-as", SR_UINT16_T, modulo_65536},
        {"local_as", 116, 4, false, "local-as", SR_UINT32_T, as_it_is},
        {"version", 120, 2, false, "version", SR_UINT32_T, as_it_is},
        {"remote_router_id", 122, 47, true, "remote-router-id", SR_STRING_T},
        {"state", 169, 33, true, "state", SR_STRING_T},
        {"home_time", 204, 4, false, "hold-time", SR_UINT32_T, as_it_is},
        {"interval", 208, 4, false, "interval", SR_UINT32_T, as_it_is},
        {"messages_in", 212, 4, false, "messages-in", SR_UINT32_T, as_it_is},
        {"notifications_in", 216, 4, false, "notifications-in", SR_UINT32_T, as_it_is},
        {"queue_in", 220, 4, false, "queue-in", SR_UINT32_T, as_it_is},
        {"messages_out", 224, 4, false, "messages-out", SR_UINT32_T, as_it_is},
        {"notifications_out", 228, 4, false, "notifications-out", SR_UINT32_T, as_it_is},
        {"queue_out", 232, 4, false, "queue-out", SR_UINT32_T, as_it_is},
        {"refresh_in", 236, 4, false, "refresh-in", SR_UINT32_T, as_it_is},
        {"refresh_out", 240, 4, false, "refresh-out", SR_UINT32_T, as_it_is},
        {"adver_interval", 244, 4, false, "adver-interval", SR_UINT32_T, as_it_is},
        {"update_source", 248, 47, true, "update-source", SR_STRING_T},
        {"connection_established", 296, 4, false, "connection-established", SR_UINT32_T, as_it_is},
        {"connection_dropped", 300, 4, false, "connection-dropped", SR_UINT32_T, as_it_is},
        {"next_connect_timer", 304, 4, false, "next-connect-timer", SR_UINT32_T, as_it_is},
        {"address_family_cnt", 308, 4, false},
    }};

const WireRecord family_record = {
    sizeof(bgp_rpc_ip_bgp_neighbor_output_addrsss_family),
    "/ip-bgp-neighbor/neighbors/neighbor[neighbor-addr='%s'][vrf-name='%s']/"
    "address-familys/afi-safi[afi='%s'][safi='%s']/",
    {
        {"op", 0, 4, false},
        {"bgp_id", 4, 4, false},
        {"afi", 8, 4, false},
        {"safi", 12, 4, false},
        {"vrf_name", 16, 65, true},
        {"table_version", 84, 4, false, "table-version", SR_UINT32_T, as_it_is},
        {"neighbor_version", 88, 4, false, "neighbor-version", SR_UINT32_T, as_it_is},
        {"index", 92, 4, false, "index", SR_UINT32_T, as_it_is},
        {"offset", 96, 1, false, "offset", SR_UINT8_T, as_it_is},
        {"mask", 97, 1, false, "mask", SR_UINT8_T, always_zero},
        {"route_reflector_client", 98, 1, false, "route-reflector-client", SR_BOOL_T, truth},
        {"community_attribute", 99, 1, false, "community-attribute", SR_BOOL_T, truth},
        {"prefix_accepted_statis", 100, 4, false, "prefix-accepted-statis", SR_UINT32_T, as_it_is},
        {"prefix_announced_statis", 104, 4, false, "prefix-announced-statis", SR_UINT32_T,
         as_it_is},
    }};

const WireRecord table_record = {
    sizeof(bgp_rpc_ip_bgp_info_output_public),
    "/ip-bgp-info/bgp-info/",
    {
        {"version", 0, 4, false, "version", SR_UINT32_T, as_it_is},
        {"router_id", 4, 47, true, "router-id", SR_STRING_T},
        {"prefix_number", 52, 4, false, "prefix-number", SR_UINT32_T, as_it_is},
    }};

const WireRecord network_record = {
    sizeof(bgp_rpc_ip_bgp_info_output_entry),
    "/ip-bgp-info/bgp-info/entry[network='%s']/",
    {
        {"network", 0, 47, true},
        {"mask_len", 48, 2, false, "mask-len", SR_UINT16_T, as_it_is},
        {"nextop_num", 52, 4, false},
    }};

const WireRecord next_hop_record = {
    sizeof(bgp_rpc_ip_bgp_info_next_hop_output_entry),
    "/ip-bgp-info/bgp-info/entry[network='%s']/"
    "next-hop-information[next-hop='%s'][metric='%s'][path='%s']/",
    {
        {"nexthop", 0, 47, true},
        {"metric", 47, 11, true},
        {"path", 68, 21, true},
        {"valid_flag", 89, 1, false, "valid-flag", SR_ENUM_T, valid_or_other},
        {"select_flag", 90, 1, false, "select-flag", SR_ENUM_T, best_or_other},
        {"source_type", 91, 1, false, "source-type", SR_ENUM_T, source_of},
        {"loc_prf", 60, 4, false, "loc-prf", SR_UINT32_T, unless_zero},
        {"weight", 64, 4, false, "weight", SR_UINT32_T, as_it_is},
    }};

const WireField &WireRecord::field(std::string_view name) const {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const WireField &row) { return row.name == name; });
    if (found == fields.end()) {
        ADD_FAILURE() << "no field is called " << name;
        return fields.front();
    }
    return *found;
}

std::uint32_t WireRecord::leaves() const {
    return static_cast<std::uint32_t>(std::count_if(
        fields.begin(), fields.end(), [](const WireField &row) { return row.leaf != nullptr; }));
}

Record::Record(const WireRecord &layout) : layout_(&layout), bytes_(layout.size, '\0') {}

Record::Record(const WireRecord &layout, unsigned seed) : Record(layout) {
    std::uint32_t number = 1000 * (seed + 1);
    for (const WireField &row : layout.fields) {
        if (row.is_text) {
            put(row.name, std::to_string(seed) + "-" + row.name);
        } else {
            put(row.name, ++number);
        }
    }
}

Record &Record::put(std::string_view name, const std::string &text) {
    const WireField &row = layout_->field(name);
    std::string content = text;
    content.resize(row.size, '\0');
    bytes_.replace(row.offset, row.size, content);
    return *this;
}

Record &Record::put(std::string_view name, std::uint32_t number) {
    const WireField &row = layout_->field(name);
    const auto half = static_cast<std::uint16_t>(number);
    const std::string content = row.size == 4   ? bytes_of(number)
                                : row.size == 2 ? bytes_of(half)
                                                : std::string(1, static_cast<char>(number));
    bytes_.replace(row.offset, row.size, content);
    return *this;
}

std::string Record::text(const WireField &row) const {
    const std::string content = bytes_.substr(row.offset, row.size);
    return content.substr(0, content.find('\0'));
}

std::uint32_t Record::number(const WireField &row) const {
    const char *bytes = bytes_.data() + row.offset;
    std::uint32_t whole = 0;
    std::uint16_t half = 0;
    switch (row.size) {
    case 4:
        std::memcpy(&whole, bytes, sizeof whole);
        return whole;
    case 2:
        std::memcpy(&half, bytes, sizeof half);
        return half;
    default:
        return static_cast<unsigned char>(*bytes);
    }
}

Outputs Record::outputs(const std::vector<std::string> &keys) const {
    Outputs made;
    const std::string entry = filled(layout_->xpath, keys);
    for (const WireField &row : layout_->fields) {
        if (row.leaf == nullptr) {
            continue;
        }
        const Shown content = row.is_text ? text(row) : row.shown(number(row));
        if (content) {
            made.push_back({cut_xpath(entry + row.leaf), row.type, *content});
        }
    }
    return made;
}

std::string Record::traced(const std::string &prefix, std::size_t width, std::size_t from) const {
    std::map<std::size_t, std::string> lines; // by the fields' offsets
    for (const WireField &row : layout_->fields) {
        std::string name = prefix + row.name;
        name.resize(std::max(width, name.size()), ' ');
        lines[row.offset] =
            name + ":" +
            (row.is_text ? text(row) : std::to_string(static_cast<std::int32_t>(number(row)))) +
            "\n";
    }
    std::string all;
    for (auto line = lines.lower_bound(from); line != lines.end(); ++line) {
        all += line->second;
    }
    return all;
}

Record Record::at(const WireRecord &layout, std::string_view payload, std::size_t offset) {
    Record record(layout);
    record.bytes_.replace(0, layout.size, payload, offset, layout.size);
    record.bytes_.resize(layout.size, '\0');
    return record;
}

std::string filled(const std::string &format, const std::vector<std::string> &keys) {
    std::string result;
    std::size_t start = 0;
    for (const std::string &key : keys) {
        const std::size_t hole = format.find("%s", start);
        result += format.substr(start, hole - start) + key;
        start = hole + 2;
    }
    return result + format.substr(start);
}

std::string cut_xpath(std::string xpath) {
    xpath.resize(std::min<std::size_t>(xpath.size(), 999));
    return xpath;
}

void append(Outputs &outputs, Outputs more) {
    outputs.insert(outputs.end(), std::make_move_iterator(more.begin()),
                   std::make_move_iterator(more.end()));
}

// --- The packed stream of the EVPN reply -------------------------------------------

std::string packed(std::uint32_t number) {
    return bytes_of(number);
}

std::string packed(const std::string &text) {
    return text + '\0';
}

std::string packed(const EvpnNextHop &next_hop) {
    return packed(next_hop.address) + packed(next_hop.metric) + packed(next_hop.local_preference) +
           packed(next_hop.weight) + packed(next_hop.as_path);
}

std::string packed(const EvpnText &text) {
    return std::string(1, text.presence) + (text.presence == 0 ? std::string() : packed(text.text));
}

std::string packed(const EvpnRoute &route) {
    const char flags[] = {static_cast<char>(route.valid), static_cast<char>(route.select),
                          static_cast<char>(route.source)};
    return packed(route.name) + bytes_of(flags) + packed(route.community) + packed(route.label) +
           packed(route.next_hops);
}

std::string packed(const EvpnDistinguisher &distinguisher) {
    return packed(distinguisher.name) + packed(distinguisher.routes);
}

std::string evpn_payload(std::uint32_t get_count, const std::vector<EvpnDistinguisher> &items) {
    return packed(get_count) + packed(items);
}

} // namespace support
