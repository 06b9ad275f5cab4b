// The daemon's log lines.
#ifndef CONFIGD_LOG_H
#define CONFIGD_LOG_H

#include "handler.h"
#include "server.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <ostream>
#include <string>

namespace configd {

enum class LogFormat { Text, Json, None };

// Writes one line for each event, as text or as one JSON object with an `event`, and flushes it.
// With LogFormat::None it writes only what others wait for: listening and configuration.
class Log {
  public:
    // `out` is not owned.
    Log(std::ostream &out, LogFormat format) : out_{out}, format_{format} {}

    // The server is ready for connections on this port.
    void listening(std::uint16_t port);

    // A connection was opened, closed or refused, or broke its framing.
    void connection(const ConnectionEvent &event);

    // A message came in; `error` says what is wrong with it, or is empty.
    void message(const Message &message, const std::string &error, const Answer &answer);

    // A remark about the message logged last.
    void note(const RecordKind &kind, const std::string &text);

    // The configuration, on request, as one JSON object in every format.
    void configuration(const nlohmann::ordered_json &configuration);

  private:
    void line(const std::string &text);

    std::ostream &out_;
    LogFormat format_;
};

} // namespace configd

#endif
