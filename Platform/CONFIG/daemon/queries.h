// Answers queries from the configuration and the state.
#ifndef CONFIGD_QUERIES_H
#define CONFIGD_QUERIES_H

#include "backend.h"
#include "message.h"
#include "state.h"

#include <nlohmann/json_fwd.hpp>

namespace configd {

// The answer to a query, whose payload must have the size of its record; SR_ERR_NOT_SUPPORT for any
// other message.
//
// `configuration` is as Backend::configuration() describes it. All neighbors and networks come from
// it. `state` adds what the configuration cannot say, and the EVPN routes.
//
//   EVPN      the routes of one EVPN route type or of all types, or those with the query's text
//   info      the networks of one table, as routes of the switch itself: all, the one with the
//             query's prefix, or the longest that contains the query's IPv4 address
//   neighbor  all neighbors, or those with the query's address and in its VRF
//   summary   the neighbors in the query's VRF, or those outside VRFs
//   clear     changes the counters in `state` as clearing established sessions does: those of the
//             VRF, those outside VRFs or all; SR_ERR_INVALID_VALUE for a reconfig_type above 3
//
// A query that asks for nothing, or for something that does not exist, gets no entries.
QueryResult answer_query(const Message &message, const nlohmann::json &configuration, State &state);

} // namespace configd

#endif
