#include "memory_backend.h"

#include "list_keys.h"
#include "netconf_bgp_public.h"
#include "operation.h"
#include "plugin_public.h"
#include "queries.h"
#include "values.h"
#include "wire.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace configd {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

// Where in the tree the nodes of a record are.
enum class Place { Root, Instance, GlobleNeighbor, Family, Network, Redistribute, Neighbor };

// A leaf and the field that holds its value. Of a flag the protocol tells only that it changed.
struct Leaf {
    const char *name;
    const char *field;
    bool is_flag = false;
};

// What a record does when it is a deletion, and which of the leaves it is about.
enum class Scope {
    Leaf,       // the leaf
    Entry,      // the leaf; its deletion is that of the list entry with all that is in it
    NamedLeaves // those of the leaves that the record has values for
};

constexpr Leaf router_id{"router-id", "router_id"};
constexpr Leaf remote_as{"remote-as", "remote_as"};
constexpr Leaf description{"description", "description"};
constexpr Leaf multihop{"ebgp-multihop", "ebgp_multihop"};
constexpr Leaf update_source{"update-source", "update_source"};
constexpr Leaf route_map{"route-map", "route_map"};
constexpr Leaf backdoor{"backdoor", "backdoor", true};
constexpr Leaf activate{"activate", "active", true};
constexpr Leaf next_hop_self{"next-hop-self", "next_hop_self", true};
constexpr Leaf reflector_client{"route-reflector-client", "route_reflector_client", true};

} // namespace

struct Setting {
    std::int32_t sub_mod;
    Place place;
    Scope scope;
    Leaf leaves[2]; // one without a name is none
};

