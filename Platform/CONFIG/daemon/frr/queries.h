// Answers queries from bgpd.
#ifndef CONFIGD_FRR_QUERIES_H
#define CONFIGD_FRR_QUERIES_H

#include "backend.h"
#include "frr/vty_answer.h"
#include "message.h"

namespace configd::frr {

// The answer to a query (sub-module codes 18 to 22) with a record of its size, from what `ask`
// says. Nothing that comes back makes it throw: a member that is missing or of another type is 0
// or empty in the reply. A query is refused with SR_ERR_INVALID_VALUE before anything is asked
// when a text in it is no word of a command line; when bgpd cannot be asked, the result is
// SR_ERR_SOCKET_FAILED. Both come with the payload of a reply without entries.
QueryResult answer_query(const Message &message, const AskVty &ask);

} // namespace configd::frr

#endif
