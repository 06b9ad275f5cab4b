// What a BGP speaker would know beside its configuration. No BGP runs here, so a file says it.
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

// A neighbour in the daemon's tables: its VRF (empty outside VRFs) and its address.
using NeighborKey = std::pair<std::string, std::string>;

// An address family: AFI and SAFI.
using FamilyKey = std::pair<std::uint32_t, std::uint32_t>;

struct NeighborState {
    // A session that was never established, with the usual timers.
    NeighborState();

    // What the configuration says of a neighbour is zero here: address, VRF, both AS numbers and
    // update source.
    bgp_rpc_ip_bgp_neighbor_output_neighbor peer{};
    std::map<FamilyKey, bgp_rpc_ip_bgp_neighbor_output_addrsss_family> families;

    // Of the summary alone.
    std::string up_down = "never";
    std::string state_pfxrcd; // empty: the session's state
    std::uint32_t tblver = 0;
};

// A state file holds one JSON object with these members. Each may be left out, unless it is
// marked with *; a leaf is named and written as in the output of the calls of the YANG model.
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
// Neighbours and address families that are not configured stay in the background until they are.
struct State {
    std::uint32_t table_version = 0;
    std::uint32_t as_path_number = 0;
    std::uint32_t community_number = 0;
    std::map<NeighborKey, NeighborState> neighbors;
    std::vector<EvpnDistinguisher> evpn;
};

// The state that a JSON document describes. Throws std::runtime_error with the place (a JSON
// pointer) and what is wrong there: a member that is unknown, missing, there twice or of another
// type, a number that its record field does not hold.
State state_from_json(const nlohmann::json &document);

// The state in a file. Throws std::system_error when it cannot be read, std::runtime_error when
// it is no such document; both name the file.
State load_state(const std::string &file);

} // namespace configd

#endif
