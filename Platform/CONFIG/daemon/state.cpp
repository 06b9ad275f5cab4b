#include "state.h"

#include "field_text.h"
#include "file_bytes.h"
#include "wire.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace configd {
namespace {

using nlohmann::json;

// A value of the document and its place in it.
struct Place {
    const json &value;
    json::json_pointer pointer;
};

[[noreturn]] void fail(const Place &place, std::string_view problem) {
    throw std::runtime_error(fmt::format(
        "{} {}", place.pointer.empty() ? "the top level" : place.pointer.to_string(), problem));
}

// Reads the value at a place. Throws when it is invalid.
using Reader = std::function<void(const Place &)>;

// The text at the place. It must not contain a NUL because on the wire a NUL ends a text.
const std::string &text_at(const Place &place) {
    const auto *text = place.value.get_ptr<const json::string_t *>();
    if (text == nullptr || text->find('\0') != std::string::npos) {
        fail(place, "is no text");
    }
    return *text;
}

Reader text(std::string &target) {
    return [&target](const Place &place) { target = text_at(place); };
}

template <std::size_t size>
Reader text(char (&field)[size]) {
    return [&field](const Place &place) { put_text(field, text_at(place)); };
}

template <typename Number>
Reader number(Number &target) {
    return [&target](const Place &place) {
        constexpr auto limit = std::numeric_limits<Number>::max();
        if (!place.value.is_number_integer() || place.value < 0 || place.value > limit) {
            fail(place, fmt::format("is no number from 0 to {}", limit));
        }
        target = place.value.get<Number>();
    };
}

Reader flag(std::uint8_t &target) {
    return [&target](const Place &place) {
        if (!place.value.is_boolean()) {
            fail(place, "is neither true nor false");
        }
        target = place.value.get<bool>() ? 1 : 0;
    };
}

// Reads a name of the table and stores its number in the target.
template <std::size_t N, typename Number>
Reader name(const NumberName (&names)[N], Number &target) {
    return [&names, &target](const Place &place) {
        const auto number = number_of(names, text_at(place));
        if (!number) {
            fail(place, "is no name known here");
        }
        target = static_cast<Number>(*number);
    };
}

Reader list(const Reader &read_entry) {
    return [read_entry](const Place &place) {
        if (!place.value.is_array()) {
            fail(place, "is no list");
        }
        for (std::size_t i = 0; i < place.value.size(); ++i) {
            read_entry({place.value[i], place.pointer / i});
        }
    };
}

enum class Need { Optional, Required };

struct Member {
    const char *name;
    Reader read;
    Need need = Need::Optional;
};

void read_object(const Place &place, std::initializer_list<Member> members) {
    if (!place.value.is_object()) {
        fail(place, "is no object");
    }
    for (const auto &item : place.value.items()) {
        const auto *member = std::find_if(members.begin(), members.end(), [&](const Member &row) {
            return item.key() == row.name;
        });
        const Place child{item.value(), place.pointer / item.key()};
        if (member == members.end()) {
            fail(child, "is not known here");
        }
        member->read(child);
    }
    for (const Member &member : members) {
        if (member.need == Need::Required && !place.value.contains(member.name)) {
            fail(place, fmt::format("has no {}", member.name));
        }
    }
}

constexpr NumberName valid_names[] = {{0, "other"}, {1, "valid"}};
constexpr NumberName select_names[] = {{0, "other"}, {1, "best"}};
constexpr NumberName source_names[] = {{0, "other"}, {1, "internal"}, {2, "local"}};

template <typename Map, typename Key, typename Value>
void insert_once(const Place &place, Map &map, Key key, Value value) {
    if (!map.emplace(std::move(key), std::move(value)).second) {
        fail(place, "is there twice");
    }
}

void read_family(const Place &place, NeighborState &neighbor) {
    bgp_rpc_ip_bgp_neighbor_output_addrsss_family family{};
    FamilyKey key;
    read_object(place, {{"afi", name(afi_names, key.first), Need::Required},
                        {"safi", name(safi_names, key.second), Need::Required},
                        {"table-version", number(family.table_version)},
                        {"neighbor-version", number(family.neighbor_version)},
                        {"index", number(family.index)},
                        {"offset", number(family.offset)},
                        {"mask", number(family.mask)},
                        {"community-attribute", flag(family.community_attribute)},
                        {"prefix-accepted-statis", number(family.prefix_accepted_statis)},
                        {"prefix-announced-statis", number(family.prefix_announced_statis)}});
    insert_once(place, neighbor.families, key, family);
}

void read_neighbor(const Place &place, State &state) {
    NeighborState neighbor;
    auto &peer = neighbor.peer;
    NeighborKey key;
    read_object(place, {{"neighbor-addr", text(key.second), Need::Required},
                        {"vrf-name", text(key.first)},
                        {"version", number(peer.version)},
                        {"remote-router-id", text(peer.remote_router_id)},
                        {"state", text(peer.state)},
                        {"hold-time", number(peer.home_time)},
                        {"interval", number(peer.interval)},
                        {"messages-in", number(peer.messages_in)},
                        {"notifications-in", number(peer.notifications_in)},
                        {"queue-in", number(peer.queue_in)},
                        {"messages-out", number(peer.messages_out)},
                        {"notifications-out", number(peer.notifications_out)},
                        {"queue-out", number(peer.queue_out)},
                        {"refresh-in", number(peer.refresh_in)},
                        {"refresh-out", number(peer.refresh_out)},
                        {"adver-interval", number(peer.adver_interval)},
                        {"connection-established", number(peer.connection_established)},
                        {"connection-dropped", number(peer.connection_dropped)},
                        {"next-connect-timer", number(peer.next_connect_timer)},
                        {"up-down", text(neighbor.up_down)},
                        {"state-pfxrcd", text(neighbor.state_pfxrcd)},
                        {"tblver", number(neighbor.tblver)},
                        {"address-familys",
                         list([&](const Place &entry) { read_family(entry, neighbor); })}});
    insert_once(place, state.neighbors, std::move(key), std::move(neighbor));
}

void read_next_hop(const Place &place, EvpnRoute &route) {
    EvpnNextHop next_hop;
    read_object(place, {{"nexthop-address", text(next_hop.address), Need::Required},
                        {"metric", number(next_hop.metric)},
                        {"LocPrf", number(next_hop.local_preference)},
                        {"Weight", number(next_hop.weight)},
                        {"path", text(next_hop.path)}});
    route.next_hops.push_back(std::move(next_hop));
}

void read_route(const Place &place, EvpnDistinguisher &distinguisher) {
    EvpnRoute route;
    read_object(place,
                {{"evpn-route", text(route.text), Need::Required},
                 {"valid-flag", name(valid_names, route.valid_flag)},
                 {"select-flag", name(select_names, route.select_flag)},
                 {"source-type", name(source_names, route.source_type)},
                 {"ext-community", text(route.ext_community)},
                 {"lable-info", text(route.label)},
                 {"next-hops", list([&](const Place &entry) { read_next_hop(entry, route); })}});
    distinguisher.routes.push_back(std::move(route));
}

void read_distinguisher(const Place &place, State &state) {
    EvpnDistinguisher distinguisher;
    read_object(place,
                {{"route-distinguisher", text(distinguisher.text), Need::Required},
                 {"routes", list([&](const Place &entry) { read_route(entry, distinguisher); })}});
    state.evpn.push_back(std::move(distinguisher));
}

} // namespace

