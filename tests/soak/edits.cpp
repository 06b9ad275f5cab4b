#include "edits.h"

#include "changed_lists.h"

#include <algorithm>
#include <array>
#include <set>
#include <stdexcept>

namespace soak {

namespace {

// --- The nodes of the model ----------------------------------------------------------

constexpr std::array families = {
    "[afi='AFI_IP'][safi='SAFI_UNICAST']",   "[afi='AFI_IPV6'][safi='SAFI_UNICAST']",
    "[afi='AFI_IP'][safi='SAFI_MULTICAST']", "[afi='AFI_L2VPN'][safi='SAFI_EVPN']",
    "[afi='AFI_IP'][safi='SAFI_VRF']",       "[afi='AFI_IPV6'][safi='SAFI_VRF']",
};
constexpr std::array vrfs = {"red", "blue", "green office"};
constexpr std::array neighbors = {"192.0.2.11", "192.0.2.12",    "192.0.2.13",    "192.0.2.14",
                                  "10.1.0.1",   "2001:db8::11",  "2001:db8::12",  "core-peers",
                                  "10.1.0.2",   "2001:db8:1::1", "203.0.113.129", "edge"};
// The addresses differ, because a table lists networks without their lengths.
constexpr std::array networks = {"10.1.0.0/16",      "10.2.0.0/16",    "198.51.100.0/24",
                                 "203.0.113.128/25", "192.0.2.1/32",   "2001:db8:1::/48",
                                 "2001:db8:2::/48",  "2001:db8::1/128"};
constexpr std::array redistributions = {
    "[protocol='ospf'][process='1']",    "[protocol='ospf'][process='2']",
    "[protocol='isis'][process='core']", "[protocol='connected'][process='']",
    "[protocol='static'][process='']",   "[protocol='ospfv3'][process='1']"};

std::string network_of(int block, std::size_t number) {
    return "/bgp-address-family/address-family[afi='AFI_IP'][safi='SAFI_UNICAST']"
           "/bgp-family-networks/family-network[prefix='10." +
           std::to_string(static_cast<std::size_t>(block) + number / 256) + "." +
           std::to_string(number % 256) + ".0/24']";
}

// The networks of the block that are, or are not, in the configuration.
std::vector<std::string> networks_of(int block, const Configuration &now, bool are_there) {
    std::vector<std::string> paths;
    for (std::size_t number = 0; number < block_size; ++number) {
        std::string path = network_of(block, number);
        if ((now.count(path) != 0) == are_there) {
            paths.push_back(std::move(path));
        }
    }
    return paths;
}

// The leaves of a list's entries.
const std::vector<const char *> &leaves_of(std::string_view list) {
    for (const auto *lists : {&support::lists_of_the_globle_part, &support::lists_of_families,
                              &support::lists_of_vrf_families}) {
        for (const support::ChangedList &row : *lists) {
            if (row.name() == list) {
                return row.leaves;
            }
        }
    }
    throw std::invalid_argument(std::string(list));
}

// The leaf whose deletion includes the neighbor's other settings.
std::string carrier_of(const std::string &neighbor) {
    return neighbor + (last_name(neighbor) == "family-neighbor" ? "/activate" : "/remote-as");
}

// --- The effect of an edit -----------------------------------------------------------

struct Difference {
    const Configuration &before;
    const Configuration &after;
    std::set<std::string> set{};     // created or modified
    std::set<std::string> removed{}; // deleted

