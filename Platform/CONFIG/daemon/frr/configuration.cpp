#include "frr/configuration.h"

#include "frr/refusal.h"
#include "message.h"
#include "netconf_bgp_public.h"
#include "plugin_public.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <type_traits>
#include <utility>

namespace configd::frr {
namespace {

using nlohmann::json;

// The first lines of each instance. Without them, bgpd requires a policy for each eBGP session,
// does not announce networks that no other protocol knows, and activates neighbors by itself.
constexpr const char *baseline[] = {"no bgp ebgp-requires-policy", "no bgp network import-check",
                                    "no bgp default ipv4-unicast"};

struct StatusCode {
    int status;
    std::int32_t code;
};

// bgpd warns when something is already so.
constexpr StatusCode status_codes[] = {{0, SR_ERR_OK},
                                       {1, SR_ERR_OK},
                                       {2, SR_ERR_INVALID_VALUE},
                                       {3, SR_ERR_INVALID_VALUE},
                                       {4, SR_ERR_INVALID_VALUE},
                                       {VtyAnswer::unreachable, SR_ERR_SOCKET_FAILED}};

std::int32_t code_of(int status) {
    const auto *row = std::find_if(std::begin(status_codes), std::end(status_codes),
                                   [=](const StatusCode &known) { return known.status == status; });
    return row == std::end(status_codes) ? SR_ERR_CONFIG_FAILED : row->code;
}

std::string trimmed(const std::string &text) {
    const std::size_t first = text.find_first_not_of(" \r\n");
    const std::size_t last = text.find_last_not_of(" \r\n");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

// bgpd's answer to a line that it refuses, on one line.
Refusal refusal_of(const std::string &line, const VtyAnswer &answer) {
    std::string reason = trimmed(answer.text);
    std::replace(reason.begin(), reason.end(), '\n', ' ');
    return {code_of(answer.status), fmt::format("{}: {}", line, reason)};
}

std::string instance_line(std::uint32_t as, const std::string &vrf) {
    return fmt::format("router bgp {}{}{}", as, vrf.empty() ? "" : " vrf ", vrf);
}

// The line of the instance that begins with the setting's key; empty when there is none.
std::string line_of(const std::vector<Instance> &instances, const Setting &setting) {
    const Instance *instance = find_instance(instances, setting.vrf);
    if (instance == nullptr) {
        return {};
    }
    const std::string_view family =
        setting.family == nullptr ? std::string_view{} : setting.family->name;
    const auto row =
        std::find_if(instance->lines.begin(), instance->lines.end(), [&](const ConfigLine &line) {
            return line.family == family && begins_with(line.text, setting.key);
        });
    return row == instance->lines.end() ? std::string{} : row->text;
}

std::string negation(const std::string &line) {
    constexpr std::string_view no = "no ";
    return line.compare(0, no.size(), no) == 0 ? line.substr(no.size()) : "no " + line;
}

// The neighbors that are active in this family only.
std::set<std::string> neighbors_of(const Instance &instance, const Family &family) {
    constexpr std::string_view first = "neighbor ";
    constexpr std::string_view last = " activate";
    std::set<std::string> inside;
    std::set<std::string> outside;
    for (const auto &[name, text] : instance.lines) {
        const bool is_activation = text.size() > first.size() + last.size() &&
                                   text.compare(0, first.size(), first) == 0 &&
                                   text.compare(text.size() - last.size(), last.size(), last) == 0;
        if (is_activation) {
            (name == family.name ? inside : outside)
                .insert(text.substr(first.size(), text.size() - first.size() - last.size()));
        }
    }
    std::set<std::string> alone;
    std::set_difference(inside.begin(), inside.end(), outside.begin(), outside.end(),
                        std::inserter(alone, alone.end()));
    return alone;
}

} // namespace

Configuration::Configuration(AskVty ask, std::vector<std::string> lines)
    : ask_{std::move(ask)}, lines_{std::move(lines)} {}

ApplyResult Configuration::apply(const Message &message) {
    const ApplyResult no_setting{SR_ERR_NOT_SUPPORT,
                                 fmt::format("sub-module {} is no setting", message.sub_mod)};
    return with_setting(message, no_setting, [&](const auto &record) -> ApplyResult {
        if (record.op == BGP_OP_OTHER) {
            return {SR_ERR_OK};
        }
        if (record.op != BGP_OP_SET && record.op != BGP_OP_DELETE) {
            return {SR_ERR_INVALID_VALUE, fmt::format("{} is no operation", record.op)};
        }
        try {
            this->apply_record(message.sub_mod, record.op == BGP_OP_SET, record);
            return {SR_ERR_OK};
        } catch (const Refusal &refusal) {
            return {refusal.code(), refusal.what()};
        }
    });
}

void Configuration::apply_record(std::int32_t /*sub_mod*/, bool is_set, const bgp_as_val &record) {
    if (is_set) {
        set_as(record.as);
        return;
    }
    remove_as(record.as);
    vrf_families_.clear();
}

template <typename Record>
void Configuration::apply_record([[maybe_unused]] std::int32_t sub_mod, bool is_set,
                                 const Record &record) {
    const std::uint32_t as = record.bgp_id;
    if constexpr (std::is_same_v<Record, address_family_val>) {
        const Family &family = family_of(record);
        const std::string vrf = vrf_of(record);
        is_set ? set_vrf_family(as, vrf, family) : erase_vrf_family(as, vrf, family);
    } else if constexpr (std::is_same_v<Record, bgp_address_family_network_universal_val>) {
        const Network network = network_of(record);
        is_set ? set_network(as, network) : erase_network(as, network);
    } else {
        const Setting setting = setting_of(sub_mod, is_set, record);
        is_set ? set(as, setting) : erase(as, setting);
    }
}

std::vector<Instance> Configuration::instances() {
    try {
        return read_instances();
    } catch (const Refusal &) {
        return {};
    }
}

// Enters a line that must succeed. Returns bgpd's text.
std::string Configuration::run(const std::string &line) {
    VtyAnswer answer = ask_(line);
    if (code_of(answer.status) != SR_ERR_OK) {
        throw refusal_of(line, answer);
    }
    return std::move(answer.text);
}

// Reads in the terminal's enable mode and stays in it.
std::vector<Instance> Configuration::read_instances() {
    run("end");
    return instances_in(run("show running-config"));
}

// The names of the VRFs that have an instance; an empty name is the instance outside VRFs. Call it
// in the terminal's enable mode before entering an instance, because entering creates it.
std::set<std::string> Configuration::vrfs() {
    const json answer = json::parse(run("show bgp vrfs json"), nullptr, false);
    const auto rows = answer.find("vrfs");
    std::set<std::string> names;
    if (rows != answer.end() && rows->is_object()) {
        for (const auto &row : rows->items()) {
            const auto type = row.value().find("type");
            const bool is_default = type != row.value().end() && *type == "DFLT";
            names.insert(is_default ? "" : row.key());
        }
    }
    return names;
}

// Enters an existing instance from the terminal's enable mode. Returns false when it has another
// AS.
bool Configuration::enter(std::uint32_t as, const std::string &vrf) {
    run("configure terminal");
    const std::string line = instance_line(as, vrf);
    const VtyAnswer answer = ask_(line);
    const std::int32_t code = code_of(answer.status);
    if (code != SR_ERR_OK && code != SR_ERR_CONFIG_FAILED) {
        throw refusal_of(line, answer);
    }
    return code == SR_ERR_OK;
}

void Configuration::enter_family(const Family *family) {
    if (family != nullptr) {
        run(fmt::format("address-family {}", family->name));
    }
}

// Creates an instance and enters it. Removes it again when bgpd refuses one of its lines.
void Configuration::create(std::uint32_t as, const std::string &vrf) {
    run("end");
    run("configure terminal");
    run(instance_line(as, vrf));
    try {
        std::for_each(std::begin(baseline), std::end(baseline),
                      [this](const char *line) { run(line); });
        std::for_each(lines_.begin(), lines_.end(), [this](const auto &line) { run(line); });
    } catch (const Refusal &refusal) {
        if (refusal.code() != SR_ERR_SOCKET_FAILED) {
            remove(as, vrf);
        }
        throw;
    }
    // One of the lines may have changed the mode.
    run("end");
    enter(as, vrf);
}

void Configuration::remove(std::uint32_t as, const std::string &vrf) {
    run("end");
    run("configure terminal");
    run("no " + instance_line(as, vrf));
}

// Enters the instance to set something in it. The first setting in a VRF creates the VRF's
// instance. The instance outside VRFs must exist and have this AS.
void Configuration::prepare(std::uint32_t as, const std::string &vrf) {
    const std::set<std::string> present = vrfs();
    if (present.count("") == 0) {
        throw Refusal{SR_ERR_CONFIG_FAILED, "bgpd has no BGP instance"};
    }
    const bool is_there = present.count(vrf) != 0;
    if (!enter(as, is_there ? vrf : "")) {
        throw Refusal{SR_ERR_CONFIG_FAILED,
                      fmt::format("bgpd's instance has another AS than {}", as)};
    }
    if (!is_there) {
        create(as, vrf);
    }
}

void Configuration::set_as(std::uint32_t as) {
    if (vrfs().count("") == 0) {
        create(as, "");
        return;
    }
    if (!enter(as, "")) {
        change_as(read_instances(), as);
        return;
    }
    // The instance may come from bgpd's own configuration file, without the baseline.
    std::for_each(std::begin(baseline), std::end(baseline),
                  [this](const char *line) { run(line); });
}

// bgpd cannot change the AS of an instance. So the instance is removed and entered again, with its
// VRFs.
void Configuration::change_as(std::vector<Instance> instances, std::uint32_t as) {
    const Instance *main = find_instance(instances, "");
    if (main == nullptr) {
        throw Refusal{SR_ERR_CONFIG_FAILED, "bgpd does not show its BGP instance"};
    }
    const std::uint32_t old_as = main->as;
    instances.erase(std::remove_if(instances.begin(), instances.end(),
                                   [=](const Instance &instance) { return instance.as != old_as; }),
                    instances.end());
    remove_as(old_as);
    try {
        replay(instances, as);
    } catch (const Refusal &refusal) {
        if (refusal.code() != SR_ERR_SOCKET_FAILED) {
            remove_as(as);
            replay(instances, old_as);
        }
        throw;
    }
}

void Configuration::replay(const std::vector<Instance> &instances, std::uint32_t as) {
    for (const Instance &instance : instances) {
        run("end");
        run("configure terminal");
        run(instance_line(as, instance.vrf));
        std::for_each(instance.block.begin(), instance.block.end(),
                      [this](const std::string &line) { run(line); });
    }
}

void Configuration::remove_as(std::uint32_t as) {
    const std::vector<Instance> instances = read_instances();
    for (const Instance &instance : instances) {
        if (instance.as == as && !instance.vrf.empty()) {
            remove(as, instance.vrf);
        }
    }
    if (const Instance *main = find_instance(instances, ""); main && main->as == as) {
        remove(as, "");
    }
}

void Configuration::set(std::uint32_t as, const Setting &setting) {
    prepare(as, setting.vrf);
    enter_family(setting.family);
    if (begins_with(setting.key, "redistribute")) {
        // A line without a route map would keep the old one.
        run(setting.removal);
    }
    run(setting.line());
}

// The new line replaces the old one, but the record names only the options that changed.
void Configuration::set_network(std::uint32_t as, Network network) {
    const Setting setting = network.setting;
    prepare(as, setting.vrf);
    enter_family(setting.family);
    const bool names_all = network.backdoor && !network.route_map.empty();
    const bool names_none = !network.backdoor && network.route_map.empty();
    if (!names_all && !is_absent(setting)) {
        if (names_none) {
            return;
        }
        const Network present = present_network(setting);
        network.backdoor = network.backdoor || present.backdoor;
        network.route_map = network.route_map.empty() ? present.route_map : network.route_map;
        enter(as, setting.vrf);
        enter_family(setting.family);
    }
    run(network.line());
}

// bgpd fails to remove what does not exist, and also some things that exist. Its configuration
// tells which it was.
void Configuration::erase(std::uint32_t as, const Setting &setting) {
    if (vrfs().count(setting.vrf) == 0 || !enter(as, setting.vrf)) {
        return;
    }
    enter_family(setting.family);
    const VtyAnswer answer = ask_(setting.removal);
    const std::int32_t code = code_of(answer.status);
    const bool may_be_absent = code == SR_ERR_CONFIG_FAILED;
    if (code != SR_ERR_OK && !(may_be_absent && line_of(read_instances(), setting).empty())) {
        throw refusal_of(setting.removal, answer);
    }
    remove_if_unused(as, setting);
}

// The record does not distinguish deleting an option from deleting the network. A record that names
// some of the network's options but not all of them deletes these options.
void Configuration::erase_network(std::uint32_t as, const Network &network) {
    const Setting &setting = network.setting;
    const bool names_all = network.backdoor && !network.route_map.empty();
    const bool names_none = !network.backdoor && network.route_map.empty();
    if (!names_all && !names_none) {
        Network present = present_network(setting);
        present.backdoor = present.backdoor && !network.backdoor;
        present.route_map = network.route_map.empty() ? present.route_map : "";
        if (present.backdoor || !present.route_map.empty()) {
            Setting rest = setting;
            rest.key = present.line();
            set(as, rest);
            return;
        }
    }
    erase(as, setting);
}

// The network as bgpd has it; without options when bgpd does not have it.
Network Configuration::present_network(const Setting &setting) {
    return with_options_of(setting, line_of(read_instances(), setting));
}

// Whether bgpd has no such network. Reading the whole configuration for each new network would take
// long. So this asks bgpd to remove the network with a label index that no network has. bgpd
// refuses that, with another reason when the network exists.
bool Configuration::is_absent(const Setting &network) {
    const VtyAnswer answer = ask_(network.removal + " label-index 1048560");
    if (answer.status == VtyAnswer::unreachable) {
        throw refusal_of(network.removal, answer);
    }
    return answer.text.find("Can't find") != std::string::npos;
}

void Configuration::set_vrf_family(std::uint32_t as, const std::string &vrf, const Family &family) {
    prepare(as, vrf);
    vrf_families_[vrf].insert(&family);
}

// Removes the family with everything in it and, with the last family of a VRF, the instance.
void Configuration::erase_vrf_family(std::uint32_t as, const std::string &vrf,
                                     const Family &family) {
    vrf_families_[vrf].erase(&family);
    const std::vector<Instance> instances = read_instances();
    const Instance *instance = find_instance(instances, vrf);
    if (vrf.empty() || instance == nullptr || instance->as != as) {
        return;
    }
    if (is_unused(*instance, &family)) {
        remove(as, vrf);
        return;
    }
    enter(as, vrf);
    erase_lines(*instance, family);
}

// Removes the family's lines. The instance has been entered.
void Configuration::erase_lines(const Instance &instance, const Family &family) {
    const std::set<std::string> neighbors = neighbors_of(instance, family);
    for (const std::string &neighbor : neighbors) {
        run("no neighbor " + neighbor);
    }
    const auto went_along = [&](const ConfigLine &line) {
        return std::any_of(neighbors.begin(), neighbors.end(), [&](const std::string &neighbor) {
            return begins_with(line.text, "neighbor " + neighbor);
        });
    };
    enter_family(&family);
    for (const ConfigLine &line : instance.lines) {
        if (line.family == family.name && !went_along(line)) {
            run(negation(line.text));
        }
    }
}

// Whether the instance of a VRF can be removed: it has no family but `except`, whose neighbors go
// with it. Without `except` it must not have a neighbor either.
bool Configuration::is_unused(const Instance &instance, const Family *except) const {
    const auto families = vrf_families_.find(instance.vrf);
    const bool has_family = families != vrf_families_.end() &&
                            std::any_of(families->second.begin(), families->second.end(),
                                        [=](const Family *family) { return family != except; });
    const bool has_line =
        std::any_of(instance.lines.begin(), instance.lines.end(), [=](const ConfigLine &line) {
            return except == nullptr ? !line.family.empty() || begins_with(line.text, "neighbor")
                                     : !line.family.empty() && line.family != except->name;
        });
    return !has_family && !has_line;
}

// Families with SAFI_VRF exist until a message deletes them, others as long as they contain
// something.
void Configuration::remove_if_unused(std::uint32_t as, const Setting &setting) {
    if (setting.vrf.empty() || setting.is_in_own_family) {
        return;
    }
    const std::vector<Instance> instances = read_instances();
    const Instance *instance = find_instance(instances, setting.vrf);
    if (instance != nullptr && instance->as == as && is_unused(*instance, nullptr)) {
        remove(as, setting.vrf);
    }
}

} // namespace configd::frr
