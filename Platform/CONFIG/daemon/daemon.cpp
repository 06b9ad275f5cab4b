#include "daemon.h"

#include "file_bytes.h"
#include "plugin_public.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <memory>

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

// The sub-module code and the value in SUBMOD=VALUE; std::nullopt for any other text.
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

// The entry for this sub-module code in a table of overrides, or nullptr.
template <typename T>
const T *find(const std::map<std::int32_t, T> &table, const Message &message) {
    const auto row = table.find(message.sub_mod);
    return row == table.end() ? nullptr : &row->second;
}

// An answer that has only a result: for a query, a reply without content.
Answer answer_with(const Message &message, std::int32_t code) {
    if (is_query(message.sub_mod)) {
        return Reply{message.module, message.sub_mod, code, {}};
    }
    return ResultCode{code};
}

Reply reply_to(const Message &message, QueryResult result) {
    return {message.module, message.sub_mod, result.res_value, std::move(result.payload)};
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

std::optional<std::pair<std::int32_t, std::string>> parse_reply(std::string_view text) {
    constexpr std::size_t longest = std::numeric_limits<std::int32_t>::max() - header_size;
    const auto assignment = parse_assignment(text);
    if (!assignment || !is_query(assignment->first)) {
        return std::nullopt;
    }
    std::string payload = read_file(std::string{assignment->second});
    if (payload.size() > longest) {
        return std::nullopt;
    }
    return std::pair{assignment->first, std::move(payload)};
}

std::optional<Refusal> check(const Message &message) {
    if (message.module != MODULE_ID_BGP) {
        return Refusal{SR_ERR_INVALID_VALUE, fmt::format("unknown module {}", message.module)};
    }
    const RecordKind *kind = find_record_kind(message.sub_mod);
    if (kind == nullptr) {
        return Refusal{SR_ERR_NOT_SUPPORT, fmt::format("unknown sub-module {}", message.sub_mod)};
    }
    const std::size_t size = message.payload().size();
    if (size != kind->record->size) {
        return Refusal{
            SR_ERR_INVALID_VALUE,
            fmt::format("{} takes {} bytes, not {}", kind->record->name, kind->record->size, size)};
    }
    return std::nullopt;
}

Daemon::Daemon(Backend &backend, Log &log, Overrides overrides)
    : backend_{backend}, log_{log}, overrides_{std::move(overrides)} {}

Answer Daemon::answer(const Message &message) {
    if (const auto refusal = check(message)) {
        Answer answer = answer_with(message, refusal->code);
        log_.message(message, refusal->why, answer);
        return answer;
    }
    std::string note;
    Answer answer = answer_to(message, note);
    log_answer(message, answer, note);
    return answer;
}

std::optional<Job> Daemon::job_for(const Message &message) {
    if (!backend_.is_slow() || check(message)) {
        return std::nullopt;
    }
    if (is_overridden(message)) {
        return std::nullopt;
    }
    // The work's result, which the answer takes.
    struct Found {
        Answer answer;
        std::string note;
    };
    const auto found = std::make_shared<Found>();
    return Job{[this, message, found] { found->answer = answer_to(message, found->note); },
               [this, message, found] {
                   log_answer(message, found->answer, found->note);
                   return std::move(found->answer);
               },
               /*in_order=*/!is_query(message.sub_mod)};
}

Answer Daemon::failed(const Message &message, const std::string &why) {
    Answer answer = answer_with(message, SR_ERR_OPERATION_FAILED);
    log_.message(message, why, answer);
    return answer;
}

void Daemon::log_answer(const Message &message, const Answer &answer, const std::string &note) {
    log_.message(message, {}, answer);
    const RecordKind *kind = find_record_kind(message.sub_mod);
    if (kind != nullptr && !note.empty()) {
        log_.note(*kind, note);
    }
}

bool Daemon::is_overridden(const Message &message) const {
    return find(overrides_.faults, message) != nullptr ||
           find(overrides_.codes, message) != nullptr ||
           find(overrides_.replies, message) != nullptr;
}

Answer Daemon::answer_to(const Message &message, std::string &note) {
    if (const auto *fault = find(overrides_.faults, message); fault != nullptr) {
        return faulty_answer(*fault);
    }
    if (is_query(message.sub_mod)) {
        QueryResult result = query(message);
        note = result.note;
        return reply_to(message, std::move(result));
    }
    if (const auto *code = find(overrides_.codes, message); code != nullptr) {
        return ResultCode{*code};
    }
    ApplyResult result = backend_.apply(message);
    note = std::move(result.note);
    return ResultCode{result.code};
}

QueryResult Daemon::query(const Message &message) {
    if (const auto *code = find(overrides_.codes, message); code != nullptr) {
        return {*code, {}};
    }
    if (const auto *payload = find(overrides_.replies, message); payload != nullptr) {
        return {SR_ERR_OK, *payload};
    }
    return backend_.query(message);
}

} // namespace configd
