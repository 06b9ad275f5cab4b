// Replies with invalid counts and texts, and random replies.
#include "expected_values.h"
#include "random_rounds.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <ostream>
#include <random>
#include <string_view>

namespace {

using scripted::sysrepo;
using support::append;
using support::CapturedOutput;
using support::evpn_payload;
using support::EvpnDistinguisher;
using support::EvpnNextHop;
using support::EvpnRoute;
using support::EvpnText;
using support::Expected;
using support::Outputs;
using support::packed;
using support::Parser;
using support::parsers;
using support::payload_limit;
using support::Record;
using support::Reply;
using support::summary_entry;
using support::Values;
using support::WireRecord;

// --- The parsers at work --------------------------------------------------------------

const Parser &evpn = support::evpn_parser;
const Parser &info = support::info_parser;
const Parser &neighbor = support::neighbor_parser;
const Parser &summary = support::summary_parser;

std::string_view payload_of(const Reply &reply) {
    return {reply.message()->transferData, payload_limit};
}

class HostileReply : public support::PluginTest {
  protected:
    static int parse(const Parser &parser, const Reply &reply, Values &values) {
        return values.fill([&](sr_val_t **array, size_t *count) {
            return parser.parse(array, count, reply.message());
        });
    }

    // Checks that the reply is refused with one line and leaves nothing behind.
    static void expect_refused(const Parser &parser, const Reply &reply, std::size_t before = 0) {
        Values values(before);
        const CapturedOutput output;
        EXPECT_EQ(parse(parser, reply, values), -1);
        EXPECT_THAT(output.text(), testing::MatchesRegex("." + std::string(parser.name) +
                                                         ".reply refused: [^\n]+\n"));
        EXPECT_EQ(values.size(), before);
        EXPECT_EQ(values.written_count(), 0U);
        EXPECT_LE(values.room(), before + parser.most_values);
    }
    static void expect_refused(const Parser &parser, const std::string &payload) {
        for (const std::size_t before : {0U, 3U}) {
            expect_refused(parser, Reply(parser.sub_mod, payload), before);
        }
    }
    // Checks that the parser requests no array for the number that the reply announces.
    static void expect_no_array(const Parser &parser, const Reply &reply, std::size_t before) {
        sysrepo().reallocs.clear();
        Values values(before);
        const CapturedOutput output;
        EXPECT_EQ(parse(parser, reply, values), -1);
        EXPECT_EQ(output.text(), parser.no_array);
        EXPECT_EQ(values.size(), before);
        EXPECT_EQ(values.written_count(), 0U);
        EXPECT_TRUE(sysrepo().reallocs.empty());
    }
    static void expect_no_array(const Parser &parser, const std::string &payload) {
        for (const std::size_t before : {0U, 3U}) {
            expect_no_array(parser, Reply(parser.sub_mod, payload), before);
        }
    }
    // Checks that the reply is accepted and has that many values.
    static void expect_values(const Parser &parser, const std::string &payload, std::size_t count) {
        Values values;
        const CapturedOutput output;
        EXPECT_EQ(parse(parser, Reply(parser.sub_mod, payload), values), SR_ERR_OK);
        EXPECT_EQ(output.text(), "");
        EXPECT_EQ(values.size(), count);
    }
};

// --- Payloads ----------------------------------------------------------------------

std::string summary_of(std::uint32_t announced, const std::string &entries = {}) {
    return Record(support::summary_block).put("neighbor_number", announced).bytes() + entries;
}
std::string info_of(std::uint32_t total, std::uint32_t networks, const std::string &records = {}) {
    return packed(total) + Record(support::table_record).put("prefix_number", networks).bytes() +
           records;
}
std::string network_of(std::uint32_t next_hops) {
    return Record(support::network_record).put("nextop_num", next_hops).bytes();
}
std::string peer_of(std::uint32_t families) {
    return Record(support::peer_record).put("address_family_cnt", families).bytes();
}
std::string plain_family() {
    return Record(support::family_record).put("afi", 1).put("safi", 1).bytes();
}

std::string repeated(const std::string &item, std::size_t times) {
    std::string bytes;
    bytes.reserve(item.size() * times);
    for (std::size_t i = 0; i < times; ++i) {
        bytes += item;
    }
    return bytes;
}

// --- Counts ------------------------------------------------------------------------

// Numbers of records of that size that do not fit into a reply: the smallest one, huge
// ones, and those whose product with the size, or with the number of values of a
// record, wraps to a small number.
std::vector<std::uint32_t> too_many(std::uint32_t first, const WireRecord &record,
                                    std::uint32_t values) {
    const auto size = static_cast<std::uint32_t>(record.size);
    return {first,
            first + 1,
            0x7FFFFFFF,
            0x80000000,
            0xFFFFFFFF,
            0xFFFFFFFF / size + 1,
            0xFFFFFFFF / values + 1,
            0x80000000 / size + 1};
}
std::vector<std::uint32_t> too_many(std::uint32_t first, const WireRecord &record) {
    return too_many(first, record, record.leaves());
}

TEST_F(HostileReply, ThereIsNoArrayForMoreNeighborsThanASummaryHolds) {
    const auto most = static_cast<std::uint32_t>((payload_limit - support::summary_block.size) /
                                                 summary_entry.size);
    for (const std::uint32_t count : too_many(most + 1, summary_entry)) {
        expect_no_array(summary, summary_of(count));
    }
    expect_values(summary, summary_of(most),
                  support::summary_block.leaves() + std::size_t{summary_entry.leaves()} * most);
}

TEST_F(HostileReply, ThereIsNoArrayForMoreNetworksThanAnInfoHolds) {
    const auto most = static_cast<std::uint32_t>((payload_limit - 60) / 56);
    for (const std::uint32_t count : too_many(most + 1, support::network_record, 5)) {
        expect_no_array(info, info_of(0, count));
    }
    expect_values(info, info_of(0, most), 3 + most);
}

TEST_F(HostileReply, InfoOfMoreNextHopsThanThereIsRoomForIsRefused) {
    const auto most = static_cast<std::uint32_t>((payload_limit - 60 - 56) / 92);
    for (const std::uint32_t count : too_many(most + 1, support::next_hop_record)) {
        expect_no_array(info, info_of(count, 1, network_of(0)));
        expect_no_array(info, info_of(count, 1, network_of(1)));
    }
    for (const std::uint32_t count : too_many(most + 1, support::next_hop_record)) {
        expect_refused(info, info_of(1, 1, network_of(count)));
        expect_refused(info, info_of(most, 1, network_of(count)));
    }
    expect_values(info, info_of(most, 1, network_of(most)), 4 + std::size_t{4} * most);
}

TEST_F(HostileReply, NetworksThatNextHopsPushBeyondTheEndAreRefused) {
    // The end of the first network's next hops leaves room for the second network, or not.
    const auto most = static_cast<std::uint32_t>((payload_limit - 60 - 2 * 56) / 92);
    const std::string hops = repeated(Record(support::next_hop_record).bytes(), most);
    expect_values(info, info_of(most, 2, network_of(most) + hops), 5 + std::size_t{4} * most);
    expect_refused(info, info_of(most, 2, network_of(most + 1)));
}

TEST_F(HostileReply, InfoThatEndsExactlyAtTheBuffersEndIsAccepted) {
    // 13 networks, and next hops that fill the buffer to its last byte.
    std::uint32_t networks = 1;
    while ((payload_limit - 60 - 56 * networks) % 92 != 0) {
        ++networks;
    }
    const auto hops = static_cast<std::uint32_t>((payload_limit - 60 - 56 * networks) / 92);
    const std::string head = repeated(network_of(0), networks - 1);
    std::string payload = info_of(hops, networks, head + network_of(hops));
    payload.resize(payload_limit, '\0');
    payload.back() = 2; // the last next hop's source
    Values values;
    ASSERT_EQ(parse(info, Reply(info.sub_mod, payload), values), SR_ERR_OK);
    ASSERT_EQ(values.size(), 3 + networks + std::size_t{4} * hops);
    EXPECT_STREQ(values.at(values.size() - 2).data.enum_val, "local");

    expect_no_array(info, info_of(hops + 1, networks, head + network_of(hops)));
    expect_refused(info, info_of(hops, networks, head + network_of(hops + 1)));
    expect_no_array(info, info_of(hops, networks + 1, head + network_of(hops)));
}

TEST_F(HostileReply, ThereIsNoArrayForMorePeersThanAReplyHolds) {
    const auto most = static_cast<std::uint32_t>((payload_limit - 4) / 312);
    for (const std::uint32_t count : too_many(most + 1, support::peer_record)) {
        for (const std::int64_t length :
             {std::int64_t{20}, std::int64_t{BUF_SIZE_MAX}, std::int64_t{INT_MAX}, std::int64_t{-1},
              static_cast<std::int64_t>(count) * 312 + 20}) {
            expect_no_array(neighbor, Reply(neighbor.sub_mod, packed(count)).length(length), 0);
        }
    }
    std::string payload = packed(most);
    payload.resize(payload_limit, '\0');
    expect_values(neighbor, payload, std::size_t{20} * most);
}

TEST_F(HostileReply, NeighborsOfMoreFamiliesThanThereIsRoomForAreRefused) {
    const auto most = static_cast<std::uint32_t>((payload_limit - 4 - 312) / 108);
    const auto reply = [](std::uint32_t families) {
        Reply made(neighbor.sub_mod, packed(std::uint32_t{1}) + peer_of(families) + plain_family());
        made.length(BUF_SIZE_MAX);
        return made;
    };
    for (const std::uint32_t count : too_many(most + 1, support::family_record)) {
        expect_refused(neighbor, reply(count));
        expect_refused(neighbor, reply(count), 3);
    }
    Values values;
    EXPECT_EQ(parse(neighbor, reply(most), values), SR_ERR_OK);
    EXPECT_EQ(values.size(), 20 + std::size_t{9} * most);
}

TEST_F(HostileReply, PeersThatFamiliesPushBeyondTheEndAreRefused) {
    const auto most = static_cast<std::uint32_t>((payload_limit - 4 - 2 * 312) / 108);
    const auto reply = [](std::uint32_t families) {
        Reply made(neighbor.sub_mod, packed(std::uint32_t{2}) + peer_of(families) + plain_family());
        made.length(BUF_SIZE_MAX);
        return made;
    };
    Values values;
    EXPECT_EQ(parse(neighbor, reply(most), values), SR_ERR_OK);
    EXPECT_EQ(values.size(), 40 + std::size_t{9} * most);
    // As many as fit after the first peer, with too little room left for the second;
    // the values before the call make room for those of the families.
    expect_refused(neighbor, reply(static_cast<std::uint32_t>((payload_limit - 4 - 312) / 108)),
                   100);
}

TEST_F(HostileReply, ThereIsNoArrayForTheFamiliesOfAnInvalidLength) {
    const std::string payload = packed(std::uint32_t{2}) + peer_of(0) + peer_of(0);
    for (const std::int64_t length : {INT_MIN, -1000, -1, 0, 16, 20, 312, 623, INT_MAX}) {
        expect_no_array(neighbor, Reply(neighbor.sub_mod, payload).length(length), 0);
        expect_no_array(neighbor, Reply(neighbor.sub_mod, payload).length(length), 3);
    }
}

TEST_F(HostileReply, ThereIsNoArrayForMoreValuesThanAnEvpnReplyHolds) {
    const std::vector<EvpnDistinguisher> items = {{"rd", {{"r", 1, 1, 1}}}};
    for (const std::uint32_t count :
         {static_cast<std::uint32_t>(evpn.most_values) + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU,
          static_cast<std::uint32_t>(0xFFFFFFFF / sizeof(sr_val_t)) + 1}) {
        // The parser still writes the values that fit.
        for (const std::size_t before : {0U, 2U, 3U, 5U}) {
            Values values(before);
            const CapturedOutput output;
            EXPECT_EQ(parse(evpn, Reply(evpn.sub_mod, evpn_payload(count, items)), values), 0);
            EXPECT_EQ(output.text(), evpn.no_array);
            EXPECT_EQ(values.size(), std::min<std::size_t>(before, 3));
        }
    }
    EXPECT_TRUE(sysrepo().reallocs.empty());
}

TEST_F(HostileReply, EvpnReplyOfNothingButTheShortestRoutesIsAccepted) {
    // Twelve bytes and five values each: the largest number of values in a reply.
    const EvpnRoute shortest = {"", 1, 1, 1, {1, ""}, {1, ""}};
    const auto routes = static_cast<std::uint32_t>((payload_limit - 13) / 12);
    const std::string payload = packed(routes * 5) + packed(std::uint32_t{1}) + packed("") +
                                packed(routes) + repeated(packed(shortest), routes);
    expect_values(evpn, payload, std::size_t{5} * routes);
}

TEST_F(HostileReply, EvpnCountsThatExceedTheReplyAreRefused) {
    const std::string route_end(5, '\0'); // no texts, and a count of next hops
    const std::string one = packed(std::uint32_t{1});
    const std::string starts[] = {
        "",
        one + packed("rd"),
        one + packed("rd") + one + packed("r") + route_end,
    };
    for (const std::string &start : starts) {
        for (const std::uint32_t count : {3000000U, 0x80000000U, 0xFFFFFFFFU}) {
            expect_refused(evpn,
                           Reply(evpn.sub_mod, packed(std::uint32_t{100}) + start + packed(count)));
        }
    }
}

// --- More values than the array has room for -----------------------------------------

TEST_F(HostileReply, EvpnThatHasMoreValuesThanItAnnouncesIsRefused) {
    const std::vector<EvpnDistinguisher> items = {
        {"rd", {{"r", 1, 1, 1, {1, "c"}, {1, "l"}, {{"h", 1, 2, 3, "p"}, {"i", 1, 2, 3, "p"}}}}}};
    for (std::uint32_t announced = 0; announced < 13; ++announced) {
        expect_refused(evpn, evpn_payload(announced, items));
    }
    expect_values(evpn, evpn_payload(13, items), 13);
}

TEST_F(HostileReply, InfoThatHasMoreValuesThanItAnnouncesIsRefused) {
    const std::string hop = Record(support::next_hop_record).put("loc_prf", 1).bytes();
    for (std::uint32_t total = 0; total < 3; ++total) {
        expect_refused(info,
                       Reply(info.sub_mod,
                             info_of(total, 2, network_of(2) + hop + hop + network_of(1) + hop)));
    }
    expect_values(info, info_of(3, 2, network_of(2) + hop + hop + network_of(1) + hop), 20);
}

TEST_F(HostileReply, NextHopsBeyondTheTotalAreAcceptedWhileTheirValuesHaveRoom) {
    // Without a local preference each of them leaves room for a fifth value.
    const std::string hop = Record(support::next_hop_record).bytes();
    expect_values(info, info_of(4, 1, network_of(5) + repeated(hop, 5)), 24);
    expect_refused(info, Reply(info.sub_mod, info_of(4, 1, network_of(6) + repeated(hop, 6))));
}

TEST_F(HostileReply, NetworksWhoseRoomNextHopsBeyondTheTotalTookAreRefused) {
    // The five values of a next hop fill the room of the five other networks.
    const std::string hop = Record(support::next_hop_record).put("loc_prf", 1).bytes();
    expect_refused(
        info, Reply(info.sub_mod, info_of(0, 6, network_of(1) + hop + repeated(network_of(0), 5))));
}

TEST_F(HostileReply, NeighborsThatHaveMoreValuesThanTheLengthTellsAreRefused) {
    for (std::uint32_t families = 1; families < 5; ++families) {
        const std::string payload =
            packed(std::uint32_t{1}) + peer_of(families) + repeated(plain_family(), families);
        Reply reply(neighbor.sub_mod, payload);
        expect_refused(neighbor, reply.length(16 + 4 + 312 + 108 * (families - 1)));
        // The values before the call are room, too.
        Values values(9);
        EXPECT_EQ(parse(neighbor, reply, values), SR_ERR_OK);
        EXPECT_EQ(values.size(), 20U + 9 * families);
    }
}

// --- The end of the buffer ------------------------------------------------------------

// A stream whose last `tail` bytes end at the end of the buffer, moved by `beyond` bytes.
std::string at_the_end(std::size_t tail_size, const std::string &tail, std::size_t beyond) {
    const std::size_t head = 4 + 4 + 1; // what is around the distinguisher's text
    std::string stream = packed(std::uint32_t{100}) + packed(std::uint32_t{1}) +
                         packed(std::string(payload_limit - head - tail_size + beyond, 'r')) + tail;
    stream.resize(payload_limit, 'x');
    return stream;
}

TEST_F(HostileReply, EvpnStreamMayEndAtTheBuffersEndAndNotBeyond) {
    const EvpnRoute route = {
        "route", 1, 1, 1, {1, "community"}, {1, "label"}, {{"address", 1, 2, 3, "path"}}};
    const std::string tail = packed(std::vector<EvpnRoute>{route});
    Values values;
    ASSERT_EQ(parse(evpn, Reply(evpn.sub_mod, at_the_end(tail.size(), tail, 0)), values),
              SR_ERR_OK);
    EXPECT_EQ(values.size(), 9U);
    EXPECT_STREQ(values.at(8).data.string_val, "path");
    // The end of the buffer may cut any item.
    for (std::size_t beyond = 1; beyond <= tail.size() + 1; ++beyond) {
        expect_refused(evpn, Reply(evpn.sub_mod, at_the_end(tail.size(), tail, beyond)));
    }
}

TEST_F(HostileReply, BufferOfNothingButTextIsRefused) {
    for (const Parser *parser : parsers) {
        for (const char letter : {'x', '\xff'}) {
            Values values;
            const CapturedOutput output;
            EXPECT_EQ(
                parse(*parser, Reply(parser->sub_mod, std::string(payload_limit, letter)), values),
                -1);
            EXPECT_THAT(output.text(), testing::StartsWith(parser->no_array));
            EXPECT_EQ(values.written_count(), 0U);
        }
    }
}

TEST_F(HostileReply, BufferOfZerosIsAnEmptyReply) {
    for (const Parser *parser : parsers) {
        expect_values(*parser, std::string(payload_limit, '\0'), 0);
        expect_values(*parser, "", 0);
    }
}

TEST_F(HostileReply, EvpnTextWithoutANulIsRefused) {
    const std::string starts[] = {
        packed(std::uint32_t{9}) + packed(std::uint32_t{1}),
        packed(std::uint32_t{9}) + packed(std::uint32_t{1}) + packed("rd") +
            packed(std::uint32_t{1}),
        packed(std::uint32_t{9}) + packed(std::uint32_t{1}) + packed("rd") +
            packed(std::uint32_t{1}) + packed("route") + std::string(3, '\1') + '\1',
    };
    for (std::string stream : starts) {
        stream.resize(payload_limit, 'x');
        expect_refused(evpn, stream);
    }
}

// --- Texts without a NUL -----------------------------------------------------------------

// A record in which every byte except its numbers is an x.
Record filled_with_text(const WireRecord &layout) {
    const std::string bytes(layout.size, 'x');
    Record record = Record::at(layout, bytes, 0);
    for (const auto &row : layout.fields) {
        if (!row.is_text) {
            record.put(row.name, 1);
        }
    }
    return record;
}

TEST_F(HostileReply, TextWithoutANulEndsAtItsFieldsEnd) {
    struct Row {
        const Parser *parser;
        std::string payload;
        std::vector<std::size_t> text_lengths;
    };
    const Row rows[] = {
        {&summary,
         filled_with_text(support::summary_block).bytes() +
             filled_with_text(support::summary_entry).bytes(),
         {21, 47, 21, 33, 33}},
        {&neighbor,
         packed(std::uint32_t{1}) + filled_with_text(support::peer_record).bytes() +
             filled_with_text(support::family_record).bytes(),
         {47, 33, 47}},
        {&info,
         packed(std::uint32_t{1}) + filled_with_text(support::table_record).bytes() +
             filled_with_text(support::network_record).bytes() +
             filled_with_text(support::next_hop_record).bytes(),
         {47}},
    };
    for (const Row &row : rows) {
        for (const int debugging : {0, 1}) {
            const Reply reply(row.parser->sub_mod, row.payload + std::string(1000, 'x'));
            set_switches(debugging, 0);
            Values values;
            const CapturedOutput output;
            EXPECT_EQ(parse(*row.parser, reply, values), SR_ERR_OK);
            EXPECT_EQ(values.outputs(), row.parser->expected(payload_of(reply)).outputs);
            std::vector<std::size_t> lengths;
            for (const auto &value : values.outputs()) {
                if (value.type == SR_STRING_T) {
                    lengths.push_back(value.value.size());
                }
            }
            EXPECT_EQ(lengths, row.text_lengths);
            EXPECT_THAT(output.text(), testing::Not(testing::HasSubstr(std::string(66, 'x'))));
        }
    }
}

// --- XPaths ------------------------------------------------------------------------------

TEST_F(HostileReply, XPathOf999CharactersIsWholeAndALongerOneLosesItsEnd) {
    const std::string start = "/orv_bgp:ip-bgp-evpn/list-evpn-route-distinguisher"
                              "[route-distinguisher='";
    const std::string end = "']/list-evpn-route-brief[evpn-route='r']/valid-flag";
    for (const std::size_t beyond : {0U, 1U, 10U, 11U, 500U, 5000U}) {
        const std::string text(999 - start.size() - end.size() + beyond, 'x');
        Values values;
        ASSERT_EQ(
            parse(evpn, Reply(evpn.sub_mod, evpn_payload(9, {{text, {{"r", 1, 1, 2}}}})), values),
            SR_ERR_OK);
        EXPECT_EQ(values.outputs().at(0).xpath, (start + text + end).substr(0, 999));
        EXPECT_EQ(values.outputs().at(0).value, "valid");
    }
}

TEST_F(HostileReply, EveryXPathIsCutAfter999Characters) {
    // Changing the length of a text moves everything after it across the cut.
    for (const int which : {0, 1, 2}) {
        for (std::size_t length = 700; length <= 1100; ++length) {
            const std::string text(length, 'x');
            const auto pick = [&](int text_at) { return which == text_at ? text : "short"; };
            const Reply reply(
                evpn.sub_mod,
                evpn_payload(
                    9, {{pick(0),
                         {{pick(1), 1, 1, 2, {1, "c"}, {1, "l"}, {{pick(2), 1, 2, 3, "path"}}}}}}));
            Values values;
            ASSERT_EQ(parse(evpn, reply, values), SR_ERR_OK);
            ASSERT_EQ(values.outputs(), evpn.expected(payload_of(reply)).outputs);
            EXPECT_STREQ(values.at(8).data.string_val, "path") << "values are not cut";
        }
    }
}

TEST_F(HostileReply, TextMayBeAsLongAsTheReply) {
    const std::string text(payload_limit - 100, 'x');
    Values values;
    ASSERT_EQ(
        parse(evpn, Reply(evpn.sub_mod, evpn_payload(9, {{"rd", {{text, 1, 1, 2}}}})), values),
        SR_ERR_OK);
    for (const auto &value : values.outputs()) {
        EXPECT_EQ(value.xpath.size(), 999U);
    }
    Values label;
    ASSERT_EQ(parse(evpn,
                    Reply(evpn.sub_mod, evpn_payload(9, {{"rd", {{"r", 1, 1, 2, {}, {1, text}}}}})),
                    label),
              SR_ERR_OK);
    EXPECT_TRUE(label.outputs().at(3).value == text);
}

// --- Chance --------------------------------------------------------------------------------

class Chance {
  public:
    explicit Chance(std::uint32_t seed) : engine_(seed) {}

