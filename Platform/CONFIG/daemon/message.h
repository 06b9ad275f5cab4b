// A message of the daemon protocol and how to decode its payload.
#ifndef CONFIGD_MESSAGE_H
#define CONFIGD_MESSAGE_H

#include "wire.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace configd {

constexpr std::size_t header_size = sizeof(netconf_data_struc);

// A whole message. `bytes` begins with the 16-byte header and is as long as its dataLen says.
struct Message {
    std::int32_t module, sub_mod;
    std::string bytes;

    // The bytes after the header, 0 to BUF_SIZE_MAX - 16. A view into `bytes`.
    std::string_view payload() const { return std::string_view{bytes}.substr(header_size); }
};

// The sub-module code in a user's `text`: a number from 1 to 22, or the enumerator's name with or
// without its BGP_SUB_, in upper or lower case.
std::optional<std::int32_t> sub_mod_from_text(std::string_view text);

// The whole message with this header and payload (at most INT32_MAX - 16 bytes), both copied.
Message make_message(std::int32_t module, std::int32_t sub_mod, std::string_view payload,
                     std::int32_t res_value = 0);

// Whether a stream begins with a whole message, with the start of one, or with neither.
enum class Framing { Incomplete, Complete, Broken };

struct Frame {
    Framing framing;
    std::int32_t length; // dataLen, once its bytes are there
};

// A message takes 16 to BUF_SIZE_MAX bytes; a dataLen outside that is Broken.
Frame frame_of(std::string_view input);

// The message in `bytes`, which are at least 16 and as many as the header says.
Message message_from_bytes(std::string bytes);

// The record that the message carries. The payload must have the record's size.
template <typename Record>
Record record_from(const Message &message) {
    Record record;
    std::memcpy(&record, message.payload().data(), sizeof record);
    return record;
}

// The bytes of a record: a view into it.
template <typename Record>
std::string_view bytes_of(const Record &record) {
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

// Calls `use` with the record that the message carries, as its struct. Returns the result, or
// `otherwise` for a sub-module code that is not a setting's. The payload must have the record's
// size.
template <typename Result, typename Use>
Result with_setting(const Message &message, Result otherwise, Use use) {
#define USE(code, record)                                                                          \
    if (message.sub_mod == (code)) {                                                               \
        return use(record_from<record>(message));                                                  \
    }
    CONFIGD_SETTINGS(USE)
#undef USE
    return otherwise;
}

// A number, or a text up to its first NUL or the end of its field: a view into the record.
using FieldValue = std::variant<std::int64_t, std::string_view>;

// The value of a number or text field. `record` must reach at least to the field's end.
FieldValue value_of(const Field &field, std::string_view record);

// The record's fields under their wire names, without reserved bytes: numbers as numbers, texts as
// texts, the embedded address family as a nested object. `payload` holds at least record.size
// bytes. A text may hold any bytes: print it with json_line().
nlohmann::ordered_json decode_record(const RecordLayout &record, std::string_view payload);

// The message as an object: module, subMod and dataLen; for a known sub-module code also its `name`
// and the `record`'s name; and `fields`, when the payload is as long as that record. resValue is
// left out because a configuration request does not define it.
nlohmann::ordered_json decode(const Message &message);

// The same as one readable line, without a line end:
// BGP_SUB_ROUTER_ID bgp_globle_config op=set bgp_id=100 router_id="1.1.1.1"
std::string readable(const Message &message);

// The value on one line. Bytes that are not UTF-8 become U+FFFD.
std::string json_line(const nlohmann::ordered_json &value);

} // namespace configd

#endif
