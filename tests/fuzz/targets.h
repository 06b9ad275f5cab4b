// The fuzz targets: each reads an input, runs the code under test on it, and prints
// why and aborts when the code does something wrong.
#ifndef FUZZ_TARGETS_H
#define FUZZ_TARGETS_H

#include <cstddef>
#include <cstdint>

namespace fuzz {

using Target = void (*)(const std::uint8_t *data, std::size_t size);

// A reply of the daemon, and the result of its parser.
void evpn_reply(const std::uint8_t *data, std::size_t size);
void info_reply(const std::uint8_t *data, std::size_t size);
void neighbor_reply(const std::uint8_t *data, std::size_t size);
void summary_reply(const std::uint8_t *data, std::size_t size);
// A reply of up to 16,384 values; the first byte selects one of the four.
void large_reply(const std::uint8_t *data, std::size_t size);

// Replies that arrive in pieces, too late, incomplete or not at all.
void reply_reader(const std::uint8_t *data, std::size_t size);

// An edit as sysrepo reports it, and the daemon's answers to its records.
void as_change(const std::uint8_t *data, std::size_t size);
void globle_change(const std::uint8_t *data, std::size_t size);
void family_change(const std::uint8_t *data, std::size_t size);
void vrf_family_change(const std::uint8_t *data, std::size_t size);

// Messages that the configuration daemon receives.
void daemon_message(const std::uint8_t *data, std::size_t size);

// Prints why and ends the process, unless `holds`.
void require(bool holds, const char *why);

// Call it before the first target. It discards the output of the plug-in, and makes a
// failed expectation in code shared with the unit tests end the process.
void prepare();

} // namespace fuzz

#endif
