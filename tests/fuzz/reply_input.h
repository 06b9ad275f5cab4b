// How an input says what a reply is.
#ifndef FUZZ_REPLY_INPUT_H
#define FUZZ_REPLY_INPUT_H

#include "input.h"

#include <cstdint>

namespace fuzz {

// The first byte; what is set here is followed by what belongs to it.
enum ReplyFlags : std::uint32_t {
    reply_other_header = 1, // then module, sub-module and dataLen as numbers
    reply_traced = 2,       // debug_bgp is on
    reply_no_memory = 4,    // for the array of values
    reply_full = 8,         // no zeros behind the payload
    reply_values_shift = 4, // from this bit on: how many values the array has before
};

// The payload is put together from pieces: a byte for the kind, then its content.
enum class Piece : std::uint32_t {
    record, // byte: which of the reply's records; each of its fields: a number or a text
    number, // 32 bits
    text,   // with its NUL
    bytes,  // as they are
    run,    // byte: which one; half: how often
    tail,   // nothing: the pieces from here on lie at the buffer's end
    count   // of the kinds
};

} // namespace fuzz

#endif
