// Generates the tables of the dissector and of docs/protocol.md from the records.
#ifndef CONFIGD_WIRE_TABLES_H
#define CONFIGD_WIRE_TABLES_H

#include <string>

namespace configd::wire {

// The tables that the Wireshark dissector reads, as a Lua file.
std::string dissector_tables();

// The document with its tables generated again, each between <!-- begin generated NAME --> and <!--
// end generated -->. The tables are `settings`, `queries` and one for each record by its name.
// `header` is the text of netconf_bgp_public.h, whose comments say what the fields mean.
//
// Throws std::runtime_error when a comment gives another offset or size than the compiler, when a
// comment describes a field that does not exist, and when the document does not have exactly one
// place for each table.
std::string with_tables(const std::string &document, const std::string &header);

} // namespace configd::wire

#endif
