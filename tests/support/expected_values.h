// A second, simple description of the reply parsers. Tests compare the output
// values of the plug-in's parsers with it.
#ifndef EXPECTED_VALUES_H
#define EXPECTED_VALUES_H

#include "replies.h"
#include "wire.h"

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

namespace support {

// The result of a parser for a reply that it does not refuse.
struct Expected {
    int result = SR_ERR_OK;
    bool sets_count = true;
    Outputs outputs = {};
    const char *line = ""; // that is always printed
};

// A parser, its expected result for a payload, and a payload that has values of every kind.
struct Parser {
    const char *name;
    ReplyParser parse;
    int sub_mod;
    std::size_t most_values; // that it may request room for
    const char *no_array;    // line when there is no array for the values
    Expected (*expected)(std::string_view payload);
    std::string (*sample)();
};

extern const Parser evpn_parser, info_parser, neighbor_parser, summary_parser;

// One for each query whose reply has values: all but BGP_SUB_RPC_CLEAR_IP_BGP.
inline constexpr const Parser *parsers[] = {&evpn_parser, &info_parser, &neighbor_parser,
                                            &summary_parser};
static_assert(std::size(parsers) == configd::query_count - 1, "one row for each query");

} // namespace support

#endif
