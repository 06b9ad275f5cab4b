// What stands behind the server: one answer for each message.
#ifndef CONFIGD_HANDLER_H
#define CONFIGD_HANDLER_H

#include "message.h"
#include "plugin_public.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

namespace configd {

// The bare 4 bytes that answer a configuration message.
struct ResultCode {
    std::int32_t code;
};

// The message that answers a query. The payload takes at most INT32_MAX - 16 bytes.
struct Reply {
    std::int32_t module, sub_mod, res_value;
    std::string payload;
};

// Sent as it is; then the connection is closed, if so wanted. Empty: closed at once.
struct RawBytes {
    std::string bytes;
    bool close_after;
};

// Nothing is sent and the connection stays open.
struct Silence {};

using Answer = std::variant<ResultCode, Reply, RawBytes, Silence>;

// An answer that takes its time: first the work, on any thread, then the answer that came of it, in
// the thread in Server::run.
struct Job {
    std::function<void()> work;
    std::function<Answer()> answer;
    bool in_order = false; // one after the other with all such jobs, as their messages came in
};

class Handler {
  public:
    Handler() = default;
    Handler(const Handler &) = delete;
    Handler &operator=(const Handler &) = delete;
    virtual ~Handler() = default;

    // The answer to one well-framed message of any module. Called from the thread in
    // Server::run, for the messages of one connection in the order they came in.
    virtual Answer answer(const Message &message) = 0;

    // What to do for an answer that others are not to wait for; std::nullopt: answer() it. Called
    // as answer() is. The next message of the connection waits for the answer, those of other
    // connections do not; so several jobs may be at work at once.
    virtual std::optional<Job> job_for(const Message & /*message*/) { return std::nullopt; }

    // The answer to a message that answer(), or a job for it, threw at; `why` says what. Throws
    // nothing.
    virtual Answer failed(const Message & /*message*/, const std::string & /*why*/) {
        return ResultCode{SR_ERR_OPERATION_FAILED};
    }
};

} // namespace configd

#endif
