// The address families: their numbers on the wire and their names in the YANG model.
#ifndef CONFIGD_ADDRESS_FAMILIES_H
#define CONFIGD_ADDRESS_FAMILIES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>

namespace configd {

struct NumberName {
    std::uint32_t number;
    const char *name;
};

constexpr std::uint32_t afi_ip = 1;
constexpr std::uint32_t afi_ipv6 = 2;
constexpr NumberName afi_names[] = {{afi_ip, "AFI_IP"}, {afi_ipv6, "AFI_IPV6"}, {3, "AFI_L2VPN"}};

constexpr std::uint32_t safi_unicast = 1;
constexpr std::uint32_t safi_vrf = 71;
constexpr NumberName safi_names[] = {{safi_unicast, "SAFI_UNICAST"},
                                     {2, "SAFI_MULTICAST"},
                                     {5, "SAFI_EVPN"},
                                     {safi_vrf, "SAFI_VRF"}};

// The name of a number in one of the tables above; nullptr when it has none.
template <std::size_t N>
const char *name_of(const NumberName (&names)[N], std::uint32_t number) {
    const auto *row = std::find_if(std::begin(names), std::end(names),
                                   [=](const NumberName &known) { return known.number == number; });
    return row == std::end(names) ? nullptr : row->name;
}

// The number of a name in one of the tables above; std::nullopt when it has none.
template <std::size_t N>
std::optional<std::uint32_t> number_of(const NumberName (&names)[N], std::string_view name) {
    const auto *row = std::find_if(std::begin(names), std::end(names),
                                   [=](const NumberName &known) { return known.name == name; });
    return row == std::end(names) ? std::nullopt : std::optional{row->number};
}

} // namespace configd

#endif
