// The configuration daemon: checks each message, has the backend apply it, and logs it.
#ifndef CONFIGD_DAEMON_H
#define CONFIGD_DAEMON_H

#include "backend.h"
#include "handler.h"
#include "log.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace configd {

// What a faulty daemon does instead of answering.
enum class Fault {
    Close, // closes the connection
    Short, // sends 3 bytes and closes the connection
    Silent // never answers
};

// What the daemon answers on purpose instead of the backend, by sub-module code. A fault goes
// before a failure, and that before a canned reply; the backend does not see the message.
struct Overrides {
    std::map<std::int32_t, std::int32_t> codes; // result code to answer
    std::map<std::int32_t, Fault> faults;
    std::map<std::int32_t, std::string> replies = {}; // payload of the reply to a query
};

// Parses SUBMOD=CODE, a 32-bit number in decimal; std::nullopt when it is none.
std::optional<std::pair<std::int32_t, std::int32_t>> parse_failure(std::string_view text);

// Parses SUBMOD=close|short|silent; std::nullopt when it is none.
std::optional<std::pair<std::int32_t, Fault>> parse_fault(std::string_view text);

// Parses SUBMOD=FILE with the sub-module of a query, and reads the file: the payload that answers
// it, of any size that a header can tell. std::nullopt when the text is none or the file is
// longer; throws std::system_error when the file cannot be read.
std::optional<std::pair<std::int32_t, std::string>> parse_reply(std::string_view text);

// What is wrong with a message, and the result code that says so.
struct Refusal {
    std::int32_t code;
    std::string why;
};

// Nothing when the message is one for this daemon; otherwise what is wrong with its module, its
// sub-module code (SR_ERR_NOT_SUPPORT) or its payload's size.
std::optional<Refusal> check(const Message &message);

class Daemon : public Handler {
  public:
    // `backend` and `log` are not owned and outlive the daemon.
    Daemon(Backend &backend, Log &log, Overrides overrides = {});

    // Answers a configuration message with the backend's code and a query with the backend's reply,
    // whose note goes to the log; what check() refuses with the code that it says, in a reply
    // without content when it is a query's.
    Answer answer(const Message &message) override;

    // The same at work, for messages that a slow backend is to answer: configuration messages in
    // the order in which they came.
    std::optional<Job> job_for(const Message &message) override;

    // SR_ERR_OPERATION_FAILED, and a line in the log.
    Answer failed(const Message &message, const std::string &why) override;

  private:
    Answer answer_to(const Message &message, std::string &note);
    void log_answer(const Message &message, const Answer &answer, const std::string &note);
    bool is_overridden(const Message &message) const;
    QueryResult query(const Message &message);

    Backend &backend_;
    Log &log_;
    Overrides overrides_;
};

} // namespace configd

#endif