    bool was_there(const std::string &path) const { return before.count(path) != 0; }
    bool is_there(const std::string &path) const { return after.count(path) != 0; }
    // Whether the list entry of a leaf is neither created nor deleted.
    bool keeps_entry_of(const std::string &leaf) const {
        const std::string entry{parent_of(leaf)};
        return was_there(entry) && is_there(entry);
    }
};

Difference difference(const Configuration &before, const Configuration &after) {
    Difference result{before, after};
    for (const auto &[path, value] : after) {
        const auto old = before.find(path);
        if (old == before.end() || old->second != value) {
            result.set.insert(path);
        }
    }
    for (const auto &[path, value] : before) {
        if (after.count(path) == 0) {
            result.removed.insert(path);
        }
    }
    return result;
}

bool has_leaves(const Configuration &configuration, const std::string &entry) {
    const auto next = configuration.upper_bound(entry + "/");
    return next != configuration.end() && is_within(next->first, entry);
}

template <typename Test>
bool any_of(const std::set<std::string> &paths, Test test) {
    return std::any_of(paths.begin(), paths.end(), test);
}

bool is_leaf_of_neighbor(const std::string &path) {
    return !is_entry(path) && is_neighbor(parent_of(path));
}

bool is_carrier(const std::string &path) {
    return is_leaf_of_neighbor(path) && path == carrier_of(std::string(parent_of(path)));
}

// The subtree of one callback.
std::string_view subtree_of(std::string_view path) {
    return path.substr(0, path.find('/', 1));
}

bool is_globle(const std::string &path) {
    return subtree_of(path) == "/bgp";
}

// The address family that the path is in; empty outside.
std::string family_of(std::string_view path) {
    while (!path.empty() && last_name(path) != "address-family" &&
           last_name(path) != "address-family-vrf") {
        path = parent_of(path);
    }
    return std::string(path);
}

// --- Valid edits after which the daemon may not hold what the datastore holds -----------
//
// They follow from the contents of the records and from the way in which the plug-in gathers
// changes in records. The soak does not make such edits.

// Deleting the AS removes the instance in the daemon with everything in it.
bool leaves_settings_without_an_as(const Difference &edit) {
    return !edit.is_there("/as") && !edit.after.empty();
}

// The deletion of a neighbor's remote AS, or of "activate" in an address family outside VRFs,
// removes the neighbor in the daemon with its other settings.
bool leaves_settings_without_their_carrier(const Difference &edit) {
    return any_of(edit.removed, [&](const std::string &path) {
        const std::string neighbor{parent_of(path)};
        return is_carrier(path) && has_leaves(edit.after, neighbor);
    });
}

// After the deletion of a remote AS, the plug-in sends no deletions of other settings until it
// sends another record. In the instance this includes the next neighbors that have no remote AS.
bool removes_globle_settings_beside_a_carrier(const Difference &edit) {
    const auto is_carrier_here = [](const std::string &path) {
        return is_globle(path) && is_carrier(path);
    };
    return any_of(edit.removed, is_carrier_here) &&
           any_of(edit.removed, [&](const std::string &path) {
               const std::string carrier = carrier_of(std::string(parent_of(path)));
               return is_globle(path) && is_leaf_of_neighbor(path) &&
                      edit.removed.count(carrier) == 0;
           });
}

// The same in address families; there only the deletion of a whole entry is always sent.
bool removes_family_settings_beside_a_carrier(const Difference &edit) {
    return any_of(edit.removed, [&](const std::string &carrier) {
        return is_carrier(carrier) && any_of(edit.removed, [&](const std::string &path) {
                   return is_leaf_of_neighbor(path) && subtree_of(path) == subtree_of(carrier) &&
                          parent_of(path) != parent_of(carrier) && edit.keeps_entry_of(path);
               });
    });
}

// The plug-in sends only the settings of a neighbor. It has nothing to send for a neighbor without
// settings, and refuses an edit whose last change is such an entry.
bool has_a_neighbor_without_settings(const Difference &edit) {
    const auto is_bare = [](const Configuration &configuration) {
        return [&](const std::string &path) {
            return is_neighbor(path) && !has_leaves(configuration, path);
        };
    };
    return any_of(edit.set, is_bare(edit.after)) || any_of(edit.removed, is_bare(edit.before));
}

// The plug-in gathers consecutive changes of leaves of existing networks and redistributions in one
// record, also a deletion and a change. A record that does not start with its key keeps the fields
// of the record before it. The soak therefore changes one such entry alone in its part of the tree,
// and either sets or deletes.
bool changes_an_entry_beside_others(const Difference &edit) {
    std::set<std::string> all = edit.set;
    all.insert(edit.removed.begin(), edit.removed.end());
    return any_of(all, [&](const std::string &changed) {
        const std::string entry{parent_of(changed)};
        if (!is_network_or_redistribute(entry) || !edit.keeps_entry_of(changed)) {
            return false;
        }
        const auto is_beside = [&](const std::string &path) {
            return subtree_of(path) == subtree_of(changed) && parent_of(path) != entry;
        };
        const bool is_set = edit.set.count(changed) != 0;
        const auto &others = is_set ? edit.removed : edit.set;
        return any_of(all, is_beside) ||
               any_of(others, [&](const auto &path) { return parent_of(path) == entry; });
    });
}

// The deletion of all leaves of a network or redistribution sends the same record as the deletion
// of the entry.
bool empties_an_entry(const Difference &edit) {
    return any_of(edit.removed, [&](const std::string &path) {
        const std::string entry{parent_of(path)};
        return is_network_or_redistribute(entry) && edit.is_there(entry) &&
               !has_leaves(edit.after, entry);
    });
}

// The record of a VRF's address family, created or deleted, includes the deletions in address
// families of VRFs that follow it. The deletion of a whole address family is still sent.
bool removes_settings_beside_a_vrf(const Difference &edit) {
    const auto is_own = [](const std::string &path) { return is_vrf(path); };
    return (any_of(edit.set, is_own) || any_of(edit.removed, is_own)) &&
           any_of(edit.removed, [&](const std::string &path) {
               const std::string family = family_of(path);
               return subtree_of(path) == "/bgp-address-family-vrf" && edit.is_there(family);
           });
}

bool is_avoided(const Difference &edit) {
    // Without an AS the plug-in sends nothing, so there is nothing to compare.
    if (edit.after.empty()) {
        return false;
    }
    constexpr std::array reasons = {
        leaves_settings_without_an_as,
        leaves_settings_without_their_carrier,
        removes_globle_settings_beside_a_carrier,
        removes_family_settings_beside_a_carrier,
        has_a_neighbor_without_settings,
        changes_an_entry_beside_others,
        empties_an_entry,
        removes_settings_beside_a_vrf,
    };
    return std::any_of(reasons.begin(), reasons.end(),
                       [&](const auto reason) { return reason(edit); });
}

// sysrepo builds one tree from the changes of an edit: it cannot contain nodes below a deletion, or
// set an existing node again.
bool clashes(const std::vector<Change> &changes, const Change &change) {
    return std::any_of(changes.begin(), changes.end(), [&](const Change &other) {
        return is_within(other.path, change.path) ||
               (is_within(change.path, other.path) &&
                (change.kind == Change::remove || other.kind == Change::remove));
    });
}

} // namespace

Configuration applied(Configuration configuration, const std::vector<Change> &changes) {
    for (const auto &[kind, path, value] : changes) {
        if (kind == Change::set) {
            for (std::string_view step = path; !step.empty(); step = parent_of(step)) {
                if (is_entry(step)) {
                    configuration[std::string(step)];
                }
            }
            configuration[path] = value;
            continue;
        }
        for (auto row = configuration.begin(); row != configuration.end();) {
            row = is_within(row->first, path) ? configuration.erase(row) : std::next(row);
        }
    }
    return configuration;
}

// --- Random edits ----------------------------------------------------------------------

Edit EditMaker::next(const Configuration &now) {
    if (random_.one_in(10)) {
        if (std::optional<Edit> refused = draw_refused(now)) {
            return *refused;
        }
    }
    if (Edit edit{draw_long(now), {}}; !edit.changes.empty()) {
        return edit;
    }
    for (;;) {
        Edit edit{draw(now), {}};
        const Configuration after = applied(now, edit.changes);
        if (!is_avoided(difference(now, after))) {
            return edit;
        }
    }
}

// One to six settings and deletions, in one part of the tree or in several. New settings come with
// the AS.
std::vector<Change> EditMaker::draw(const Configuration &now) {
    if (!now.empty() && random_.one_in(200)) {
        return {{Change::remove, "", ""}};
    }
    std::vector<Change> changes;
    if (now.empty()) {
        changes.push_back({Change::set, "/as", draw_value("as")});
    }
    for (std::size_t rounds = 1 + random_.below(random_.below(6) + 1); rounds > 0; --rounds) {
        const bool removes = !now.empty() && random_.one_in(3);
        for (Change &change : removes ? std::vector{draw_removal(now)} : draw_settings(now)) {
            if (!clashes(changes, change)) {
                changes.push_back(std::move(change));
            }
        }
    }
    return changes;
}

// Now and then the first block of networks appears, then the second one. They go in the same order.
std::vector<Change> EditMaker::draw_long(const Configuration &now) {
    const bool has_first = now.count(network_of(blocks[0], 0)) != 0;
    const bool has_second = now.count(network_of(blocks[1], 0)) != 0;
    if (now.empty() || !random_.one_in(has_first || has_second ? 10 : 100)) {
        return {};
    }
    const bool removes = has_second;
    const int block = blocks[has_first == has_second ? 0 : 1];
    std::vector<Change> changes;
    for (std::string &path : networks_of(block, now, removes)) {
        changes.push_back({removes ? Change::remove : Change::set, std::move(path), ""});
    }
    return changes;
}

std::vector<Change> EditMaker::draw_settings(const Configuration &now) {
    switch (random_.below(12)) {
    case 0:
        return {{Change::set, "/as", draw_value("as")}};
    case 1:
        return {{Change::set, "/bgp/router-id", draw_value("router-id")}};
    case 2: // an entry without settings that deletions have left there
    case 3:
    case 4: {
        const auto entry = std::next(
            now.begin(), static_cast<std::ptrdiff_t>(now.empty() ? 0 : random_.below(now.size())));
        if (entry == now.end() ||
            !(is_neighbor(entry->first) || is_network_or_redistribute(entry->first))) {
            return draw_entry();
        }
        const std::string leaf = random_.pick(leaves_of(last_name(entry->first)));
        return {{Change::set, entry->first + "/" + leaf, draw_value(leaf)}};
    }
    default:
        return draw_entry();
    }
}

// An entry of a list with some of its leaves, in any order.
std::vector<Change> EditMaker::draw_entry() {
    std::string entry = draw_family_entry();
    if (random_.one_in(4) || entry.empty()) {
        entry = std::string("/bgp/bgp-globle-neighbors/globle-neighbor[neighbor-address='") +
                random_.pick(neighbors) + "']";
    } else {
        const std::string infix = last_name(entry) == "address-family" ? "" : "vrf-";
        const auto list = [&](const char *name, const std::string &key) {
            entry += "/bgp-family-" + infix + name + "s/family-" + infix + name + key;
        };
        switch (random_.below(7)) {
        case 0: // the address family alone
            return {{Change::set, entry, ""}};
        case 1:
        case 2:
            list("network", std::string("[prefix='") + random_.pick(networks) + "']");
            break;
        case 3:
            list("redistribute", random_.pick(redistributions));
            break;
        default:
            list("neighbor", std::string("[neighbor-address='") + random_.pick(neighbors) + "']");
            break;
        }
    }
    std::vector<const char *> leaves = leaves_of(last_name(entry));
    for (std::size_t i = leaves.size(); i > 1; --i) {
        std::swap(leaves[i - 1], leaves[random_.below(i)]);
    }
    leaves.resize(random_.below(leaves.size() + 1));
    std::vector<Change> changes{{Change::set, entry, ""}};
    for (const std::string leaf : leaves) {
        changes.push_back({Change::set, entry + "/" + leaf, draw_value(leaf)});
    }
    return changes;
}

// A leaf, its entry, or a node further up; a leaf of the first level only together with everything
// else.
Change EditMaker::draw_removal(const Configuration &now) {
    std::string_view path = random_.pick(now).first;
    while (random_.one_in(3) && !parent_of(path).empty()) {
        path = parent_of(path);
    }
    return {Change::remove, std::string(path), ""};
}

// An edit that must be refused, if one is possible in the configuration.
std::optional<Edit> EditMaker::draw_refused(const Configuration &now) {
    if (now.empty()) {
        return Edit{draw_entry(), "no AS is configured"};
    }
    const std::string neighbor = draw_neighbor_entry(now);
    const bool is_new = now.count(neighbor) == 0;
    if (!is_new && !has_leaves(now, neighbor)) {
        return Edit{{{Change::remove, neighbor, ""}}, "the neighbor has no settings to delete"};
    }
    if (is_new && random_.one_in(3)) {
        return Edit{{{Change::set, neighbor, ""}}, "the neighbor has no settings"};
    }
    if (last_name(neighbor) == "family-neighbor") {
        return std::nullopt;
    }
    if (random_.one_in(2)) {
        return Edit{{{Change::set, neighbor + "/ebgp-multihop", "0"}},
                    "the daemon refuses a neighbor that is 0 hops away"};
    }
    std::string text;
    for (int i = 0; i < 80; ++i) {
        text += "\u00fc";
    }
    return Edit{{{Change::set, neighbor + "/description", text}},
                "80 characters of two bytes do not fit a field of 81"};
}

std::string EditMaker::draw_family_entry() {
    const std::string keys = random_.pick(families);
    if (random_.one_in(2)) {
        return "/bgp-address-family/address-family" + keys;
    }
    return "/bgp-address-family-vrf/address-family-vrf" + keys + "[vrf-name='" +
           random_.pick(vrfs) + "']";
}

// A neighbor, existing or not, in an existing address family: the plug-in would send a new one of a
// VRF before the neighbor.
std::string EditMaker::draw_neighbor_entry(const Configuration &now) {
    const std::string key = std::string("[neighbor-address='") + random_.pick(neighbors) + "']";
    const std::string family = draw_family_entry();
    if (now.count(family) == 0) {
        return "/bgp/bgp-globle-neighbors/globle-neighbor" + key;
    }
    const char *infix = last_name(family) == "address-family" ? "" : "vrf-";
    return family + "/bgp-family-" + infix + "neighbors/family-" + infix + "neighbor" + key;
}

std::string EditMaker::draw_value(const std::string &leaf) {
    if (leaf == "as" || leaf == "remote-as") {
        const std::uint32_t limit = random_.one_in(2) ? 65535 : 4294967294;
        return std::to_string(1 + random_.below(limit));
    }
    if (leaf == "router-id") {
        return "192.0.2." + std::to_string(random_.below(256));
    }
    if (leaf == "ebgp-multihop") {
        return std::to_string(1 + random_.below(255));
    }
    if (leaf == "description") {
        return draw_text(80);
    }
    if (leaf == "route-map" || leaf == "update-source") {
        return draw_text(256);
    }
    return {}; // a leaf without content
}

// A text that is not empty: an empty route map in a record means no route map.
std::string EditMaker::draw_text(std::size_t longest) {
    constexpr std::array words = {"Provider ",   "core-",        "\u00dcbergang ",
                                  "a<b>&\"c\" ", "loopback0 ",   "it's ours ",
                                  "7 ",          "\u6771\u4eac "};
    const std::size_t length = random_.one_in(8) ? longest : 1 + random_.below(longest / 4);
    std::string text;
    for (std::string word = random_.pick(words); text.size() + word.size() <= length;) {
        text += word;
        word = random_.pick(words);
    }
    return text + std::string(length - text.size(), 'x');
}

} // namespace soak
