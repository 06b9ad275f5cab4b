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

// What the daemon answers in place of the backend, by sub-module code. A fault has precedence over
// a result code, and a result code over a reply. The backend does not get the message.
struct Overrides {
    std::map<std::int32_t, std::int32_t> codes; // result code to answer
    std::map<std::int32_t, Fault> faults;
    std::map<std::int32_t, std::string> replies = {}; // payload of the reply to a query
};

// Parses SUBMOD=CODE, where CODE is a 32-bit number in decimal. Returns std::nullopt for any other
// text.
std::optional<std::pair<std::int32_t, std::int32_t>> parse_failure(std::string_view text);

// Parses SUBMOD=close|short|silent. Returns std::nullopt for any other text.
std::optional<std::pair<std::int32_t, Fault>> parse_fault(std::string_view text);

// Parses SUBMOD=FILE, where SUBMOD is a query, and reads the file: the payload of the reply. It may
// have any size that dataLen can hold. Returns std::nullopt for any other text and for a longer
// file. Throws std::system_error when the file cannot be read.
std::optional<std::pair<std::int32_t, std::string>> parse_reply(std::string_view text);

// What is wrong with a message, and the result code for it.
struct Refusal {
    std::int32_t code;
    std::string why;
};

// Returns std::nullopt for a message that this daemon supports, otherwise what is wrong with its
// module, its sub-module code (SR_ERR_NOT_SUPPORT) or the size of its payload.
std::optional<Refusal> check(const Message &message);

class Daemon : public Handler {
  public:
    // `backend` and `log` are not owned and must outlive the daemon.
    Daemon(Backend &backend, Log &log, Overrides overrides = {});

    // Answers a configuration message with the backend's code and a query with the backend's reply.
    // The reply's note goes to the log. Answers a message that check() refuses with check()'s code;
    // for a query, in a reply without content.
    Answer answer(const Message &message) override;

    // The same as a job, for messages that a slow backend answers. The jobs of configuration
    // messages run in the order in which the messages came.
    std::optional<Job> job_for(const Message &message) override;

    // Answers SR_ERR_OPERATION_FAILED and writes a line to the log.
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
