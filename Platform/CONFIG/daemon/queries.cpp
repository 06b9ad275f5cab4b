#include "queries.h"

#include "field_text.h"
#include "plugin_public.h"
#include "reply_payload.h"
#include "selectors.h"
#include "values.h"
#include "wire.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace configd {
namespace {

using nlohmann::json;

// The configuration.

// The child of the node at this step; null when there is none.
const json &child(const json &node, std::string_view step) {
    static const json nothing = json::object();
    const auto found = node.find(step);
    return found == node.end() ? nothing : *found;
}

// The leaf's text; empty when the leaf is not there.
std::string leaf_text(const json &node, const char *leaf) {
    return node.value(leaf, std::string{});
}

// The value of a key in a list entry's step, such as red in family[afi='AFI_IP'][vrf-name='red'].
std::string key_value(const std::string &step, const char *key) {
    const std::string opening = fmt::format("[{}=", key);
    const std::size_t start = step.find(opening);
    if (start == std::string::npos) {
        return {};
    }
    const std::size_t quote = start + opening.size();
    const std::size_t end = std::min(step.find(step[quote] + std::string{"]["}, quote + 1),
                                     step.size() - std::string_view{"']"}.size());
    return step.substr(quote + 1, end - quote - 1);
}

// An address family and its containers. An empty VRF means outside VRFs.
struct Family {
    std::string vrf;
    FamilyKey key;
    const json *node;

    // The entries of a container: networks, neighbors.
    const json &entries(const char *container) const {
        return child(*node, fmt::format("bgp-family-{}{}", vrf.empty() ? "" : "vrf-", container));
    }
};

std::vector<Family> families_in(const json &configuration) {
    std::vector<Family> families;
    for (const char *container : {"bgp-address-family", "bgp-address-family-vrf"}) {
        for (const auto &[step, node] : child(configuration, container).items()) {
            const auto afi = number_of(afi_names, key_value(step, "afi"));
            const auto safi = number_of(safi_names, key_value(step, "safi"));
            if (afi && safi) {
                families.push_back({key_value(step, "vrf-name"), {*afi, *safi}, &node});
            }
        }
    }
    return families;
}

// A neighbor as configured.
struct Neighbor {
    struct InFamily {
        FamilyKey key;
        bool is_reflector_client;
    };

    std::string remote_as;
    std::string update_source;
    std::vector<InFamily> families;

