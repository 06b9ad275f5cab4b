// How an input describes what arrives as the answer to a query.
#ifndef FUZZ_READER_INPUT_H
#define FUZZ_READER_INPUT_H

#include "input.h"

#include "netconf_public.h"

#include <climits>
#include <cstdint>

namespace fuzz {

// An exchange: its course, the query's module, whether the transport traces it, and, unless nothing
// is written, the reply, its pieces, and after how many seconds it comes (byte). What comes too
// late is there for the next query on the same connection.
enum class Course : std::uint32_t { answered, wait_fails, write_fails, count };

inline constexpr std::uint32_t longest_wait = 60; // seconds

inline constexpr std::int32_t modules[] = {MODULE_ID_BGP, MODULE_ID_VLAN, 0, -1};

// The reply's dataLen: the real length, the real length plus a byte minus 128, one of the lengths
// at a limit, or any.
enum class Length : std::uint32_t { true_one, near_it, on_an_edge, any, count };

inline constexpr std::int32_t edge_lengths[] = {
    0, 1, 15, 16, 17, -1, INT_MIN, INT_MAX, BUF_SIZE_MAX - 1, BUF_SIZE_MAX, BUF_SIZE_MAX + 1};

// The payload: a byte and how often it is repeated (half). This number means more than the buffer
// holds.
inline constexpr std::uint32_t beyond_the_buffer = 0xffff;
inline constexpr std::uint32_t longest_payload = 8192; // otherwise: modulo this

// Then the number of pieces (byte), and for each its length (half) or one of these; the rest comes
// in one piece. At the end the daemon closes or breaks the connection (byte, even or odd).
inline constexpr std::uint32_t piece_closes = 0;
inline constexpr std::uint32_t piece_fails = 0xffff;

} // namespace fuzz

#endif
