// What of the dissector and of the protocol's document follows from the records.
#ifndef CONFIGD_WIRE_TABLES_H
#define CONFIGD_WIRE_TABLES_H

#include <string>

namespace configd::wire {

// The tables that the Wireshark dissector reads, as a Lua file.
std::string dissector_tables();

// The document with its tables made anew, each between <!-- begin generated NAME --> and
// <!-- end generated -->: `settings`, `queries` and one for each record by its name. What a field
// means is told by the comments of `header`, the text of netconf_bgp_public.h.
//
// Throws std::runtime_error when a comment says another offset or size than the compiler, when it
// describes no field there is, and when the document has not one place for each table.
std::string with_tables(const std::string &document, const std::string &header);

} // namespace configd::wire

#endif
