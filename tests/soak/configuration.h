// BGP configurations as flat text for comparison: that of the datastore, that of the daemon, and
// the expected result of the edits so far.
#ifndef SOAK_CONFIGURATION_H
#define SOAK_CONFIGURATION_H

#include <nlohmann/json.hpp>
#include <sysrepo.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace soak {

// The root of the paths below.
constexpr const char *root = "/orv_bgp:router-bgp";

// List entries and leaves by their paths below the root, such as
// /bgp/bgp-globle-neighbors/globle-neighbor[neighbor-address='192.0.2.1']/remote-as. An entry and
// a leaf without content have no value; containers and key leaves are left out.
using Configuration = std::map<std::string, std::string>;

// The path without its last step; empty when it has one step only.
std::string_view parent_of(std::string_view path);

// The last step of the path, with and without its keys.
std::string_view last_step(std::string_view path);
std::string_view last_name(std::string_view path);

// Whether the path is that of a list entry, and of one of these lists.
bool is_entry(std::string_view path);
bool is_neighbor(std::string_view path);
bool is_network_or_redistribute(std::string_view path);

// Whether it is an address family with its own record: a VRF's, with SAFI_VRF.
bool is_vrf(std::string_view path);

// Whether `path` is `ancestor` or below it.
bool is_within(std::string_view path, std::string_view ancestor);

// The configuration of the running datastore. Throws std::runtime_error.
Configuration stored_configuration(sr_session_ctx_t *session);

// The configuration of the daemon, from its output on SIGUSR1.
Configuration held_configuration(const nlohmann::json &tree);

// The part of a configuration that the plug-in sends: the settings in a neighbor or an address
// family, but not these entries themselves.
Configuration told(const Configuration &configuration);

// The differences between two configurations.
struct Differences {
    std::vector<std::string> lost;      // only in the first
    std::vector<std::string> left_over; // only in the second
    std::vector<std::string> differing; // with another value in the second

    bool empty() const { return lost.empty() && left_over.empty() && differing.empty(); }
};
Differences differences(const Configuration &first, const Configuration &second);

} // namespace soak

#endif