    // In a VRF, the first of its families that has a setting supplies it.
    void take_settings(const json &node) {
        if (remote_as.empty()) {
            remote_as = leaf_text(node, "remote-as");
        }
        if (update_source.empty()) {
            update_source = leaf_text(node, "update-source");
        }
    }
};

using Neighbors = std::map<NeighborKey, Neighbor>;

// All neighbors, those outside VRFs first. In a VRF, the families create the neighbors. Outside
// VRFs, the families only refer to neighbors of the instance.
Neighbors neighbors_in(const json &configuration) {
    Neighbors neighbors;
    const json &globle = child(child(configuration, "bgp"), "bgp-globle-neighbors");
    for (const auto &[step, node] : globle.items()) {
        neighbors[{"", key_value(step, "neighbor-address")}].take_settings(node);
    }
    for (const Family &family : families_in(configuration)) {
        for (const auto &[step, node] : family.entries("neighbors").items()) {
            const NeighborKey key{family.vrf, key_value(step, "neighbor-address")};
            if (family.vrf.empty() && neighbors.count(key) == 0) {
                continue;
            }
            Neighbor &neighbor = neighbors[key];
            neighbor.take_settings(node);
            neighbor.families.push_back({family.key, node.contains("route-reflector-client")});
        }
    }
    return neighbors;
}

// A network of the switch itself. It is its own best route and has the weight of such routes.
NetworkFacts network_facts(std::string_view prefix, std::uint32_t afi) {
    bgp_rpc_ip_bgp_info_next_hop_output_entry next_hop{};
    put_text(next_hop.nexthop, afi == BGP_AFI_IP ? "0.0.0.0" : "::");
    put_text(next_hop.metric, "0");
    next_hop.weight = 32768;
    put_text(next_hop.path, "i");
    next_hop.valid_flag = 1;
    next_hop.select_flag = 1;
    next_hop.source_type = 2;
    return {network_entry(prefix, afi), {next_hop}};
}

// The networks of a table in the order of their prefixes.
std::vector<NetworkFacts> networks_in(const json &configuration, std::string_view vrf,
                                      std::uint32_t afi) {
    std::set<std::string> prefixes;
    for (const Family &family : families_in(configuration)) {
        const auto [family_afi, safi] = family.key;
        const bool is_table = safi == BGP_SAFI_UNICAST || safi == BGP_SAFI_VRF;
        if (family.vrf != vrf || family_afi != afi || !is_table) {
            continue;
        }
        for (const auto &[step, node] : family.entries("networks").items()) {
            prefixes.insert(key_value(step, "prefix"));
        }
    }
    std::vector<NetworkFacts> networks;
    std::transform(prefixes.begin(), prefixes.end(), std::back_inserter(networks),
                   [=](const std::string &prefix) { return network_facts(prefix, afi); });
    return networks;
}

// The records.

// The state of a neighbor; without one, a session that was never established.
NeighborState known_state(const State &state, const NeighborKey &key) {
    const auto found = state.neighbors.find(key);
    return found == state.neighbors.end() ? NeighborState{} : found->second;
}

bgp_rpc_ip_bgp_summary_output_entry summary_entry(const NeighborKey &key, const Neighbor &neighbor,
                                                  const NeighborState &known) {
    bgp_rpc_ip_bgp_summary_output_entry entry{};
    put_text(entry.neighbor, key.second);
    entry.version = static_cast<std::uint8_t>(known.peer.version);
    put_text(entry.AS, neighbor.remote_as);
    entry.msg_recvd = known.peer.messages_in;
    entry.msg_send = known.peer.messages_out;
    entry.tblver = known.tblver;
    entry.inq = known.peer.queue_in;
    entry.outq = known.peer.queue_out;
    put_text(entry.up_down, known.up_down);
    put_text(entry.state_pfxrcd,
             known.state_pfxrcd.empty() ? text_of(known.peer.state) : known.state_pfxrcd);
    return entry;
}

bgp_rpc_ip_bgp_neighbor_output_addrsss_family family_record(const NeighborKey &key,
                                                            const Neighbor::InFamily &family,
                                                            const NeighborState &known) {
    bgp_rpc_ip_bgp_neighbor_output_addrsss_family record{};
    if (const auto found = known.families.find(family.key); found != known.families.end()) {
        record = found->second;
    }
    record.address_family.afi = family.key.first;
    record.address_family.safi = family.key.second;
    put_text(record.address_family.vrf_name, key.first);
    record.route_reflector_client = family.is_reflector_client ? 1 : 0;
    return record;
}

PeerFacts peer_facts(const NeighborKey &key, const Neighbor &neighbor, const NeighborState &known,
                     std::uint32_t local_as) {
    PeerFacts facts{known.peer, {}};
    put_text(facts.peer.neighbor_addr, key.second);
    put_text(facts.peer.vrf_name, key.first);
    facts.peer.remote_as = as_number(neighbor.remote_as).value_or(0);
    facts.peer.local_as = local_as;
    put_text(facts.peer.update_source, neighbor.update_source);
    for (const Neighbor::InFamily &family : neighbor.families) {
        facts.families.push_back(family_record(key, family, known));
    }
    return facts;
}

// The answers.

std::uint32_t configured_as(const json &configuration) {
    return configuration.value("as", std::uint32_t{0});
}

std::string configured_router_id(const json &configuration) {
    return leaf_text(child(configuration, "bgp"), "router-id");
}

QueryResult answer_evpn(const Message &message, const json & /*configuration*/, State &state) {
    const auto query = record_from<bgp_rpc_ip_bgp_evpn>(message);
    std::vector<EvpnDistinguisher> distinguishers;
    for (const EvpnDistinguisher &known : state.evpn) {
        EvpnDistinguisher chosen{known.text, {}};
        std::copy_if(known.routes.begin(), known.routes.end(), std::back_inserter(chosen.routes),
                     [&](const EvpnRoute &route) { return asks_for(query, route.text); });
        distinguishers.push_back(std::move(chosen));
    }
    return evpn_reply(distinguishers);
}

QueryResult answer_info(const Message &message, const json &configuration, State &state) {
    const auto query = record_from<bgp_rpc_ip_bgp_info_input>(message);
    bgp_rpc_ip_bgp_info_output_public table{};
    table.version = state.table_version;
    put_text(table.router_id, configured_router_id(configuration));
    return info_reply(table, asked_for(query, networks_in(configuration, text_of(query.vrf_name),
                                                          afi_of(query))));
}

QueryResult answer_neighbor(const Message &message, const json &configuration, State &state) {
    const auto query = record_from<bgp_rpc_ip_bgp_neighbor_input>(message);
    std::vector<PeerFacts> peers;
    for (const auto &[key, neighbor] : neighbors_in(configuration)) {
        if (asks_for(query, key.first, key.second)) {
            peers.push_back(
                peer_facts(key, neighbor, known_state(state, key), configured_as(configuration)));
        }
    }
    return neighbor_reply(peers);
}

QueryResult answer_summary(const Message &message, const json &configuration, State &state) {
    const auto query = record_from<bgp_rpc_ip_bgp_summary_input>(message);
    std::vector<bgp_rpc_ip_bgp_summary_output_entry> entries;
    for (const auto &[key, neighbor] : neighbors_in(configuration)) {
        if (key.first == text_of(query.vrf_name)) {
            entries.push_back(summary_entry(key, neighbor, known_state(state, key)));
        }
    }

    bgp_rpc_ip_bgp_summary_output_neighbors instance{};
    put_text(instance.as, std::to_string(configured_as(configuration)));
    put_text(instance.router_id, configured_router_id(configuration));
    instance.version = state.table_version;
    instance.as_path_number = state.as_path_number;
    instance.community_number = state.community_number;
    return summary_reply(instance, entries);
}

// Clears an established session. Inbound, the neighbor is asked for its routes again; outbound,
// ours are sent to it. Otherwise the session is dropped; it is established again at once because
// nothing here keeps it down.
void clear_session(std::uint32_t reconfig_type, bgp_rpc_ip_bgp_neighbor_output_neighbor &peer) {
    constexpr std::uint32_t inbound = 1, outbound = 2; // 3: both
    if (reconfig_type == 0) {
        ++peer.connection_dropped;
        ++peer.connection_established;
        return;
    }
    peer.refresh_out += (reconfig_type & inbound) != 0 ? 1U : 0U;
    peer.messages_out += (reconfig_type & outbound) != 0 ? 1U : 0U;
}

QueryResult answer_clear(const Message &message, const json &configuration, State &state) {
    const auto query = record_from<bgp_rpc_clear_ip_bgp_input>(message);
    if (query.reconfig_type > 3) {
        return {SR_ERR_INVALID_VALUE, {}, {}};
    }
    std::size_t concerned = 0, cleared = 0;
    for (const auto &[key, neighbor] : neighbors_in(configuration)) {
        if (!asks_for(query, key.first)) {
            continue;
        }
        ++concerned;
        const auto known = state.neighbors.find(key);
        if (known == state.neighbors.end() || text_of(known->second.peer.state) != "Established") {
            continue;
        }
        clear_session(query.reconfig_type, known->second.peer);
        ++cleared;
    }
    return {SR_ERR_OK, {}, fmt::format("cleared {} of {} sessions", cleared, concerned)};
}

struct Answerer {
    std::int32_t sub_mod;
    QueryResult (*answer)(const Message &message, const json &configuration, State &state);
};

constexpr Answerer answerers[] = {
    {BGP_SUB_RPC_IP_BGP_EVPN, answer_evpn},         {BGP_SUB_RPC_IP_BGP_INFO, answer_info},
    {BGP_SUB_RPC_IP_BGP_NEIGHBOR, answer_neighbor}, {BGP_SUB_RPC_IP_BGP_SUMMARY, answer_summary},
    {BGP_SUB_RPC_CLEAR_IP_BGP, answer_clear},
};
static_assert(has_one_row_each(answerers, is_query), "one row for each query");

} // namespace

QueryResult answer_query(const Message &message, const json &configuration, State &state) {
    const Answerer *row = row_of(answerers, message.sub_mod);
    return row == nullptr ? QueryResult{SR_ERR_NOT_SUPPORT, {}}
                          : row->answer(message, configuration, state);
}

} // namespace configd
