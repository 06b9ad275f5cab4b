// The four reply parsers, compared with simple readers of the same payloads.
#include "expected_values.h"
#include "reply_input.h"
#include "reply_room.h"
#include "targets.h"

#include <algorithm>
#include <vector>

namespace fuzz {

namespace {

using support::Expected;
using support::Outputs;
using support::Parser;
using support::Record;
using support::WireRecord;

// The allocation of a larger array fails. This limits the time of an input, and shows
// the result for a reply without memory for its values.
constexpr std::size_t most_values = 256;

// Zeros follow a reply in the transport's buffer. More of them reach no other code, but
// a wrong count takes long to read them.
constexpr std::size_t zeros_behind = 1024;

// The fields of a record, one after the other.
Record read_record(Input &input, const WireRecord &layout) {
    Record record(layout);
    for (const auto &field : layout.fields) {
        if (field.is_text) {
            record.put(field.name, input.bytes());
        } else {
            record.put(field.name, input.number());
        }
    }
    return record;
}

std::string read_piece(Input &input, Piece piece, const std::vector<const WireRecord *> &records) {
    switch (piece) {
    case Piece::record:
        return records.empty()
                   ? std::string()
                   : read_record(input, *records[input.byte() % records.size()]).bytes();
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

ReplyContent read_reply(Input &input, std::uint32_t flags, int sub_mod,
                        const std::vector<const WireRecord *> &records) {
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
        *part += read_piece(input, piece, records);
    }
    if (!other_header) {
        content.data_len =
            content.tail.empty()
                ? static_cast<std::int32_t>(sizeof(netconf_data_struc) + content.payload.size())
                : BUF_SIZE_MAX;
    }
    return content;
}

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

void run_reply(const Parser &parser, const std::vector<const WireRecord *> &records,
               const std::uint8_t *data, std::size_t size) {
    Input input(data, size);
    const std::uint32_t flags = input.byte();
    const ReplyContent content = read_reply(input, flags, parser.sub_mod, records);
    netconf_data_struc *reply = put_reply(content);

    scripted::reset();
    scripted::sysrepo().realloc_limit = (flags & reply_no_memory) != 0 ? 0 : most_values;
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
    run_reply(support::evpn_parser, {}, data, size);
}

void info_reply(const std::uint8_t *data, std::size_t size) {
    run_reply(support::info_parser,
              {&support::table_record, &support::network_record, &support::next_hop_record}, data,
              size);
}

void neighbor_reply(const std::uint8_t *data, std::size_t size) {
    run_reply(support::neighbor_parser, {&support::peer_record, &support::family_record}, data,
              size);
}

void summary_reply(const std::uint8_t *data, std::size_t size) {
    run_reply(support::summary_parser, {&support::summary_block, &support::summary_entry}, data,
              size);
}

} // namespace fuzz
