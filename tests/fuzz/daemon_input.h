// How an input says which messages reach the daemon.
#ifndef FUZZ_DAEMON_INPUT_H
#define FUZZ_DAEMON_INPUT_H

#include "input.h"

#include <cstdint>

namespace fuzz {

// A message: what is unusual of it (byte), its sub-module code (byte), what belongs to
// the former, and its record: a text or a number for each field, `op` one of these.
enum MessageFlags : std::uint32_t {
    message_other_module = 1, // then which one (number)
    message_other_length = 2, // then the dataLen (number)
    message_raw = 4,          // the record is bytes as they are
    message_longer = 8,       // then a text behind the record
};

inline constexpr std::int32_t operations[] = {1, 0, -1, 2};

// Sub-module codes are taken modulo this: some lie outside those that there are.
inline constexpr std::uint32_t sub_mod_range = 26;

} // namespace fuzz

#endif
