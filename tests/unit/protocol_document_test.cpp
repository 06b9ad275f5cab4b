// Compares the examples of docs/protocol.md with the code. They are those of a big-endian machine;
// on another one the test first swaps the bytes of their numbers.
#include "message.h"
#include "replies.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

bool is_little_endian() {
    const std::uint16_t one = 1;
    char first = 0;
    std::memcpy(&first, &one, sizeof first);
    return first == 1;
}

// --- The document --------------------------------------------------------------------

struct Block {
    std::string kind; // the text after the opening fence: "hex NAME", "text" ...
    std::vector<std::string> lines;
};

std::vector<std::string> document() {
    std::ifstream file(PROTOCOL_DOCUMENT);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<Block> blocks() {
    std::vector<Block> found;
    bool inside = false;
    for (const std::string &line : document()) {
        if (line.rfind("```", 0) == 0) {
            inside = !inside;
            if (inside) {
                found.push_back({line.substr(3), {}});
            }
        } else if (inside) {
            found.back().lines.push_back(line);
        }
    }
    return found;
}

// The bytes of a dump: each line has its offset, a star replaces lines of zeros, and the last
// line's offset is the length.
std::string bytes_of_dump(const std::vector<std::string> &lines) {
    std::string bytes;
    for (const std::string &line : lines) {
        if (line == "*") {
            continue;
        }
        bytes.resize(std::stoul(line.substr(0, 4), nullptr, 16), '\0');
        std::istringstream digits(line.substr(4, line.find('|') - 4));
        for (std::string pair; digits >> pair;) {
            bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
        }
    }
    return bytes;
}

// The examples by their names: the bytes, and the text that follows, empty when none does.
struct Example {
    std::string bytes;
    std::string says;
};
std::map<std::string, Example> examples() {
    std::map<std::string, Example> found;
    const std::vector<Block> all = blocks();
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].kind.rfind("hex ", 0) != 0) {
            continue;
        }
        Example example{bytes_of_dump(all[i].lines), ""};
        if (i + 1 < all.size() && all[i + 1].kind == "text") {
            for (const std::string &line : all[i + 1].lines) {
                example.says += (example.says.empty() ? "" : "\n") + line;
            }
        }
        EXPECT_TRUE(found.emplace(all[i].kind.substr(4), example).second) << all[i].kind;
    }
    return found;
}

// --- Byte order ------------------------------------------------------------------------

// Numbers of an example, in the order of this machine.
class HostOrder {
  public:
    explicit HostOrder(std::string bytes) : bytes_(std::move(bytes)) {
        for (std::size_t i = 0; i < 4; ++i) {
            turn(4 * i, 4);
        }
    }
    void turn(std::size_t offset, std::size_t size) {
        if (is_little_endian()) {
            const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(offset);
            std::reverse(first, first + static_cast<std::ptrdiff_t>(size));
        }
    }
    void turn(const configd::RecordLayout &record, std::size_t start) {
        for (const configd::Field &field : record) {
            if (field.type == configd::FieldType::AddressFamily) {
                turn(configd::layout_of<address_family_val>, start + field.offset);
            } else if (field.type == configd::FieldType::Signed ||
                       field.type == configd::FieldType::Unsigned) {
                turn(start + field.offset, field.size);
            }
        }
    }
    // Swaps the numbers of a record and moves to its end.
    void turn(const configd::RecordLayout &record) {
        turn(record, position_);
        position_ += record.size;
    }
    // The same of a number, a flag or a text of the packed reply.
    void number() {
        turn(position_, 4);
        position_ += 4;
    }
    void flag() { ++position_; }
    void text() { position_ += std::string(bytes_.data() + position_).size() + 1; }

    const std::string &bytes() const { return bytes_; }
    std::size_t position() const { return position_; }

  private:
    std::string bytes_;
    std::size_t position_ = configd::header_size;
};

// --- Requests ----------------------------------------------------------------------------

TEST(ProtocolDocument, HasAnExampleOfEveryMessageInBothDirections) {
    std::set<std::string> names{"result"};
    for (std::int32_t code = 1; code < BGP_SUB_MAX; ++code) {
        const configd::RecordKind &kind = *configd::find_record_kind(code);
        names.insert(kind.name);
        if (kind.is_query()) {
            names.insert(std::string("reply ") + kind.name);
        }
    }
    std::set<std::string> found;
    for (const auto &[name, example] : examples()) {
        found.insert(name);
    }
    EXPECT_EQ(found, names);
}

TEST(ProtocolDocument, RequestsMatchTheTextBelowThem) {
    const auto all = examples();
    for (std::int32_t code = 1; code < BGP_SUB_MAX; ++code) {
        const configd::RecordKind &kind = *configd::find_record_kind(code);
        const Example &example = all.at(kind.name);
        HostOrder host(example.bytes);
        ASSERT_EQ(example.bytes.size(), configd::header_size + kind.record->size) << kind.name;
        host.turn(*kind.record);
        const configd::Message message = configd::message_from_bytes(host.bytes());
        EXPECT_EQ(message.sub_mod, code);
        EXPECT_EQ(configd::readable(message), example.says);
    }
}

TEST(ProtocolDocument, ResultCodeMatchesTheText) {
    EXPECT_EQ(examples().at("result").bytes, std::string("\0\0\0\x11", 4));
}

