// Writes the payloads of replies from facts that the caller collects.
//
// Every reply has the result 0 and fits in a message of BUF_SIZE_MAX bytes. The first neighbor,
// network or route that does not fit is left out, and so are all after it. The counts in the
// payload are those of the entries in it, and the reply's note gives them. Callers leave the counts
// in the records at 0.
#ifndef CONFIGD_REPLY_PAYLOAD_H
#define CONFIGD_REPLY_PAYLOAD_H

#include "backend.h"
#include "netconf_bgp_public.h"

#include <cstdint>
#include <string>
#include <vector>

namespace configd {

struct PeerFacts {
    bgp_rpc_ip_bgp_neighbor_output_neighbor peer;
    std::vector<bgp_rpc_ip_bgp_neighbor_output_addrsss_family> families;
};

struct NetworkFacts {
    bgp_rpc_ip_bgp_info_output_entry entry;
    std::vector<bgp_rpc_ip_bgp_info_next_hop_output_entry> next_hops;
};

struct EvpnNextHop {
    std::string address;
    std::uint32_t metric = 0;
    std::uint32_t local_preference = 0;
    std::uint32_t weight = 0;
    std::string path; // AS path
};

// A route's texts are sent up to their first NUL.
struct EvpnRoute {
    std::string text;            // such as [3]:[0]:[32]:[192.0.2.1]
    std::int8_t valid_flag = 0;  // 1 valid
    std::int8_t select_flag = 0; // 1 best
    std::int8_t source_type = 0; // 1 internal, 2 local
    std::string ext_community;   // empty: left out
    std::string label;           // empty: left out
    std::vector<EvpnNextHop> next_hops;
};

struct EvpnDistinguisher {
    std::string text; // such as 192.0.2.1:100
    std::vector<EvpnRoute> routes;
};

// The reply to BGP_SUB_RPC_IP_BGP_SUMMARY: the instance and its neighbors.
QueryResult summary_reply(bgp_rpc_ip_bgp_summary_output_neighbors instance,
                          const std::vector<bgp_rpc_ip_bgp_summary_output_entry> &entries);

// The reply to BGP_SUB_RPC_IP_BGP_NEIGHBOR: each neighbor with its address families.
QueryResult neighbor_reply(const std::vector<PeerFacts> &peers);

// The reply to BGP_SUB_RPC_IP_BGP_INFO: the table and each network with its next hops.
QueryResult info_reply(bgp_rpc_ip_bgp_info_output_public table,
                       const std::vector<NetworkFacts> &networks);

// The reply to BGP_SUB_RPC_IP_BGP_EVPN: each distinguisher with its routes and their next hops.
QueryResult evpn_reply(const std::vector<EvpnDistinguisher> &distinguishers);

} // namespace configd

#endif
