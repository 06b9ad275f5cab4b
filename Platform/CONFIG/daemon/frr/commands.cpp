#include "frr/commands.h"

#include "frr/command_text.h"
#include "frr/refusal.h"
#include "netconf_bgp_public.h"
#include "operation.h"
#include "wire.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <string_view>

namespace configd::frr {
namespace {

using nlohmann::ordered_json;

const std::string &text_in(const ordered_json &fields, const char *field) {
    return fields[field].get_ref<const std::string &>();
}

[[noreturn]] void refuse_text(const char *field) {
    throw Refusal{SR_ERR_INVALID_VALUE,
                  fmt::format("{} holds what may not go into a command line", field)};
}

std::string word_in(const ordered_json &fields, const char *field) {
    const std::string &text = text_in(fields, field);
    if (!is_word(text)) {
        refuse_text(field);
    }
    return text;
}

std::string line_end_in(const ordered_json &fields, const char *field) {
    const std::string &text = text_in(fields, field);
    if (!is_line_end(text)) {
        refuse_text(field);
    }
    return text;
}

// An address in the bytes of the wire, and back.
constexpr std::size_t longest_address = 16;
using AddressBytes = std::array<unsigned char, longest_address>;

int domain_of(const std::string &address) {
    return address.find(':') == std::string::npos ? AF_INET : AF_INET6;
}

std::string address_text(int domain, const AddressBytes &bytes) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(domain, bytes.data(), text.data(), text.size());
    return text.data();
}

// A neighbour as bgpd writes it; what is no address is a name.
std::string neighbor_in(const ordered_json &fields) {
    const std::string name = word_in(fields, "neighbor_ip_or_tag");
    AddressBytes bytes{};
    const int domain = domain_of(name);
    return inet_pton(domain, name.c_str(), bytes.data()) == 1 ? address_text(domain, bytes) : name;
}

// A prefix of this IP version as bgpd writes it: without host bits.
std::string prefix_in(const ordered_json &fields, int ip_version) {
    const std::string text = word_in(fields, "network_ip_str");
    const std::string address = text.substr(0, text.find('/'));
    const std::string_view length_text =
        std::string_view{text}.substr(std::min(text.size(), address.size() + 1));
    AddressBytes bytes{};
    const int domain = ip_version == 4 ? AF_INET : AF_INET6;
    const std::size_t bits = ip_version == 4 ? 32 : 128;
    std::size_t length = bits + 1;
    const char *end = length_text.data() + length_text.size();
    const auto [stop, error] = std::from_chars(length_text.data(), end, length);
    if (inet_pton(domain, address.c_str(), bytes.data()) != 1 || error != std::errc{} ||
        stop != end || length > bits) {
        throw Refusal{SR_ERR_INVALID_VALUE, fmt::format("{} is no IPv{} prefix", text, ip_version)};
    }
    for (std::size_t bit = length; bit < bits; ++bit) {
        bytes[bit / 8] &= static_cast<unsigned char>(~(0x80U >> bit % 8));
    }
    return fmt::format("{}/{}", address_text(domain, bytes), length);
}

// Where the line of a record belongs.
enum class Place { Session, Family };

// A setting of a neighbour: the words in its line, and the field with its value, if it has one.
struct NeighborSetting {
    std::int32_t sub_mod;
    Place place;
    const char *words;
    const char *field;
};

constexpr NeighborSetting neighbor_settings[] = {
    {BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, Place::Session, "remote-as", "remote_as"},
    {BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, Place::Session, "description", "description"},
    {BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, Place::Session, "ebgp-multihop", "ebgp_multihop"},
    {BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, Place::Session, "update-source", "update_source"},
    {BGP_SUB_NEIGHBOR_ACTIVATE, Place::Family, "activate", nullptr},
    {BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, Place::Family, "next-hop-self", nullptr},
    {BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, Place::Family, "route-reflector-client", nullptr},
    {BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, Place::Session, "remote-as", "remote_as"},
    {BGP_SUB_NEIGHBOR_VRF_ACTIVATE, Place::Family, "activate", nullptr},
    {BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, Place::Session, "description", "description"},
    {BGP_SUB_NEIGHBOR_VRF_MULTIHOP, Place::Session, "ebgp-multihop", "ebgp_multihop"},
    {BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, Place::Session, "update-source", "update_source"},
};

constexpr bool is_neighbor_setting(std::int32_t sub_mod) {
    switch (sub_mod) {
    case BGP_SUB_BGP_AS:
    case BGP_SUB_ROUTER_ID:
    case BGP_SUB_NETWORK:
    case BGP_SUB_REDISTRIBUTE:
    case BGP_SUB_ADDRESS_FAMILY_VRF:
        return false;
    default:
        return is_setting(sub_mod);
    }
}
static_assert(has_one_row_each(neighbor_settings, is_neighbor_setting),
              "one row for each setting of a neighbor");

// The value behind the words. A description alone has blanks.
std::string value_in(const ordered_json &fields, std::string_view field) {
    const std::string name{field};
    if (fields[name].is_number()) {
        return fmt::to_string(fields[name].get<std::uint32_t>());
    }
    return field == "description" ? line_end_in(fields, name.c_str())
                                  : word_in(fields, name.c_str());
}

// Where in bgpd's configuration the entries of the record's family are.
Setting setting_in(const ordered_json &fields) {
    Setting setting;
    if (const auto family = fields.find("address_family"); family != fields.end()) {
        setting.family = &family_of(*family);
        setting.vrf = vrf_of(*family);
    }
    return setting;
}

Setting router_id_of(bool is_set, const ordered_json &fields) {
    Setting setting;
    setting.key = "bgp router-id";
    setting.value = is_set ? word_in(fields, "router_id") : "";
    setting.removal = "no bgp router-id";
    return setting;
}

Setting neighbor_setting_of(std::int32_t sub_mod, bool is_set, const ordered_json &fields) {
    const NeighborSetting *row = row_of(neighbor_settings, sub_mod);
    if (row == nullptr) {
        throw Refusal{SR_ERR_NOT_SUPPORT,
                      fmt::format("sub-module {} is no setting of a neighbor", sub_mod)};
    }
    Setting setting = setting_in(fields);
    if (row->place == Place::Session) {
        setting.family = nullptr;
    }
    const std::string neighbor = neighbor_in(fields);
    setting.key = fmt::format("neighbor {} {}", neighbor, row->words);
    // The neighbour is there as long as its AS.
    const bool is_neighbor = std::string_view{row->words} == "remote-as";
    setting.removal = is_neighbor ? "no neighbor " + neighbor : "no " + setting.key;
    if (is_set && row->field != nullptr) {
        setting.value = value_in(fields, row->field);
    }
    return setting;
}

Setting redistribution_of(bool is_set, const ordered_json &fields) {
    Setting setting = setting_in(fields);
    const std::string protocol = word_in(fields, "protocol_name");
    if (!setting.family->redistributes(protocol)) {
        throw Refusal{SR_ERR_NOT_SUPPORT, fmt::format("{} is not redistributed into {}", protocol,
                                                      setting.family->name)};
    }
    setting.key = "redistribute " + protocol;
    // Of the other protocols bgpd knows one process.
    const bool has_processes = protocol == "ospf" || protocol == "table";
    if (has_processes && (protocol == "table" || is_given(fields["protocol_id_or_tag"]))) {
        setting.key += ' ' + word_in(fields, "protocol_id_or_tag");
    }
    setting.removal = "no " + setting.key;
    if (is_set && is_given(fields["route_map"])) {
        setting.value = "route-map " + word_in(fields, "route_map");
    }
    return setting;
}

} // namespace

