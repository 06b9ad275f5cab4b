#include "frr/commands.h"

#include "field_text.h"
#include "frr/command_text.h"
#include "frr/refusal.h"
#include "message.h"

#include <fmt/format.h>

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <sstream>
#include <string_view>
#include <variant>

namespace configd::frr {
namespace {

// A text of a record and the name of its field.
struct Text {
    const char *field;
    std::string_view text;
};

#define TEXT(record, field) (Text{#field, text_of((record).field)})

// Returns the text if `is_one` accepts it, throws Refusal otherwise.
std::string checked(const Text &text, bool (*is_one)(std::string_view text)) {
    if (!is_one(text.text)) {
        throw Refusal{SR_ERR_INVALID_VALUE,
                      fmt::format("{} holds what may not go into a command line", text.field)};
    }
    return std::string{text.text};
}

std::string word(const Text &text) {
    return checked(text, is_word);
}

// Converts an address to its bytes and back.
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

// A neighbor as bgpd writes it in a line. A text that is not an address is a name.
template <typename Record>
std::string neighbor_of(const Record &record) {
    const std::string name = word(TEXT(record, neighbor_ip_or_tag));
    AddressBytes bytes{};
    const int domain = domain_of(name);
    const bool is_address = inet_pton(domain, name.c_str(), bytes.data()) == 1;
    return "neighbor " + (is_address ? address_text(domain, bytes) : name);
}

// A prefix of this IP version as bgpd writes it: without host bits.
std::string prefix_of(const std::string &text, int ip_version) {
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

// clang-format off
#define VALUE(sub_mod, words, field) {sub_mod, Place::Instance, words, CONFIGD_FIELD(sub_mod, field)}
#define FLAG(sub_mod, words) {sub_mod, Place::Family, words}

constexpr SettingRow settings[] = {
    {BGP_SUB_BGP_AS, Place::Record},
    VALUE(BGP_SUB_ROUTER_ID, "router-id", router_id),
    VALUE(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, "remote-as", remote_as),
    VALUE(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, "description", description),
    VALUE(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, "ebgp-multihop", ebgp_multihop),
    VALUE(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, "update-source", update_source),
    {BGP_SUB_NETWORK, Place::Record},
    {BGP_SUB_REDISTRIBUTE, Place::Record},
    FLAG(BGP_SUB_NEIGHBOR_ACTIVATE, "activate"),
    FLAG(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, "next-hop-self"),
    FLAG(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, "route-reflector-client"),
    {BGP_SUB_ADDRESS_FAMILY_VRF, Place::Record},
    VALUE(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, "remote-as", remote_as),
    FLAG(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, "activate"),
    VALUE(BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, "description", description),
    VALUE(BGP_SUB_NEIGHBOR_VRF_MULTIHOP, "ebgp-multihop", ebgp_multihop),
    VALUE(BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, "update-source", update_source),
};
// clang-format on
#undef FLAG
#undef VALUE
static_assert(has_one_row_each(settings, is_setting), "one row for each setting");

// The value after the words. Only a description may contain blanks.
std::string value_in(const Field &field, std::string_view record) {
    const FieldValue value = value_of(field, record);
    if (const auto *number = std::get_if<std::int64_t>(&value)) {
        return fmt::to_string(*number);
    }
    const std::string_view name = field.name;
    return checked({field.name, std::get<std::string_view>(value)},
                   name == "description" ? is_line_end : is_word);
}

// Where bgpd's configuration has the entries of a record's family.
Setting setting_in(const address_family_val &family) {
    Setting setting;
    setting.family = &family_of(family);
    setting.vrf = vrf_of(family);
    setting.is_in_own_family = family.safi == BGP_SAFI_VRF;
    return setting;
}

// Completes `setting` with the leaf of a record. Its line begins with `subject`.
Setting leaf_setting(Setting setting, std::int32_t sub_mod, bool is_set, const std::string &subject,
                     std::string_view record) {
    const SettingRow *row = row_of(settings, sub_mod);
    if (row == nullptr || row->place == Place::Record) {
        throw Refusal{SR_ERR_NOT_SUPPORT, fmt::format("sub-module {} is no leaf", sub_mod)};
    }
    if (row->place == Place::Instance) {
        setting.family = nullptr;
    }
    const std::string_view words = row->words;
    setting.key = fmt::format("{} {}", subject, words);
    // A neighbor exists as long as its AS does.
    setting.removal = "no " + (words == "remote-as" ? subject : setting.key);
    if (is_set && row->field) {
        setting.value = value_in(*row->field, record);
    }
    return setting;
}

} // namespace

const Family &family_of(const address_family_val &family) {
    const bool in_vrf = !text_of(family.vrf_name).empty();
    const Family *known = find_family(family.afi, family.safi, in_vrf);
    if (known == nullptr) {
        throw Refusal{SR_ERR_NOT_SUPPORT, fmt::format("bgpd has no address family {}/{} here",
                                                      family.afi, family.safi)};
    }
    return *known;
}

std::string vrf_of(const address_family_val &family) {
    if (text_of(family.vrf_name).empty()) {
        return {};
    }
    std::string vrf = word(TEXT(family, vrf_name));
    // For bgpd these mean the instance outside VRFs and every instance.
    if (vrf == "default" || vrf == "all") {
        throw Refusal{SR_ERR_NOT_SUPPORT, fmt::format("bgpd has no VRF named {}", vrf)};
    }
    return vrf;
}

Setting setting_of(std::int32_t sub_mod, bool is_set, const bgp_globle_config &record) {
    return leaf_setting({}, sub_mod, is_set, "bgp", bytes_of(record));
}

Setting setting_of(std::int32_t sub_mod, bool is_set, const bgp_globle_neighbor_config &record) {
    return leaf_setting({}, sub_mod, is_set, neighbor_of(record), bytes_of(record));
}

Setting setting_of(std::int32_t sub_mod, bool is_set,
                   const bgp_address_family_neighbor_universal_val &record) {
    return leaf_setting(setting_in(record.address_family), sub_mod, is_set, neighbor_of(record),
                        bytes_of(record));
}

Setting setting_of(std::int32_t /*sub_mod*/, bool is_set,
                   const bgp_address_family_redistribute_universal_val &record) {
    Setting setting = setting_in(record.address_family);
    const std::string protocol = word(TEXT(record, protocol_name));
    if (!setting.family->redistributes(protocol)) {
        throw Refusal{SR_ERR_NOT_SUPPORT, fmt::format("{} is not redistributed into {}", protocol,
                                                      setting.family->name)};
    }
    setting.key = "redistribute " + protocol;
    // bgpd knows one process of each other protocol.
    const bool has_process = !text_of(record.protocol_id_or_tag).empty();
    if (protocol == "table" || (protocol == "ospf" && has_process)) {
        setting.key += ' ' + word(TEXT(record, protocol_id_or_tag));
    }
    setting.removal = "no " + setting.key;
    if (is_set && !text_of(record.route_map).empty()) {
        setting.value = "route-map " + word(TEXT(record, route_map));
    }
    return setting;
}

const SettingRow *find_leaf(Place place, std::string_view words) {
    const auto *row =
        std::find_if(std::begin(settings), std::end(settings), [=](const SettingRow &leaf) {
            return leaf.place == place && leaf.words != nullptr && leaf.words == words;
        });
    return row == std::end(settings) ? nullptr : row;
}

std::string Network::line() const {
    return setting.key + (route_map.empty() ? "" : " route-map " + route_map) +
           (backdoor ? " backdoor" : "");
}

Network network_of(const bgp_address_family_network_universal_val &record) {
    Network network{setting_in(record.address_family)};
    const Family &family = *network.setting.family;
    network.backdoor = record.backdoor != 0;
    if (!text_of(record.route_map).empty()) {
        network.route_map = word(TEXT(record, route_map));
    }
    if (family.ip_version == 0 || (network.backdoor && family.ip_version == 6)) {
        throw Refusal{SR_ERR_NOT_SUPPORT,
                      fmt::format("{} has no {}", family.name,
                                  family.ip_version == 0 ? "networks" : "backdoors")};
    }
    network.setting.key =
        "network " + prefix_of(word(TEXT(record, network_ip_str)), family.ip_version);
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
