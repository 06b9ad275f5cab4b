// Writes the corpora's first files, each named after what it shows:
//
//   fuzz_seeds DIRECTORY
#include "change_input.h"
#include "daemon_input.h"
#include "expected_values.h"
#include "reader_input.h"
#include "reply_input.h"

#include "message.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using fuzz::InputBytes;
using Seeds = std::map<std::string, std::string>; // by their names

template <typename Kind>
std::uint32_t code(Kind kind) {
    return static_cast<std::uint32_t>(kind);
}

// Where an item stands in the table that an input picks from.
template <typename Item, std::size_t count, typename Wanted>
std::uint32_t index_of(const Item (&items)[count], const Wanted &wanted) {
    const auto *found = std::find(std::begin(items), std::end(items), wanted);
    return static_cast<std::uint32_t>(found - std::begin(items));
}

// --- Replies -----------------------------------------------------------------------------

// The pieces of a payload.
class Payload {
  public:
    explicit Payload(std::uint32_t flags = 0) { bytes_.byte(flags); }

    // Behind the flags, when they say so.
    Payload &header(std::uint32_t module, std::uint32_t sub_mod, std::uint32_t length) {
        bytes_.number(module).number(sub_mod).number(length);
        return *this;
    }
    Payload &number(std::uint32_t value) {
        piece(fuzz::Piece::number).number(value);
        return *this;
    }
    Payload &text(const std::string &value) {
        piece(fuzz::Piece::text).bytes(value);
        return *this;
    }
    Payload &bytes(const std::string &value) {
        piece(fuzz::Piece::bytes).bytes(value);
        return *this;
    }
    Payload &run(char letter, std::uint32_t count) {
        piece(fuzz::Piece::run).byte(static_cast<unsigned char>(letter)).half(count);
        return *this;
    }
    Payload &tail() {
        piece(fuzz::Piece::tail);
        return *this;
    }
    // A record, number `index` of its reply's.
    Payload &record(std::uint32_t index, const support::Record &record,
                    const support::WireRecord &layout) {
        piece(fuzz::Piece::record).byte(index);
        for (const auto &field : layout.fields) {
            if (field.is_text) {
                bytes_.bytes(record.text(field.name));
            } else {
                bytes_.number(record.number(field.name));
            }
        }
        return *this;
    }

    operator std::string() const { return bytes_.str(); }

  private:
    InputBytes &piece(fuzz::Piece kind) { return bytes_.byte(code(kind)); }

    InputBytes bytes_;
};

class SummaryPayload : public Payload {
  public:
    using Payload::Payload;
    SummaryPayload &block(std::uint32_t neighbors) {
        record(0, support::Record(support::summary_block, 1).put("neighbor_number", neighbors),
               support::summary_block);
        return *this;
    }
    SummaryPayload &entry(const std::string &address = "192.0.2.1") {
        record(1, support::Record(support::summary_entry, 2).put("neighbor", address),
               support::summary_entry);
        return *this;
    }
};

Seeds summary_seeds() {
    using P = SummaryPayload;
    Seeds seeds = {
        {"no_neighbours", P().block(0)},
        {"one_neighbour", P().block(1).entry()},
        {"three_neighbours", P().block(3).entry().entry("2001:db8::1").entry("")},
        {"neighbour_with_a_quote", P().block(1).entry("it's")},
        {"traced", P(fuzz::reply_traced).block(1).entry()},
        {"no_memory_for_the_values", P(fuzz::reply_no_memory).block(1).entry()},
        {"values_before", P(3U << fuzz::reply_values_shift).block(1).entry()},
        {"more_neighbours_announced_than_sent", P().block(5).entry()},
        {"count_leads_outside", P().block(0xffffffff).entry()},
        {"first_count_without_room", P().block(65536).entry()},
        {"texts_without_end", P(fuzz::reply_full).block(1).run('t', 160)},
        {"nothing_behind_the_header", P()},
        {"reply_full_of_letters", P(fuzz::reply_full)},
    };
    seeds["another_query"] = P(fuzz::reply_other_header).header(3, 20, 116);
    seeds["another_module"] = P(fuzz::reply_other_header).header(2, 21, 116);
    return seeds;
}

class NeighborPayload : public Payload {
  public:
    using Payload::Payload;
    NeighborPayload &peers(std::uint32_t count) {
        number(count);
        return *this;
    }
    NeighborPayload &peer(std::uint32_t families, const std::string &vrf = "") {
        record(0,
               support::Record(support::peer_record, 1)
                   .put("neighbor_addr", std::string("192.0.2.1"))
                   .put("vrf_name", vrf)
                   .put("address_family_cnt", families),
               support::peer_record);
        return *this;
    }
    NeighborPayload &family(std::uint32_t afi, std::uint32_t safi) {
        record(1, support::Record(support::family_record, 2).put("afi", afi).put("safi", safi),
               support::family_record);
        return *this;
    }
};

