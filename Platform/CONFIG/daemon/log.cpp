#include "log.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <poll.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <utility>

namespace configd {
namespace {

using nlohmann::ordered_json;

struct AnswerText {
    std::string operator()(const ResultCode &answer) const {
        return fmt::format("{}", answer.code);
    }
    std::string operator()(const Reply &answer) const {
        return fmt::format("reply resValue={} dataLen={}", answer.res_value,
                           header_size + answer.payload.size());
    }
    std::string operator()(const RawBytes &answer) const {
        return fmt::format("{} raw bytes{}", answer.bytes.size(),
                           answer.close_after ? ", close" : "");
    }
    std::string operator()(const Silence & /*answer*/) const { return "no answer"; }
};

struct AnswerObject {
    ordered_json operator()(const ResultCode &answer) const { return {{"code", answer.code}}; }
    ordered_json operator()(const Reply &answer) const {
        return {{"module", answer.module},
                {"subMod", answer.sub_mod},
                {"resValue", answer.res_value},
                {"dataLen", header_size + answer.payload.size()}};
    }
    ordered_json operator()(const RawBytes &answer) const {
        return {{"rawBytes", answer.bytes.size()}, {"close", answer.close_after}};
    }
    ordered_json operator()(const Silence & /*answer*/) const { return nullptr; }
};

// An event's name in JSON and its words in text.
struct EventName {
    const char *name;
    const char *text;
};

// The text in one line, whatever a peer put into it.
std::string printable(std::string text) {
    for (char &character : text) {
        const auto byte = static_cast<unsigned char>(character);
        character = byte < 0x20 || byte == 0x7f ? '?' : character;
    }
    return text;
}

EventName name_of(ConnectionEvent::Kind kind) {
    switch (kind) {
    case ConnectionEvent::Kind::Opened:
        return {"opened", "opened"};
    case ConnectionEvent::Kind::Closed:
        return {"closed", "closed"};
    case ConnectionEvent::Kind::BadFrame:
        return {"bad_frame", "bad frame"};
    case ConnectionEvent::Kind::Refused:
        break;
    }
    return {"refused", "refused"};
}

} // namespace

void Log::listening(std::uint16_t port) {
    if (format_ == LogFormat::Json) {
        line(json_line(
            {{"event", "listening"}, {"address", NETCONF_DAEMON_ADDRESS}, {"port", port}}));
    } else {
        line(fmt::format("listening on {}:{}", NETCONF_DAEMON_ADDRESS, port));
    }
}

void Log::connection(const ConnectionEvent &event) {
    const EventName name = name_of(event.kind);
    const bool has_detail = !event.detail.empty();
    if (format_ == LogFormat::Text) {
        line(fmt::format("connection {} {}{}{}", event.connection, name.text,
                         has_detail ? ": " : "", event.detail));
    } else if (format_ == LogFormat::Json) {
        ordered_json object{{"event", name.name}, {"connection", event.connection}};
        if (has_detail) {
            object["error"] = event.detail;
        }
        line(json_line(object));
    }
}

void Log::message(const Message &message, const std::string &error, const Answer &answer) {
    if (format_ == LogFormat::Text) {
        line(fmt::format("{}{}{}{} -> {}", readable(message), error.empty() ? "" : " (", error,
                         error.empty() ? "" : ")", std::visit(AnswerText{}, answer)));
    } else if (format_ == LogFormat::Json) {
        ordered_json object{{"event", "message"}};
        object.update(decode(message));
        if (!error.empty()) {
            object["error"] = error;
        }
        object["answer"] = std::visit(AnswerObject{}, answer);
        line(json_line(object));
    }
}

void Log::note(const RecordKind &kind, const std::string &text) {
    if (format_ == LogFormat::Text) {
        line(fmt::format("{}: {}", kind.name, printable(text)));
    } else if (format_ == LogFormat::Json) {
        line(json_line({{"event", "note"}, {"name", kind.name}, {"text", text}}));
    }
}

void Log::configuration(const ordered_json &configuration) {
    if (format_ == LogFormat::Json) {
        line(json_line({{"event", "configuration"}, {"configuration", configuration}}));
    } else {
        line(json_line(configuration));
    }
}

void Log::line(const std::string &text) {
    // A line that a full disk, a closed pipe or a pipe that nobody reads does not accept is lost.
    // Later lines are not.
    out_.clear();
    const std::string whole = (is_cut_ ? "\n" : "") + text + '\n';
    for (std::size_t at = 0; at < whole.size(); at += PIPE_BUF) {
        if (!takes_more()) {
            is_cut_ = is_cut_ || at != 0;
            return;
        }
        const std::size_t size = std::min<std::size_t>(PIPE_BUF, whole.size() - at);
        out_.write(whole.data() + at, static_cast<std::streamsize>(size)) << std::flush;
    }
    is_cut_ = false;
}

// Whether PIPE_BUF bytes can be written without waiting. Waits a second for a reader, but not again
// as long as it does not read.
bool Log::takes_more() {
    pollfd output{descriptor_, POLLOUT, 0};
    if (descriptor_ >= 0 && ::poll(&output, 1, is_stalled_ ? 0 : 1000) == 0) {
        is_stalled_ = true;
        return false;
    }
    is_stalled_ = false;
    return true;
}

} // namespace configd
