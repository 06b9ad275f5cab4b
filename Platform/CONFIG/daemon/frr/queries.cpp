#include "frr/queries.h"

#include "field_text.h"
#include "frr/command_text.h"
#include "frr/families.h"
#include "netconf_bgp_public.h"
#include "plugin_public.h"
#include "reply_payload.h"
#include "selectors.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace configd::frr {
namespace {

// An object's members in bgpd's order of neighbors and routes. Inserting a member does not search
// the members before it, as nlohmann's own ordered map does: for an object of 50,000 routes that
// would be a billion comparisons.
template <typename Key, typename Value, typename Less, typename Allocator>
struct Members : nlohmann::ordered_map<Key, Value, Less, Allocator> {
    using nlohmann::ordered_map<Key, Value, Less, Allocator>::ordered_map;

    Value &operator[](const Key &key) { return this->emplace_back(key, Value{}).second; }
};

using Json = nlohmann::basic_json<Members>;

// Reads bgpd's JSON. A member that is missing or of an unexpected type counts as null: not every
// version of bgpd has the same members.

const Json &member(const Json &node, const char *name) {
    static const Json nothing;
    const auto found = node.is_object() ? node.find(name) : node.end();
    return found == node.end() ? nothing : *found;
}

// A whole number, cut to the largest that a record holds.
std::uint32_t number(const Json &node, const char *name) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    const Json &value = member(node, name);
    if (!value.is_number_integer() || value < 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(std::min(value.get<std::uint64_t>(), most));
}

std::uint32_t seconds(const Json &node, const char *milliseconds) {
    return number(node, milliseconds) / 1000;
}

// A text, or a number as text.
std::string text(const Json &node, const char *name) {
    const Json &value = member(node, name);
    if (value.is_number_integer()) {
        return value.dump();
    }
    return value.is_string() ? value.get<std::string>() : std::string{};
}

bool is_set(const Json &node, const char *name) {
    const Json &value = member(node, name);
    return value.is_boolean() && value.get<bool>();
}

// The members that are objects: the name and the object of each.
std::vector<std::pair<std::string_view, const Json *>> objects_in(const Json &node) {
    std::vector<std::pair<std::string_view, const Json *>> objects;
    if (!node.is_object()) {
        return objects;
    }
    for (auto item = node.begin(); item != node.end(); ++item) {
        if (item->is_object()) {
            objects.emplace_back(item.key(), &*item);
        }
    }
    return objects;
}

// Adds the objects in a list and in the lists inside it: each path of an EVPN route is a list of
// one.
void add_objects(const Json &list, std::vector<const Json *> &objects) {
    if (list.is_object()) {
        objects.push_back(&list);
    } else if (list.is_array()) {
        for (const Json &entry : list) {
            add_objects(entry, objects);
        }
    }
}

std::vector<const Json *> list_at(const Json &node, const char *name) {
    std::vector<const Json *> objects;
    if (const Json &list = member(node, name); list.is_array()) {
        add_objects(list, objects);
    }
    return objects;
}

Json parse(std::string answer) {
    constexpr bool throws = false;
    Json document = Json::parse(answer, nullptr, throws);
    if (document.is_discarded()) {
        // A description may be in Latin-1. Everything that is read here is ASCII.
        std::replace_if(
            answer.begin(), answer.end(), [](unsigned char byte) { return byte >= 0x80; }, '?');
        // bgpd 10 begins the members with a comma where there is no EVPN route.
        const std::size_t first = answer.find_first_not_of("{ \r\n");
        if (first != std::string::npos && answer[first] == ',') {
            answer[first] = ' ';
        }
        document = Json::parse(answer, nullptr, throws);
    }
    return document;
}

// The beginning of an answer, on one line.
std::string excerpt(std::string answer) {
    constexpr std::size_t longest = 200;
    const auto is_gap = [](char one, char other) { return one == ' ' && other == ' '; };
    std::replace_if(
        answer.begin(), answer.end(), [](unsigned char byte) { return std::isspace(byte) != 0; },
        ' ');
    answer.erase(std::unique(answer.begin(), answer.end(), is_gap), answer.end());
    return answer.substr(0, longest);
}

// The exchange with bgpd for one query, and the notes that come of it.
class Exchange {
  public:
    explicit Exchange(const AskVty &ask) : ask_{ask} {}

