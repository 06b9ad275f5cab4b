// Texts of the configuration that a switch would not take.
#ifndef CONFIGD_VALUES_H
#define CONFIGD_VALUES_H

#include <string>

namespace configd {

// An IPv4 address other than 0.0.0.0, as a router identifier is.
bool is_router_id(const std::string &text);

// An IPv4 or IPv6 address, alone or with a prefix length that it has room for.
bool is_prefix(const std::string &text);

// An AS number: 1 to 4294967295, or as two numbers of 16 bits with a dot between them (asdot).
bool is_as_number(const std::string &text);

} // namespace configd

#endif
