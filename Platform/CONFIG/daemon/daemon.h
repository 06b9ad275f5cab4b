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

// How the daemon misbehaves on purpose, by sub-module code. A fault goes before a failure; the
// message is not applied in either case.
struct Failures {
    std::map<std::int32_t, std::int32_t> codes; // result code to answer
    std::map<std::int32_t, Fault> faults;
};

// Parses SUBMOD=CODE, a 32-bit number in decimal; std::nullopt when it is none.
std::optional<std::pair<std::int32_t, std::int32_t>> parse_failure(std::string_view text);

// Parses SUBMOD=close|short|silent; std::nullopt when it is none.
std::optional<std::pair<std::int32_t, Fault>> parse_fault(std::string_view text);

// What is wrong with the message: its module, its sub-module code or its payload's size. Empty
// when it is one for this daemon.
std::string check(const Message &message);

class Daemon : public Handler {
  public:
    // `backend` and `log` are not owned and outlive the daemon.
    Daemon(Backend &backend, Log &log, Failures failures = {});

    // Answers a message that check() refuses with the result code SR_ERR_INVALID_VALUE, a
    // configuration message with the backend's code, a query with the backend's reply.
    Answer answer(const Message &message) override;

    // Writes the backend's configuration to the log.
    void log_configuration();

  private:
    Answer answer_to(const RecordKind &kind, const Message &message);

    Backend &backend_;
    Log &log_;
    Failures failures_;
};

} // namespace configd

#endif
