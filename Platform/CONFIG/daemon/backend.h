// The interface to what holds or applies the daemon's configuration.
#ifndef CONFIGD_BACKEND_H
#define CONFIGD_BACKEND_H

#include "message.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>

namespace configd {

// The result value and the payload of a query's reply, at most BUF_SIZE_MAX - 16 bytes. The note
// goes to the log: what the reply leaves out or what the query did. It is usually empty.
struct QueryResult {
    std::int32_t res_value;
    std::string payload;
    std::string note = {};
};

// The result code of a configuration message: 0 when it took effect, SR_ERR_INVALID_VALUE,
// SR_ERR_CONFIG_FAILED or another. The note goes to the log: why the message took no effect. It is
// usually empty.
struct ApplyResult {
    std::int32_t code;
    std::string note = {};
};

// The payload of every message that a backend gets has the size of its record. A backend answers a
// sub-module code that it does not support with SR_ERR_NOT_SUPPORT.
class Backend {
  public:
    Backend() = default;
    Backend(const Backend &) = delete;
    Backend &operator=(const Backend &) = delete;
    virtual ~Backend() = default;

    // Applies a configuration message.
    virtual ApplyResult apply(const Message &message) = 0;

    // Whether apply() and query() may take so long that other messages must not wait for them. If
    // so, one other thread calls apply() and configuration(), and further threads call query(),
    // several at once.
    virtual bool is_slow() const { return false; }

    // Aborts the work under way because the daemon ends. Any thread may call it.
    virtual void give_up() {}

    // Answers a query.
    virtual QueryResult query(const Message &message) = 0;

    // The configuration as nested objects. A node's key is its step in an XPath below
    // /orv_bgp:router-bgp, for a list entry with its key predicates. A leaf's value is a text, a
    // number, or true where the protocol tells only that the leaf is present. The keys on the way
    // to a leaf, joined by slashes, are its XPath. List keys are not leaves here.
    virtual nlohmann::ordered_json configuration() const = 0;
};

} // namespace configd

#endif
