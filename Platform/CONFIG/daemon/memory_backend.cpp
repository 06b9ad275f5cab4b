#include "memory_backend.h"

#include "field_text.h"
#include "list_keys.h"
#include "netconf_bgp_public.h"
#include "plugin_public.h"
#include "queries.h"
#include "values.h"
#include "wire.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace configd {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

// A leaf and the field that holds its value. For a flag, the protocol tells only that it changed.
struct Leaf {
    const char *name;
    Field field;
    bool is_flag = false;
};

// Which leaves a record is about, and what its deletion deletes.
enum class Scope {
    Leaf,       // the leaf
    Entry,      // the leaf; its deletion deletes the list entry with all that is in it
    NamedLeaves // the leaves for which the record has values
};

struct Setting {
    std::int32_t sub_mod;
    Scope scope;
    Leaf leaves[2]; // unused without a name
};

// clang-format off
#define LEAF(sub_mod, scope, name, field) {sub_mod, scope, {{name, CONFIGD_FIELD(sub_mod, field)}}}
#define FLAG(sub_mod, scope, name, field) {sub_mod, scope, {{name, CONFIGD_FIELD(sub_mod, field), true}}}
constexpr Setting settings[] = {
    LEAF(BGP_SUB_BGP_AS, Scope::Leaf, "as", as),
    LEAF(BGP_SUB_ROUTER_ID, Scope::Leaf, "router-id", router_id),
    LEAF(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, Scope::Entry, "remote-as", remote_as),
    LEAF(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, Scope::Leaf, "description", description),
    LEAF(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, Scope::Leaf, "ebgp-multihop", ebgp_multihop),
    LEAF(BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE, Scope::Leaf, "update-source", update_source),
    {BGP_SUB_NETWORK, Scope::NamedLeaves, {
        {"route-map", CONFIGD_FIELD(BGP_SUB_NETWORK, route_map)},
        {"backdoor", CONFIGD_FIELD(BGP_SUB_NETWORK, backdoor), true}}},
    LEAF(BGP_SUB_REDISTRIBUTE, Scope::NamedLeaves, "route-map", route_map),
    FLAG(BGP_SUB_NEIGHBOR_ACTIVATE, Scope::Entry, "activate", active),
    FLAG(BGP_SUB_NEIGHBOR_NEXT_HOP_SELF, Scope::Leaf, "next-hop-self", next_hop_self),
    FLAG(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, Scope::Leaf, "route-reflector-client",
         route_reflector_client),
    {BGP_SUB_ADDRESS_FAMILY_VRF, Scope::Entry, {}},
    LEAF(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, Scope::Entry, "remote-as", remote_as),
    FLAG(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, Scope::Leaf, "activate", active),
    LEAF(BGP_SUB_NEIGHBOR_VRF_DESCRIPTION, Scope::Leaf, "description", description),
    LEAF(BGP_SUB_NEIGHBOR_VRF_MULTIHOP, Scope::Leaf, "ebgp-multihop", ebgp_multihop),
    LEAF(BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE, Scope::Leaf, "update-source", update_source),
};
// clang-format on
#undef FLAG
#undef LEAF
static_assert(has_one_row_each(settings, is_setting), "one row for each setting");

// The path to a node: the keys of the tree, from the root.
struct Path {
    std::vector<std::string> steps;
    std::size_t kept = 0; // the number of first steps that stay even when they are empty
};

// The node that holds the leaves of a record; std::nullopt for an unknown address family.

std::optional<Path> path_of(const bgp_as_val & /*record*/) {
    return Path{};
}

std::optional<Path> path_of(const bgp_globle_config & /*record*/) {
    return Path{{"bgp"}};
}

std::optional<Path> path_of(const bgp_globle_neighbor_config &record) {
    return Path{
        {"bgp", "bgp-globle-neighbors",
         "globle-neighbor" + predicate("neighbor-address", text_of(record.neighbor_ip_or_tag))}};
}

std::optional<Path> path_of(const address_family_val &family) {
    const char *afi = name_of(afi_names, family.afi);
    const char *safi = name_of(safi_names, family.safi);
    if (afi == nullptr || safi == nullptr) {
        return std::nullopt;
    }
    const std::string keys = predicate("afi", afi) + predicate("safi", safi);
    const std::string_view vrf = text_of(family.vrf_name);
    if (vrf.empty()) {
        return Path{{"bgp-address-family", "address-family" + keys}};
    }
    return Path{
        {"bgp-address-family-vrf", "address-family-vrf" + keys + predicate("vrf-name", vrf)}};
}

// The entry with these keys in a list of the family.
std::optional<Path> entry_path(const address_family_val &family, const char *list,
                               const std::string &keys) {
    std::optional<Path> path = path_of(family);
    if (!path) {
        return std::nullopt;
    }
    const bool in_vrf = !text_of(family.vrf_name).empty();
    if (in_vrf && family.safi == BGP_SAFI_VRF) {
        path->kept = path->steps.size();
    }
    path->steps.push_back(fmt::format("bgp-family-{}{}s", in_vrf ? "vrf-" : "", list));
    path->steps.push_back(fmt::format("family-{}{}{}", in_vrf ? "vrf-" : "", list, keys));
    return path;
}

std::optional<Path> path_of(const bgp_address_family_network_universal_val &record) {
    return entry_path(record.address_family, "network",
                      predicate("prefix", text_of(record.network_ip_str)));
}

