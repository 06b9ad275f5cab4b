// How an input describes an edit.
#ifndef FUZZ_CHANGE_INPUT_H
#define FUZZ_CHANGE_INPUT_H

#include "input.h"

#include "bgp_plugin.h"

#include <climits>
#include <cstdint>

namespace fuzz {

// An edit: traced or not (byte, odd or even), the configured AS number, the event, what fails, the
// number of the daemon's answers (byte) and the answers; then the changes, up to the input's end.
inline constexpr std::uint32_t as_numbers[] = {100, 0, 1, 4294967295U};
inline constexpr sr_event_t events[] = {SR_EV_CHANGE, SR_EV_DONE, SR_EV_ABORT, SR_EV_ENABLED,
                                        SR_EV_UPDATE};
enum class Failing : std::uint32_t {
    nothing,
    opening, // then the result
    next,    // then the number of the call (byte) and the result
    count
};
inline constexpr int failures[] = {1, 3, 4, 5, 7};
inline constexpr int answers[] = {0, 1, 5, 7, 16, 18, 20, -1, INT_MAX};

// A change: its operation (byte), which values it has, its path and its values.
enum class Has : std::uint32_t { what_belongs, both, only_the_other, none, count };

// A path: the node of the callback (byte), each key on the path, and what is wrong with it.
enum class KeyIs : std::uint32_t {
    usual,         // the first usual one
    another,       // then which one (byte)
    free,          // then a text
    long_,         // then its length (half)
    missing,       // without the predicate
    double_quoted, // the usual one
    count
};
enum class Wrong : std::uint32_t {
    nothing,
    cut,        // then at which byte (half)
    continued,  // then a text
    spliced,    // then at which byte (half), and a text
    replaced,   // then a text
    lengthened, // then by how much (half)
    missing,
    count
};

// A value. The new and the old value are alike except for their kind.
enum class ValueIs : std::uint32_t {
    text,   // then a text
    number, // then a number
    empty,  // a leaf without value
    list,   // a list entry
    container,
    long_text, // then its length (half)
    any_type,  // then the type (byte), and a number
    missing,   // no text
    count
};

} // namespace fuzz

#endif
