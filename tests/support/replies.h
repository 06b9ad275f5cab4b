// Replies of the daemon, built field by field, and the output values that a
// parser returns for them.
#ifndef TEST_REPLIES_H
#define TEST_REPLIES_H

#include "plugin_test.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// --- Output values ---------------------------------------------------------------

// One output value. Numbers and booleans are shown as text; a text that is
// missing is shown as "(null)".
struct Output {
    std::string xpath;
    sr_type_t type;
    std::string value;

    friend bool operator==(const Output &left, const Output &right) {
        return left.xpath == right.xpath && left.type == right.type && left.value == right.value;
    }
    friend std::ostream &operator<<(std::ostream &out, const Output &output) {
        return out << output.xpath << " (type " << output.type << ") = " << output.value << '\n';
    }
};
using Outputs = std::vector<Output>;

using ReplyParser = int (*)(sr_val_t **, size_t *, netconf_data_struc *);

// The output array of an RPC, with the values that it has before the call. It
// owns the array and all copies in it, as sysrepo does after the call.
class Values {
  public:
    // The values before the call have no XPath, no type and dflt set, and all
    // bits of their data are set.
    explicit Values(std::size_t count = 0);
    Values(const Values &) = delete;
    Values &operator=(const Values &) = delete;
    ~Values();

    // Lets `call(&array, &count)` fill the array and returns its result. The array
    // then has the size that the call requested from sr_realloc_values.
    template <typename Call>
    int fill(Call call) {
        const std::size_t reallocs_before = scripted::sysrepo().reallocs.size();
        const int result = call(&array_, &count_);
        const scripted::Sysrepo &sysrepo = scripted::sysrepo();
        const auto &reallocs = sysrepo.reallocs;
        if (reallocs.size() > reallocs_before && sysrepo.realloc_result == SR_ERR_OK &&
            reallocs.back().second <= sysrepo.realloc_limit) {
            room_ = reallocs.back().second;
        }
        return result;
    }

    std::size_t size() const { return count_; }

    // The values that the count includes.
    Outputs outputs() const { return first(count_); }
    // The values that have been written, counted or not.
    Outputs written() const { return first(written_count()); }
    std::size_t written_count() const;
    const sr_val_t &at(std::size_t index) const { return array_[index]; }

    // The size of the array.
    std::size_t room() const { return room_; }

  private:
    Outputs first(std::size_t count) const;

    sr_val_t *array_;
    std::size_t count_;
    std::size_t room_;
};

// --- Replies -----------------------------------------------------------------------

// A reply in a buffer as long as the transport's, followed by zeros or by another
// byte that a test chooses.
class Reply {
  public:
    // The payload takes at most BUF_SIZE_MAX - 16 bytes; dataLen counts it.
    explicit Reply(int sub_mod, const std::string &payload = {}, char behind = '\0');

    Reply &payload(const std::string &bytes);
    Reply &module(int module);
    Reply &sub_mod(int sub_mod);
    Reply &length(std::int64_t length); // any dataLen
    netconf_data_struc *message() const { return buffer_.get(); }

  private:
    struct Free {
        void operator()(netconf_data_struc *buffer) const { std::free(buffer); }
    };

    std::unique_ptr<netconf_data_struc, Free> buffer_;
    std::size_t used_ = 0;
    char behind_;
};

// The size of the largest payload.
inline constexpr std::size_t payload_limit = BUF_SIZE_MAX - sizeof(netconf_data_struc);

// --- Records of fixed size ---------------------------------------------------------

// How a field's number is published; nothing when it is not published.
using NumberShown = std::optional<std::string> (*)(std::uint32_t number);

// A field of a record, and the leaf that it is published as.
struct WireField {
    const char *name;
    std::size_t offset;
    std::size_t size;
    bool is_text;
    const char *leaf = nullptr; // no leaf
    sr_type_t type = SR_UNKNOWN_T;
    NumberShown shown = nullptr; // a text is shown as it is
};

// A record, and the start of the XPaths of its leaves, with %s for a key.
struct WireRecord {
    std::size_t size;
    const char *xpath;
    std::vector<WireField> fields; // in the order of the leaves