NeighborState::NeighborState() {
    peer.version = 4;
    put_text(peer.state, "Idle");
    peer.home_time = 180;
    peer.interval = 60;
    peer.adver_interval = 30;
}

State state_from_json(const json &document) {
    State state;
    read_object({document, json::json_pointer{}},
                {{"table-version", number(state.table_version)},
                 {"as-path-number", number(state.as_path_number)},
                 {"community-number", number(state.community_number)},
                 {"neighbors", list([&](const Place &entry) { read_neighbor(entry, state); })},
                 {"evpn", list([&](const Place &entry) { read_distinguisher(entry, state); })}});
    return state;
}

namespace {

// The document; of an object with a member twice, the parser alone would take the last.
json parsed(const std::string &bytes) {
    std::vector<std::set<std::string>> names;
    return json::parse(bytes, [&](int /*depth*/, json::parse_event_t event, json &name) {
        if (event == json::parse_event_t::object_start) {
            names.emplace_back();
        } else if (event == json::parse_event_t::object_end) {
            names.pop_back();
        } else if (event == json::parse_event_t::key && !names.back().insert(name).second) {
            throw std::runtime_error(fmt::format("{} is there twice", name.dump()));
        }
        return true;
    });
}

} // namespace

State load_state(const std::string &file) {
    const std::string bytes = read_file(file);
    try {
        return state_from_json(parsed(bytes));
    } catch (const json::exception &error) {
        throw std::runtime_error(fmt::format("{} is no JSON: {}", file, error.what()));
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(fmt::format("{}: {}", file, error.what()));
    }
}

} // namespace configd