Seeds neighbor_seeds() {
    using P = NeighborPayload;
    Seeds seeds = {
        {"no_peers", P().peers(0)},
        {"peer_without_families", P().peers(1).peer(0)},
        {"peer_in_a_vrf", P().peers(1).peer(1, "red").family(1, 71)},
        {"peer_with_two_families", P().peers(1).peer(2).family(1, 1).family(3, 5)},
        {"two_peers_first_with_two_families",
         P().peers(2).peer(2).family(1, 1).family(2, 2).peer(1).family(3, 5)},
        {"traced", P(fuzz::reply_traced).peers(1).peer(1).family(1, 1)},
        {"afi_without_a_name", P().peers(1).peer(1).family(4, 1)},
        {"safi_without_a_name", P().peers(2).peer(1).family(1, 1).peer(1).family(1, 3)},
        {"no_memory_for_the_values", P(fuzz::reply_no_memory).peers(1).peer(0)},
        {"values_before", P(2U << fuzz::reply_values_shift).peers(1).peer(1).family(1, 1)},
        {"more_peers_announced_than_sent", P().peers(3).peer(0)},
        {"more_families_announced_than_sent", P().peers(1).peer(2).family(1, 1)},
        {"count_of_peers_leads_outside", P().peers(0xffffffff).peer(0)},
        {"count_of_families_leads_outside", P().peers(1).peer(0xffffffff).family(1, 1)},
        {"texts_without_end", P(fuzz::reply_full).peers(1).run('t', 308).bytes(std::string(4, 0))},
    };
    seeds["length_below_that_of_the_peers"] =
        P(fuzz::reply_other_header).header(3, 20, 100).number(2);
    seeds["negative_length"] = P(fuzz::reply_other_header).header(3, 20, 0xffffffff).number(1);
    return seeds;
}

class InfoPayload : public Payload {
  public:
    using Payload::Payload;
    InfoPayload &table(std::uint32_t next_hops, std::uint32_t networks) {
        number(next_hops);
        record(0, support::Record(support::table_record, 1).put("prefix_number", networks),
               support::table_record);
        return *this;
    }
    InfoPayload &network(std::uint32_t next_hops) {
        record(1,
               support::Record(support::network_record, 2)
                   .put("network", std::string("198.51.100.0"))
                   .put("mask_len", 24)
                   .put("nextop_num", next_hops),
               support::network_record);
        return *this;
    }
    InfoPayload &hop(std::uint32_t flags, std::uint32_t preference = 100) {
        record(2,
               support::Record(support::next_hop_record, 3)
                   .put("nexthop", std::string("192.0.2.1"))
                   .put("loc_prf", preference)
                   .put("valid_flag", flags)
                   .put("select_flag", flags)
                   .put("source_type", flags),
               support::next_hop_record);
        return *this;
    }
};

Seeds info_seeds() {
    using P = InfoPayload;
    Seeds seeds = {
        {"empty_table", P().table(0, 0)},
        {"network_without_next_hops", P().table(0, 1).network(0)},
        {"network_with_two_next_hops", P().table(2, 1).network(2).hop(1).hop(2)},
        {"two_networks_first_with_two_next_hops",
         P().table(3, 2).network(2).hop(1).hop(0).network(1).hop(3)},
        {"local_preference_of_zero", P().table(1, 1).network(1).hop(1, 0)},
        {"traced", P(fuzz::reply_traced).table(1, 1).network(1).hop(1)},
        {"no_memory_for_the_values", P(fuzz::reply_no_memory).table(1, 1).network(1).hop(1)},
        {"values_before", P(3U << fuzz::reply_values_shift).table(1, 1).network(1).hop(1)},
        {"fewer_next_hops_announced_than_sent", P().table(1, 1).network(2).hop(1).hop(1)},
        {"more_next_hops_announced_than_sent", P().table(9, 1).network(1).hop(1)},
        {"more_networks_announced_than_sent", P().table(0, 4).network(0)},
        {"count_of_networks_leads_outside", P().table(0, 0xffffffff).network(0)},
        {"count_of_next_hops_leads_outside", P().table(0xffffffff, 1).network(1).hop(1)},
        {"next_hops_of_a_network_lead_outside", P().table(1, 2).network(0xffffffff).hop(1)},
        {"texts_without_end", P(fuzz::reply_full).table(1, 1).run('t', 52)},
    };
    return seeds;
}

// The packed stream.
class EvpnPayload : public Payload {
  public:
    using Payload::Payload;
    EvpnPayload &counts(std::uint32_t values, std::uint32_t distinguishers) {
        number(values).number(distinguishers);
        return *this;
    }
    EvpnPayload &distinguisher(std::uint32_t routes, const std::string &name = "1:1") {
        text(name).number(routes);
        return *this;
    }
    EvpnPayload &route(std::uint32_t next_hops, const std::string &name = "[2]:[0]") {
        text(name).bytes({1, 1, 2, 0, 0});
        number(next_hops);
        return *this;
    }
    EvpnPayload &full_route(std::uint32_t next_hops) {
        text("[5]:[0]").bytes({1, 0, 1, 1});
        text("rt 1:1").bytes({1});
        text("5010").number(next_hops);
        return *this;
    }
    EvpnPayload &hop(const std::string &address = "192.0.2.1") {
        text(address).number(1).number(100).number(32768).text("65001 i");
        return *this;
    }
    // Letters before the text that follows.
    EvpnPayload &long_start(std::uint32_t size) {
        run('d', size);
        return *this;
    }
    EvpnPayload &end_of_buffer() {
        tail();
        return *this;
    }
};

