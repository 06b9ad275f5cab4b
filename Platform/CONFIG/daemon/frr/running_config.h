// Reads bgpd's running configuration.
#ifndef CONFIGD_FRR_RUNNING_CONFIG_H
#define CONFIGD_FRR_RUNNING_CONFIG_H

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace configd::frr {

// A line of an instance, without indentation, and its address family; empty for a line of the
// instance itself.
struct ConfigLine {
    std::string family;
    std::string text;
};

// A `router bgp` block. Views are left out.
struct Instance {
    std::uint32_t as = 0;
    std::string vrf;                // empty: the default instance
    std::vector<ConfigLine> lines;  // what is set
    std::vector<std::string> block; // the same lines as written, to enter them again
};

// The instances in the text of `show running-config`.
std::vector<Instance> instances_in(std::string_view running_config);

// The instance of a VRF, or the default instance for an empty name; nullptr when there is none.
const Instance *find_instance(const std::vector<Instance> &instances, std::string_view vrf);

// Whether the line is the key or begins with it as whole words.
bool begins_with(std::string_view line, std::string_view key);

// The instances in the form that Backend::configuration() describes. Lines that are not settings of
// the model are left out. An address family without lines does not appear. Unicast in a VRF is
// SAFI_VRF. A neighbor's session in a VRF appears in each family in which the neighbor is active.
nlohmann::ordered_json configuration_of(const std::vector<Instance> &instances);

} // namespace configd::frr

#endif