const Family &family_of(const ordered_json &address_family) {
    const auto afi = address_family["afi"].get<std::uint32_t>();
    const auto safi = address_family["safi"].get<std::uint32_t>();
    const Family *family = find_family(afi, safi, is_given(address_family["vrf_name"]));
    if (family == nullptr) {
        throw Refusal{SR_ERR_NOT_SUPPORT,
                      fmt::format("bgpd has no address family {}/{} here", afi, safi)};
    }
    return *family;
}

std::string vrf_of(const ordered_json &address_family) {
    if (!is_given(address_family["vrf_name"])) {
        return {};
    }
    std::string vrf = word_in(address_family, "vrf_name");
    // These stand for the instance outside VRFs and for every one.
    if (vrf == "default" || vrf == "all") {
        throw Refusal{SR_ERR_NOT_SUPPORT, fmt::format("bgpd has no VRF named {}", vrf)};
    }
    return vrf;
}

Setting setting_of(std::int32_t sub_mod, bool is_set, const ordered_json &fields) {
    switch (sub_mod) {
    case BGP_SUB_ROUTER_ID:
        return router_id_of(is_set, fields);
    case BGP_SUB_REDISTRIBUTE:
        return redistribution_of(is_set, fields);
    default:
        return neighbor_setting_of(sub_mod, is_set, fields);
    }
}

std::string Network::line() const {
    return setting.key + (route_map.empty() ? "" : " route-map " + route_map) +
           (backdoor ? " backdoor" : "");
}

Network network_of(const ordered_json &fields) {
    Network network{setting_in(fields)};
    const Family &family = *network.setting.family;
    network.backdoor = is_given(fields["backdoor"]);
    if (is_given(fields["route_map"])) {
        network.route_map = word_in(fields, "route_map");
    }
    if (family.ip_version == 0 || (network.backdoor && family.ip_version == 6)) {
        throw Refusal{SR_ERR_NOT_SUPPORT,
                      fmt::format("{} has no {}", family.name,
                                  family.ip_version == 0 ? "networks" : "backdoors")};
    }
    network.setting.key = "network " + prefix_in(fields, family.ip_version);
    network.setting.removal = "no " + network.setting.key;
    return network;
}

Network with_options_of(const Setting &setting, const std::string &line) {
    Network network{setting};
    std::istringstream words{line.substr(std::min(line.size(), setting.key.size()))};
    for (std::string word; words >> word;) {
        if (word == "route-map") {
            words >> network.route_map;
        }
        network.backdoor = network.backdoor || word == "backdoor";
    }
    return network;
}

} // namespace configd::frr