    // bgpd's answer; empty when there is none or it is a refusal. After the first such failure
    // nothing more is asked.
    std::string text(const std::string &command) {
        if (res_value_ != SR_ERR_OK) {
            return {};
        }
        VtyAnswer answer = ask_(command);
        if (answer.status == VtyAnswer::unreachable) {
            fail(SR_ERR_SOCKET_FAILED, answer.text);
            return {};
        }
        constexpr int warning = 1; // for example: there is no such VRF
        if (answer.status > warning) {
            fail(SR_ERR_OPERATION_FAILED,
                 fmt::format("bgpd refuses \"{}\": {}", command, excerpt(answer.text)));
            return {};
        }
        if (answer.status == warning) {
            say(fmt::format("bgpd warns of \"{}\": {}", command, excerpt(answer.text)));
        }
        return std::move(answer.text);
    }

    // The JSON that bgpd answers; null when it warns instead.
    Json document(const std::string &command) {
        const std::string note_before = note_;
        Json answer = parse(text(command));
        const bool is_warned = note_ != note_before;
        if (answer.is_discarded() && !is_warned && res_value_ == SR_ERR_OK) {
            fail(SR_ERR_OPERATION_FAILED, fmt::format("the answer to \"{}\" is no JSON", command));
        }
        return answer;
    }

    // Puts the text into the field, cut to its size.
    template <std::size_t size>
    void put(char (&field)[size], std::string_view whole) {
        cut_ += whole.size() > size ? 1U : 0U;
        put_text(field, whole);
    }

    // The reply with the result and the notes of this exchange.
    QueryResult finish(QueryResult reply) {
        if (cut_ > 0) {
            say(fmt::format("{} texts are cut to their fields", cut_));
        }
        if (!reply.note.empty()) {
            say(reply.note);
        }
        return {res_value_ == SR_ERR_OK ? reply.res_value : res_value_, std::move(reply.payload),
                std::move(note_)};
    }

  private:
    void fail(std::int32_t res_value, const std::string &reason) {
        res_value_ = res_value;
        say(reason);
    }

    void say(const std::string &what) { note_ += note_.empty() ? what : "; " + what; }

