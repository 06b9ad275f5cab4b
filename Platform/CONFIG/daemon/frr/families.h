// The address families by bgpd's names, and what bgpd accepts in them.
#ifndef CONFIGD_FRR_FAMILIES_H
#define CONFIGD_FRR_FAMILIES_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace configd::frr {

// bgpd tries a line that it does not know in an address family in the instance, where most lines
// mean IPv4 unicast. So this table says what a family accepts.
struct Family {
    std::uint32_t afi;
    std::uint32_t safi;
    std::string_view name;                   // after `address-family`
    std::string_view answer_name;            // in bgpd's answers
    int ip_version;                          // of its networks; 0: it has none
    std::vector<std::string_view> protocols; // that it redistributes

    bool redistributes(std::string_view protocol) const;
};

// The family that AFI and SAFI name outside VRFs or in one; in a VRF, SAFI_VRF also means unicast.
// nullptr when bgpd has no such family. Static storage.
const Family *find_family(std::uint32_t afi, std::uint32_t safi, bool in_vrf);

// The family with this name after `address-family`, or in an answer; nullptr when there is none.
// Static storage.
const Family *find_family(std::string_view name);
const Family *find_answered_family(std::string_view answer_name);

} // namespace configd::frr

#endif