Seeds evpn_seeds() {
    using P = EvpnPayload;
    Seeds seeds = {
        {"no_distinguishers", P().counts(0, 0)},
        {"distinguisher_without_routes", P().counts(0, 1).distinguisher(0)},
        {"route_without_next_hops", P().counts(3, 1).distinguisher(1).route(0)},
        {"route_with_all_texts", P().counts(9, 1).distinguisher(1).full_route(1).hop()},
        {"route_with_two_next_hops",
         P().counts(11, 1).distinguisher(1).route(2).hop().hop("2001:db8::1")},
        {"two_distinguishers_of_two_routes", P().counts(12, 2)
                                                 .distinguisher(2)
                                                 .route(0)
                                                 .route(0)
                                                 .distinguisher(2, "2:2")
                                                 .route(0)
                                                 .route(0, "r")},
        {"empty_texts", P().counts(7, 1).distinguisher(1, "").route(1, "").hop("")},
        {"text_longer_than_an_xpath",
         P().counts(3, 1).long_start(1100).distinguisher(1, "").route(0)},
        {"traced", P(fuzz::reply_traced).counts(9, 1).distinguisher(1).full_route(1).hop()},
        {"no_memory_for_the_values",
         P(fuzz::reply_no_memory).counts(3, 1).distinguisher(1).route(0)},
        {"no_memory_but_values_before", P(fuzz::reply_no_memory | 2U << fuzz::reply_values_shift)
                                            .counts(3, 1)
                                            .distinguisher(1)
                                            .route(0)},
        {"more_values_announced_than_sent", P().counts(200, 1).distinguisher(1).route(0)},
        {"fewer_values_announced_than_sent", P().counts(2, 1).distinguisher(1).route(0)},
        {"more_values_announced_than_a_reply_has", P().counts(0xffffffff, 1).distinguisher(0)},
        {"count_of_distinguishers_leads_outside", P().counts(3, 0xffffffff).distinguisher(0)},
        {"count_of_routes_leads_outside", P().counts(9, 1).distinguisher(0xffffffff).route(0)},
        {"count_of_next_hops_leads_outside",
         P().counts(200, 1).distinguisher(1).route(0xffffffff).hop()},
        {"stream_ends_in_a_count",
         P(fuzz::reply_full).counts(3, 1).end_of_buffer().text("").bytes({1, 0})},
        {"stream_ends_with_the_buffer",
         P().counts(3, 1).end_of_buffer().distinguisher(1, "").route(0)},
        {"text_without_end", P(fuzz::reply_full).counts(3, 1)},
        {"texts_without_end_at_the_buffers_end",
         P(fuzz::reply_full).counts(3, 1).end_of_buffer().distinguisher(1, "").bytes("route")},
    };
    return seeds;
}

// --- The reader of replies ------------------------------------------------------------------

// A reply and its pieces.
struct Arriving {
    std::uint32_t payload = 20;
    std::vector<std::uint32_t> pieces = {};
    fuzz::Length length = fuzz::Length::true_one;
    std::uint32_t length_detail = 0; // the byte that belongs to it
    std::int32_t module = MODULE_ID_BGP;
    bool breaks = false;
};

class Exchanges {
  public:
    Exchanges &answered(const Arriving &reply, fuzz::Course course = fuzz::Course::answered,
                        bool traced = false) {
        start(course, traced);
        bytes_.byte(index_of(fuzz::modules, reply.module)).byte(code(reply.length));
        if (reply.length != fuzz::Length::true_one) {
            bytes_.byte(reply.length_detail);
        }
        bytes_.byte('r').half(reply.payload).byte(static_cast<std::uint32_t>(reply.pieces.size()));
        for (const std::uint32_t piece : reply.pieces) {
            bytes_.half(piece);
        }
        bytes_.byte(reply.breaks ? 1 : 0);
        return *this;
    }
    Exchanges &unanswered(fuzz::Course course) {
        start(course, false);
        return *this;
    }
    operator std::string() const { return bytes_.str(); }

  private:
    void start(fuzz::Course course, bool traced) {
        bytes_.byte(code(course)).byte(index_of(fuzz::modules, MODULE_ID_BGP)).byte(traced ? 1 : 0);
    }

    InputBytes bytes_;
};

Seeds reader_seeds() {
    using E = Exchanges;
    using fuzz::Course;
    using fuzz::Length;
    const auto edge = [](std::int32_t length) {
        return Arriving{20, {}, Length::on_an_edge, index_of(fuzz::edge_lengths, length)};
    };
    return {
        {"whole_reply", E().answered({})},
        {"traced", E().answered({}, Course::answered, true)},
        {"reply_in_pieces", E().answered({20, {16, 10, 10}})},
        {"first_piece_ends_before_the_length", E().answered({20, {4, 4, 7, 1}})},
        {"first_piece_ends_in_the_length", E().answered({20, {14, 1, 30}})},
        {"payload_byte_by_byte", E().answered({5, {16, 1, 1, 1, 1, 1}})},
        {"closed_at_once", E().answered({20, {fuzz::piece_closes}})},
        {"closed_in_the_header", E().answered({20, {9, fuzz::piece_closes}})},
        {"closed_in_the_payload", E().answered({20, {30, fuzz::piece_closes}})},
        {"first_read_fails", E().answered({20, {fuzz::piece_fails}})},
        {"later_read_fails", E().answered({20, {20, fuzz::piece_fails}})},
        {"breaks_before_its_end",
         E().answered({20, {}, Length::near_it, 228, MODULE_ID_BGP, true})},
        {"write_fails", E().unanswered(Course::write_fails)},
        {"wait_fails", E().answered({}, Course::wait_fails)},
        {"too_late_for_the_first_reply", E().unanswered(Course::too_late)},
        {"too_late_returns_the_last_reply", E().answered({}).unanswered(Course::too_late)},
        {"too_late_after_a_broken_reply",
         E().answered({20, {20, fuzz::piece_fails}}).unanswered(Course::too_late)},
        {"short_reply_after_a_long_one", E().answered({5000}).answered({3})},
        {"another_module", E().answered({20, {}, Length::true_one, 0, MODULE_ID_VLAN})},
        {"length_of_zero", E().answered(edge(0))},
        {"negative_length", E().answered(edge(-1))},
        {"longest_length", E().answered(edge(BUF_SIZE_MAX))},
        {"length_beyond_the_buffer", E().answered(edge(BUF_SIZE_MAX + 1))},
        {"largest_length", E().answered(edge(INT_MAX))},
        {"more_comes_than_is_announced", E().answered({20, {36}, Length::near_it, 118})},
        {"full_buffer", E().answered({fuzz::beyond_the_buffer,
                                      {},
                                      Length::on_an_edge,
                                      index_of(fuzz::edge_lengths, BUF_SIZE_MAX)})},
    };
}

