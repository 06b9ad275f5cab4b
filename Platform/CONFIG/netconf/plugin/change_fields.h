// Change fields: the records that a change fills, with their keys and leaves.
#ifndef CHANGE_FIELDS_H
#define CHANGE_FIELDS_H

#include "netconf_bgp_public.h"

#include <cstring>
#include <type_traits>

// What a change of a leaf writes into its field.
enum class Puts {
    value, // the leaf's text or number, by the field's type
    flag,  // 1: the leaf changed, whatever its value
};

// A leaf of a record.
struct Leaf {
    const char *node;
    std::size_t offset; // of its field in the record
    std::size_t size;   // of its field
    bool is_text;       // its field holds a text, otherwise a number
    uint32_t sub_mod;   // 0: the record's sub-module code
    Puts puts = Puts::value;
    const char *trace = nullptr; // line of the leaf; nullptr: none
    bool traces_text = false;    // the line ends with the leaf's text
};

// A key of a list.
struct Key {
    const char *node;
    std::size_t offset;          // of its field in the record
    std::size_t size;            // of its field
    const char *missing;         // line when it is missing in a path
    const char *trace = nullptr; // line of the key, before its text; nullptr: none
};

// The record of a list entry. In a VRF the list has another name, and a
// neighbor has other leaves.
struct EntryRecord {
    std::size_t size;
    Key keys[2]; // a change of the first one's leaf clears the record
    Leaf leaves[5];
    uint32_t sub_mod; // of the record, which gathers all changes; 0: each leaf has its own
};

// The row of a node's name, or nullptr.
template <typename Row, std::size_t count>
const Row *find_row(const Row (&rows)[count], const char *node) {
    for (const Row &row : rows) {
        if (row.node != nullptr && std::strcmp(row.node, node) == 0) {
            return &row;
        }
    }
    return nullptr;
}

#define KEY_FIELD(record, field) offsetof(record, field), sizeof(record::field)
#define LEAF_FIELD(record, field) KEY_FIELD(record, field), std::is_array_v<decltype(record::field)>

// --- The instance ------------------------------------------------------------

inline constexpr Leaf as_leaf = {"as", LEAF_FIELD(bgp_as_val, as), BGP_SUB_BGP_AS};
inline constexpr Leaf router_id_leaf = {"router-id", LEAF_FIELD(bgp_globle_config, router_id),
                                        BGP_SUB_ROUTER_ID};

#define FIELD(field) LEAF_FIELD(bgp_globle_neighbor_config, field)
inline constexpr EntryRecord globle_neighbor_record = {
    sizeof(bgp_globle_neighbor_config),
    {{"neighbor-address", KEY_FIELD(bgp_globle_neighbor_config, neighbor_ip_or_tag),
      "neighbor address value is NULL."}},
    {{"remote-as", FIELD(remote_as), BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS},
     {"description", FIELD(description), BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION},
     {"ebgp-multihop", FIELD(ebgp_multihop), BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP},
     {"update-source", FIELD(update_source), BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE}},
    0};
#undef FIELD

// --- Address families, of the instance and of VRFs ---------------------------

// What the three records of an address family start with.
struct FamilyRecordHead {
    int32_t op;
    uint32_t bgp_id;
    address_family_val address_family;
};
static_assert(offsetof(bgp_address_family_network_universal_val, network_ip_str) ==
                      sizeof(FamilyRecordHead) &&
                  offsetof(bgp_address_family_neighbor_universal_val, neighbor_ip_or_tag) ==
                      sizeof(FamilyRecordHead) &&
                  offsetof(bgp_address_family_redistribute_universal_val, protocol_name) ==
                      sizeof(FamilyRecordHead),
              "the records share their head");

#define NETWORK bgp_address_family_network_universal_val
inline constexpr EntryRecord network_record = {
    sizeof(NETWORK),
    {{"prefix", KEY_FIELD(NETWORK, network_ip_str), "network prefix is NULL.",
      "set network prefix "}},
    {{"route-map", LEAF_FIELD(NETWORK, route_map), 0, Puts::value, "set network routemap ", true},
     {"backdoor", LEAF_FIELD(NETWORK, backdoor), 0, Puts::flag, "set network backdoor"}},
    BGP_SUB_NETWORK};
#undef NETWORK

#define REDISTRIBUTE bgp_address_family_redistribute_universal_val
inline constexpr EntryRecord redistribute_record = {
    sizeof(REDISTRIBUTE),
    {{"protocol", KEY_FIELD(REDISTRIBUTE, protocol_name), "redistribute protocol is NULL."},
     {"process", KEY_FIELD(REDISTRIBUTE, protocol_id_or_tag), "redistribute process is NULL."}},
    {{"route-map", LEAF_FIELD(REDISTRIBUTE, route_map), 0}},
    BGP_SUB_REDISTRIBUTE};
#undef REDISTRIBUTE

#define NEIGHBOR bgp_address_family_neighbor_universal_val
#define FIELD(field) LEAF_FIELD(NEIGHBOR, field)
inline constexpr Key neighbor_key = {"neighbor-address", KEY_FIELD(NEIGHBOR, neighbor_ip_or_tag),
                                     "neighbor ip address is NULL."};

inline constexpr EntryRecord neighbor_record = {
    sizeof(NEIGHBOR),
    {neighbor_key},
    {{"activate", FIELD(active), BGP_SUB_NEIGHBOR_ACTIVATE, Puts::flag, "set neighbor activate"},
     {"next-hop-self", FIELD(next_hop_self), BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, Puts::flag,
      "set neighbor next hop self"},
     {"route-reflector-client", FIELD(route_reflector_client),
      BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, Puts::flag, "set neighbor route_reflector_client"}},
    0};

inline constexpr EntryRecord vrf_neighbor_record = {
    sizeof(NEIGHBOR),
    {neighbor_key},
    {{"activate", FIELD(active), BGP_SUB_NEIGHBOR_VRF_ACTIVATE, Puts::flag,
      "set neighbor activate"},
     {"remote-as", FIELD(remote_as), BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, Puts::value,
      "set vrf neighbor remote as"},
     {"description", FIELD(description), BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, Puts::value,
      "set vrf neighbor description"},
     {"ebgp-multihop", FIELD(ebgp_multihop), BGP_SUB_NEIGHBOR_VRF_MULTIHOP, Puts::value,
      "set vrf neighbor ebgp_multihop"},
     {"update-source", FIELD(update_source), BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, Puts::value,
      "set vrf neighbor update_source"}},
    0};
#undef FIELD
#undef NEIGHBOR

#undef LEAF_FIELD
#undef KEY_FIELD

#endif
