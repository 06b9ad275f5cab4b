// Answers queries from the configuration held and the state known.
#ifndef CONFIGD_QUERIES_H
#define CONFIGD_QUERIES_H

#include "backend.h"
#include "message.h"
#include "state.h"

#include <nlohmann/json_fwd.hpp>

namespace configd {

// The answer to a query with a record of its size; SR_ERR_NOT_SUPPORT for what is no query.
//
// configuration: as Backend::configuration describes it. Neighbours and networks come from it
// alone; `state` adds what the configuration cannot say, and has the EVPN routes.
//
//   EVPN       the routes of one EVPN route type or of all, or those with the text asked for
//   info       the networks of one table, as routes of the switch itself: all, the one with the
//              prefix asked for, or the longest that holds the IPv4 address asked for
//   neighbour  all, or those with the address and in the VRF asked for
//   summary    those in the VRF asked for, or those outside VRFs
//   clear      counts in `state`, for the neighbours of the VRF, those outside VRFs or all, what
//              clearing their established sessions makes happen; SR_ERR_INVALID_VALUE for a
//              reconfig_type above 3
//
// A query that asks for nothing is answered with no entries, and so is one for what is not there.
QueryResult answer_query(const Message &message, const nlohmann::json &configuration, State &state);

} // namespace configd

#endif
