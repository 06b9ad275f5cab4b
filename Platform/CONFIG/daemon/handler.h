// The interface between the server and what answers its messages.
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

// Bytes to send as they are. If close_after is set, the connection is then closed; without bytes it
// is closed at once.
struct RawBytes {
    std::string bytes;
    bool close_after;
};

// Nothing is sent and the connection stays open.
struct Silence {};

using Answer = std::variant<ResultCode, Reply, RawBytes, Silence>;

// An answer that takes long. Any thread does the work; then the thread in Server::run calls
// `answer` for the result.
struct Job {
    std::function<void()> work;
    std::function<Answer()> answer;
    bool in_order = false; // such jobs run one at a time, in the order of their messages
};

class Handler {
  public:
    Handler() = default;
    Handler(const Handler &) = delete;
    Handler &operator=(const Handler &) = delete;
    virtual ~Handler() = default;

    // The answer to one well-framed message of any module. The thread in Server::run calls it, for
    // the messages of one connection in the order in which they came.
    virtual Answer answer(const Message &message) = 0;

    // The job for a message whose answer other connections must not wait for; std::nullopt: call
    // answer(). Called as answer() is. The next message of the same connection waits for the
    // answer, so several jobs may run at once for several connections.
    virtual std::optional<Job> job_for(const Message & /*message*/) { return std::nullopt; }

    // The answer to a message for which answer() or its job threw; `why` is the reason. Throws
    // nothing.
    virtual Answer failed(const Message & /*message*/, const std::string & /*why*/) {
        return ResultCode{SR_ERR_OPERATION_FAILED};
    }
};

} // namespace configd

#endif
