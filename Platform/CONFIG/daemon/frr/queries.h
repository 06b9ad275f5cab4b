// Answers queries from bgpd.
#ifndef CONFIGD_FRR_QUERIES_H
#define CONFIGD_FRR_QUERIES_H

#include "backend.h"
#include "frr/vty_answer.h"
#include "message.h"

namespace configd::frr {

// The answer to a query (sub-module codes 18 to 22) from the answers of `ask`. The payload must
// have the size of its record. No answer makes it throw: a member that is missing or of another
// type is 0 or empty in the reply. A query with a text that is not a word of a command line is
// refused with SR_ERR_INVALID_VALUE before anything is asked. When bgpd cannot be reached, the
// result is SR_ERR_SOCKET_FAILED. In both cases the payload is that of a reply without entries.
QueryResult answer_query(const Message &message, const AskVty &ask);

} // namespace configd::frr

#endif
