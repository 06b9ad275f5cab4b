// How an input describes a reply.
#ifndef FUZZ_REPLY_INPUT_H
#define FUZZ_REPLY_INPUT_H

#include "input.h"

#include <cstdint>

namespace fuzz {

// The first byte: flags. The data of each flag follow.
enum ReplyFlags : std::uint32_t {
    reply_other_header = 1, // then module, sub-module and dataLen as numbers
    reply_traced = 2,       // debug_bgp is on
    reply_no_memory = 4,    // for the array of values
    reply_full = 8,         // no zeros after the payload
    reply_values_shift = 4, // from this bit on: how many values the array has before
};

// The payload consists of pieces: a byte for the kind, then its content.
enum class Piece : std::uint32_t {
    record, // byte: which of the reply's records; each of its fields: a number or a text.
            // EVPN: the reply's lists; before each of them a byte with its length
    number, // 32 bits
    text,   // with its NUL
    bytes,  // as they are
    run,    // byte: which one; half: how often
    tail,   // no content: the following pieces are at the end of the buffer
    count   // of the kinds
};

} // namespace fuzz

#endif
