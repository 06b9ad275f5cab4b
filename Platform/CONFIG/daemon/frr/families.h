// What bgpd calls the address families, and what it takes in them.
#ifndef CONFIGD_FRR_FAMILIES_H
#define CONFIGD_FRR_FAMILIES_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace configd::frr {

// A line that bgpd does not know in an address family it tries in the instance, where most lines
// stand for IPv4 unicast. What a family takes is therefore told here.
struct Family {
    std::uint32_t afi;
    std::uint32_t safi;
    std::string_view name;                   // behind `address-family`
    std::string_view answer_name;            // in what bgpd answers
    int ip_version;                          // of its networks; 0: it takes none
    std::vector<std::string_view> protocols; // that it redistributes

    bool redistributes(std::string_view protocol) const;
};

// The family that AFI and SAFI name outside VRFs or, with SAFI_VRF for unicast as well, in one;
// nullptr when bgpd has none. Static storage.
const Family *find_family(std::uint32_t afi, std::uint32_t safi, bool in_vrf);

// The family that has this name behind `address-family`, or in an answer; nullptr when none has.
// Static storage.
const Family *find_family(std::string_view name);
const Family *find_answered_family(std::string_view answer_name);

} // namespace configd::frr

#endif