// --- Edits -------------------------------------------------------------------------------

// The nodes below the path of each callback, in the order that inputs count them in.
enum GlobleNode : std::uint32_t {
    globle,
    router_id,
    globle_neighbors,
    globle_neighbor,
    neighbor_address,
    remote_as,
    description,
    multihop,
    update_source
};
enum FamilyNode : std::uint32_t {
    family,
    family_router_id,
    family_afi,
    family_safi,
    networks,
    network,
    network_prefix,
    network_route_map,
    network_backdoor,
    neighbors,
    neighbor,
    neighbor_key,
    neighbor_activate,
    neighbor_next_hop_self,
    neighbor_reflector,
    redistributes,
    redistribute,
    redistribute_protocol,
    redistribute_process,
    redistribute_route_map
};
enum VrfNode : std::uint32_t {
    vrf_family,
    vrf_router_id,
    vrf_afi,
    vrf_safi,
    vrf_name,
    vrf_networks,
    vrf_network,
    vrf_network_prefix,
    vrf_network_route_map,
    vrf_network_backdoor,
    vrf_neighbors,
    vrf_neighbor,
    vrf_neighbor_key,
    vrf_neighbor_activate,
    vrf_neighbor_remote_as,
    vrf_neighbor_description,
    vrf_neighbor_multihop,
    vrf_neighbor_update_source,
    vrf_redistributes,
    vrf_redistribute,
    vrf_redistribute_protocol,
    vrf_redistribute_process,
    vrf_redistribute_route_map
};

// How many keys are on the way to a node.
std::uint32_t keys_to(std::uint32_t node, std::uint32_t entry_keys,
                      const std::vector<std::pair<std::uint32_t, std::uint32_t>> &lists) {
    std::uint32_t keys = entry_keys;
    for (const auto &[container, list_keys] : lists) {
        if (node == container) {
            return entry_keys;
        }
        if (node > container) {
            keys = entry_keys + list_keys;
        }
    }
    return keys;
}

std::uint32_t globle_keys(std::uint32_t node) {
    return keys_to(node, 0, {{globle_neighbors, 1}});
}
std::uint32_t family_keys(std::uint32_t node) {
    return keys_to(node, 2, {{networks, 1}, {neighbors, 1}, {redistributes, 2}});
}
std::uint32_t vrf_keys(std::uint32_t node) {
    return keys_to(node, 3, {{vrf_networks, 1}, {vrf_neighbors, 1}, {vrf_redistributes, 2}});
}
std::uint32_t as_keys(std::uint32_t /*node*/) {
    return 0;
}

enum Operation : std::uint32_t { created, modified, deleted, moved };

std::string key_of(fuzz::KeyIs kind, std::uint32_t which = 0) {
    InputBytes bytes;
    bytes.byte(code(kind));
    if (kind == fuzz::KeyIs::another) {
        bytes.byte(which);
    } else if (kind == fuzz::KeyIs::long_) {
        bytes.half(which);
    }
    return bytes.str();
}
std::string wrong(fuzz::Wrong kind, std::uint32_t number = 0, const std::string &text = "") {
    InputBytes bytes;
    bytes.byte(code(kind));
    switch (kind) {
    case fuzz::Wrong::cut:
    case fuzz::Wrong::lengthened:
        bytes.half(number);
        break;
    case fuzz::Wrong::spliced:
        bytes.half(number).bytes(text);
        break;
    case fuzz::Wrong::continued:
    case fuzz::Wrong::replaced:
        bytes.bytes(text);
        break;
    default:
        break;
    }
    return bytes.str();
}
std::string text_value(const std::string &text) {
    return InputBytes().byte(code(fuzz::ValueIs::text)).bytes(text).str();
}
std::string number_value(std::uint32_t number) {
    return InputBytes().byte(code(fuzz::ValueIs::number)).number(number).str();
}
std::string long_value(std::uint32_t length) {
    return InputBytes().byte(code(fuzz::ValueIs::long_text)).half(length).str();
}
std::string plain_value(fuzz::ValueIs kind = fuzz::ValueIs::empty) {
    return InputBytes().byte(code(kind)).str();
}

class EditInput {
  public:
    explicit EditInput(std::uint32_t (*keys)(std::uint32_t), std::uint32_t as = 100,
                       const std::vector<int> &answers = {}, sr_event_t event = SR_EV_CHANGE,
                       const std::string &failing = InputBytes().byte(0).str(), bool traced = false)
        : keys_(keys) {
        bytes_.byte(traced ? 1 : 0)
            .byte(index_of(fuzz::as_numbers, as))
            .byte(index_of(fuzz::events, event))
            .plain(failing)
            .byte(static_cast<std::uint32_t>(answers.size()));
        for (const int answer : answers) {
            bytes_.byte(index_of(fuzz::answers, answer));
        }
    }
    // A change whose first keys are these; the others are the usual ones.
    EditInput &change(Operation operation, std::uint32_t node,
                      const std::string &value = plain_value(),
                      const std::vector<std::string> &keys = {},
                      const std::string &what_is_wrong = wrong(fuzz::Wrong::nothing),
                      fuzz::Has has = fuzz::Has::what_belongs) {
        bytes_.byte(operation).byte(code(has)).byte(node);
        for (std::uint32_t i = 0; i < keys_(node); ++i) {
            bytes_.plain(i < keys.size() ? keys[i] : key_of(fuzz::KeyIs::usual));
        }
        bytes_.plain(what_is_wrong).plain(value);
        return *this;
    }
    operator std::string() const { return bytes_.str(); }

