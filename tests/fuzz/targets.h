// The fuzz targets: each reads an input, has the code under test work on it and
// aborts, after saying why, when that does what it must not.
#ifndef FUZZ_TARGETS_H
#define FUZZ_TARGETS_H

#include <cstddef>
#include <cstdint>

namespace fuzz {

using Target = void (*)(const std::uint8_t *data, std::size_t size);

// A reply of the daemon, and what its parser makes of it.
void evpn_reply(const std::uint8_t *data, std::size_t size);
void info_reply(const std::uint8_t *data, std::size_t size);
void neighbor_reply(const std::uint8_t *data, std::size_t size);
void summary_reply(const std::uint8_t *data, std::size_t size);

// Replies that arrive in pieces, too late, broken off or not at all.
void reply_reader(const std::uint8_t *data, std::size_t size);

// An edit as sysrepo hands it out, and the daemon's answers to its records.
void as_change(const std::uint8_t *data, std::size_t size);
void globle_change(const std::uint8_t *data, std::size_t size);
void family_change(const std::uint8_t *data, std::size_t size);
void vrf_family_change(const std::uint8_t *data, std::size_t size);

// Messages as they reach the configuration daemon.
void daemon_message(const std::uint8_t *data, std::size_t size);

// Ends the process, after saying why, unless `holds`.
void require(bool holds, const char *why);

// Call before the first target: what the plug-in prints is not looked at here, and a
// failed expectation of what the targets share with the unit tests ends the process.
void prepare();

} // namespace fuzz

#endif
