// How an input describes the messages to the daemon.
#ifndef FUZZ_DAEMON_INPUT_H
#define FUZZ_DAEMON_INPUT_H

#include "input.h"

#include <cstdint>

namespace fuzz {

// A message: what is unusual about it (byte), its sub-module code (byte), the data of the former,
// and its record: a text or a number for each field, and for `op` one of these.
enum MessageFlags : std::uint32_t {
    message_other_module = 1, // then which one (number)
    message_other_length = 2, // then the dataLen (number)
    message_raw = 4,          // the record is bytes as they are
    message_longer = 8,       // then a text after the record
};

inline constexpr std::int32_t operations[] = {1, 0, -1, 2};

// Sub-module codes are taken modulo this, so some are not valid.
inline constexpr std::uint32_t sub_mod_range = 26;

} // namespace fuzz

#endif