  private:
    std::uint32_t (*keys_)(std::uint32_t);
    InputBytes bytes_;
};

std::string failing(fuzz::Failing kind, std::uint32_t call, int result) {
    InputBytes bytes;
    bytes.byte(code(kind));
    if (kind == fuzz::Failing::next) {
        bytes.byte(call);
    }
    return bytes.byte(index_of(fuzz::failures, result)).str();
}

// What can happen to any of the callbacks; `node` is a leaf that is sent.
Seeds common_change_seeds(std::uint32_t (*keys)(std::uint32_t), std::uint32_t node,
                          const std::string &value) {
    using fuzz::Failing;
    using fuzz::Wrong;
    const auto edit = [&](const std::string &fails = InputBytes().byte(0).str(),
                          sr_event_t event = SR_EV_CHANGE, bool traced = false) {
        return EditInput(keys, 100, {}, event, fails, traced);
    };
    const std::string sound = wrong(Wrong::nothing);
    return {
        {"no_changes", edit()},
        {"created", edit().change(created, node, value)},
        {"modified", edit().change(modified, node, value)},
        {"deleted", edit().change(deleted, node, value)},
        {"moved", edit().change(moved, node, value)},
        {"traced",
         edit(InputBytes().byte(0).str(), SR_EV_CHANGE, true).change(created, node, value)},
        {"done_event", edit(InputBytes().byte(0).str(), SR_EV_DONE).change(created, node, value)},
        {"abort_event", edit(InputBytes().byte(0).str(), SR_EV_ABORT).change(created, node, value)},
        {"no_iterator", edit(failing(Failing::opening, 0, 7)).change(created, node, value)},
        {"second_change_fails", edit(failing(Failing::next, 1, 4))
                                    .change(created, node, value)
                                    .change(deleted, node, value)},
        {"no_as", EditInput(keys, 0).change(deleted, node, value).change(created, node, value)},
        {"daemon_refuses", EditInput(keys, 100, {18}).change(created, node, value)},
        {"daemon_finds_nothing", EditInput(keys, 100, {5}).change(created, node, value)},
        {"socket_is_broken", EditInput(keys, 100, {20}).change(created, node, value)},
        {"value_is_missing", edit().change(created, node, value, {}, sound, fuzz::Has::none)},
        {"both_values", edit().change(created, node, value, {}, sound, fuzz::Has::both)},
        {"path_is_missing", edit().change(created, node, value, {}, wrong(Wrong::missing))},
        {"path_is_empty", edit().change(created, node, value, {}, wrong(Wrong::replaced))},
        {"path_is_cut", edit().change(created, node, value, {}, wrong(Wrong::cut, 30))},
        {"path_longer_than_its_buffer",
         edit().change(created, node, value, {}, wrong(Wrong::lengthened, 1500))},
        {"node_that_is_unknown",
         edit().change(created, node, value, {}, wrong(Wrong::continued, 0, "/unknown"))},
    };
}

Seeds as_seeds() {
    Seeds seeds = common_change_seeds(as_keys, 0, number_value(65001));
    seeds["created_then_deleted"] =
        EditInput(as_keys).change(created, 0, number_value(1)).change(deleted, 0, number_value(1));
    seeds["number_as_a_text"] = EditInput(as_keys).change(created, 0, text_value("65001"));
    seeds["another_node"] = EditInput(as_keys).change(created, 1, number_value(1));
    return seeds;
}

Seeds globle_seeds() {
    const auto edit = [] { return EditInput(globle_keys); };
    Seeds seeds = common_change_seeds(globle_keys, remote_as, text_value("64496"));
    seeds["router_id"] = edit().change(created, router_id, text_value("192.0.2.1"));
    seeds["router_id_fills_its_field"] = edit().change(created, router_id, long_value(33));
    seeds["router_id_is_too_long"] = edit().change(created, router_id, long_value(34));
    seeds["router_id_without_text"] =
        edit().change(created, router_id, plain_value(fuzz::ValueIs::missing));
    seeds["neighbour_with_all_leaves"] = edit()
                                             .change(created, globle_neighbor)
                                             .change(created, neighbor_address, text_value("a"))
                                             .change(created, remote_as, text_value("64496"))
                                             .change(created, description, text_value("peer"))
                                             .change(created, multihop, number_value(3))
                                             .change(created, update_source, text_value("lo"));
    seeds["neighbour_without_leaves"] =
        edit().change(created, globle_neighbor).change(created, neighbor_address, text_value("a"));
    seeds["neighbour_is_deleted"] = edit()
                                        .change(deleted, globle_neighbor)
                                        .change(deleted, remote_as, text_value("64496"))
                                        .change(deleted, description, text_value("peer"))
                                        .change(deleted, multihop, number_value(3));
    seeds["container_only"] = edit().change(created, globle_neighbors);
    seeds["address_is_missing"] =
        edit().change(created, remote_as, text_value("1"), {key_of(fuzz::KeyIs::missing)});
    seeds["address_fills_its_field"] =
        edit().change(created, remote_as, text_value("1"), {key_of(fuzz::KeyIs::long_, 47)});
    seeds["address_is_too_long"] =
        edit().change(created, remote_as, text_value("1"), {key_of(fuzz::KeyIs::long_, 48)});
    seeds["address_with_a_quote"] =
        edit().change(created, remote_as, text_value("1"), {key_of(fuzz::KeyIs::another, 3)});
    seeds["remote_as_is_too_long"] = edit().change(created, remote_as, long_value(14));
    seeds["description_fills_its_field"] = edit().change(created, description, long_value(81));
    seeds["description_is_too_long"] = edit().change(created, description, long_value(82));
    seeds["update_source_is_too_long"] = edit().change(created, update_source, long_value(258));
    return seeds;
}