    std::uint32_t below(std::uint32_t limit) { return next() % limit; }
    bool once_in(std::uint32_t times) { return below(times) == 0; }

    // Any number, often a special one.
    std::uint32_t number() {
        static constexpr std::uint32_t odd[] = {0,     1,     2,          3,          255,
                                                65535, 65536, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
        return once_in(2) ? odd[below(std::size(odd))] : next() >> below(32);
    }
    // Any text of at most `limit` bytes, often empty or of full length.
    std::string text(std::uint32_t limit) {
        std::string text(once_in(8) ? limit : once_in(8) ? 0 : below(limit + 1), '\0');
        for (char &character : text) {
            character = static_cast<char>(once_in(4) ? 1 + below(255) : '.' + below(12));
        }
        return text;
    }
    Record record(const WireRecord &layout) {
        Record made(layout);
        for (const auto &row : layout.fields) {
            if (row.is_text) {
                made.put(row.name, text(static_cast<std::uint32_t>(row.size)));
            } else {
                made.put(row.name, number());
            }
        }
        return made;
    }
    // Records of that layout; `shape` adds the data that belong to a record.
    std::string records(std::uint32_t count, const WireRecord &layout,
                        const std::function<std::string(Record)> &shape) {
        std::string bytes;
        for (std::uint32_t i = 0; i < count; ++i) {
            bytes += shape(record(layout));
        }
        return bytes;
    }
    signed char flag() { return static_cast<signed char>(once_in(4) ? below(256) : below(4)); }

  private:
    std::uint32_t next() { return static_cast<std::uint32_t>(engine_()); }

    std::mt19937 engine_;
};

std::string any_summary(Chance &chance) {
    const std::uint32_t entries = chance.below(5);
    const std::string block =
        chance.record(support::summary_block).put("neighbor_number", entries).bytes();
    return block + chance.records(entries, support::summary_entry,
                                  [](const Record &entry) { return entry.bytes(); });
}

std::string any_neighbors(Chance &chance) {
    static constexpr std::uint32_t afis[] = {1, 2, 3, 4};
    static constexpr std::uint32_t safis[] = {1, 2, 5, 71, 3};
    const std::uint32_t peers = chance.below(4);
    const auto families = [&](Record peer) {
        const std::uint32_t count = chance.below(4);
        const bool named = !chance.once_in(10);
        return peer.put("address_family_cnt", count).bytes() +
               chance.records(count, support::family_record, [&](Record record) {
                   record.put("afi", afis[chance.below(named ? 3 : 4)]);
                   return record.put("safi", safis[chance.below(named ? 4 : 5)]).bytes();
               });
    };
    return packed(peers) + chance.records(peers, support::peer_record, families);
}

std::string any_info(Chance &chance) {
    const std::uint32_t networks = chance.below(4);
    std::uint32_t total = chance.once_in(4) ? chance.below(5) : 0;
    const auto next_hops = [&](Record network) {
        const std::uint32_t count = chance.below(4);
        total += count;
        return network.put("nextop_num", count).bytes() +
               chance.records(count, support::next_hop_record, [&](Record record) {
                   record.put("valid_flag", chance.below(3));
                   record.put("select_flag", chance.below(3));
                   return record.put("source_type", chance.below(4)).bytes();
               });
    };
    const std::string table =
        chance.record(support::table_record).put("prefix_number", networks).bytes();
    const std::string records = chance.records(networks, support::network_record, next_hops);
    return packed(total) + table + records;
}

std::string any_evpn(Chance &chance) {
    std::uint32_t values = chance.once_in(4) ? chance.below(20) : 0;
    const auto text = [&] { return chance.text(chance.once_in(10) ? 1100 : 40); };
    std::vector<EvpnDistinguisher> items(chance.below(4));
    for (EvpnDistinguisher &item : items) {
        item.name = text();
        item.routes.resize(chance.below(4));
        for (EvpnRoute &route : item.routes) {
            route = {text(), chance.flag(), chance.flag(), chance.flag()};
            for (EvpnText *optional : {&route.community, &route.label}) {
                *optional = {static_cast<char>(chance.flag()), text()};
                values += optional->presence == 0 ? 0 : 1;
            }
            route.next_hops.resize(chance.below(4));
            for (EvpnNextHop &hop : route.next_hops) {
                hop = {text(), chance.number(), chance.number(), chance.number(), text()};
            }
            values += 3 + 4 * static_cast<std::uint32_t>(route.next_hops.size());
        }
    }
    return evpn_payload(values, items);
}

struct Source {
    const Parser *parser;
    std::string (*any)(Chance &chance);
    const char *name;

