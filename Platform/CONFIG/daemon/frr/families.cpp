#include "frr/families.h"

#include "address_families.h"

#include <algorithm>

namespace configd::frr {
namespace {

const std::vector<Family> &families() {
    static const std::vector<Family> table = {
        {1,
         1,
         "ipv4 unicast",
         4,
         {"babel", "connected", "eigrp", "isis", "kernel", "nhrp", "openfabric", "ospf", "rip",
          "static", "table", "vnc", "vnc-direct"}},
        {1, 2, "ipv4 multicast", 4, {}},
        {2,
         1,
         "ipv6 unicast",
         6,
         {"connected", "isis", "kernel", "nhrp", "ospf6", "ripng", "static"}},
        {3, 5, "l2vpn evpn", 0, {}},
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
    const std::uint32_t plain = in_vrf && safi == safi_vrf ? safi_unicast : safi;
    return first_family(
        [=](const Family &family) { return family.afi == afi && family.safi == plain; });
}

const Family *find_family(std::string_view name) {
    return first_family([=](const Family &family) { return family.name == name; });
}

} // namespace configd::frr