Seeds family_seeds() {
    const auto edit = [] { return EditInput(family_keys); };
    const auto usual = key_of(fuzz::KeyIs::usual);
    Seeds seeds = common_change_seeds(family_keys, network_route_map, text_value("map"));
    seeds["network_with_all_leaves"] = edit()
                                           .change(created, family)
                                           .change(created, networks)
                                           .change(created, network)
                                           .change(created, network_prefix, text_value("a"))
                                           .change(created, network_route_map, text_value("map"))
                                           .change(created, network_backdoor);
    seeds["two_networks"] = edit()
                                .change(created, network)
                                .change(created, network_prefix, text_value("a"))
                                .change(created, network, plain_value(),
                                        {usual, usual, key_of(fuzz::KeyIs::another, 1)})
                                .change(created, network_prefix, text_value("b"),
                                        {usual, usual, key_of(fuzz::KeyIs::another, 1)});
    seeds["neighbour_with_all_leaves"] = edit()
                                             .change(created, neighbor)
                                             .change(created, neighbor_key, text_value("a"))
                                             .change(created, neighbor_activate)
                                             .change(created, neighbor_next_hop_self)
                                             .change(created, neighbor_reflector);
    seeds["neighbour_without_leaves"] =
        edit().change(created, neighbor).change(created, neighbor_key, text_value("a"));
    seeds["neighbour_is_deactivated"] = edit()
                                            .change(deleted, neighbor)
                                            .change(deleted, neighbor_activate)
                                            .change(deleted, neighbor_next_hop_self)
                                            .change(deleted, neighbor_reflector);
    seeds["redistribution"] = edit()
                                  .change(created, redistribute)
                                  .change(created, redistribute_protocol, text_value("a"))
                                  .change(created, redistribute_process, text_value("a"))
                                  .change(created, redistribute_route_map, text_value("map"));
    seeds["daemon_refuses_the_second_record"] = EditInput(family_keys, 100, {0, 18})
                                                    .change(created, neighbor_activate)
                                                    .change(created, neighbor_next_hop_self)
                                                    .change(created, neighbor_reflector);
    seeds["afi_is_missing"] =
        edit().change(created, network_backdoor, plain_value(), {key_of(fuzz::KeyIs::missing)});
    seeds["afi_is_unknown"] =
        edit().change(created, network_backdoor, plain_value(), {key_of(fuzz::KeyIs::another, 3)});
    seeds["safi_is_unknown"] = edit().change(created, network_backdoor, plain_value(),
                                             {usual, key_of(fuzz::KeyIs::another, 4)});
    seeds["prefix_is_missing"] = edit().change(created, network_backdoor, plain_value(),
                                               {usual, usual, key_of(fuzz::KeyIs::missing)});
    seeds["prefix_fills_its_field"] = edit().change(created, network_backdoor, plain_value(),
                                                    {usual, usual, key_of(fuzz::KeyIs::long_, 50)});
    seeds["prefix_is_too_long"] = edit().change(created, network_backdoor, plain_value(),
                                                {usual, usual, key_of(fuzz::KeyIs::long_, 51)});
    seeds["prefix_like_a_container"] = edit().change(
        created, neighbor_activate, plain_value(), {usual, usual, key_of(fuzz::KeyIs::another, 1)});
    seeds["list_key_is_missing_while_another_record_is_pending"] =
        edit()
            .change(created, redistribute_process, text_value("7"))
            .change(created, network_route_map, text_value("map"),
                    {usual, usual, key_of(fuzz::KeyIs::missing)});
    const std::string path = "/orv_bgp:router-bgp/bgp-address-family/address-family"
                             "[afi='AFI_IP'][safi='SAFI_UNICAST']"
                             "/bgp-family-networks/family-network[prefix='a'][other='']/route-map";
    const auto lengthened = [&](std::size_t length) {
        return wrong(fuzz::Wrong::lengthened, static_cast<std::uint32_t>(length - path.size()));
    };
    seeds["path_fills_its_buffer"] =
        edit().change(created, network_route_map, text_value("map"), {}, lengthened(999));
    seeds["path_is_a_byte_longer_than_its_buffer"] =
        edit().change(created, network_route_map, text_value("map"), {}, lengthened(1000));
    seeds["route_map_is_too_long"] = edit().change(created, network_route_map, long_value(258));
    seeds["process_is_too_long"] =
        edit().change(created, redistribute_route_map, text_value("map"),
                      {usual, usual, usual, key_of(fuzz::KeyIs::long_, 17)});
    return seeds;
}

