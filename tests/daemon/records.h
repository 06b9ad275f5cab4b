// Builds the messages that the plug-in sends.
#ifndef DAEMON_TEST_RECORDS_H
#define DAEMON_TEST_RECORDS_H

#include "message.h"

#include <cstring>
#include <string_view>

// Writes a text without a terminator to the start of a field.
template <std::size_t N>
void put(char (&field)[N], std::string_view text) {
    std::memcpy(field, text.data(), text.size() < N ? text.size() : N);
}

// The message that carries this record.
template <typename Record>
configd::Message message_with(std::int32_t sub_mod, const Record &record) {
    char bytes[sizeof record];
    std::memcpy(bytes, &record, sizeof record);
    return configd::make_message(MODULE_ID_BGP, sub_mod, {bytes, sizeof bytes});
}

inline configd::Message as_message(std::int32_t op, std::uint32_t as) {
    return message_with(BGP_SUB_BGP_AS, bgp_as_val{op, as});
}

inline configd::Message router_id_message(std::int32_t op, std::uint32_t bgp_id,
                                          std::string_view router_id) {
    bgp_globle_config record{};
    record.op = op;
    record.bgp_id = bgp_id;
    put(record.router_id, router_id);
    return message_with(BGP_SUB_ROUTER_ID, record);
}

inline configd::Message summary_query(std::string_view vrf = "", std::uint32_t all = 1) {
    bgp_rpc_ip_bgp_summary_input query{};
    put(query.vrf_name, vrf);
    query.all = all;
    return message_with(BGP_SUB_RPC_IP_BGP_SUMMARY, query);
}

inline configd::Message neighbor_query(std::uint32_t all, std::string_view address = "",
                                       std::string_view vrf = "") {
    bgp_rpc_ip_bgp_neighbor_input query{};
    query.all = all;
    put(query.neighbor_addr, address);
    put(query.vrf_name, vrf);
    return message_with(BGP_SUB_RPC_IP_BGP_NEIGHBOR, query);
}

inline configd::Message info_query(std::uint32_t ip_type, std::string_view vrf = "",
                                   std::string_view address = "", std::string_view prefix = "",
                                   std::uint32_t all = 0) {
    bgp_rpc_ip_bgp_info_input query{};
    put(query.vrf_name, vrf);
    query.ip_type = ip_type;
    query.all = all;
    put(query.ipaddr, address);
    put(query.ipaddr_str, prefix);
    return message_with(BGP_SUB_RPC_IP_BGP_INFO, query);
}

inline configd::Message all_info_query() {
    return info_query(0, "", "", "", 1);
}

constexpr std::uint32_t all_types = 0xFFFFFFFF;

inline configd::Message evpn_query(std::uint32_t type, std::string_view route = "") {
    bgp_rpc_ip_bgp_evpn query{};
    query.type = type;
    put(query.evpn_route_str, route);
    return message_with(BGP_SUB_RPC_IP_BGP_EVPN, query);
}

inline configd::Message clear_query(std::uint32_t all, std::string_view vrf = "",
                                    std::uint32_t reconfig_type = 0) {
    bgp_rpc_clear_ip_bgp_input query{};
    put(query.address_family.vrf_name, vrf);
    query.clear_all = all;
    query.reconfig_type = reconfig_type;
    return message_with(BGP_SUB_RPC_CLEAR_IP_BGP, query);
}

#endif
