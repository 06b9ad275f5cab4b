#include "replies.h"

#include "netconf_bgp_public.h"

#include <cstring>

namespace bench {

namespace {

constexpr std::size_t payload_room = BUF_SIZE_MAX - sizeof(netconf_data_struc);

template <typename Record>
std::string bytes_of(const Record &record) {
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

template <std::size_t size>
void put(char (&field)[size], const std::string &text) {
    std::memcpy(field, text.data(), text.size());
}

std::string address(std::size_t entry) {
    return "10." + std::to_string(entry / 65536) + "." + std::to_string(entry / 256 % 256) + "." +
           std::to_string(entry % 256);
}

// The numbers differ from entry to entry.
std::uint32_t number(std::size_t entry) {
    return static_cast<std::uint32_t>(entry + 1);
}

std::string summary(std::size_t entries) {
    bgp_rpc_ip_bgp_summary_output_neighbors block{};
    put(block.as, "65001");
    put(block.router_id, "192.0.2.1");
    block.version = 7;
    block.neighbor_number = static_cast<std::uint32_t>(entries);
    std::string payload = bytes_of(block);
    for (std::size_t i = 0; i < entries; ++i) {
        bgp_rpc_ip_bgp_summary_output_entry entry{};
        put(entry.neighbor, address(i));
        entry.version = 4;
        put(entry.AS, "64496");
        entry.msg_recvd = number(i);
        entry.msg_send = number(i);
        put(entry.up_down, "01:02:03");
        put(entry.state_pfxrcd, "Established");
        payload += bytes_of(entry);
    }
    return payload;
}

std::string neighbor(std::size_t peers) {
    std::string payload = bytes_of(static_cast<std::uint32_t>(peers));
    for (std::size_t i = 0; i < peers; ++i) {
        bgp_rpc_ip_bgp_neighbor_output_neighbor peer{};
        put(peer.neighbor_addr, address(i));
        put(peer.vrf_name, "red");
        peer.remote_as = 64496;
        peer.local_as = 65001;
        peer.version = 4;
        put(peer.remote_router_id, address(i));
        put(peer.state, "Established");
        peer.messages_in = number(i);
        peer.messages_out = number(i);
        put(peer.update_source, "loopback0");
        peer.address_family_cnt = 1;
        bgp_rpc_ip_bgp_neighbor_output_addrsss_family family{};
        family.address_family.afi = 1;
        family.address_family.safi = 1;
        family.prefix_accepted_statis = number(i);
        payload += bytes_of(peer) + bytes_of(family);
    }
    return payload;
}

std::string info(std::size_t networks) {
    bgp_rpc_ip_bgp_info_output_public table{};
    table.version = 3;
    put(table.router_id, "192.0.2.1");
    table.prefix_number = static_cast<std::uint32_t>(networks);
    std::string payload = bytes_of(static_cast<std::uint32_t>(networks)) + bytes_of(table);
    for (std::size_t i = 0; i < networks; ++i) {
        bgp_rpc_ip_bgp_info_output_entry network{};
        put(network.network, address(i));
        network.mask_len = 24;
        network.nextop_num = 1;
        bgp_rpc_ip_bgp_info_next_hop_output_entry hop{};
        put(hop.nexthop, "192.0.2.11");
        put(hop.metric, "20");
        put(hop.path, "64496 64497 i");
        hop.valid_flag = 1;
        hop.select_flag = 1;
        hop.source_type = 2;
        hop.loc_prf = 100;
        hop.weight = number(i);
        payload += bytes_of(network) + bytes_of(hop);
    }
    return payload;
}

std::string packed(const std::string &text) {
    return text + '\0';
}

std::string evpn_route(std::size_t entry) {
    std::string name = std::to_string(entry);
    name.insert(0, 6 - name.size(), '0');
    return packed("[2]:[0]:[48]:[00:11:22:" + name.substr(0, 2) + ":" + name.substr(2, 2) + ":" +
                  name.substr(4) + "]") +
           std::string{1, 1, 2} + std::string(1, 1) + packed("RT:65001:10001") + std::string(1, 1) +
           packed("10001") + bytes_of(std::uint32_t{1}) + packed("192.0.2.11") +
           bytes_of(std::uint32_t{20}) + bytes_of(std::uint32_t{100}) + bytes_of(number(entry)) +
           packed("64496 i");
}

std::string evpn_head(std::size_t routes) {
    const auto values = static_cast<std::uint32_t>(9 * routes);
    return bytes_of(values) + bytes_of(std::uint32_t{1}) + packed("65001:1") +
           bytes_of(static_cast<std::uint32_t>(routes));
}

std::string evpn(std::size_t routes) {
    std::string payload = evpn_head(routes);
    for (std::size_t i = 0; i < routes; ++i) {
        payload += evpn_route(i);
    }
    return payload;
}

} // namespace

const std::vector<ReplyKind> &reply_kinds() {
    static const std::vector<ReplyKind> kinds = {
        {"ip-bgp-summary", "neighbors", BGP_SUB_RPC_IP_BGP_SUMMARY, summary,
         (payload_room - summary(0).size()) / sizeof(bgp_rpc_ip_bgp_summary_output_entry)},
        {"ip-bgp-neighbor", "neighbors", BGP_SUB_RPC_IP_BGP_NEIGHBOR, neighbor,
         (payload_room - neighbor(0).size()) /
             (sizeof(bgp_rpc_ip_bgp_neighbor_output_neighbor) +
              sizeof(bgp_rpc_ip_bgp_neighbor_output_addrsss_family))},
        {"ip-bgp-info", "networks", BGP_SUB_RPC_IP_BGP_INFO, info,
         (payload_room - info(0).size()) / (sizeof(bgp_rpc_ip_bgp_info_output_entry) +
                                            sizeof(bgp_rpc_ip_bgp_info_next_hop_output_entry))},
        {"ip-bgp-evpn", "routes", BGP_SUB_RPC_IP_BGP_EVPN, evpn,
         (payload_room - evpn_head(0).size()) / evpn_route(0).size()},
    };
    return kinds;
}

} // namespace bench