namespace {

constexpr Setting settings[] = {
    {BGP_SUB_BGP_AS, Place::Root, Scope::Leaf, {{"as", "as"}}},
    {BGP_SUB_ROUTER_ID, Place::Instance, Scope::Leaf, {router_id}},
    {BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, Place::GlobleNeighbor, Scope::Entry, {remote_as}},
    {BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, Place::GlobleNeighbor, Scope::Leaf, {description}},
    {BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, Place::GlobleNeighbor, Scope::Leaf, {multihop}},
    {BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, Place::GlobleNeighbor, Scope::Leaf, {update_source}},
    {BGP_SUB_NETWORK, Place::Network, Scope::NamedLeaves, {route_map, backdoor}},
    {BGP_SUB_REDISTRIBUTE, Place::Redistribute, Scope::NamedLeaves, {route_map}},
    {BGP_SUB_NEIGHBOR_ACTIVATE, Place::Neighbor, Scope::Entry, {activate}},
    {BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, Place::Neighbor, Scope::Leaf, {next_hop_self}},
    {BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, Place::Neighbor, Scope::Leaf, {reflector_client}},
    {BGP_SUB_ADDRESS_FAMILY_VRF, Place::Family, Scope::Entry, {}},
    {BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, Place::Neighbor, Scope::Entry, {remote_as}},
    {BGP_SUB_NEIGHBOR_VRF_ACTIVATE, Place::Neighbor, Scope::Leaf, {activate}},
    {BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, Place::Neighbor, Scope::Leaf, {description}},
    {BGP_SUB_NEIGHBOR_VRF_MULTIHOP, Place::Neighbor, Scope::Leaf, {multihop}},
    {BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, Place::Neighbor, Scope::Leaf, {update_source}},
};
static_assert(has_one_row_each(settings, is_setting), "one row for each setting");

// The way down to a node: one key of the tree after the other.
struct Path {
    std::vector<std::string> steps;
    std::size_t kept = 0; // so many of the first steps stay when nothing is left below them
};

std::string predicate(const char *key, const ordered_json &value) {
    return configd::predicate(key, value.get_ref<const std::string &>());
}

// The address family's entry; std::nullopt for a family there is not.
std::optional<Path> family_path(const ordered_json &family) {
    const char *afi = name_of(afi_names, family["afi"].get<std::uint32_t>());
    const char *safi = name_of(safi_names, family["safi"].get<std::uint32_t>());
    if (afi == nullptr || safi == nullptr) {
        return std::nullopt;
    }
    const std::string keys = configd::predicate("afi", afi) + configd::predicate("safi", safi);
    if (!is_given(family["vrf_name"])) {
        return Path{{"bgp-address-family", "address-family" + keys}};
    }
    return Path{{"bgp-address-family-vrf",
                 "address-family-vrf" + keys + predicate("vrf-name", family["vrf_name"])}};
}

// The node that holds the leaves; std::nullopt for an address family there is not.
std::optional<Path> path_of(Place place, const ordered_json &fields) {
    if (place == Place::Root) {
        return Path{};
    }
    if (place == Place::Instance) {
        return Path{{"bgp"}};
    }
    if (place == Place::GlobleNeighbor) {
        return Path{
            {"bgp", "bgp-globle-neighbors",
             "globle-neighbor" + predicate("neighbor-address", fields["neighbor_ip_or_tag"])}};
    }
    if (place == Place::Family) {
        return family_path(fields);
    }

    const ordered_json &family = fields["address_family"];
    std::optional<Path> path = family_path(family);
    if (!path) {
        return std::nullopt;
    }
    const char *vrf = is_given(family["vrf_name"]) ? "vrf-" : "";
    const auto descend = [&](const char *list, const std::string &keys) {
        path->steps.push_back(fmt::format("bgp-family-{}{}s", vrf, list));
        path->steps.push_back(fmt::format("family-{}{}{}", vrf, list, keys));
    };
    if (family["safi"] == BGP_SAFI_VRF && is_given(family["vrf_name"])) {
        path->kept = path->steps.size();
    }
    if (place == Place::Network) {
        descend("network", predicate("prefix", fields["network_ip_str"]));
    } else if (place == Place::Redistribute) {
        descend("redistribute", predicate("protocol", fields["protocol_name"]) +
                                    predicate("process", fields["protocol_id_or_tag"]));
    } else {
        descend("neighbor", predicate("neighbor-address", fields["neighbor_ip_or_tag"]));
    }
    return path;
}

// The node at the end of the path; the nodes that are not there are created.
json &node_at(json &tree, const Path &path) {
    json *node = &tree;
    for (const std::string &step : path.steps) {
        json &child = (*node)[step];
        if (child.is_null()) {
            child = json::object();
        }
        node = &child;
    }
    return *node;
}

// Removes the node at the end of the path, and those on the way that are then empty.
void remove(json &node, const Path &path, std::size_t depth = 0) {
    const auto child = node.find(path.steps[depth]);
    if (child == node.end()) {
        return;
    }
    const bool is_target = depth + 1 == path.steps.size();
    if (!is_target) {
        remove(*child, path, depth + 1);
    }
    if (is_target || (child->empty() && depth >= path.kept)) {
        node.erase(child);
    }
}

// The leaves that the record sets or deletes; none stands for the entry itself.
std::vector<Leaf> named_leaves(const Setting &setting, const ordered_json &fields) {
    std::vector<Leaf> leaves;
    for (const Leaf &leaf : setting.leaves) {
        const bool is_leaf = leaf.name != nullptr;
        if (is_leaf && (setting.scope != Scope::NamedLeaves || is_given(fields[leaf.field]))) {
            leaves.push_back(leaf);
        }
    }
    return leaves;
}

// What a switch would say against the leaf's value; empty: nothing. A neighbor is at least one hop
// away, as for any BGP speaker.
std::string fault_of(const Leaf &leaf, const ordered_json &value) {
    const auto text = [&] { return value.get<std::string>(); };
    if (leaf.name == router_id.name && !is_router_id(text())) {
        return fmt::format("'{}' is no router identifier", text());
    }
    if (leaf.name == remote_as.name && !is_as_number(text())) {
        return fmt::format("'{}' is no AS number", text());
    }
    if (leaf.name == multihop.name && value == 0) {
        return "a neighbor is at least one hop away";
    }
    return {};
}

// The same of all that a record is to set.
std::string fault_of(const Setting &setting, const std::vector<Leaf> &leaves,
                     const ordered_json &fields) {
    if (setting.place == Place::Network) {
        const auto prefix = fields["network_ip_str"].get<std::string>();
        if (!is_prefix(prefix)) {
            return fmt::format("'{}' is no prefix", prefix);
        }
    }
    for (const Leaf &leaf : leaves) {
        if (std::string fault = fault_of(leaf, fields[leaf.field]); !fault.empty()) {
            return fault;
        }
    }
    return {};
}

void set_leaves(json &node, const std::vector<Leaf> &leaves, const ordered_json &fields) {
    for (const Leaf &leaf : leaves) {
        node[leaf.name] = leaf.is_flag ? json(true) : json(fields[leaf.field]);
    }
}

// The protocol does not tell the deletion of an entry from that of its leaves. Naming none of
// them is the entry's; so is naming all that it has, since an empty entry does not stay.
void remove_leaves(json &tree, const Path &path, const std::vector<Leaf> &leaves) {
    if (leaves.empty()) {
        remove(tree, path);
    }
    for (const Leaf &leaf : leaves) {
        Path leaf_path = path;
        leaf_path.steps.emplace_back(leaf.name);
        remove(tree, leaf_path);
    }
}

} // namespace

