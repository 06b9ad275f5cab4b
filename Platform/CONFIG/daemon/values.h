// Checks texts of the configuration as a switch would.
#ifndef CONFIGD_VALUES_H
#define CONFIGD_VALUES_H

#include <cstdint>
#include <optional>
#include <string>

namespace configd {

// Whether the text is a router identifier: an IPv4 address other than 0.0.0.0.
bool is_router_id(const std::string &text);

// Whether the text is an IPv4 or IPv6 address, alone or with a valid prefix length.
bool is_prefix(const std::string &text);

// The AS number that the text is: 1 to 4294967295, or two 16-bit numbers with a dot between them
// (asdot). Nothing if it is none.
std::optional<std::uint32_t> as_number(const std::string &text);

} // namespace configd

#endif