Seeds vrf_family_seeds() {
    const auto edit = [] { return EditInput(vrf_keys); };
    const auto usual = key_of(fuzz::KeyIs::usual);
    const auto safi_vrf = key_of(fuzz::KeyIs::another, 1);
    const std::vector<std::string> vrf = {usual, safi_vrf};
    Seeds seeds = common_change_seeds(vrf_keys, vrf_network_route_map, text_value("map"));
    seeds["entry_of_safi_vrf"] = edit()
                                     .change(created, vrf_family, plain_value(), vrf)
                                     .change(created, vrf_name, text_value("a"), vrf);
    seeds["entry_of_another_safi"] =
        edit().change(created, vrf_family).change(created, vrf_name, text_value("a"));
    seeds["entry_with_a_network"] = edit()
                                        .change(created, vrf_name, text_value("a"), vrf)
                                        .change(created, vrf_networks, plain_value(), vrf)
                                        .change(created, vrf_network, plain_value(), vrf)
                                        .change(created, vrf_network_prefix, text_value("a"), vrf)
                                        .change(created, vrf_network_backdoor, plain_value(), vrf);
    seeds["entry_is_deleted"] = edit()
                                    .change(deleted, vrf_name, text_value("a"), vrf)
                                    .change(deleted, vrf_network_prefix, text_value("a"), vrf)
                                    .change(deleted, vrf_neighbor_remote_as, text_value("1"), vrf);
    seeds["neighbour_with_all_leaves"] =
        edit()
            .change(created, vrf_neighbor)
            .change(created, vrf_neighbor_key, text_value("a"))
            .change(created, vrf_neighbor_remote_as, text_value("64496"))
            .change(created, vrf_neighbor_activate)
            .change(created, vrf_neighbor_description, text_value("peer"))
            .change(created, vrf_neighbor_multihop, number_value(3))
            .change(created, vrf_neighbor_update_source, text_value("lo"));
    seeds["neighbour_without_leaves"] =
        edit().change(created, vrf_neighbor).change(created, vrf_neighbor_key, text_value("a"));
    seeds["neighbour_is_deleted"] =
        edit()
            .change(deleted, vrf_neighbor_remote_as, text_value("64496"))
            .change(deleted, vrf_neighbor_activate)
            .change(deleted, vrf_neighbor_description, text_value("peer"));
    seeds["redistribution"] = edit()
                                  .change(created, vrf_redistribute)
                                  .change(created, vrf_redistribute_protocol, text_value("a"))
                                  .change(created, vrf_redistribute_route_map, text_value("map"));
    seeds["vrf_name_is_missing"] = edit().change(created, vrf_network_backdoor, plain_value(),
                                                 {usual, usual, key_of(fuzz::KeyIs::missing)});
    seeds["vrf_name_fills_its_field"] =
        edit().change(created, vrf_network_backdoor, plain_value(),
                      {usual, usual, key_of(fuzz::KeyIs::long_, 65)});
    seeds["vrf_name_is_too_long"] = edit().change(created, vrf_network_backdoor, plain_value(),
                                                  {usual, usual, key_of(fuzz::KeyIs::long_, 66)});
    seeds["remote_as_is_too_long"] = edit().change(created, vrf_neighbor_remote_as, long_value(14));
    seeds["list_key_is_missing_while_another_record_is_pending"] =
        edit()
            .change(created, vrf_network_route_map, text_value("map"))
            .change(created, vrf_redistribute_route_map, text_value("map"),
                    {usual, usual, usual, usual, key_of(fuzz::KeyIs::missing)});
    seeds["shorter_path_after_a_longer_one"] =
        edit()
            .change(created, vrf_network_backdoor, plain_value(),
                    {usual, usual, usual, key_of(fuzz::KeyIs::long_, 40)})
            .change(created, vrf_afi, text_value("AFI_IP"), {usual, key_of(fuzz::KeyIs::missing)});
    return seeds;
}

// --- Messages of the daemon ------------------------------------------------------------------

class Messages {
  public:
    Messages &message(std::uint32_t sub_mod, const std::string &record, std::uint32_t flags = 0,
                      const std::string &unusual = "", const std::string &behind = "") {
        bytes_.byte(flags).byte(sub_mod).plain(unusual).plain(record).plain(behind);
        return *this;
    }
    Messages &as(std::uint32_t number, std::uint32_t operation = 0) {
        return message(BGP_SUB_BGP_AS, InputBytes().byte(operation).number(number).str());
    }
    operator std::string() const { return bytes_.str(); }

  private:
    InputBytes bytes_;
};

// An address family in a record: op, bgp_id, afi, safi, vrf_name.
std::string family_fields(std::uint32_t afi, std::uint32_t safi, const std::string &vrf,
                          std::uint32_t operation = 1) {
    return InputBytes().byte(operation).number(0).number(afi).number(safi).bytes(vrf).str();
}
std::string network_record(std::uint32_t as, const std::string &family, const std::string &prefix) {
    return InputBytes().byte(0).number(as).plain(family).bytes(prefix).bytes("map").number(1).str();
}
std::string neighbor_record(std::uint32_t as, const std::string &family, std::uint32_t operation) {
    return InputBytes()
        .byte(operation)
        .number(as)
        .plain(family)
        .bytes("a")
        .number(1)
        .number(1)
        .bytes("64496")
        .bytes("peer")
        .bytes("lo")
        .number(3)
        .number(1)
        .str();
}
std::string globle_record(std::uint32_t as, std::uint32_t operation) {
    return InputBytes()
        .byte(operation)
        .number(as)
        .bytes("a")
        .bytes("64496")
        .bytes("peer")
        .bytes("lo")
        .number(3)
        .str();
}

