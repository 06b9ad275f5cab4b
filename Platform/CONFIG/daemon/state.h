// What a BGP speaker would know besides its configuration. No BGP runs here, so a file supplies it.
#ifndef CONFIGD_STATE_H
#define CONFIGD_STATE_H

#include "netconf_bgp_public.h"
#include "reply_payload.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace configd {

// A neighbor in the daemon's tables: its VRF (empty outside VRFs) and its address.
using NeighborKey = std::pair<std::string, std::string>;

// An address family: AFI and SAFI.
using FamilyKey = std::pair<std::uint32_t, std::uint32_t>;

struct NeighborState {
    // A session that was never established, with the usual timers.
    NeighborState();

    // The fields that come from the configuration are zero here: address, VRF, both AS numbers and
    // update source.
    bgp_rpc_ip_bgp_neighbor_output_neighbor peer{};
    std::map<FamilyKey, bgp_rpc_ip_bgp_neighbor_output_addrsss_family> families;

    // In the summary only.
    std::string up_down = "never";
    std::string state_pfxrcd; // empty: the session's state
    std::uint32_t tblver = 0;
};

// A state file holds one JSON object with these members. Those without * are optional. A leaf has
// the name and the format that it has in the output of the YANG model's RPCs.
//
//   table-version, as-path-number, community-number
//   neighbors: list of
//     neighbor-addr*, vrf-name (outside VRFs without it)
//     version, remote-router-id, state, hold-time, interval, messages-in, notifications-in,
//     queue-in, messages-out, notifications-out, queue-out, refresh-in, refresh-out,
//     adver-interval, connection-established, connection-dropped, next-connect-timer,
//     up-down, state-pfxrcd, tblver
//     address-familys: list of
//       afi*, safi* (AFI_IP, SAFI_UNICAST and so on)
//       table-version, neighbor-version, index, offset, mask, community-attribute (true, false),
//       prefix-accepted-statis, prefix-announced-statis
//   evpn: list of
//     route-distinguisher*
//     routes: list of
//       evpn-route*, valid-flag (valid, other), select-flag (best, other),
//       source-type (internal, local, other), ext-community, lable-info
//       next-hops: list of
//         nexthop-address*, metric, LocPrf, Weight, path
//
// Neighbors and address families that are not configured appear in replies only once they are.
struct State {
    std::uint32_t table_version = 0;
    std::uint32_t as_path_number = 0;
    std::uint32_t community_number = 0;
    std::map<NeighborKey, NeighborState> neighbors;
    std::vector<EvpnDistinguisher> evpn;
};

// The state in a JSON document. Throws std::runtime_error with the place (a JSON pointer) and what
// is wrong there: a member that is unknown, missing, duplicate or of another type, or a number that
// its record field cannot hold.
State state_from_json(const nlohmann::json &document);

// The state in a file. Throws std::system_error when the file cannot be read and std::runtime_error
// when it is not such a document; both name the file.
State load_state(const std::string &file);

} // namespace configd

#endif
