#include "sample_replies.h"

namespace support {

std::string rpc(const std::string &name, const std::string &input) {
    return "<" + name + " xmlns=\"urn:orv:params:xml:ns:yang:orv_bgp\">" + input + "</" + name +
           ">";
}

std::string summary_payload(std::uint32_t neighbors) {
    bgp_rpc_ip_bgp_summary_output_neighbors block{};
    put(block.as, "65001");
    put(block.router_id, "192.0.2.1");
    block.version = 7;
    block.neighbor_number = neighbors;
    std::string payload = bytes_of(block);
    for (std::uint32_t i = 0; i < neighbors; ++i) {
        bgp_rpc_ip_bgp_summary_output_entry entry{};
        put(entry.neighbor, "10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250));
        entry.version = 4;
        put(entry.AS, "64496");
        entry.msg_send = 12;
        put(entry.up_down, "01:02:03");
        put(entry.state_pfxrcd, "Established");
        payload += bytes_of(entry);
    }
    return payload;
}

std::string neighbor_payload() {
    bgp_rpc_ip_bgp_neighbor_output_neighbor peer{};
    put(peer.neighbor_addr, "10.0.0.1");
    peer.remote_as = 65536 + 7;
    peer.local_as = 4200000000U;
    peer.version = 4;
    put(peer.state, "Established");
    peer.address_family_cnt = 1;
    bgp_rpc_ip_bgp_neighbor_output_addrsss_family family{};
    family.address_family.afi = 3;
    family.address_family.safi = 5;
    family.mask = 24;
    family.route_reflector_client = 2;
    return bytes_of(std::uint32_t{1}) + bytes_of(peer) + bytes_of(family);
}

std::string info_payload() {
    bgp_rpc_ip_bgp_info_output_public table{};
    table.version = 3;
    put(table.router_id, "192.0.2.1");
    table.prefix_number = 1;
    bgp_rpc_ip_bgp_info_output_entry network{};
    put(network.network, "10.1.0.0");
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
    return bytes_of(std::uint32_t{1}) + bytes_of(table) + bytes_of(network) + bytes_of(hop);
}

namespace {

std::string packed(const std::string &text) {
    return text + '\0';
}

} // namespace

std::string evpn_payload() {
    return bytes_of(std::uint32_t{9}) + bytes_of(std::uint32_t{1}) + packed("65001:1") +
           bytes_of(std::uint32_t{1}) + packed("[2]:[0]:[48]:[aa:bb:cc:dd:ee:ff]") +
           std::string{1, 1, 2} + std::string(1, 1) + packed("RT:65001:1") + std::string(1, 1) +
           packed("10001") + bytes_of(std::uint32_t{1}) + packed("192.0.2.11") +
           bytes_of(std::uint32_t{20}) + bytes_of(std::uint32_t{100}) +
           bytes_of(std::uint32_t{32768}) + packed("64496 i");
}

const std::vector<SampleQuery> &sample_queries() {
    static const std::vector<SampleQuery> samples = {
        {"ip-bgp-evpn", BGP_SUB_RPC_IP_BGP_EVPN, rpc("ip-bgp-evpn", "<get-all/>"), evpn_payload(),
         "<evpn-route>[2]:[0]:[48]:[aa:bb:cc:dd:ee:ff]</evpn-route>"},
        {"ip-bgp-info", BGP_SUB_RPC_IP_BGP_INFO, rpc("ip-bgp-info"), info_payload(),
         "<network>10.1.0.0</network>"},
        {"ip-bgp-neighbor", BGP_SUB_RPC_IP_BGP_NEIGHBOR, rpc("ip-bgp-neighbor"), neighbor_payload(),
         "<neighbor-addr>10.0.0.1</neighbor-addr>"},
        {"ip-bgp-summary", BGP_SUB_RPC_IP_BGP_SUMMARY, rpc("ip-bgp-summary"), summary_payload(1),
         "<neighbor>10.0.0.0</neighbor>"},
        {"clear-ip-bgp", BGP_SUB_RPC_CLEAR_IP_BGP, rpc("clear-ip-bgp"), "", ""},
    };
    return samples;
}

} // namespace support