// --- Replies -----------------------------------------------------------------------------

// Parses the reply and prints its values as the document does.
std::string published(support::ReplyParser parse, const std::string &bytes) {
    std::int32_t sub_mod = 0;
    std::memcpy(&sub_mod, bytes.data() + 4, sizeof sub_mod);
    support::Reply reply(sub_mod, bytes.substr(configd::header_size));
    support::Values values;
    EXPECT_EQ(values.fill([&](sr_val_t **array, std::size_t *count) {
        return parse(array, count, reply.message());
    }),
              0);
    std::string text;
    for (const support::Output &output : values.outputs()) {
        text += (text.empty() ? "" : "\n") + output.xpath + " = " + output.value;
    }
    return text;
}

template <typename... Records>
void turn(HostOrder &host) {
    (host.turn(configd::layout_of<Records>), ...);
}

// A reply: its parser, and the numbers in its example.
struct ReplyExample {
    const char *name;
    support::ReplyParser parse;
    void (*turn_numbers)(HostOrder &host);

    friend void PrintTo(const ReplyExample &row, std::ostream *out) { *out << row.name; }
};

void turn_evpn(HostOrder &host) {
    host.number(); // values
    host.number(); // distinguishers
    host.text();
    host.number(); // routes
    host.text();
    for (int i = 0; i < 4; ++i) { // three flags and "a community follows"
        host.flag();
    }
    host.text();
    host.flag(); // "a label follows"
    host.text();
    host.number(); // next hops
    host.text();
    for (int i = 0; i < 3; ++i) {
        host.number();
    }
    host.text();
}

constexpr ReplyExample reply_examples[] = {
    {"reply BGP_SUB_RPC_IP_BGP_EVPN", ip_bgp_evpn_output_parse, turn_evpn},
    {"reply BGP_SUB_RPC_IP_BGP_INFO", ip_bgp_info_output_parse,
     [](HostOrder &host) {
         host.number();
         turn<bgp_rpc_ip_bgp_info_output_public, bgp_rpc_ip_bgp_info_output_entry,
              bgp_rpc_ip_bgp_info_next_hop_output_entry>(host);
     }},
    {"reply BGP_SUB_RPC_IP_BGP_NEIGHBOR", ip_bgp_neighbor_output_parse,
     [](HostOrder &host) {
         host.number();
         turn<bgp_rpc_ip_bgp_neighbor_output_neighbor,
              bgp_rpc_ip_bgp_neighbor_output_addrsss_family>(host);
     }},
    {"reply BGP_SUB_RPC_IP_BGP_SUMMARY", ip_bgp_summary_output_parse,
     turn<bgp_rpc_ip_bgp_summary_output_neighbors, bgp_rpc_ip_bgp_summary_output_entry>},
};
static_assert(std::size(reply_examples) == configd::query_count - 1,
              "one row for each query, except BGP_SUB_RPC_CLEAR_IP_BGP");

class ReplyInTheDocument : public support::PluginTest,
                           public testing::WithParamInterface<ReplyExample> {};
INSTANTIATE_TEST_SUITE_P(Each, ReplyInTheDocument, testing::ValuesIn(reply_examples));

TEST_P(ReplyInTheDocument, IsCompleteAndPublishesTheValuesBelowIt) {
    const auto &[name, parse, turn_numbers] = GetParam();
    const Example example = examples().at(name);
    HostOrder host(example.bytes);
    turn_numbers(host);
    EXPECT_EQ(host.position(), host.bytes().size());
    EXPECT_EQ(published(parse, host.bytes()), example.says);
}

// --- Tables --------------------------------------------------------------------------------

// The cells of the rows of the table with this heading, without the marks of code.
std::vector<std::vector<std::string>> table(const std::string &heading) {
    std::vector<std::vector<std::string>> rows;
    bool here = false;
    for (const std::string &line : document()) {
        here = here ? line.rfind('|', 0) == 0 : line == heading;
        if (!here || line == heading || line.rfind("|-", 0) == 0) {
            continue;
        }
        std::istringstream cells(line.substr(1));
        rows.emplace_back();
        for (std::string cell; std::getline(cells, cell, '|');) {
            const std::size_t first = cell.find_first_not_of(" `");
            rows.back().push_back(
                first == std::string::npos
                    ? ""
                    : cell.substr(first, cell.find_last_not_of(" `") - first + 1));
        }
    }
    return rows;
}

TEST(ProtocolDocument, ResultCodesMatchTheHeader) {
    const std::map<std::string, int> names = {{"SR_ERR_OK", SR_ERR_OK},
                                              {"SR_ERR_INVALID_VALUE", SR_ERR_INVALID_VALUE},
                                              {"SR_ERR_NO_EXISTS_CONFIG", SR_ERR_NO_EXISTS_CONFIG},
                                              {"SR_ERR_CONFIG_FAILED", SR_ERR_CONFIG_FAILED},
                                              {"SR_ERR_NOT_SUPPORT", SR_ERR_NOT_SUPPORT},
                                              {"SR_ERR_SOCKET_FAILED", SR_ERR_SOCKET_FAILED}};
    std::map<std::string, int> found;
    for (const auto &row : table("| Code | Name | When to use it |")) {
        found[row.at(1)] = std::stoi(row.at(0));
    }
    EXPECT_EQ(found, names);
}

} // namespace
