// The changes of an edit, and the records that the plug-in passes to the transport with
// their change operation. A test program that includes this links
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

// --- Changes -----------------------------------------------------------------------

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

    RecordingDaemon daemon;
    SentRecords sends;
};

} // namespace support

#endif
