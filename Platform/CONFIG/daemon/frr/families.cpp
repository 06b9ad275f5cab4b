#include "frr/families.h"

#include "wire.h"

#include <algorithm>

namespace configd::frr {
namespace {

const std::vector<Family> &families() {
    static const std::vector<Family> table = {
        {BGP_AFI_IP,
         BGP_SAFI_UNICAST,
         "ipv4 unicast",
         "ipv4Unicast",
         4,
         {"babel", "connected", "eigrp", "isis", "kernel", "nhrp", "openfabric", "ospf", "rip",
          "static", "table", "vnc", "vnc-direct"}},
        {BGP_AFI_IP, BGP_SAFI_MULTICAST, "ipv4 multicast", "ipv4Multicast", 4, {}},
        {BGP_AFI_IPV6,
         BGP_SAFI_UNICAST,
         "ipv6 unicast",
         "ipv6Unicast",
         6,
         {"connected", "isis", "kernel", "nhrp", "ospf6", "ripng", "static"}},
        {BGP_AFI_L2VPN, BGP_SAFI_EVPN, "l2vpn evpn", "l2VpnEvpn", 0, {}},
    };
    return table;
}

template <typename Predicate>
const Family *first_family(Predicate is_wanted) {
    const auto row = std::find_if(families().begin(), families().end(), is_wanted);
    return row == families().end() ? nullptr : &*row;
}

} // namespace

bool Family::redistributes(std::string_view protocol) const {
    return std::find(protocols.begin(), protocols.end(), protocol) != protocols.end();
}

const Family *find_family(std::uint32_t afi, std::uint32_t safi, bool in_vrf) {
    const std::uint32_t plain =
        in_vrf && safi == BGP_SAFI_VRF ? std::uint32_t{BGP_SAFI_UNICAST} : safi;
    return first_family(
        [=](const Family &family) { return family.afi == afi && family.safi == plain; });
}

const Family *find_family(std::string_view name) {
    return first_family([=](const Family &family) { return family.name == name; });
}

const Family *find_answered_family(std::string_view answer_name) {
    return first_family([=](const Family &family) { return family.answer_name == answer_name; });
}

} // namespace configd::frr
