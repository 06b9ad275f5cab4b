// Selects what a query asks for.
#ifndef CONFIGD_SELECTORS_H
#define CONFIGD_SELECTORS_H

#include "netconf_bgp_public.h"
#include "reply_payload.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace configd {

// Whether the query asks for the EVPN route with this text: for all routes, for those of its EVPN
// route type, or for this text.
bool asks_for(const bgp_rpc_ip_bgp_evpn &query, std::string_view route);

// Whether the query asks for the neighbor: for all, or for the address or the VRF that it names. An
// empty VRF means outside VRFs.
bool asks_for(const bgp_rpc_ip_bgp_neighbor_input &query, std::string_view vrf,
              std::string_view address);

// Whether the VRF's sessions are to be cleared.
bool asks_for(const bgp_rpc_clear_ip_bgp_input &query, std::string_view vrf);

// The address family whose table the query asks for: AFI_IP or AFI_IPV6.
std::uint32_t afi_of(const bgp_rpc_ip_bgp_info_input &query);

// A network's entry in the reply. A prefix without a length means one address.
bgp_rpc_ip_bgp_info_output_entry network_entry(std::string_view prefix, std::uint32_t afi);

// The networks that the query asks for: all, the one with its prefix, or the longest that contains
// its IPv4 address.
std::vector<NetworkFacts> asked_for(const bgp_rpc_ip_bgp_info_input &query,
                                    std::vector<NetworkFacts> networks);

} // namespace configd

#endif
