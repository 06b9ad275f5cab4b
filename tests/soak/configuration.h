// A BGP configuration as flat text, to be compared: the datastore's, the daemon's, and what the
// edits so far should have made.
#ifndef SOAK_CONFIGURATION_H
#define SOAK_CONFIGURATION_H

#include <nlohmann/json.hpp>
#include <sysrepo.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace soak {

// What the paths below start from.
constexpr const char *root = "/orv_bgp:router-bgp";

// List entries and leaves by their paths below the root, such as
// /bgp/bgp-globle-neighbors/globle-neighbor[neighbor-address='192.0.2.1']/remote-as. An entry and
// a leaf without content have no value; containers and key leaves are left out.
using Configuration = std::map<std::string, std::string>;

// The path without its last step; empty when it has one step only.
std::string_view parent_of(std::string_view path);

// The path's last step, and that without its keys.
std::string_view last_step(std::string_view path);
std::string_view last_name(std::string_view path);

// Whether the path is that of a list entry, and of one of these lists.
bool is_entry(std::string_view path);
bool is_neighbor(std::string_view path);
bool is_network_or_redistribute(std::string_view path);

// Whether it is an address family with a record of its own: with SAFI_VRF, of a VRF.
bool is_vrf(std::string_view path);

// Whether `path` is `ancestor` or below it.
bool is_within(std::string_view path, std::string_view ancestor);

// The running datastore's. Throws std::runtime_error.
Configuration stored_configuration(sr_session_ctx_t *session);

// The daemon's, from what it prints on SIGUSR1.
Configuration held_configuration(const nlohmann::json &tree);

// What the daemon is told of a configuration: not of a neighbor or an address family itself,
// only of what is in it.
Configuration told(const Configuration &configuration);

// Where two configurations are not the same.
struct Differences {
    std::vector<std::string> lost;      // only in the first
    std::vector<std::string> left_over; // only in the second
    std::vector<std::string> differing; // with another value in the second

    bool empty() const { return lost.empty() && left_over.empty() && differing.empty(); }
};
Differences differences(const Configuration &first, const Configuration &second);

} // namespace soak

#endif
