#include "selectors.h"

#include "field_text.h"
#include "wire.h"

#include <fmt/format.h>

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <utility>

namespace configd {
namespace {

// The text as a number; 0 when it is not entirely one.
std::uint16_t length_from(std::string_view text) {
    std::uint16_t length = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    return error == std::errc{} && end == text.data() + text.size() ? length : std::uint16_t{0};
}

std::optional<std::uint32_t> ipv4_from(std::string_view text) {
    in_addr address{};
    if (inet_pton(AF_INET, std::string{text}.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

bool holds(const bgp_rpc_ip_bgp_info_output_entry &network, std::uint32_t address) {
    const auto base = ipv4_from(text_of(network.network));
    if (!base || network.mask_len > 32) {
        return false;
    }
    return network.mask_len == 0 || ((*base ^ address) >> (32 - network.mask_len)) == 0;
}

bool is_same(const bgp_rpc_ip_bgp_info_output_entry &one,
             const bgp_rpc_ip_bgp_info_output_entry &other) {
    return text_of(one.network) == text_of(other.network) && one.mask_len == other.mask_len;
}

std::vector<NetworkFacts> longest_match(std::vector<NetworkFacts> networks, std::string_view text) {
    const auto address = ipv4_from(text);
    NetworkFacts *longest = nullptr;
    for (NetworkFacts &network : networks) {
        const bool matches = address && holds(network.entry, *address);
        if (matches && (longest == nullptr || network.entry.mask_len > longest->entry.mask_len)) {
            longest = &network;
        }
    }
    std::vector<NetworkFacts> match;
    if (longest != nullptr) {
        match.push_back(std::move(*longest));
    }
    return match;
}

} // namespace

bool asks_for(const bgp_rpc_ip_bgp_evpn &query, std::string_view route) {
    constexpr std::uint32_t all_types = 0xFFFFFFFF;
    const std::string_view text = text_of(query.evpn_route_str);
    const std::string type = fmt::format("[{}]", query.type);
    const bool any_type = query.type == all_types || (query.type == 0 && !text.empty());
    return (any_type || route.substr(0, type.size()) == type) && (text.empty() || route == text);
}

bool asks_for(const bgp_rpc_ip_bgp_neighbor_input &query, std::string_view vrf,
              std::string_view address) {
    const std::string_view asked_vrf = text_of(query.vrf_name);
    const std::string_view asked_address = text_of(query.neighbor_addr);
    if (query.all != 0 || (asked_address.empty() && asked_vrf.empty())) {
        return query.all != 0;
    }
    return (asked_vrf.empty() || vrf == asked_vrf) &&
           (asked_address.empty() || address == asked_address);
}

bool asks_for(const bgp_rpc_clear_ip_bgp_input &query, std::string_view vrf) {
    return query.clear_all != 0 || vrf == text_of(query.address_family.vrf_name);
}

std::uint32_t afi_of(const bgp_rpc_ip_bgp_info_input &query) {
    return query.ip_type <= 1 ? BGP_AFI_IP : BGP_AFI_IPV6;
}

bgp_rpc_ip_bgp_info_output_entry network_entry(std::string_view prefix, std::uint32_t afi) {
    const std::size_t slash = prefix.find('/');
    const bool has_length = slash != std::string_view::npos;
    bgp_rpc_ip_bgp_info_output_entry entry{};
    put_text(entry.network, prefix.substr(0, slash));
    entry.mask_len = has_length          ? length_from(prefix.substr(slash + 1))
                     : afi == BGP_AFI_IP ? 32
                                         : 128;
    return entry;
}

std::vector<NetworkFacts> asked_for(const bgp_rpc_ip_bgp_info_input &query,
                                    std::vector<NetworkFacts> networks) {
    const std::string_view prefix = text_of(query.ipaddr_str);
    const std::string_view address = text_of(query.ipaddr);
    if (query.all == 0 && !prefix.empty()) {
        const auto asked = network_entry(prefix, afi_of(query));
        networks.erase(std::remove_if(networks.begin(), networks.end(),
                                      [&](const NetworkFacts &network) {
                                          return !is_same(network.entry, asked);
                                      }),
                       networks.end());
    }
    if (query.all == 0 && !address.empty()) {
        return longest_match(std::move(networks), address);
    }
    return networks;
}

} // namespace configd
