#include "sample_replies.h"

#include "wire.h"

#include <cstdio>
#include <iterator>

namespace support {

std::string rpc(const std::string &name, const std::string &input) {
    return "<" + name + " xmlns=\"urn:orv:params:xml:ns:yang:orv_bgp\">" + input + "</" + name +
           ">";
}

namespace {

// 10.0.0.0 and up.
std::string address(std::uint32_t entry) {
    return "10." + std::to_string(entry / 65536) + "." + std::to_string(entry / 256 % 256) + "." +
           std::to_string(entry % 256);
}

std::string packed(const std::string &text) {
    return text + '\0';
}

std::string evpn_route(std::uint32_t entry) {
    char name[40];
    std::snprintf(name, sizeof name, "[2]:[0]:[48]:[00:11:22:%02x:%02x:%02x]", entry >> 16 & 0xff,
                  entry >> 8 & 0xff, entry & 0xff);
    return packed(name) + std::string{1, 1, 2} + std::string(1, 1) + packed("RT:65001:1") +
           std::string(1, 1) + packed("10001") + bytes_of(std::uint32_t{1}) + packed("192.0.2.11") +
           bytes_of(std::uint32_t{20}) + bytes_of(std::uint32_t{100}) +
           bytes_of(std::uint32_t{32768}) + packed("64496 i");
}

} // namespace

std::string summary_payload(std::uint32_t neighbors) {
    bgp_rpc_ip_bgp_summary_output_neighbors block{};
    put(block.as, "65001");
    put(block.router_id, "192.0.2.1");
    block.version = 7;
    block.neighbor_number = neighbors;
    std::string payload = bytes_of(block);
    for (std::uint32_t i = 0; i < neighbors; ++i) {
        bgp_rpc_ip_bgp_summary_output_entry entry{};
        put(entry.neighbor, address(i));
        entry.version = 4;
        put(entry.AS, "64496");
        entry.msg_recvd = i;
        entry.msg_send = 12;
        put(entry.up_down, "01:02:03");
        put(entry.state_pfxrcd, "Established");
        payload += bytes_of(entry);
    }
    return payload;
}

std::string neighbor_payload(std::uint32_t peers) {
    std::string payload = bytes_of(peers);
    for (std::uint32_t i = 0; i < peers; ++i) {
        bgp_rpc_ip_bgp_neighbor_output_neighbor peer{};
        put(peer.neighbor_addr, address(i));
        peer.remote_as = 65536 + 7;
        peer.local_as = 4200000000U;
        peer.version = 4;
        put(peer.remote_router_id, address(i));
        put(peer.state, "Established");
        peer.messages_in = i;
        put(peer.update_source, "loopback0");
        peer.address_family_cnt = 1;
        bgp_rpc_ip_bgp_neighbor_output_addrsss_family family{};
        family.address_family.afi = 3;
        family.address_family.safi = 5;
        family.mask = 24;
        family.route_reflector_client = 2;
        payload += bytes_of(peer) + bytes_of(family);
    }
    return payload;
}

std::string info_payload(std::uint32_t networks) {
    bgp_rpc_ip_bgp_info_output_public table{};
    table.version = 3;
    put(table.router_id, "192.0.2.1");
    table.prefix_number = networks;
    std::string payload = bytes_of(networks) + bytes_of(table);
    for (std::uint32_t i = 0; i < networks; ++i) {
        bgp_rpc_ip_bgp_info_output_entry network{};
        put(network.network, address(i));
        network.mask_len = 16;
        network.nextop_num = 1;
        bgp_rpc_ip_bgp_info_next_hop_output_entry hop{};
        put(hop.nexthop, "192.0.2.11");
        put(hop.metric, "20");
        put(hop.path, "64496 i");
        hop.valid_flag = 1;
        hop.select_flag = 1;
        hop.source_type = 2;
        hop.weight = 32768;
        payload += bytes_of(network) + bytes_of(hop);
    }
    return payload;
}

std::string evpn_payload(std::uint32_t routes) {
    std::string payload =
        bytes_of(9 * routes) + bytes_of(std::uint32_t{1}) + packed("65001:1") + bytes_of(routes);
    for (std::uint32_t i = 0; i < routes; ++i) {
        payload += evpn_route(i);
    }
    return payload;
}

const std::vector<SampleQuery> &sample_queries() {
    static const SampleQuery rows[] = {
        {"ip-bgp-evpn", BGP_SUB_RPC_IP_BGP_EVPN, rpc("ip-bgp-evpn", "<get-all/>"), evpn_payload(1),
         "<evpn-route>[2]:[0]:[48]:[00:11:22:00:00:00]</evpn-route>"},
        {"ip-bgp-info", BGP_SUB_RPC_IP_BGP_INFO, rpc("ip-bgp-info"), info_payload(1),
         "<network>10.0.0.0</network>"},
        {"ip-bgp-neighbor", BGP_SUB_RPC_IP_BGP_NEIGHBOR, rpc("ip-bgp-neighbor"),
         neighbor_payload(1), "<neighbor-addr>10.0.0.0</neighbor-addr>"},
        {"ip-bgp-summary", BGP_SUB_RPC_IP_BGP_SUMMARY, rpc("ip-bgp-summary"), summary_payload(1),
         "<neighbor>10.0.0.0</neighbor>"},
        {"clear-ip-bgp", BGP_SUB_RPC_CLEAR_IP_BGP, rpc("clear-ip-bgp"), "", ""},
    };
    static_assert(std::size(rows) == configd::query_count, "one row for each query");
    static const std::vector<SampleQuery> samples(std::begin(rows), std::end(rows));
    return samples;
}

} // namespace support
