// The records that a test expects, and the records that the plug-in passes to the
// transport with their change operation. A test program that includes this links
// with -Wl,--wrap=plugin_config.
#ifndef RECORD_EXPECTATIONS_H
#define RECORD_EXPECTATIONS_H

#include "plugin_test.h"
#include "recording_daemon.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace support {

// --- Sent records ----------------------------------------------------------------

// One call of plugin_config.
struct Sent {
    int sub_mod;
    int option;
    std::string payload;

    friend bool operator==(const Sent &left, const Sent &right) {
        return left.sub_mod == right.sub_mod && left.option == right.option &&
               left.payload == right.payload;
    }

    // The bytes other than zero, each run of them after its offset: texts as
    // texts, other bytes in hexadecimal.
    friend std::ostream &operator<<(std::ostream &out, const Sent &sent) {
        out << "sub-module " << sent.sub_mod << ", option " << sent.option << ", "
            << sent.payload.size() << " bytes:";
        const auto zero = [](char byte) { return byte == '\0'; };
        const auto printable = [](char byte) {
            return std::isprint(static_cast<unsigned char>(byte)) != 0;
        };
        const auto end = sent.payload.end();
        auto first = std::find_if_not(sent.payload.begin(), end, zero);
        while (first != end) {
            const auto past = std::find_if(first, end, zero);
            out << " @" << first - sent.payload.begin() << ' ';
            if (std::all_of(first, past, printable)) {
                out << '"' << std::string(first, past) << '"';
            } else {
                std::for_each(first, past, [&](char byte) { out << hexadecimal(byte); });
            }
            first = std::find_if_not(past, end, zero);
        }
        return out << '\n';
    }

  private:
    static std::string hexadecimal(char byte) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
        return digits;
    }
};

using Records = std::vector<Sent>;

// Records every record that is sent while it exists. Without an `answer`, the
// record goes to the transport.
class SentRecords {
  public:
    SentRecords() { observer() = this; }
    SentRecords(const SentRecords &) = delete;
    SentRecords &operator=(const SentRecords &) = delete;
    ~SentRecords() { observer() = nullptr; }

    // Returns the records sent so far, in order, and clears the list.
    Records take() { return std::exchange(seen_, {}); }

    void see(const void *data, int length, int option, int module, int sub_mod) {
        EXPECT_EQ(module, MODULE_ID_BGP);
        const auto size = static_cast<std::size_t>(length);
        seen_.push_back({sub_mod, option, {static_cast<const char *>(data), size}});
    }

    static SentRecords *&observer() {
        static SentRecords *current = nullptr;
        return current;
    }

    std::function<int()> answer;

  private:
    Records seen_;
};

} // namespace support

extern "C" {

int __real_plugin_config(const void *data, int data_len, int option, int module_id, int sub_mod);

// Only the linker uses this name.
[[gnu::used]] inline int __wrap_plugin_config(void *data, int data_len, int option, int module_id,
                                              int sub_mod) {
    support::SentRecords *observer = support::SentRecords::observer();
    if (observer != nullptr) {
        observer->see(data, data_len, option, module_id, sub_mod);
        if (observer->answer) {
            return observer->answer();
        }
    }
    return __real_plugin_config(data, data_len, option, module_id, sub_mod);
}

} // extern "C"

namespace support {

// --- Expected records --------------------------------------------------------------

// The position of a field in its record.
struct Field {
    std::size_t offset;
    std::size_t size;
};

#define RECORD_FIELD(record, field)                                                                \
    support::Field {                                                                               \
        offsetof(record, field), sizeof(record::field)                                             \
    }

// A record of zeros, or of the bytes that an earlier one left in the send
// buffer, with fields written into it.
class RecordBytes {
  public:
    explicit RecordBytes(std::size_t size, char fill = '\0') : bytes_(size, fill) {}
    RecordBytes(std::size_t size, const RecordBytes &buffer) : bytes_(buffer.bytes_) {
        bytes_.resize(size, '\0');
    }

    RecordBytes &put(Field field, const std::string &text) {
        std::string content = text;
        content.resize(field.size, '\0');
        bytes_.replace(field.offset, field.size, content);
        return *this;
    }
    RecordBytes &put(Field field, std::int64_t number) {
        const auto bits = static_cast<std::uint32_t>(number);
        bytes_.replace(field.offset, field.size, bytes_of(bits));
        return *this;
    }

    const std::string &bytes() const { return bytes_; }
    Sent sent(int sub_mod, int option) const { return {sub_mod, option, bytes_}; }