    friend void PrintTo(const Source &source, std::ostream *out) { *out << source.name; }
};

class RandomReply : public HostileReply, public testing::WithParamInterface<Source> {
  protected:
    const int rounds = support::random_rounds(2000);

    // Checks the result of a reply that was not refused.
    static void expect_as_expected(const Values &values, std::size_t before,
                                   const Expected &expected) {
        EXPECT_EQ(values.written(), expected.outputs);
        EXPECT_EQ(values.size(), expected.sets_count ? expected.outputs.size() : before);
    }
};

TEST_P(RandomReply, GivesTheExpectedValues) {
    const Parser &parser = *GetParam().parser;
    Chance chance(20240607);
    Reply reply(parser.sub_mod);
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        reply.payload(GetParam().any(chance));
        const std::size_t before = chance.once_in(3) ? chance.below(40) : 0;
        const bool traced = chance.once_in(8);
        set_switches(traced ? 1 : 0, 0);
        const Expected expected = parser.expected(payload_of(reply));
        Values values(before);
        const CapturedOutput output;
        EXPECT_EQ(parse(parser, reply, values), expected.result);
        expect_as_expected(values, before, expected);
        if (!traced) {
            EXPECT_EQ(output.text(), expected.line);
        }
    }
}

// Changes one part of the reply.
void spoil(Chance &chance, std::string &bytes, Reply &reply) {
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const std::uint32_t at = chance.below(size);
    switch (chance.below(6)) {
    case 0:
        bytes[at] = static_cast<char>(chance.below(256));
        break;
    case 1:
        bytes.resize(at + 1);
        break;
    case 2:
        bytes.insert(at, chance.text(60));
        break;
    case 3:
        bytes += std::string(chance.below(500), 'x');
        break;
    case 4: {
        // A number at a position of the counts: a multiple of four.
        const std::uint32_t number = chance.once_in(4) ? chance.number() : chance.below(50);
        bytes.replace(at / 4 * 4, 4, packed(number));
        break;
    }
    default:
        bytes.replace(at, std::min<std::size_t>(at + 47, size) - at, 47, '\xff');
    }
    reply.payload(bytes);
    if (chance.once_in(4)) {
        reply.length(chance.once_in(2) ? chance.number() : chance.below(3000));
    }
}

TEST_P(RandomReply, IsRefusedOrGivesTheExpectedValuesWhenItIsSpoiled) {
    const Parser &parser = *GetParam().parser;
    Chance chance(19991231);
    // Reading zeros may take long, so most replies are followed by other bytes.
    Reply before_zeros(parser.sub_mod);
    Reply before_text(parser.sub_mod, {}, 'x');
    int refused = 0;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        Reply &reply = chance.once_in(50) ? before_zeros : before_text;
        std::string bytes = GetParam().any(chance);
        for (std::uint32_t times = 1 + chance.below(3); times > 0; --times) {
            spoil(chance, bytes, reply);
        }
        const std::size_t before = chance.once_in(3) ? chance.below(40) : 0;
        Values values(before);
        std::string printed;
        int result = 0;
        {
            const CapturedOutput output;
            result = parse(parser, reply, values);
            printed = output.text();
        }
        EXPECT_LE(values.room(), before + parser.most_values);
        if (result == -1) {
            ++refused;
            const std::string line = "." + std::string(parser.name) + ".reply refused: [^\n]+\n";
            EXPECT_THAT(printed, testing::AnyOf(testing::MatchesRegex(line), parser.no_array,
                                                testing::MatchesRegex(parser.no_array + line)));
            EXPECT_EQ(values.size(), before);
            EXPECT_EQ(values.written_count(), 0U);
            continue;
        }
        Expected expected = parser.expected(payload_of(reply));
        if (printed == parser.no_array) {
            expected.outputs.resize(std::min(expected.outputs.size(), before));
        }
        EXPECT_EQ(result, expected.result);
        expect_as_expected(values, before, expected);
    }
    // Some of them are refused, but not all.
    EXPECT_GT(refused, rounds / 100);
    EXPECT_LT(refused, rounds * 99 / 100);
}