std::optional<Path> path_of(const bgp_address_family_redistribute_universal_val &record) {
    return entry_path(record.address_family, "redistribute",
                      predicate("protocol", text_of(record.protocol_name)) +
                          predicate("process", text_of(record.protocol_id_or_tag)));
}

std::optional<Path> path_of(const bgp_address_family_neighbor_universal_val &record) {
    return entry_path(record.address_family, "neighbor",
                      predicate("neighbor-address", text_of(record.neighbor_ip_or_tag)));
}

// The node at the end of the path. Creates the missing nodes.
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

// Removes the node at the end of the path and the nodes on the path that are then empty.
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

// Whether a field has a value: a text that is not empty, a number that is not 0.
bool is_given(const FieldValue &value) {
    return value != FieldValue{std::string_view{}} && value != FieldValue{0};
}

// The leaves that the record sets or deletes. Empty: the record is about the entry itself.
std::vector<Leaf> named_leaves(const Setting &setting, std::string_view record) {
    std::vector<Leaf> leaves;
    for (const Leaf &leaf : setting.leaves) {
        const bool is_leaf = leaf.name != nullptr;
        if (is_leaf &&
            (setting.scope != Scope::NamedLeaves || is_given(value_of(leaf.field, record)))) {
            leaves.push_back(leaf);
        }
    }
    return leaves;
}

// Why a switch would refuse the value of a leaf or a key; empty: it would not. The number of hops
// is limited as for any BGP speaker.
std::string fault_of(std::string_view name, const FieldValue &value) {
    const auto *view = std::get_if<std::string_view>(&value);
    const std::string text{view == nullptr ? std::string_view{} : *view};
    if (name == "prefix" && !is_prefix(text)) {
        return fmt::format("'{}' is no prefix", text);
    }
    if (name == "router-id" && !is_router_id(text)) {
        return fmt::format("'{}' is no router identifier", text);
    }
    if (name == "remote-as" && !as_number(text)) {
        return fmt::format("'{}' is no AS number", text);
    }
    if (const auto *hops = std::get_if<std::int64_t>(&value);
        name == "ebgp-multihop" && (hops == nullptr || *hops < 1 || *hops > 255)) {
        return "a neighbor is 1 to 255 hops away";
    }
    return {};
}

// The same for all values that a record sets.
std::string fault_of(const Message &message, const std::vector<Leaf> &leaves) {
    std::string fault;
    if (message.sub_mod == BGP_SUB_NETWORK) {
        fault = fault_of(
            "prefix", value_of(CONFIGD_FIELD(BGP_SUB_NETWORK, network_ip_str), message.payload()));
    }
    for (const Leaf &leaf : leaves) {
        if (fault.empty()) {
            fault = fault_of(leaf.name, value_of(leaf.field, message.payload()));
        }
    }
    return fault;
}

void set_leaves(json &node, const std::vector<Leaf> &leaves, std::string_view record) {
    for (const Leaf &leaf : leaves) {
        node[leaf.name] = leaf.is_flag ? json(true)
                                       : std::visit([](auto value) { return json(value); },
                                                    value_of(leaf.field, record));
    }
}

// The protocol does not distinguish deleting an entry from deleting its leaves. A record that names
// no leaf deletes the entry. So does one that names all leaves of the entry, since an empty entry
// does not stay.
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

ApplyResult apply(json &tree, bool is_set, const bgp_as_val &record, const Message & /*message*/) {
    if (is_set && record.as == 0) {
        return {SR_ERR_INVALID_VALUE, "0 is no AS number"};
    }
    if (is_set) {
        tree["as"] = record.as;
    } else {
        tree.clear();
    }
    return {SR_ERR_OK};
}

template <typename Record>
ApplyResult apply(json &tree, bool is_set, const Record &record, const Message &message) {
    const Setting *setting = row_of(settings, message.sub_mod);
    if (setting == nullptr) {
        return {SR_ERR_NOT_SUPPORT};
    }
    const std::optional<Path> path = path_of(record);
    if (!path) {
        return {SR_ERR_INVALID_VALUE, "there is no such address family"};
    }
    const std::vector<Leaf> leaves = named_leaves(*setting, message.payload());
    if (!is_set) {
        remove_leaves(tree, *path, setting->scope == Scope::Entry ? std::vector<Leaf>{} : leaves);
        return {SR_ERR_OK};
    }
    if (const auto as = tree.find("as"); as == tree.end() || *as != record.bgp_id) {
        return {SR_ERR_CONFIG_FAILED, "its AS is not the one configured"};
    }
    if (std::string fault = fault_of(message, leaves); !fault.empty()) {
        return {SR_ERR_INVALID_VALUE, std::move(fault)};
    }
    set_leaves(node_at(tree, *path), leaves, message.payload());
    return {SR_ERR_OK};
}

} // namespace

ApplyResult MemoryBackend::apply(const Message &message) {
    const ApplyResult no_setting{SR_ERR_NOT_SUPPORT};
    return with_setting(message, no_setting, [&](const auto &record) -> ApplyResult {
        if (record.op == BGP_OP_OTHER) {
            return {SR_ERR_OK};
        }
        if (record.op != BGP_OP_SET && record.op != BGP_OP_DELETE) {
            return {SR_ERR_INVALID_VALUE};
        }
        return configd::apply(tree_, record.op == BGP_OP_SET, record, message);
    });
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
    auto path = with_setting(message, std::optional<Path>{},
                             [](const auto &record) { return path_of(record); });
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
