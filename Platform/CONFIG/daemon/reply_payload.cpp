#include "reply_payload.h"

#include "plugin_public.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace configd {
namespace {

constexpr std::size_t longest_payload = BUF_SIZE_MAX - header_size;

// Appends the bytes of a number or a record.
template <typename T>
void append(std::string &payload, const T &value) {
    static_assert(std::is_trivially_copyable_v<T>);
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    payload.append(bytes, sizeof bytes);
}

template <typename T>
void append_all(std::string &payload, const std::vector<T> &values) {
    for (const T &value : values) {
        append(payload, value);
    }
}

void append_text(std::string &payload, const std::string &text) {
    payload.append(text, 0, text.find('\0'));
    payload += '\0';
}

// Overwrites what append() wrote at this place.
template <typename T>
void replace(std::string &payload, std::size_t offset, const T &value) {
    static_assert(std::is_trivially_copyable_v<T>);
    std::memcpy(payload.data() + offset, &value, sizeof value);
}

std::uint32_t count_of(std::size_t number) {
    return static_cast<std::uint32_t>(number);
}

// Calls `append_unit` for one unit after the other until one does not fit, and removes that one
// again. Returns the number of units in the payload.
template <typename Units, typename AppendUnit>
std::size_t append_fitting(std::string &payload, const Units &units, AppendUnit append_unit) {
    std::size_t count = 0;
    for (const auto &unit : units) {
        const std::size_t before = payload.size();
        append_unit(unit);
        if (payload.size() > longest_payload) {
            payload.resize(before);
            break;
        }
        ++count;
    }
    return count;
}

QueryResult result(std::string payload, const char *units, std::size_t count, std::size_t total) {
    std::string note;
    if (count < total) {
        note = fmt::format("the reply is full with {} of {} {}", count, total, units);
    }
    return {SR_ERR_OK, std::move(payload), std::move(note)};
}

// An optional EVPN text: whether it is present, then the text.
void append_optional_text(std::string &payload, const std::string &text) {
    append(payload, static_cast<std::int8_t>(text.empty() ? 0 : 1));
    if (!text.empty()) {
        append_text(payload, text);
    }
}

void append_next_hop(std::string &payload, const EvpnNextHop &next_hop) {
    append_text(payload, next_hop.address);
    append(payload, next_hop.metric);
    append(payload, next_hop.local_preference);
    append(payload, next_hop.weight);
    append_text(payload, next_hop.path);
}

void append_route(std::string &payload, const EvpnRoute &route) {
    append_text(payload, route.text);
    append(payload, route.valid_flag);
    append(payload, route.select_flag);
    append(payload, route.source_type);
    append_optional_text(payload, route.ext_community);
    append_optional_text(payload, route.label);
    append(payload, count_of(route.next_hops.size()));
    for (const EvpnNextHop &next_hop : route.next_hops) {
        append_next_hop(payload, next_hop);
    }
}

// The number of output values that the reader makes of a route: flags, texts and the values of its
// next hops.
std::size_t value_count(const EvpnRoute &route) {
    return 3 + (route.ext_community.empty() ? 0U : 1U) + (route.label.empty() ? 0U : 1U) +
           4 * route.next_hops.size();
}

// Appends the distinguisher with the routes that fit, or nothing when none does. Returns the number
// of routes appended.
std::size_t append_distinguisher(std::string &payload, const EvpnDistinguisher &distinguisher) {
    const std::size_t before = payload.size();
    append_text(payload, distinguisher.text);
    const std::size_t count_offset = payload.size();
    append(payload, std::uint32_t{0});
    const std::size_t count =
        append_fitting(payload, distinguisher.routes,
                       [&](const EvpnRoute &route) { append_route(payload, route); });
    if (count == 0) {
        payload.resize(before);
    } else {
        replace(payload, count_offset, count_of(count));
    }
    return count;
}

} // namespace

QueryResult summary_reply(bgp_rpc_ip_bgp_summary_output_neighbors instance,
                          const std::vector<bgp_rpc_ip_bgp_summary_output_entry> &entries) {
    std::string payload;
    append(payload, instance);
    const std::size_t count =
        append_fitting(payload, entries, [&](const auto &entry) { append(payload, entry); });
    instance.neighbor_number = count_of(count);
    replace(payload, 0, instance);
    return result(std::move(payload), "neighbors", count, entries.size());
}

QueryResult neighbor_reply(const std::vector<PeerFacts> &peers) {
    std::string payload;
    append(payload, std::uint32_t{0});
    const std::size_t count = append_fitting(payload, peers, [&](const PeerFacts &facts) {
        auto peer = facts.peer;
        peer.address_family_cnt = count_of(facts.families.size());
        append(payload, peer);
        append_all(payload, facts.families);
    });
    replace(payload, 0, count_of(count));
    return result(std::move(payload), "neighbors", count, peers.size());
}

QueryResult info_reply(bgp_rpc_ip_bgp_info_output_public table,
                       const std::vector<NetworkFacts> &networks) {
    std::string payload;
    append(payload, std::uint32_t{0});
    append(payload, table);
    const std::size_t count = append_fitting(payload, networks, [&](const NetworkFacts &facts) {
        auto entry = facts.entry;
        entry.nextop_num = count_of(facts.next_hops.size());
        append(payload, entry);
        append_all(payload, facts.next_hops);
    });
    std::size_t next_hops = 0;
    for (std::size_t i = 0; i < count; ++i) {
        next_hops += networks[i].next_hops.size();
    }
    table.prefix_number = count_of(count);
    replace(payload, 0, count_of(next_hops));
    replace(payload, sizeof(std::uint32_t), table);
    return result(std::move(payload), "networks", count, networks.size());
}

QueryResult evpn_reply(const std::vector<EvpnDistinguisher> &distinguishers) {
    std::string payload;
    append(payload, std::uint32_t{0});
    append(payload, std::uint32_t{0});
    std::size_t values = 0, written = 0, routes = 0, total = 0;
    for (const EvpnDistinguisher &distinguisher : distinguishers) {
        // After a route that did not fit, no later one is appended.
        const bool is_full = routes < total;
        const std::size_t count = is_full ? 0 : append_distinguisher(payload, distinguisher);
        for (std::size_t i = 0; i < count; ++i) {
            values += value_count(distinguisher.routes[i]);
        }
        written += count > 0 ? 1U : 0U;
        routes += count;
        total += distinguisher.routes.size();
    }
    replace(payload, 0, count_of(values));
    replace(payload, sizeof(std::uint32_t), count_of(written));
    return result(std::move(payload), "routes", routes, total);
}

} // namespace configd
