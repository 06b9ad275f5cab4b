#include "daemon.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace configd {
namespace {

struct FaultName {
    std::string_view name;
    Fault fault;
};

constexpr FaultName fault_names[] = {
    {"close", Fault::Close}, {"short", Fault::Short}, {"silent", Fault::Silent}};

Answer faulty_answer(Fault fault) {
    switch (fault) {
    case Fault::Close:
        return RawBytes{{}, true};
    case Fault::Short:
        return RawBytes{std::string(3, '\0'), true};
    case Fault::Silent:
        break;
    }
    return Silence{};
}

// The two sides of SUBMOD=VALUE, the left one resolved; std::nullopt when it is no such text.
std::optional<std::pair<std::int32_t, std::string_view>> parse_assignment(std::string_view text) {
    const auto separator = text.find('=');
    if (separator == std::string_view::npos) {
        return std::nullopt;
    }
    const auto sub_mod = sub_mod_from_text(text.substr(0, separator));
    if (!sub_mod) {
        return std::nullopt;
    }
    return std::pair{*sub_mod, text.substr(separator + 1)};
}

} // namespace

std::optional<std::pair<std::int32_t, std::int32_t>> parse_failure(std::string_view text) {
    const auto assignment = parse_assignment(text);
    if (!assignment) {
        return std::nullopt;
    }
    const auto [sub_mod, value] = *assignment;
    const char *value_end = value.data() + value.size();
    std::int32_t code = 0;
    const auto [end, error] = std::from_chars(value.data(), value_end, code);
    if (error != std::errc{} || end != value_end) {
        return std::nullopt;
    }
    return std::pair{sub_mod, code};
}

std::optional<std::pair<std::int32_t, Fault>> parse_fault(std::string_view text) {
    const auto assignment = parse_assignment(text);
    if (!assignment) {
        return std::nullopt;
    }
    const auto *row =
        std::find_if(std::begin(fault_names), std::end(fault_names),
                     [&](const FaultName &fault) { return fault.name == assignment->second; });
    if (row == std::end(fault_names)) {
        return std::nullopt;
    }
    return std::pair{assignment->first, row->fault};
}

std::string check(const Message &message) {
    if (message.module != MODULE_ID_BGP) {
        return fmt::format("unknown module {}", message.module);
    }
    const RecordKind *kind = find_record_kind(message.sub_mod);
    if (kind == nullptr) {
        return fmt::format("unknown sub-module {}", message.sub_mod);
    }
    const std::size_t size = message.payload().size();
    if (size != kind->record->size) {
        return fmt::format("{} takes {} bytes, not {}", kind->record->name, kind->record->size,
                           size);
    }
    return {};
}

Daemon::Daemon(Backend &backend, Log &log, Failures failures)
    : backend_{backend}, log_{log}, failures_{std::move(failures)} {}

Answer Daemon::answer(const Message &message) {
    const std::string error = check(message);
    Answer answer = error.empty() ? answer_to(*find_record_kind(message.sub_mod), message)
                                  : ResultCode{SR_ERR_INVALID_VALUE};
    log_.message(message, error, answer);
    return answer;
}

void Daemon::log_configuration() {
    log_.configuration(backend_.configuration());
}

Answer Daemon::answer_to(const RecordKind &kind, const Message &message) {
    if (const auto fault = failures_.faults.find(kind.sub_mod); fault != failures_.faults.end()) {
        return faulty_answer(fault->second);
    }
    const auto code = failures_.codes.find(kind.sub_mod);
    const bool is_failing = code != failures_.codes.end();
    if (!kind.is_query()) {
        return ResultCode{is_failing ? code->second : backend_.apply(message)};
    }
    QueryResult result = is_failing ? QueryResult{code->second, {}} : backend_.query(message);
    return Reply{message.module, message.sub_mod, result.res_value, std::move(result.payload)};
}

} // namespace configd
