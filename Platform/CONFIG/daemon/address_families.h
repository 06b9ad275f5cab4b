// The address families: their numbers on the wire and their names in the YANG model.
#ifndef CONFIGD_ADDRESS_FAMILIES_H
#define CONFIGD_ADDRESS_FAMILIES_H

#include "netconf_bgp_public.h"

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

constexpr NumberName afi_names[] = {
    {BGP_AFI_IP, "AFI_IP"}, {BGP_AFI_IPV6, "AFI_IPV6"}, {BGP_AFI_L2VPN, "AFI_L2VPN"}};
constexpr NumberName safi_names[] = {{BGP_SAFI_UNICAST, "SAFI_UNICAST"},
                                     {BGP_SAFI_MULTICAST, "SAFI_MULTICAST"},
                                     {BGP_SAFI_EVPN, "SAFI_EVPN"},
                                     {BGP_SAFI_VRF, "SAFI_VRF"}};

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
