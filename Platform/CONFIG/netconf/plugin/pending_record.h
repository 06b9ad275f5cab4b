// Pending record: the record that is being filled, and how it is sent.
#ifndef PENDING_RECORD_H
#define PENDING_RECORD_H

#include "plugin_public.h"
#include "refusal.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

// The daemon's refusals, in the words for the client.
struct DaemonCode {
    int code;
    const char *meaning;
    const char *advice;
};
inline constexpr DaemonCode daemon_codes[] = {
    {SR_ERR_INVALID_VALUE, "invalid value", "correct the value"},
    {SR_ERR_NO_EXISTS_CONFIG, "configuration does not exist", "configure what it belongs to first"},
    {SR_ERR_CONFIG_FAILED, "configuration failed", "see the daemon's log"},
    {SR_ERR_NOT_SUPPORT, "not supported", "leave the setting out"},
    {SR_ERR_SOCKET_FAILED, "connection failed", "see the daemon's log"},
};

// Notes the refusal of the daemon, unless the transport has noted why no answer came.
inline void note_daemon_code(int code) {
    const auto *row = std::find_if(std::begin(daemon_codes), std::end(daemon_codes),
                                   [code](const DaemonCode &known) { return known.code == code; });
    const bool known = row != std::end(daemon_codes);
    refusal.because("the configuration daemon refused it with code %d, \"%s\"; %s", code,
                    known ? row->meaning : sr_strerror(code),
                    known ? row->advice : "see the daemon's log");
}

inline constexpr std::size_t send_buffer_size = 1500; // bytes, no record is longer

// The record that the next plugin_config sends. Its bytes stay after it has been
// sent: a later record of the same edit overwrites only some of them.
struct PendingRecord {
    alignas(std::max_align_t) char data[send_buffer_size] = {};
    uint32_t length = 0;  // bytes; 0: none
    uint32_t sub_mod = 0; // 0: none

    // Replaces the pending record with a complete one.
    template <typename Record>
    void hold(const Record &record, uint32_t code) {
        static_assert(sizeof record <= sizeof data, "every record fits the send buffer");
        std::memcpy(data, &record, sizeof record);
        length = sizeof record;
        sub_mod = code;
    }

    // Sends the record; `operation` is the one of the current change. Returns the code of the
    // daemon or of the transport, and notes a refusal for the client.
    int send(sr_change_oper_t operation) {
        const int rc = plugin_config(data, static_cast<int>(length), operation, MODULE_ID_BGP,
                                     static_cast<int>(sub_mod));
        if (rc != SR_ERR_OK) {
            note_daemon_code(rc);
        }
        return rc;
    }
    void clear() { length = sub_mod = 0; }
};

#endif
