#include "frr/running_config.h"

#include "frr/commands.h"
#include "frr/families.h"
#include "list_keys.h"
#include "wire.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

namespace configd::frr {
namespace {

using nlohmann::ordered_json;

// Removes the first word and the blank after it from the text. Returns the word.
std::string_view take_word(std::string_view &text) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    return word;
}

// What follows the key in a line that begins with it.
std::string_view behind(std::string_view line, std::string_view key) {
    return line.substr(std::min(line.size(), key.size() + 1));
}

std::uint32_t number_in(std::string_view text) {
    std::uint32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

constexpr std::string_view instance_key = "router bgp";
constexpr std::string_view family_key = "address-family";

// The instance that begins with this line, which has no indentation; none for any other line and
// for a view.
std::optional<Instance> instance_of(std::string_view line) {
    if (!begins_with(line, instance_key)) {
        return std::nullopt;
    }
    std::string_view rest = behind(line, instance_key);
    Instance instance;
    instance.as = number_in(take_word(rest));
    const std::string_view kind = take_word(rest);
    if (kind == "view") {
        return std::nullopt;
    }
    if (kind == "vrf") {
        instance.vrf = take_word(rest);
    }
    return instance;
}

// Adds an indented line to the instance; `family` is the current address family.
void add_line(Instance &instance, std::string &family, std::string_view line) {
    instance.block.emplace_back(line);
    if (begins_with(line, family_key)) {
        family = behind(line, family_key);
    } else if (line == "exit-address-family") {
        family.clear();
    } else {
        instance.lines.push_back({family, std::string{line}});
    }
}

// Adds the leaf of a neighbor's line; `line` begins after the address.
void add_leaf(ordered_json &neighbor, Place place, std::string_view line) {
    const std::string_view name = take_word(line);
    const SettingRow *leaf = find_leaf(place, name);
    if (leaf == nullptr) {
        return;
    }
    ordered_json &value = neighbor[std::string{name}];
    if (!leaf->field) {
        value = true;
    } else if (leaf->field->type == FieldType::Text) {
        value = line;
    } else {
        value = number_in(line);
    }
}

// Adds the options after a network or a redistribution.
void add_options(ordered_json &entry, std::string_view rest) {
    while (!rest.empty()) {
        const std::string_view word = take_word(rest);
        if (word == "route-map") {
            entry["route-map"] = take_word(rest);
        } else if (word == "backdoor") {
            entry["backdoor"] = true;
        }
    }
}

// The entries below an address family; in a VRF, the model's names contain `infix`.
class FamilyTree {
  public:
    FamilyTree(ordered_json &tree, std::string infix) : tree_{tree}, infix_{std::move(infix)} {}

    ordered_json &neighbor(std::string_view address) {
        return entry("neighbor", predicate("neighbor-address", address));
    }

    // Adds a line of the family.
    void add(std::string_view line) {
        const std::string_view word = take_word(line);
        if (word == "network") {
            add_options(entry("network", predicate("prefix", take_word(line))), line);
        } else if (word == "redistribute") {
            const std::string_view protocol = take_word(line);
            const bool has_process = !line.empty() && line.front() >= '0' && line.front() <= '9';
            const std::string_view process = has_process ? take_word(line) : std::string_view{};
            add_options(entry("redistribute",
                              predicate("protocol", protocol) + predicate("process", process)),
                        line);
        } else if (word == "neighbor") {
            const std::string_view address = take_word(line);
            add_leaf(neighbor(address), Place::Family, line);
        }
    }

  private:
    ordered_json &entry(std::string_view list, const std::string &keys) {
        ordered_json &node = tree_[fmt::format("bgp-family-{}{}s", infix_, list)]
                                  [fmt::format("family-{}{}{}", infix_, list, keys)];
        if (node.is_null()) {
            node = ordered_json::object();
        }
        return node;
    }

    ordered_json &tree_;
    std::string infix_;
};

// The family's node in the tree.
FamilyTree family_tree(ordered_json &tree, const Family &family, const std::string &vrf) {
    const bool in_vrf = !vrf.empty();
    const std::uint32_t safi =
        in_vrf && family.safi == BGP_SAFI_UNICAST ? std::uint32_t{BGP_SAFI_VRF} : family.safi;
    const std::string keys = predicate("afi", name_of(afi_names, family.afi)) +
                             predicate("safi", name_of(safi_names, safi));
    return in_vrf ? FamilyTree{tree["bgp-address-family-vrf"]
                                   ["address-family-vrf" + keys + predicate("vrf-name", vrf)],
                               "vrf-"}
                  : FamilyTree{tree["bgp-address-family"]["address-family" + keys], ""};
}

// The families in which a neighbor of the instance is active.
std::vector<const Family *> active_families(const Instance &instance, std::string_view neighbor) {
    const std::string wanted = fmt::format("neighbor {} activate", neighbor);
    std::vector<const Family *> families;
    for (const ConfigLine &line : instance.lines) {
        if (const Family *family = find_family(line.family); family && line.text == wanted) {
            families.push_back(family);
        }
    }
    return families;
}

// Adds a line of the instance itself.
void add_instance_line(ordered_json &tree, const Instance &instance, std::string_view line) {
    constexpr std::string_view router_id_key = "bgp router-id";
    if (begins_with(line, router_id_key) && instance.vrf.empty()) {
        tree["bgp"]["router-id"] = behind(line, router_id_key);
        return;
    }
    if (take_word(line) != "neighbor") {
        return;
    }
    const std::string_view address = take_word(line);
    if (instance.vrf.empty()) {
        add_leaf(tree["bgp"]["bgp-globle-neighbors"]
                     ["globle-neighbor" + predicate("neighbor-address", address)],
                 Place::Instance, line);
        return;
    }
    for (const Family *family : active_families(instance, address)) {
        add_leaf(family_tree(tree, *family, instance.vrf).neighbor(address), Place::Instance, line);
    }
}

} // namespace

bool begins_with(std::string_view line, std::string_view key) {
    return line.substr(0, key.size()) == key &&
           (line.size() == key.size() || line[key.size()] == ' ');
}

std::vector<Instance> instances_in(std::string_view running_config) {
    std::vector<Instance> instances;
    bool in_instance = false;
    std::string family;
    while (!running_config.empty()) {
        std::string_view line = running_config.substr(0, running_config.find('\n'));
        running_config.remove_prefix(std::min(running_config.size(), line.size() + 1));
        const bool is_end = line == "exit"; // of an instance; that of a nested block is indented
        line.remove_prefix(std::min(line.size(), line.find_first_not_of(' ')));
        // `!` does not end an instance: it also follows a nested block, before the instance's own
        // `exit`.
        if (line.empty() || line == "!") {
            continue;
        }
        if (is_end) {
            in_instance = false;
        } else if (begins_with(line, instance_key)) {
            auto instance = instance_of(line);
            in_instance = instance.has_value();
            family.clear();
            if (in_instance) {
                instances.push_back(std::move(*instance));
            }
        } else if (in_instance) {
            add_line(instances.back(), family, line);
        }
    }
    return instances;
}

const Instance *find_instance(const std::vector<Instance> &instances, std::string_view vrf) {
    const auto row = std::find_if(instances.begin(), instances.end(),
                                  [=](const Instance &instance) { return instance.vrf == vrf; });
    return row == instances.end() ? nullptr : &*row;
}

ordered_json configuration_of(const std::vector<Instance> &instances) {
    ordered_json tree = ordered_json::object();
    for (const Instance &instance : instances) {
        if (instance.vrf.empty()) {
            tree["as"] = instance.as;
        }
        for (const auto &[family_name, text] : instance.lines) {
            if (const Family *family = find_family(family_name); family != nullptr) {
                family_tree(tree, *family, instance.vrf).add(text);
            } else if (family_name.empty()) {
                add_instance_line(tree, instance, text);
            }
        }
    }
    return tree;
}

} // namespace configd::frr
