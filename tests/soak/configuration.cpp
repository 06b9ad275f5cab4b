#include "configuration.h"

#include "session.h"

#include <nlohmann/json.hpp>

#include <sysrepo/values.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>

namespace soak {

namespace {

// No other leaf of the configuration has one of these names.
constexpr std::array<std::string_view, 7> keys = {
    "afi", "safi", "vrf-name", "neighbor-address", "prefix", "protocol", "process"};

bool is_key(std::string_view leaf) {
    return std::find(keys.begin(), keys.end(), leaf) != keys.end();
}

bool ends_with(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::string text_of(const nlohmann::json &value) {
    if (value.is_boolean()) {
        return {};
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void collect_held(const nlohmann::json &node, const std::string &path, Configuration &held) {
    for (const auto &[name, child] : node.items()) {
        const std::string step = path + "/" + name;
        if (!child.is_object()) {
            held[step] = text_of(child);
            continue;
        }
        if (is_entry(step)) {
            held[step];
        }
        collect_held(child, step, held);
    }
}

} // namespace

std::string_view parent_of(std::string_view path) {
    // A key may contain slashes; it is in brackets.
    std::size_t depth = 0;
    for (std::size_t i = path.size(); i-- > 0;) {
        depth += path[i] == ']' ? 1U : 0U;
        depth -= path[i] == '[' ? 1U : 0U;
        if (path[i] == '/' && depth == 0) {
            return path.substr(0, i);
        }
    }
    return {};
}

std::string_view last_step(std::string_view path) {
    const std::string_view parent = parent_of(path);
    return path.empty() ? path : path.substr(parent.size() + 1);
}

std::string_view last_name(std::string_view path) {
    const std::string_view step = last_step(path);
    return step.substr(0, step.find('['));
}

bool is_entry(std::string_view path) {
    return !path.empty() && path.back() == ']';
}

bool is_neighbor(std::string_view path) {
    return is_entry(path) && ends_with(last_name(path), "neighbor");
}

bool is_network_or_redistribute(std::string_view path) {
    const std::string_view name = last_name(path);
    return is_entry(path) && (ends_with(name, "network") || ends_with(name, "redistribute"));
}

bool is_vrf(std::string_view path) {
    return last_name(path) == "address-family-vrf" &&
           last_step(path).find("[safi='SAFI_VRF']") != std::string_view::npos;
}

bool is_within(std::string_view path, std::string_view ancestor) {
    return path.substr(0, ancestor.size()) == ancestor &&
           (path.size() == ancestor.size() || path[ancestor.size()] == '/');
}

Configuration stored_configuration(sr_session_ctx_t *session) {
    const std::string everything = std::string(root) + "//.";
    sr_val_t *found = nullptr;
    std::size_t count = 0;
    const int code = sr_get_items(session, everything.c_str(), time_limit, 0, &found, &count);
    if (code != SR_ERR_OK) {
        throw std::runtime_error(std::string("reading the datastore: ") + sr_strerror(code));
    }
    const Values values{found, count};
    Configuration stored;
    for (const sr_val_t &value : values) {
        const std::string path = std::string(value.xpath).substr(std::string_view(root).size());
        if (value.type == SR_CONTAINER_T || is_key(last_step(path))) {
            continue;
        }
        stored[path] = value.type == SR_LIST_T ? "" : value_text(value);
    }
    return stored;
}

Configuration held_configuration(const nlohmann::json &tree) {
    Configuration held;
    collect_held(tree, "", held);
    return held;
}

Configuration told(const Configuration &configuration) {
    Configuration result;
    for (const auto &[path, value] : configuration) {
        if (!is_entry(path) || is_network_or_redistribute(path) || is_vrf(path)) {
            result.emplace(path, value);
        }
    }
    return result;
}

Differences differences(const Configuration &first, const Configuration &second) {
    Differences result;
    for (const auto &[path, value] : first) {
        const auto other = second.find(path);
        if (other == second.end()) {
            result.lost.push_back(path);
        } else if (other->second != value) {
            result.differing.push_back(path + ": '" + value + "', not '" + other->second + "'");
        }
    }
    for (const auto &[path, value] : second) {
        if (first.count(path) == 0) {
            result.left_over.push_back(path);
        }
    }
    return result;
}

} // namespace soak
