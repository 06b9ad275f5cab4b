// Random queries: the module's RPCs with random input.
#ifndef SOAK_QUERIES_H
#define SOAK_QUERIES_H

#include "configuration.h"
#include "random.h"
#include "session.h"

#include <cstddef>
#include <string>
#include <vector>

namespace soak {

struct Query {
    std::string rpc;
    std::vector<Input> inputs;
    std::string refusal{}; // why it must be refused; empty: it must be answered
};

// One of the five RPCs with one form of its input.
Query draw_query(Random &random);

// The query as text.
std::string description(const Query &query);

// The number of entries that the answer lists; 0 for an RPC without a list.
std::size_t entry_count(const Query &query, const Answer &answer);

// What is wrong with an answer by itself; empty when it is valid.
std::string flaw(const Query &query, const Answer &answer);

// What is wrong with an answer, compared with the configuration of the daemon; empty when it is
// right.
std::string flaw(const Query &query, const Answer &answer, const Configuration &configuration);

} // namespace soak

#endif
