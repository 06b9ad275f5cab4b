#include "queries.h"

#include <algorithm>
#include <array>
#include <set>

namespace soak {

namespace {

using Names = std::set<std::string>;

// A text of this many bytes, in characters of two bytes.
std::string two_byte_text(std::size_t bytes) {
    std::string text;
    while (text.size() < bytes) {
        text += "\u00e9";
    }
    return text;
}

const std::vector<Query> &queries() {
    static const std::vector<Query> rows = {
        {"ip-bgp-summary", {}},
        {"ip-bgp-summary", {{"ip-type", SR_ENUM_T, "IPV4"}}},
        {"ip-bgp-summary", {{"vrf-name", SR_STRING_T, "red"}}},
        {"ip-bgp-summary",
         {{"vrf-name", SR_STRING_T, "green office"}, {"ip-type", SR_ENUM_T, "IPV6"}}},
        {"ip-bgp-summary",
         {{"vrf-name", SR_STRING_T, two_byte_text(126)}},
         "63 characters of two bytes do not fit a field of 64"},
        {"ip-bgp-neighbor", {}},
        {"ip-bgp-neighbor", {{"all", SR_LEAF_EMPTY_T, ""}}},
        {"ip-bgp-neighbor", {{"ipaddr", SR_STRING_T, "192.0.2.11"}}},
        {"ip-bgp-neighbor", {{"ipaddr", SR_STRING_T, "2001:db8::11"}}},
        {"ip-bgp-neighbor", {{"vrf-name", SR_STRING_T, "blue"}}},
        {"ip-bgp-neighbor",
         {{"ipaddr", SR_STRING_T, "192.0.2.11"}, {"vrf-name", SR_STRING_T, "blue"}}},
        {"ip-bgp-info", {}},
        {"ip-bgp-info", {{"ip-type", SR_ENUM_T, "IPV6"}, {"all", SR_LEAF_EMPTY_T, ""}}},
        {"ip-bgp-info", {{"vrf-name", SR_STRING_T, "red"}, {"all", SR_LEAF_EMPTY_T, ""}}},
        {"ip-bgp-info", {{"vrf-name", SR_STRING_T, "blue"}, {"ip-type", SR_ENUM_T, "IPV6"}}},
        {"ip-bgp-info", {{"ip-str", SR_STRING_T, "10.1.0.0/16"}}},
        {"ip-bgp-info", {{"ipv4-address", SR_STRING_T, "198.51.100.7"}}},
        {"ip-bgp-evpn", {{"get-all", SR_LEAF_EMPTY_T, ""}}},
        {"ip-bgp-evpn", {{"evpn-type", SR_UINT32_T, "2"}}},
        {"ip-bgp-evpn", {{"evpn-type", SR_UINT32_T, "4294967295"}}},
        {"ip-bgp-evpn", {{"evpn-route", SR_STRING_T, "[3]:[0]:[32]:[192.0.2.21]"}}},
        {"ip-bgp-evpn", {}, "this call needs an input"},
        {"clear-ip-bgp", {}},
        {"clear-ip-bgp", {{"reconfig-type", SR_ENUM_T, "soft"}}},
        {"clear-ip-bgp", {{"reconfig-type", SR_ENUM_T, "in"}, {"vrf-name", SR_STRING_T, "red"}}},
    };
    return rows;
}

// The value of the input with this name; empty without it.
std::string input(const Query &query, const std::string &leaf) {
    const auto found = std::find_if(query.inputs.begin(), query.inputs.end(),
                                    [&](const Input &row) { return row.leaf == leaf; });
    return found == query.inputs.end() ? "" : found->value;
}

bool has_input(const Query &query, const std::string &leaf) {
    return std::any_of(query.inputs.begin(), query.inputs.end(),
                       [&](const Input &row) { return row.leaf == leaf; });
}

// The list of an answer's entries, and the leaf with their number, if there is one.
struct Listing {
    std::string_view rpc;
    std::string_view list;
    const char *count;
};
constexpr std::array listings = {
    Listing{"ip-bgp-summary", "entry", "/neighbors/neighbor-number"},
    Listing{"ip-bgp-neighbor", "neighbor", nullptr},
    Listing{"ip-bgp-info", "entry", "/bgp-info/prefix-number"},
};

const Listing *listing_of(const Query &query) {
    const auto *row = std::find_if(listings.begin(), listings.end(),
                                   [&](const Listing &entry) { return entry.rpc == query.rpc; });
    return row == listings.end() ? nullptr : row;
}

// The keys of the answer's entries, such as [neighbor='192.0.2.11'].
Names entries(const Listing &listing, const Answer &answer) {
    Names names;
    for (const auto &[path, value] : answer) {
        const std::string_view entry = parent_of(path);
        if (last_name(entry) == listing.list) {
            names.emplace(last_step(entry).substr(listing.list.size()));
        }
    }
    return names;
}

std::string key_of(std::string_view entry, const std::string &key) {
    const std::string opening = "[" + key + "='";
    const std::size_t found = entry.find(opening);
    if (found == std::string_view::npos) {
        return {};
    }
    const std::size_t start = found + opening.size();
    return std::string(entry.substr(start, entry.find('\'', start) - start));
}

std::string vrf_of(std::string_view path) {
    return key_of(path, "vrf-name");
}

std::string predicate(const char *key, const std::string &value) {
    return std::string("[") + key + "='" + value + "']";
}

// Calls `work` with the path of each neighbor that has settings: those of the instance, and those
// in VRFs.
template <typename Work>
void for_each_neighbor(const Configuration &configuration, Work work) {
    for (const auto &[path, value] : configuration) {
        const std::string_view entry = parent_of(path);
        if (!is_entry(path) && is_neighbor(entry) && last_name(entry) != "family-neighbor") {
            work(entry);
        }
    }
}

Names summary_entries(const Query &query, const Configuration &configuration) {
    Names names;
    for_each_neighbor(configuration, [&](std::string_view entry) {
        if (vrf_of(entry) == input(query, "vrf-name")) {
            names.insert(predicate("neighbor", key_of(entry, "neighbor-address")));
        }
    });
    return names;
}

Names neighbor_entries(const Query &query, const Configuration &configuration) {
    const bool all = query.inputs.empty() || has_input(query, "all");
    Names names;
    for_each_neighbor(configuration, [&](std::string_view entry) {
        const std::string address = key_of(entry, "neighbor-address");
        const std::string vrf = vrf_of(entry);
        // The plug-in ignores both of two inputs.
        const bool is_asked_for =
            all || (query.inputs.size() == 1 &&
                    (address == input(query, "ipaddr") ||
                     (has_input(query, "vrf-name") && vrf == input(query, "vrf-name"))));
        if (is_asked_for) {
            names.insert(predicate("neighbor-addr", address) + predicate("vrf-name", vrf));
        }
    });
    return names;
}

Names info_entries(const Query &query, const Configuration &configuration) {
    const std::string afi = input(query, "ip-type") == "IPV6" ? "AFI_IPV6" : "AFI_IP";
    const std::string wanted = input(query, "ip-str");
    Names names;
    for (const auto &[path, value] : configuration) {
        const std::string prefix = key_of(last_step(path), "prefix");
        const std::string safi = key_of(path, "safi");
        if (prefix.empty() || key_of(path, "afi") != afi ||
            vrf_of(path) != input(query, "vrf-name") ||
            (safi != "SAFI_UNICAST" && safi != "SAFI_VRF")) {
            continue;
        }
        const bool holds_address = !has_input(query, "ipv4-address") || prefix == "198.51.100.0/24";
        if (holds_address && (wanted.empty() || wanted == prefix)) {
            names.insert(predicate("network", prefix.substr(0, prefix.find('/'))));
        }
    }
    return names;
}

std::string text(const Names &names) {
    std::string result;
    for (const std::string &name : names) {
        result += name + " ";
    }
    return result;
}

} // namespace

Query draw_query(Random &random) {
    return random.pick(queries());
}

std::string description(const Query &query) {
    std::string result = query.rpc;
    for (const Input &row : query.inputs) {
        result += " " + row.leaf + "=" + row.value;
    }
    return result;
}

std::size_t entry_count(const Query &query, const Answer &answer) {
    const Listing *listing = listing_of(query);
    return listing == nullptr ? 0 : entries(*listing, answer).size();
}

std::string flaw(const Query &query, const Answer &answer) {
    const Listing *listing = listing_of(query);
    if (listing == nullptr || listing->count == nullptr || answer.empty()) {
        return {};
    }
    const auto count = answer.find(listing->count);
    const std::string listed = std::to_string(entries(*listing, answer).size());
    if (count == answer.end() || count->second != listed) {
        return "it counts " + (count == answer.end() ? "nothing" : count->second) + " and lists " +
               listed;
    }
    return {};
}

std::string flaw(const Query &query, const Answer &answer, const Configuration &configuration) {
    const Listing *listing = listing_of(query);
    if (listing == nullptr) {
        return {};
    }
    const Names expected = query.rpc == "ip-bgp-summary"    ? summary_entries(query, configuration)
                           : query.rpc == "ip-bgp-neighbor" ? neighbor_entries(query, configuration)
                                                            : info_entries(query, configuration);
    const Names listed = entries(*listing, answer);
    if (listed == expected) {
        return flaw(query, answer);
    }
    return "it lists " + text(listed) + "and not " + text(expected);
}

} // namespace soak
