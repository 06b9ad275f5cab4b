// The configuration messages that tests send: for AS 100, and about one neighbor.
#ifndef DAEMON_TEST_SETTINGS_H
#define DAEMON_TEST_SETTINGS_H

#include "message.h"
#include "records.h"

#include <cstdint>
#include <string_view>

namespace settings {

constexpr std::int32_t set = 1;
constexpr std::int32_t erase = 0;
constexpr std::int32_t moved = -1;
constexpr std::uint32_t as = 100;

struct Family {
    std::uint32_t afi = 1;
    std::uint32_t safi = 1;
    std::string_view vrf_name = "";
};

constexpr Family red{1, 71, "red"};

template <typename Record>
Record record_in(std::int32_t op, const Family &family) {
    Record record{};
    record.op = op;
    record.bgp_id = as;
    record.address_family.afi = family.afi;
    record.address_family.safi = family.safi;
    put(record.address_family.vrf_name, family.vrf_name);
    return record;
}

inline configd::Message network(std::int32_t op, std::string_view prefix,
                                std::string_view route_map = "", std::uint32_t backdoor = 0,
                                const Family &family = {}) {
    auto record = record_in<bgp_address_family_network_universal_val>(op, family);
    put(record.network_ip_str, prefix);
    put(record.route_map, route_map);
    record.backdoor = backdoor;
    return message_with(BGP_SUB_NETWORK, record);
}

inline configd::Message redistribute(std::int32_t op, std::string_view protocol,
                                     std::string_view process, std::string_view route_map = "",
                                     const Family &family = {}) {
    auto record = record_in<bgp_address_family_redistribute_universal_val>(op, family);
    put(record.protocol_name, protocol);
    put(record.protocol_id_or_tag, process);
    put(record.route_map, route_map);
    return message_with(BGP_SUB_REDISTRIBUTE, record);
}

// Every setting has a value, as after earlier changes: only the sub-module code selects one.
inline configd::Message neighbor(std::int32_t sub_mod, std::int32_t op, const Family &family = {}) {
    auto record = record_in<bgp_address_family_neighbor_universal_val>(op, family);
    put(record.neighbor_ip_or_tag, "10.0.0.1");
    record.active = 1;
    record.next_hop_self = 1;
    put(record.remote_as, "200");
    put(record.description, "peer");
    put(record.update_source, "lo");
    record.ebgp_multihop = 2;
    record.route_reflector_client = 1;
    return message_with(sub_mod, record);
}

inline configd::Message globle_neighbor(std::int32_t sub_mod, std::int32_t op,
                                        const char *address = "10.0.0.1") {
    bgp_globle_neighbor_config record{};
    record.op = op;
    record.bgp_id = as;
    put(record.neighbor_ip_or_tag, address);
    put(record.remote_as, "200");
    put(record.description, "peer");
    put(record.update_source, "lo");
    record.ebgp_multihop = 2;
    return message_with(sub_mod, record);
}

inline configd::Message vrf(std::int32_t op, const Family &family = red) {
    address_family_val record{};
    record.op = op;
    record.bgp_id = as;
    record.afi = family.afi;
    record.safi = family.safi;
    put(record.vrf_name, family.vrf_name);
    return message_with(BGP_SUB_ADDRESS_FAMILY_VRF, record);
}

} // namespace settings

#endif
