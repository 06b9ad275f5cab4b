// The lists that change callbacks walk through, with the names from the plug-in's own tables: for
// code that makes edits. Code that checks the results has its own tables.
#ifndef CHANGED_LISTS_H
#define CHANGED_LISTS_H

#include "change_fields.h"

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

} // namespace support

#endif
