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
    // `out` is not owned. `descriptor` is what it writes to, or negative for a stream that always
    // takes what is written.
    Log(std::ostream &out, LogFormat format, int descriptor = -1)
        : out_{out}, format_{format}, descriptor_{descriptor} {}

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
    bool takes_more();

    std::ostream &out_;
    LogFormat format_;
    int descriptor_;
    bool is_stalled_ = false; // nobody reads what was written
    bool is_cut_ = false;     // the last line has no end
};

} // namespace configd

#endif