    const AskVty &ask_;
    std::int32_t res_value_ = SR_ERR_OK;
    std::string note_;
    std::size_t cut_ = 0;
};

// The words that make a command look in a VRF; empty outside VRFs.
std::string in_vrf(std::string_view vrf) {
    return vrf.empty() ? std::string{} : fmt::format("vrf {} ", vrf);
}

// The protocol's name for one of bgpd's VRFs.
std::string_view vrf_from(std::string_view name) {
    return name == "default" ? std::string_view{} : name;
}

// Summary.

// A neighbor in the families that it takes part in. The first family supplies the session, each
// family its own number of prefixes.
struct SummaryPeer {
    std::string_view address;
    const Json *facts;
    std::uint32_t prefixes = 0;
};

std::vector<SummaryPeer> summary_peers(const std::vector<const Json *> &summaries) {
    std::vector<SummaryPeer> peers;
    std::map<std::string_view, std::size_t> places;
    for (const Json *summary : summaries) {
        for (const auto &[address, facts] : objects_in(member(*summary, "peers"))) {
            const auto [place, is_new] = places.emplace(address, peers.size());
            if (is_new) {
                peers.push_back({address, facts});
            }
            peers[place->second].prefixes += number(*facts, "pfxRcd");
        }
    }
    return peers;
}

bgp_rpc_ip_bgp_summary_output_entry summary_entry(const SummaryPeer &peer, Exchange &exchange) {
    const Json &facts = *peer.facts;
    const std::string state = text(facts, "state");
    bgp_rpc_ip_bgp_summary_output_entry entry{};
    exchange.put(entry.neighbor, peer.address);
    entry.version = static_cast<std::uint8_t>(number(facts, "version"));
    exchange.put(entry.AS, text(facts, "remoteAs"));
    entry.msg_recvd = number(facts, "msgRcvd");
    entry.msg_send = number(facts, "msgSent");
    entry.tblver = number(facts, "tableVersion");
    entry.inq = number(facts, "inq");
    entry.outq = number(facts, "outq");
    exchange.put(entry.up_down, text(facts, "peerUptime"));
    exchange.put(entry.state_pfxrcd,
                 state == "Established" ? std::to_string(peer.prefixes) : state);
    return entry;
}

// The number before these words: `2 BGP AS-PATH entries, using 80 bytes of memory`.
std::uint32_t count_of(std::string_view words, std::string_view memory) {
    const std::size_t end = memory.find(words);
    if (end == std::string_view::npos) {
        return 0; // bgpd leaves out most counts that are 0
    }
    const std::size_t start = memory.find_last_of('\n', end) + 1; // 0 in the first line
    std::uint32_t count = 0;
    std::from_chars(memory.data() + start, memory.data() + end, count);
    return count;
}

QueryResult answer_summary(const Message &message, Exchange &exchange) {
    const auto query = record_from<bgp_rpc_ip_bgp_summary_input>(message);
    const Json answer =
        exchange.document(fmt::format("show bgp {}summary json", in_vrf(text_of(query.vrf_name))));
    const std::string memory = exchange.text("show bgp memory");

    std::vector<const Json *> summaries;
    for (const auto &[name, summary] : objects_in(answer)) {
        if (find_answered_family(name) != nullptr) {
            summaries.push_back(summary);
        }
    }
    bgp_rpc_ip_bgp_summary_output_neighbors instance{};
    if (!summaries.empty()) {
        exchange.put(instance.as, text(*summaries.front(), "as"));
        exchange.put(instance.router_id, text(*summaries.front(), "routerId"));
        instance.version = number(*summaries.front(), "tableVersion");
    }
    instance.as_path_number = count_of(" BGP AS-PATH entries", memory);
    instance.community_number = count_of(" BGP community entries", memory);

    std::vector<bgp_rpc_ip_bgp_summary_output_entry> entries;
    for (const SummaryPeer &peer : summary_peers(summaries)) {
        entries.push_back(summary_entry(peer, exchange));
    }
    return summary_reply(instance, entries);
}

// Neighbors in detail.

bgp_rpc_ip_bgp_neighbor_output_addrsss_family
family_record(const Family &family, std::string_view vrf, const Json &facts, Exchange &exchange) {
    bgp_rpc_ip_bgp_neighbor_output_addrsss_family record{};
    record.address_family.afi = family.afi;
    record.address_family.safi = family.safi;
    exchange.put(record.address_family.vrf_name, vrf);
    record.route_reflector_client = is_set(facts, "routeReflectorClient") ? 1 : 0;
    record.community_attribute = text(facts, "commAttriSentToNbr").empty() ? 0 : 1;
    record.prefix_accepted_statis = number(facts, "acceptedPrefixCounter");
    record.prefix_announced_statis = number(facts, "sentPrefixCounter");
    return record;
}

PeerFacts peer_facts(std::string_view vrf, std::string_view address, const Json &facts,
                     Exchange &exchange) {
    const Json &statistics = member(facts, "messageStats");
    PeerFacts neighbor{};
    auto &peer = neighbor.peer;
    exchange.put(peer.neighbor_addr, address);
    exchange.put(peer.vrf_name, vrf);
    peer.remote_as = number(facts, "remoteAs");
    peer.local_as = number(facts, "localAs");
    peer.version = static_cast<std::uint16_t>(number(facts, "bgpVersion"));
    exchange.put(peer.remote_router_id, text(facts, "remoteRouterId"));
    exchange.put(peer.state, text(facts, "bgpState"));
    peer.home_time = seconds(facts, "bgpTimerHoldTimeMsecs");
    peer.interval = seconds(facts, "bgpTimerKeepAliveIntervalMsecs");
    peer.messages_in = number(statistics, "totalRecv");
    peer.notifications_in = number(statistics, "notificationsRecv");
    peer.queue_in = number(statistics, "depthInq");
    peer.messages_out = number(statistics, "totalSent");
    peer.notifications_out = number(statistics, "notificationsSent");
    peer.queue_out = number(statistics, "depthOutq");
    peer.refresh_in = number(statistics, "routeRefreshRecv");
    peer.refresh_out = number(statistics, "routeRefreshSent");
    peer.adver_interval = seconds(facts, "minBtwnAdvertisementRunsTimerMsecs");
    exchange.put(peer.update_source, text(facts, "updateSource"));
    peer.connection_established = number(facts, "connectionsEstablished");
    peer.connection_dropped = number(facts, "connectionsDropped");
    peer.next_connect_timer = seconds(facts, "nextConnectTimerDueInMsecs");
    for (const auto &[name, family_facts] : objects_in(member(facts, "addressFamilyInfo"))) {
        if (const Family *family = find_answered_family(name); family != nullptr) {
            neighbor.families.push_back(family_record(*family, vrf, *family_facts, exchange));
        }
    }
    return neighbor;
}

QueryResult answer_neighbor(const Message &message, Exchange &exchange) {
    const auto query = record_from<bgp_rpc_ip_bgp_neighbor_input>(message);
    const Json answer = exchange.document("show bgp vrf all neighbors json");
    std::vector<PeerFacts> peers;
    for (const auto &[name, neighbors] : objects_in(answer)) {
        const std::string_view vrf = vrf_from(name);
        for (const auto &[address, facts] : objects_in(*neighbors)) {
            if (asks_for(query, vrf, address)) {
                peers.push_back(peer_facts(vrf, address, *facts, exchange));
            }
        }
    }
    return neighbor_reply(peers);
}

// Routes.

// The next hop of a path. An IPv6 path may have a global and a link-local one.
std::string next_hop_of(const Json &path) {
    const auto next_hops = list_at(path, "nexthops");
    const auto used = std::find_if(next_hops.begin(), next_hops.end(),
                                   [](const Json *hop) { return is_set(*hop, "used"); });
    if (next_hops.empty()) {
        return {};
    }
    return text(used == next_hops.end() ? *next_hops.front() : **used, "ip");
}

// The AS path followed by the origin, as BGP tables usually show it: 64496 64500 i
std::string as_path(std::string path, std::string_view origin) {
    constexpr std::pair<std::string_view, const char *> origins[] = {
        {"IGP", "i"}, {"EGP", "e"}, {"incomplete", "?"}};
    for (const auto &[name, sign] : origins) {
        if (name == origin) {
            path += path.empty() ? "" : " ";
            path += sign;
        }
    }
    return path;
}

// The source of a path: 1 an internal neighbor, 2 the switch itself.
std::int8_t source_type(bool is_local, bool is_internal) {
    return is_local ? std::int8_t{2} : is_internal ? std::int8_t{1} : std::int8_t{0};
}

bgp_rpc_ip_bgp_info_next_hop_output_entry next_hop_entry(const Json &path, Exchange &exchange) {
    const bool is_local = text(path, "peerId") == "(unspec)";
    bgp_rpc_ip_bgp_info_next_hop_output_entry entry{};
    exchange.put(entry.nexthop, next_hop_of(path));
    exchange.put(entry.metric, text(path, "metric"));
    entry.loc_prf = number(path, "locPrf");
    entry.weight = number(path, "weight");
    exchange.put(entry.path, as_path(text(path, "path"), text(path, "origin")));
    entry.valid_flag = is_set(path, "valid") ? 1 : 0;
    entry.select_flag = is_set(path, "bestpath") ? 1 : 0;
    entry.source_type = source_type(is_local, text(path, "pathFrom") == "internal");
    return entry;
}

QueryResult answer_info(const Message &message, Exchange &exchange) {
    const auto query = record_from<bgp_rpc_ip_bgp_info_input>(message);
    const std::uint32_t afi = afi_of(query);
    const Json answer =
        exchange.document(fmt::format("show bgp {}{} unicast json", in_vrf(text_of(query.vrf_name)),
                                      afi == BGP_AFI_IP ? "ipv4" : "ipv6"));
    bgp_rpc_ip_bgp_info_output_public table{};
    table.version = number(answer, "tableVersion");
    exchange.put(table.router_id, text(answer, "routerId"));

    std::vector<NetworkFacts> networks;
    const Json &routes = member(answer, "routes");
    for (auto route = routes.begin(); routes.is_object() && route != routes.end(); ++route) {
        NetworkFacts network{network_entry(route.key(), afi), {}};
        std::vector<const Json *> paths;
        add_objects(*route, paths);
        for (const Json *path : paths) {
            network.next_hops.push_back(next_hop_entry(*path, exchange));
        }
        networks.push_back(std::move(network));
    }
    return info_reply(table, asked_for(query, std::move(networks)));
}

// EVPN routes.

bool is_best(const Json &path) {
    return is_set(member(path, "bestpath"), "overall");
}

EvpnNextHop evpn_next_hop(const Json &path) {
    // bgpd's word for an empty AS path.
    std::string ases = text(member(path, "aspath"), "string");
    ases = ases == "Local" ? std::string{} : ases;
    return {next_hop_of(path), number(path, "metric"), number(path, "locPrf"),
            number(path, "weight"), as_path(std::move(ases), text(path, "origin"))};
}

// A route with the attributes of its best path, or of its first one when none is best.
EvpnRoute evpn_route(std::string_view name, const Json &facts) {
    EvpnRoute route;
    route.text = name;
    const auto paths = list_at(facts, "paths");
    if (paths.empty()) {
        return route;
    }
    const auto best =
        std::find_if(paths.begin(), paths.end(), [](const Json *path) { return is_best(*path); });
    const Json &path = best == paths.end() ? *paths.front() : **best;
    route.valid_flag = is_set(path, "valid") ? 1 : 0;
    route.select_flag = is_best(path) ? 1 : 0;
    route.source_type = source_type(is_set(path, "local") || is_set(path, "sourced"),
                                    text(member(path, "peer"), "type") == "internal");
    route.ext_community = text(member(path, "extendedCommunity"), "string");
    // FRRouting 8 and 10 spell it differently.
    route.label = text(path, member(path, "vni").is_null() ? "VNI" : "vni");
    std::transform(paths.begin(), paths.end(), std::back_inserter(route.next_hops),
                   [](const Json *each) { return evpn_next_hop(*each); });
    return route;
}

QueryResult answer_evpn(const Message &message, Exchange &exchange) {
    const auto query = record_from<bgp_rpc_ip_bgp_evpn>(message);
    const Json answer = exchange.document("show bgp l2vpn evpn route detail json");
    std::vector<EvpnDistinguisher> distinguishers;
    for (const auto &[text, routes] : objects_in(answer)) {
        EvpnDistinguisher distinguisher{std::string{text}, {}};
        for (const auto &[name, facts] : objects_in(*routes)) {
            if (asks_for(query, name)) {
                distinguisher.routes.push_back(evpn_route(name, *facts));
            }
        }
        distinguishers.push_back(std::move(distinguisher));
    }
    return evpn_reply(distinguishers);
}

// Clearing.

constexpr const char *clear_words[] = {"", " in", " out", " soft"}; // by reconfig_type

QueryResult answer_clear(const Message &message, Exchange &exchange) {
    const auto query = record_from<bgp_rpc_clear_ip_bgp_input>(message);
    if (query.reconfig_type >= std::size(clear_words)) {
        return {SR_ERR_INVALID_VALUE, {}};
    }
    std::vector<std::string> vrfs{std::string{text_of(query.address_family.vrf_name)}};
    if (query.clear_all != 0) {
        vrfs.clear();
        const Json answer = exchange.document("show bgp vrfs json");
        for (const auto &[name, facts] : objects_in(member(answer, "vrfs"))) {
            vrfs.emplace_back(vrf_from(name));
        }
    }
    for (const std::string &vrf : vrfs) {
        exchange.text(
            fmt::format("clear bgp {}*{}", in_vrf(vrf), clear_words[query.reconfig_type]));
    }
    return {SR_ERR_OK, {}};
}

struct Answerer {
    std::int32_t sub_mod;
    QueryResult (*answer)(const Message &message, Exchange &exchange);
};

constexpr Answerer answerers[] = {
    {BGP_SUB_RPC_IP_BGP_EVPN, answer_evpn},         {BGP_SUB_RPC_IP_BGP_INFO, answer_info},
    {BGP_SUB_RPC_IP_BGP_NEIGHBOR, answer_neighbor}, {BGP_SUB_RPC_IP_BGP_SUMMARY, answer_summary},
    {BGP_SUB_RPC_CLEAR_IP_BGP, answer_clear},
};
static_assert(has_one_row_each(answerers, is_query), "one row for each query");

// Whether each text of the record is a word of a command line, or empty.
bool has_only_words(const nlohmann::ordered_json &fields) {
    return std::all_of(fields.begin(), fields.end(), [](const nlohmann::ordered_json &field) {
        if (field.is_object()) {
            return has_only_words(field);
        }
        const auto *word = field.get_ptr<const std::string *>();
        return word == nullptr || word->empty() || is_word(*word);
    });
}

} // namespace

QueryResult answer_query(const Message &message, const AskVty &ask) {
    const RecordKind *kind = find_record_kind(message.sub_mod);
    const Answerer *row = row_of(answerers, message.sub_mod);
    if (kind == nullptr || row == nullptr) {
        return {SR_ERR_NOT_SUPPORT, {}};
    }
    const AskVty refuse = [](const std::string & /*command*/) {
        return VtyAnswer{"", VtyAnswer::unreachable};
    };
    if (!has_only_words(decode_record(*kind->record, message.payload()))) {
        Exchange nothing{refuse};
        return {SR_ERR_INVALID_VALUE, row->answer(message, nothing).payload,
                "a text in it is no word of a command line"};
    }
    Exchange exchange{ask};
    return exchange.finish(row->answer(message, exchange));
}

} // namespace configd::frr
