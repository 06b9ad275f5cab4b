// What holds or applies the configuration behind the daemon.
#ifndef CONFIGD_BACKEND_H
#define CONFIGD_BACKEND_H

#include "message.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>

namespace configd {

// The result value and the payload of a query's reply, at most BUF_SIZE_MAX - 16 bytes. The note
// is for the log: what the reply leaves out or what the query did; mostly empty.
struct QueryResult {
    std::int32_t res_value;
    std::string payload;
    std::string note = {};
};

// The result code of a configuration message: 0 when it took effect, SR_ERR_INVALID_VALUE,
// SR_ERR_CONFIG_FAILED or another. The note is for the log: why it did not; mostly empty.
struct ApplyResult {
    std::int32_t code;
    std::string note = {};
};

// Every message that a backend sees has a record of its size. A sub-module code that it has nothing
// for it answers with SR_ERR_NOT_SUPPORT.
class Backend {
  public:
    Backend() = default;
    Backend(const Backend &) = delete;
    Backend &operator=(const Backend &) = delete;
    virtual ~Backend() = default;

    // Applies a configuration message.
    virtual ApplyResult apply(const Message &message) = 0;

    // Whether apply() and query() may take so long that other messages are not to wait for them.
    // Then apply() and configuration() are called from one other thread, and query() from further
    // ones, by several at once.
    virtual bool is_slow() const { return false; }

    // Ends what is at work, from any thread: the daemon ends.
    virtual void give_up() {}

    // Answers a query.
    virtual QueryResult query(const Message &message) = 0;

    // The configuration held, as nested objects: a node's key is its step in an XPath below
    // /orv_bgp:router-bgp, a list entry's with its key predicates, and a leaf's value is a text,
    // a number, or true for a leaf whose presence is all that the protocol tells. The keys on the
    // way to a leaf, joined by slashes, are its XPath; list keys are no leaves here.
    virtual nlohmann::ordered_json configuration() const = 0;
};

} // namespace configd

#endif
