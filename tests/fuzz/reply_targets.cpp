// The four reply parsers, compared with simple readers of the same payloads.
#include "expected_values.h"
#include "reply_input.h"
#include "reply_room.h"
#include "targets.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

namespace {

using support::EvpnDistinguisher;
using support::EvpnNextHop;
using support::EvpnRoute;
using support::EvpnText;
using support::Expected;
using support::Outputs;
using support::Parser;
using support::Record;
using support::WireRecord;

// The allocation of a larger array fails. This limits the time of an input, and shows
// the result for a reply without memory for its values.
constexpr std::size_t usual_limit = 64; // values
constexpr std::size_t large_limit = 16384;

// Zeros follow a reply in the transport's buffer. More of them reach no other code, but
// a wrong count takes long to read them.
constexpr std::size_t zeros_behind = 256;

// --- Pieces ------------------------------------------------------------------------------

// Makes a piece of the kind `record`.
using ReadRecord = std::string (*)(Input &input);

// One of the records of a reply: its fields, one after the other.
template <const WireRecord &...layouts>
std::string read_record(Input &input) {
    const WireRecord *const rows[] = {&layouts...};
    const WireRecord &layout = *input.pick(rows);
    Record record(layout);
    for (const auto &field : layout.fields) {
        if (field.is_text) {
            record.put(field.name, input.bytes());
        } else {
            record.put(field.name, input.number());
        }
    }
    return record.bytes();
}

template <typename Item>
std::vector<Item> read_list(Input &input, Item (*read_item)(Input &input)) {
    std::vector<Item> items;
    for (std::uint32_t left = input.byte(); left > 0 && !input.empty(); --left) {
        items.push_back(read_item(input));
    }
    return items;
}

signed char read_flag(Input &input) {
    return static_cast<signed char>(input.byte());
}

// A part, repeated up to eight times: an XPath ends after 999 characters.
std::string read_text(Input &input) {
    const std::string part = input.text();
    std::string text = part;
    for (std::uint32_t more = input.byte() % 8; more > 0; --more) {
        text += part;
    }
    return text;
}

EvpnText read_optional_text(Input &input) {
    EvpnText text{static_cast<char>(input.byte())};
    if (text.presence != 0) {
        text.text = input.text();
    }
    return text;
}

EvpnNextHop read_next_hop(Input &input) {
    return {read_text(input), input.number(), input.number(), input.number(), input.text()};
}

EvpnRoute read_route(Input &input) {
    return {read_text(input),
            read_flag(input),
            read_flag(input),
            read_flag(input),
            read_optional_text(input),
            read_optional_text(input),
            read_list(input, read_next_hop)};
}

EvpnDistinguisher read_distinguisher(Input &input) {
    return {read_text(input), read_list(input, read_route)};
}

std::uint32_t values_of(const std::vector<EvpnDistinguisher> &distinguishers) {
    std::size_t count = 0;
    for (const EvpnDistinguisher &distinguisher : distinguishers) {
        for (const EvpnRoute &route : distinguisher.routes) {
            count += 3 + 4 * route.next_hops.size();
            for (const EvpnText *text : {&route.community, &route.label}) {
                count += text->presence != 0 ? 1U : 0U;
            }
        }
    }
    return static_cast<std::uint32_t>(count);
}

// A whole EVPN reply: in a stream, a single wrong count makes everything after it another item.
// The number is added to the count of values.
std::string read_routes(Input &input) {
    const std::uint32_t more = input.number();
    const std::vector<EvpnDistinguisher> items = read_list(input, read_distinguisher);
    return support::evpn_payload(values_of(items) + more, items);
}

std::string read_piece(Input &input, Piece piece, ReadRecord make_record) {
    switch (piece) {
    case Piece::record:
        return make_record(input);
    case Piece::number:
        return support::packed(input.number());
    case Piece::text:
        return support::packed(input.text());
    case Piece::bytes:
        return input.bytes();
    case Piece::run: {
        const auto letter = static_cast<char>(input.byte());
        return std::string(input.half(), letter);
    }
    default:
        return {};
    }
}

ReplyContent read_reply(Input &input, std::uint32_t flags, int sub_mod, ReadRecord make_record) {
    ReplyContent content{MODULE_ID_BGP, sub_mod, 0, {}};
    const bool other_header = (flags & reply_other_header) != 0;
    if (other_header) {
        content.module = static_cast<std::int32_t>(input.number());
        content.sub_mod = static_cast<std::int32_t>(input.number());
        content.data_len = static_cast<std::int32_t>(input.number());
    }
    content.zeros = (flags & reply_full) != 0 ? 0 : zeros_behind;
    std::string *part = &content.payload;
    // Runs make large payloads from few bytes, so their size is limited.
    while (!input.empty() && content.payload.size() + content.tail.size() < 20000) {
        const auto piece =
            static_cast<Piece>(input.byte() % static_cast<std::uint32_t>(Piece::count));
        if (piece == Piece::tail) {
            part = &content.tail;
            content.zeros = 0;
        }
        *part += read_piece(input, piece, make_record);
    }
    if (!other_header) {
        content.data_len =
            content.tail.empty()
                ? static_cast<std::int32_t>(sizeof(netconf_data_struc) + content.payload.size())
                : BUF_SIZE_MAX;
    }
    return content;
}

// --- The comparison ----------------------------------------------------------------------

// Checks that a refused reply left nothing behind.
void check_refused(const support::Values &values, std::size_t before) {
    require(values.size() == before, "a refused reply changed the number of values");
    require(values.written_count() == 0, "a refused reply left values behind");
}

void check_values(const support::Values &values, Expected expected, std::size_t before) {
    require(values.size() <= values.room(), "more values are counted than there is room for");
    // Without memory the values fill the array as it is.
    Outputs &outputs = expected.outputs;
    outputs.erase(outputs.begin() +
                      static_cast<std::ptrdiff_t>(std::min(outputs.size(), values.room())),
                  outputs.end());
    require(values.written() == outputs, "the values are not those of the reply");
    require(values.size() == (expected.sets_count ? outputs.size() : before),
            "the number of values is not that of the reply");
}

struct ReplyTarget {
    const Parser &parser;
    ReadRecord make_record;
};

constexpr ReplyTarget evpn = {support::evpn_parser, read_routes};
constexpr ReplyTarget info = {
    support::info_parser,
    read_record<support::table_record, support::network_record, support::next_hop_record>};
constexpr ReplyTarget neighbor = {support::neighbor_parser,
                                  read_record<support::peer_record, support::family_record>};
constexpr ReplyTarget summary = {support::summary_parser,
                                 read_record<support::summary_block, support::summary_entry>};

// `limit`: the number of values that there is memory for.
void run_reply(const ReplyTarget &target, std::size_t limit, Input input) {
    const Parser &parser = target.parser;
    const std::uint32_t flags = input.byte();
    const ReplyContent content = read_reply(input, flags, parser.sub_mod, target.make_record);
    netconf_data_struc *reply = put_reply(content);

    scripted::reset();
    scripted::sysrepo().realloc_limit = (flags & reply_no_memory) != 0 ? 0 : limit;
    const std::size_t before = flags >> reply_values_shift & 3;
    support::Values values(before);
    debug_bgp = (flags & reply_traced) != 0 ? 1 : 0;
    const int result = values.fill(
        [&](sr_val_t **array, size_t *count) { return parser.parse(array, count, reply); });
    debug_bgp = 0;

    const auto &reallocs = scripted::sysrepo().reallocs;
    require(reallocs.size() <= 1, "the array is sized more than once");
    require(reallocs.empty() || reallocs.front().second <= before + parser.most_values,
            "room is asked for more values than any reply has");
    if (result == -1) {
        check_refused(values, before);
        return;
    }
    require(content.module == MODULE_ID_BGP && content.sub_mod == parser.sub_mod,
            "another query's reply was accepted");
    const Expected expected = parser.expected({reply->transferData, payload_size});
    require(result == expected.result, "the result is not the expected one");
    check_values(values, expected, before);
}

} // namespace

void evpn_reply(const std::uint8_t *data, std::size_t size) {
    run_reply(evpn, usual_limit, {data, size});
}

void info_reply(const std::uint8_t *data, std::size_t size) {
    run_reply(info, usual_limit, {data, size});
}

void neighbor_reply(const std::uint8_t *data, std::size_t size) {
    run_reply(neighbor, usual_limit, {data, size});
}

void summary_reply(const std::uint8_t *data, std::size_t size) {
    run_reply(summary, usual_limit, {data, size});
}

void large_reply(const std::uint8_t *data, std::size_t size) {
    static constexpr ReplyTarget targets[] = {evpn, info, neighbor, summary};
    Input input(data, size);
    const ReplyTarget &target = input.pick(targets);
    run_reply(target, large_limit, input);
}

} // namespace fuzz