const Source sources[] = {{&evpn, any_evpn, "Evpn"},
                          {&info, any_info, "Info"},
                          {&neighbor, any_neighbors, "Neighbor"},
                          {&summary, any_summary, "Summary"}};
INSTANTIATE_TEST_SUITE_P(Parsers, RandomReply, testing::ValuesIn(sources),
                         [](const auto &row) { return row.param.name; });

TEST_F(HostileReply, SpoiledEvpnWithoutMemoryKeepsWhatHasRoom) {
    Chance chance(31337);
    Reply reply(evpn.sub_mod, {}, 'x');
    sysrepo().realloc_result = SR_ERR_NOMEM;
    int kept = 0;
    for (int round = 0; round < 1000 && !HasFailure(); ++round) {
        std::string bytes = any_evpn(chance);
        reply.payload(bytes);
        if (chance.once_in(2)) {
            spoil(chance, bytes, reply);
        }
        const std::size_t before = chance.below(40);
        Values values(before);
        const CapturedOutput output;
        if (parse(evpn, reply, values) == -1) {
            EXPECT_EQ(values.size(), before);
            EXPECT_EQ(values.written_count(), 0U);
            continue;
        }
        ++kept;
        EXPECT_EQ(output.text(), "realloc failed\n");
        Outputs expected = evpn.expected(payload_of(reply)).outputs;
        if (expected.size() > before) {
            expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(before), expected.end());
        }
        EXPECT_EQ(values.size(), expected.size());
        EXPECT_EQ(values.written(), expected);
    }
    EXPECT_GT(kept, 500);
}

} // namespace
