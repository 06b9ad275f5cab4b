// Reads bgpd's running configuration.
#ifndef CONFIGD_FRR_RUNNING_CONFIG_H
#define CONFIGD_FRR_RUNNING_CONFIG_H

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace configd::frr {

// A line of an instance, without indentation, and the address family that it is in; none for a
// line of the instance itself.
struct ConfigLine {
    std::string family;
    std::string text;
};

// A `router bgp` block. Views are left out.
struct Instance {
    std::uint32_t as = 0;
    std::string vrf;                // empty: the default instance
    std::vector<ConfigLine> lines;  // what is set
    std::vector<std::string> block; // the same as it was written, to be entered again
};

// The instances in the text of `show running-config`.
std::vector<Instance> instances_in(std::string_view running_config);

// The instance of a VRF, or the default one for no name; nullptr when it is not there.
const Instance *find_instance(const std::vector<Instance> &instances, std::string_view vrf);

// Whether the line is the key or begins with it as a whole word.
bool begins_with(std::string_view line, std::string_view key);

// The instances as Backend::configuration() describes it. Lines that no setting of the model
// stands for are left out, and an address family without lines is not seen. Unicast in a VRF is
// SAFI_VRF, and a neighbour's session there is in each family that it is active in.
nlohmann::ordered_json configuration_of(const std::vector<Instance> &instances);

} // namespace configd::frr

#endif
