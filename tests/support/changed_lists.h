// The lists that change callbacks walk through, with the names from the plug-in's own tables: for
// code that makes edits. Code that checks the results has its own tables.
#ifndef CHANGED_LISTS_H
#define CHANGED_LISTS_H

#include "change_fields.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// A list that a callback walks through, below its entry.
struct ChangedList {
    ChangedList(const char *path_of_list, const EntryRecord &entry) : path(path_of_list) {
        for (const Key &key : entry.keys) {
            if (key.node != nullptr) {
                keys.push_back(key.node);
            }
        }
        for (const ::Leaf &leaf : entry.leaves) {
            if (leaf.node != nullptr) {
                leaves.push_back(leaf.node);
            }
        }
    }

    std::string_view name() const { return std::string_view(path).substr(path.rfind('/') + 1); }

    std::string path; // in what holds it
    std::vector<const char *> keys{};
    std::vector<const char *> leaves{};
};

inline const std::vector<ChangedList> lists_of_the_globle_part = {
    {"/bgp-globle-neighbors/globle-neighbor", globle_neighbor_record}};
inline const std::vector<ChangedList> lists_of_families = {
    {"/bgp-family-networks/family-network", network_record},
    {"/bgp-family-neighbors/family-neighbor", neighbor_record},
    {"/bgp-family-redistributes/family-redistribute", redistribute_record}};
inline const std::vector<ChangedList> lists_of_vrf_families = {
    {"/bgp-family-vrf-networks/family-vrf-network", network_record},
    {"/bgp-family-vrf-neighbors/family-vrf-neighbor", vrf_neighbor_record},
    {"/bgp-family-vrf-redistributes/family-vrf-redistribute", redistribute_record}};

// The leaf of that name, or nullptr. Leaves of one name have values of one type.
inline const ::Leaf *leaf_named(const char *name) {
    for (const ::Leaf *leaf : {&as_leaf, &router_id_leaf}) {
        if (std::strcmp(leaf->node, name) == 0) {
            return leaf;
        }
    }
    for (const EntryRecord *record : {&globle_neighbor_record, &network_record, &neighbor_record,
                                      &redistribute_record, &vrf_neighbor_record}) {
        if (const ::Leaf *leaf = find_row(record->leaves, name)) {
            return leaf;
        }
    }
    return nullptr;
}

// Whether the leaf's value is a number.
inline bool is_number(const ::Leaf &leaf) {
    return !leaf.is_text && leaf.puts == Puts::value;
}

} // namespace support

#endif