Seeds daemon_seeds() {
    using M = Messages;
    constexpr std::uint32_t set = 0, remove = 1, another = 3;
    const std::string unicast = family_fields(1, 1, ""), in_vrf = family_fields(1, 71, "v");
    const std::string router_id = InputBytes().byte(set).number(100).bytes("192.0.2.1").str();
    const std::string redistribution =
        InputBytes().byte(set).number(100).plain(unicast).bytes("ospf").bytes("7").bytes("").str();
    const std::string evpn_query = InputBytes().number(0xffffffff).bytes("").str();
    const std::string info_query =
        InputBytes().number(0).bytes("").number(1).number(1).bytes("").bytes("").str();
    const std::string neighbor_query = InputBytes().number(1).bytes("").bytes("").str();
    const std::string summary_query = InputBytes().number(0).bytes("").number(0).number(1).str();
    const std::string clear_query =
        InputBytes().plain(family_fields(0, 0, "")).number(1).number(0).str();
    return {
        {"no_message", M()},
        {"as_is_set", M().as(100)},
        {"as_is_deleted", M().as(100).as(100, remove)},
        {"operation_that_is_none", M().as(100, another)},
        {"router_id", M().as(100).message(BGP_SUB_ROUTER_ID, router_id)},
        {"router_id_without_an_as", M().message(BGP_SUB_ROUTER_ID, router_id)},
        {"globle_neighbour",
         M().as(100)
             .message(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, globle_record(100, set))
             .message(BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP, globle_record(100, set))
             .message(BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION, globle_record(100, remove))
             .message(BGP_SUB_RPC_IP_BGP_SUMMARY, summary_query)},
        {"network", M().as(100)
                        .message(BGP_SUB_NETWORK, network_record(100, unicast, "198.51.100.0/24"))
                        .message(BGP_SUB_RPC_IP_BGP_INFO, info_query)},
        {"network_in_a_family_that_is_none",
         M().as(100).message(BGP_SUB_NETWORK, network_record(100, family_fields(9, 9, ""), "p"))},
        {"redistribution", M().as(100).message(BGP_SUB_REDISTRIBUTE, redistribution)},
        {"vrf_and_its_neighbour",
         M().as(100)
             .message(BGP_SUB_ADDRESS_FAMILY_VRF,
                      InputBytes().byte(set).number(100).number(1).number(71).bytes("v").str())
             .message(BGP_SUB_NEIGHBOR_VRF_REMOTE_AS, neighbor_record(100, in_vrf, set))
             .message(BGP_SUB_NEIGHBOR_VRF_ACTIVATE, neighbor_record(100, in_vrf, set))
             .message(BGP_SUB_RPC_IP_BGP_NEIGHBOR, neighbor_query)},
        {"family_neighbour_known_to_the_instance",
         M().as(100)
             .message(BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS, globle_record(100, set))
             .message(BGP_SUB_NEIGHBOR_ACTIVATE, neighbor_record(100, unicast, set))
             .message(BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET, neighbor_record(100, unicast, set))
             .message(BGP_SUB_RPC_IP_BGP_NEIGHBOR, neighbor_query)},
        {"query_for_evpn_routes", M().message(BGP_SUB_RPC_IP_BGP_EVPN, evpn_query)},
        {"query_for_an_address",
         M().as(100)
             .message(BGP_SUB_NETWORK, network_record(100, unicast, "198.51.100.0/24"))
             .message(BGP_SUB_RPC_IP_BGP_INFO, InputBytes()
                                                   .number(1)
                                                   .bytes("")
                                                   .number(1)
                                                   .number(0)
                                                   .bytes("198.51.100.7")
                                                   .bytes("")
                                                   .str())},
        {"clear", M().as(100).message(BGP_SUB_RPC_CLEAR_IP_BGP, clear_query)},
        {"key_with_quotes", M().as(100)
                                .message(BGP_SUB_NETWORK, network_record(100, unicast, "it's][\"'"))
                                .message(BGP_SUB_RPC_IP_BGP_INFO, info_query)},
        {"text_that_is_no_utf8",
         M().as(100).message(BGP_SUB_ROUTER_ID,
                             InputBytes().byte(set).number(100).bytes("\xff\xc3\n").str())},
        {"unknown_sub_module", M().message(25, InputBytes().bytes("?").str())},
        {"another_module", M().message(BGP_SUB_BGP_AS, InputBytes().byte(set).number(1).str(),
                                       fuzz::message_other_module, InputBytes().number(2).str())},
        {"record_too_short",
         M().message(BGP_SUB_BGP_AS, InputBytes().bytes("1234").str(), fuzz::message_raw)},
        {"record_too_long",
         M().message(BGP_SUB_BGP_AS, InputBytes().byte(set).number(1).str(), fuzz::message_longer,
                     "", InputBytes().bytes("more").str())},
        {"length_below_the_header",
         M().message(BGP_SUB_BGP_AS, InputBytes().byte(set).number(1).str(),
                     fuzz::message_other_length, InputBytes().number(15).str())},
        {"negative_length",
         M().message(BGP_SUB_BGP_AS, InputBytes().byte(set).number(1).str(),
                     fuzz::message_other_length, InputBytes().number(0xffffffff).str())},
        {"length_reaches_into_the_next_message",
         M().message(BGP_SUB_BGP_AS, InputBytes().byte(set).number(1).str(),
                     fuzz::message_other_length, InputBytes().number(30).str())
             .as(100)},
        {"message_is_broken_off",
         M().message(BGP_SUB_BGP_AS, InputBytes().byte(set).number(1).str(),
                     fuzz::message_other_length, InputBytes().number(100).str())},
    };
}

void write(const std::filesystem::path &directory, const Seeds &seeds) {
    std::filesystem::create_directories(directory);
    for (const auto &[name, bytes] : seeds) {
        std::ofstream file(directory / name, std::ios::binary);
        file << bytes;
        if (!file.flush()) {
            std::fprintf(stderr, "%s cannot be written\n", name.c_str());
            std::exit(1);
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_seeds DIRECTORY\n");
        return 2;
    }
    const std::filesystem::path directory = argv[1];
    write(directory / "evpn_reply", evpn_seeds());
    write(directory / "info_reply", info_seeds());
    write(directory / "neighbor_reply", neighbor_seeds());
    write(directory / "summary_reply", summary_seeds());
    write(directory / "reply_reader", reader_seeds());
    write(directory / "as_change", as_seeds());
    write(directory / "globle_change", globle_seeds());
    write(directory / "family_change", family_seeds());
    write(directory / "vrf_family_change", vrf_family_seeds());
    write(directory / "daemon_message", daemon_seeds());
    return 0;
}
