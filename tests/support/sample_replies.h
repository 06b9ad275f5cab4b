// The five RPCs as a client sends them, and good replies to them.
#ifndef SAMPLE_REPLIES_H
#define SAMPLE_REPLIES_H

#include "netconf_bgp_public.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace support {

// Puts a text at the start of a field; it fits.
template <std::size_t size>
void put(char (&field)[size], const std::string &text) {
    std::memcpy(field, text.data(), text.size());
}

// The bytes of a record, as they are in a payload.
template <typename Record>
std::string bytes_of(const Record &record) {
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

// An RPC with its input, as XML.
std::string rpc(const std::string &name, const std::string &input = "");

// The payloads of good replies with any number of entries, and typical contents: neighbors
// and networks 10.0.0.0 and up.
std::string summary_payload(std::uint32_t neighbors);
std::string neighbor_payload(std::uint32_t peers = 1);
std::string info_payload(std::uint32_t networks = 1);
std::string evpn_payload(std::uint32_t routes = 1);

// A query that succeeds.
struct SampleQuery {
    std::string name; // of the RPC
    std::int32_t sub_mod;
    std::string call;    // as the client makes it
    std::string payload; // of the daemon's reply
    std::string shown;   // in the client's output; empty: the RPC has none
};

// One of each RPC, by sub-module code.
const std::vector<SampleQuery> &sample_queries();

} // namespace support

#endif