ApplyResult MemoryBackend::apply(const Message &message) {
    const RecordKind *kind = find_record_kind(message.sub_mod);
    const Setting *setting = row_of(settings, message.sub_mod);
    if (kind == nullptr || setting == nullptr) {
        return {SR_ERR_NOT_SUPPORT};
    }
    const ordered_json fields = decode_record(*kind->record, message.payload());
    const auto op = fields["op"].get<std::int32_t>();
    if (op == BGP_OP_OTHER) {
        return {SR_ERR_OK};
    }
    if (op != BGP_OP_SET && op != BGP_OP_DELETE) {
        return {SR_ERR_INVALID_VALUE};
    }
    const bool is_set = op == BGP_OP_SET;
    return setting->place == Place::Root ? apply_as(is_set, fields["as"])
                                         : apply_setting(*setting, is_set, fields);
}

ApplyResult MemoryBackend::apply_as(bool is_set, const ordered_json &as) {
    if (is_set && as == 0) {
        return {SR_ERR_INVALID_VALUE, "0 is no AS number"};
    }
    if (is_set) {
        tree_["as"] = as;
    } else {
        tree_.clear();
    }
    return {SR_ERR_OK};
}

ApplyResult MemoryBackend::apply_setting(const Setting &setting, bool is_set,
                                         const ordered_json &fields) {
    const std::optional<Path> path = path_of(setting.place, fields);
    if (!path) {
        return {SR_ERR_INVALID_VALUE, "there is no such address family"};
    }
    if (!is_set) {
        const bool whole = setting.scope == Scope::Entry;
        remove_leaves(tree_, *path, whole ? std::vector<Leaf>{} : named_leaves(setting, fields));
        return {SR_ERR_OK};
    }
    const auto as = tree_.find("as");
    if (as == tree_.end() || *as != json(fields["bgp_id"])) {
        return {SR_ERR_CONFIG_FAILED, "its AS is not the one configured"};
    }
    const std::vector<Leaf> leaves = named_leaves(setting, fields);
    if (std::string fault = fault_of(setting, leaves, fields); !fault.empty()) {
        return {SR_ERR_INVALID_VALUE, std::move(fault)};
    }
    set_leaves(node_at(tree_, *path), leaves, fields);
    return {SR_ERR_OK};
}

QueryResult MemoryBackend::query(const Message &message) {
    return answer_query(message, tree_, state_);
}

ordered_json MemoryBackend::configuration() const {
    return tree_;
}

std::string xpath_of(const Message &message) {
    const RecordKind *kind = find_record_kind(message.sub_mod);
    const Setting *setting = row_of(settings, message.sub_mod);
    if (kind == nullptr || setting == nullptr || message.payload().size() != kind->record->size) {
        return {};
    }
    auto path = path_of(setting->place, decode_record(*kind->record, message.payload()));
    if (!path) {
        return {};
    }
    if (const auto &[leaf, other] = setting->leaves;
        leaf.name != nullptr && other.name == nullptr) {
        path->steps.emplace_back(leaf.name);
    }
    return fmt::format("/orv_bgp:router-bgp/{}", fmt::join(path->steps, "/"));
}

} // namespace configd