    const WireField &field(std::string_view name) const;
    std::uint32_t leaves() const; // of one record, at most
};

extern const WireRecord summary_block, summary_entry;
extern const WireRecord peer_record, family_record;
extern const WireRecord table_record, network_record, next_hop_record;

// The bytes of one record: zeros, and the contents of its fields.
class Record {
  public:
    explicit Record(const WireRecord &layout);
    // Gives every field a content that no other field has, and no field with another
    // `seed`. Write the counts of following records afterwards.
    Record(const WireRecord &layout, unsigned seed);

    // A text that is longer than its field is cut; one that fills it has no NUL.
    Record &put(std::string_view name, const std::string &text);
    Record &put(std::string_view name, std::uint32_t number);
    const std::string &bytes() const { return bytes_; }

    std::string text(std::string_view name) const { return text(layout_->field(name)); }
    std::uint32_t number(std::string_view name) const { return number(layout_->field(name)); }

    // The record's values in the array's order, below the XPath with these keys.
    Outputs outputs(const std::vector<std::string> &keys) const;
    // The lines of the fields from the offset on, in the record's order: the prefix and the name in
    // a column of this width, then the content, a number with its sign.
    std::string traced(const std::string &prefix, std::size_t width, std::size_t from = 0) const;

    // The record as it is in a payload.
    static Record at(const WireRecord &layout, std::string_view payload, std::size_t offset);

  private:
    std::string text(const WireField &row) const;
    std::uint32_t number(const WireField &row) const;

    const WireRecord *layout_;
    std::string bytes_;
};

// `format` with each %s replaced by the next key.
std::string filled(const std::string &format, const std::vector<std::string> &keys);
// An XPath as it is published: at most 999 characters.
std::string cut_xpath(std::string xpath);

void append(Outputs &outputs, Outputs more);

// --- The packed stream of the EVPN reply -------------------------------------------

struct EvpnNextHop {
    std::string address;
    std::uint32_t metric, local_preference, weight;
    std::string as_path;
};
// A text that may be absent, after the byte that says whether it is present.
struct EvpnText {
    char presence = 0;
    std::string text = {};
};
struct EvpnRoute {
    std::string name;
    signed char valid, select, source;
    EvpnText community = {}, label = {};
    std::vector<EvpnNextHop> next_hops = {};
};
struct EvpnDistinguisher {
    std::string name;
    std::vector<EvpnRoute> routes = {};
};

std::string packed(std::uint32_t number);
std::string packed(const std::string &text); // with its NUL
std::string packed(const EvpnNextHop &next_hop);
std::string packed(const EvpnText &text);
std::string packed(const EvpnRoute &route);
std::string packed(const EvpnDistinguisher &distinguisher);
template <typename Item>
std::string packed(const std::vector<Item> &items) {
    std::string bytes = packed(static_cast<std::uint32_t>(items.size()));
    for (const Item &item : items) {
        bytes += packed(item);
    }
    return bytes;
}
// A whole payload.
std::string evpn_payload(std::uint32_t get_count, const std::vector<EvpnDistinguisher> &items);

// --- Running a parser ----------------------------------------------------------------

// Shared by the tests of the reply parsers.
class ReplyTest : public PluginTest {
  protected:
    ReplyTest(ReplyParser parser, int sub_mod) : parser_(parser), sub_mod_(sub_mod) {}

    int parse(Values &values, const std::string &payload) {
        return parse(values, Reply(sub_mod_, payload));
    }
    int parse(Values &values, const Reply &reply) {
        return values.fill([&](sr_val_t **array, size_t *count) {
            return parser_(array, count, reply.message());
        });
    }

    // The output while a reply is parsed.
    std::string printed(const std::string &payload) { return printed(Reply(sub_mod_, payload)); }
    std::string printed(const Reply &reply) {
        Values values;
        const CapturedOutput output;
        parse(values, reply);
        return output.text();
    }

    const ReplyParser parser_;
    const int sub_mod_;
};

} // namespace support

#endif