  private:
    std::string bytes_;
};

// A leaf of a list or container: the value that sysrepo returns for it, and its
// field. Its content is a number, sent as a number, as a text, or as a flag without
// its value.
struct Leaf {
    enum Kind { text, number, flag };

    const char *node;
    int sub_mod;
    Field field;
    Kind kind;

    scripted::Value value(const std::string &path, std::uint32_t content) const {
        switch (kind) {
        case text:
            return scripted::text(path, std::to_string(content));
        case number:
            return scripted::number(path, content);
        default:
            return scripted::node(path, SR_LEAF_EMPTY_T);
        }
    }
    void put(RecordBytes &record, std::uint32_t content) const {
        if (kind == text) {
            record.put(field, std::to_string(content));
        } else {
            record.put(field, kind == flag ? 1 : std::int64_t{content});
        }
    }
};

// A change operation and the record operation code that it becomes.
struct Operation {
    sr_change_oper_t change;
    int op;
};
inline constexpr Operation operations[] = {
    {SR_OP_CREATED, 1}, {SR_OP_MODIFIED, 1}, {SR_OP_DELETED, 0}, {SR_OP_MOVED, -1}};

// A change with the value that counts, `chosen`, and the other value that such a
// change may have, `other`.
inline scripted::Change change_of(sr_change_oper_t operation, scripted::Value chosen,
                                  scripted::Value other) {
    switch (operation) {
    case SR_OP_CREATED:
        return scripted::created(std::move(chosen));
    case SR_OP_MODIFIED:
        return scripted::modified(std::move(other), std::move(chosen));
    case SR_OP_DELETED:
        return scripted::deleted(std::move(chosen));
    default:
        return {operation, std::move(chosen), std::move(other)};
    }
}

// A change that lacks the value that counts.
inline scripted::Change without_value(sr_change_oper_t operation) {
    return {operation, std::nullopt, std::nullopt};
}

// Every type of a value other than a text.
inline constexpr sr_type_t types_without_text[] = {
    SR_LIST_T,       SR_CONTAINER_T,    SR_CONTAINER_PRESENCE_T,
    SR_LEAF_EMPTY_T, SR_NOTIFICATION_T, SR_BOOL_T,
    SR_INT8_T,       SR_DECIMAL64_T,    SR_INT16_T,
    SR_INT32_T,      SR_INT64_T,        SR_UINT8_T,
    SR_UINT16_T,     SR_UINT32_T,       SR_UINT64_T,
};

// The container nodes that the callbacks skip.
inline constexpr const char *list_containers[] = {
    "bgp-family-networks",          "bgp-family-neighbors",    "bgp-family-redistributes",
    "bgp-globle-neighbors",         "bgp-family-vrf-networks", "bgp-family-vrf-neighbors",
    "bgp-family-vrf-redistributes",
};

// --- A change callback and its daemon --------------------------------------------------

using ChangeCallback = int (*)(sr_session_ctx_t *, const char *, const char *, sr_event_t, uint32_t,
                               void *);

class ChangeCallbackTest : public PluginTest {
  protected:
    static constexpr std::uint32_t as = 100; // the configured one

    ChangeCallbackTest() { configure_as(as); }

    static int run(ChangeCallback callback, const char *subscription,
                   std::vector<scripted::Change> changes, sr_event_t event = SR_EV_CHANGE) {
        scripted::sysrepo().changes = std::move(changes);
        return callback(scripted::session(), "orv_bgp", subscription, event, 1, nullptr);
    }

    // The records that were sent since the last call, as the daemon received them.
    Records sent() {
        Records records = sends.take();
        const auto messages = daemon.take_messages();
        EXPECT_EQ(messages.size(), records.size());
        for (std::size_t i = 0; i < std::min(messages.size(), records.size()); ++i) {
            EXPECT_EQ(messages[i].module, MODULE_ID_BGP);
            EXPECT_EQ(messages[i].sub_mod, records[i].sub_mod);
            EXPECT_EQ(messages[i].payload(), records[i].payload);
        }
        return records;
    }

    // Expects that the one line of `output` contains all of `parts`, in order.
    static void expect_one_line(const std::string &output, const std::vector<std::string> &parts) {
        EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << output;
        EXPECT_EQ(output.substr(std::min(output.find('\n'), output.size())), "\n");
        std::size_t position = 0;
        for (const std::string &part : parts) {
            position = output.find(part, position);
            ASSERT_NE(position, std::string::npos) << part << " is not named by: " << output;
            position += part.size();
        }
    }

    RecordingDaemon daemon;
    SentRecords sends;
};

} // namespace support

#endif
