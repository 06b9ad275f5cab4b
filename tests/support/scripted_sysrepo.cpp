#include "scripted_sysrepo.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

struct sr_change_iter_s {
    std::size_t position;
};
struct sr_subscription_ctx_s {
    std::size_t registrations;
};

namespace scripted {

namespace {

bool has_text(sr_type_t type) {
    switch (type) {
    case SR_BINARY_T:
    case SR_BITS_T:
    case SR_ENUM_T:
    case SR_IDENTITYREF_T:
    case SR_INSTANCEID_T:
    case SR_STRING_T:
    case SR_ANYXML_T:
    case SR_ANYDATA_T:
        return true;
    default:
        return false;
    }
}

char *duplicate(const std::optional<std::string> &content) {
    return content ? strdup(content->c_str()) : nullptr;
}

int record_registration(Registration registration, sr_subscription_ctx_t **subscription) {
    Sysrepo &state = sysrepo();
    if (state.subscribe_fails_at == state.registrations.size() + 1) {
        return state.subscribe_result;
    }
    registration.joined = *subscription != nullptr;
    if (*subscription == nullptr) {
        state.handle = *subscription = new sr_subscription_ctx_s{0};
    }
    ++(*subscription)->registrations;
    state.registrations.push_back(std::move(registration));
    return SR_ERR_OK;
}

// The first character of `ends` in `text` from `start` on; text.size() if there is none. The member
// function of std::string_view calls memchr for each character, which a sanitizer intercepts.
std::size_t find_any(std::string_view text, std::size_t start, std::string_view ends) {
    const auto *const from = text.begin() + std::min(start, text.size());
    const auto *const found = std::find_first_of(from, text.end(), ends.begin(), ends.end());
    return static_cast<std::size_t>(found - text.begin());
}

// The same, but characters inside quotes do not count.
std::size_t find_unquoted(std::string_view text, std::size_t start, std::string_view ends) {
    char quote = '\0';
    for (std::size_t i = start; i < text.size(); ++i) {
        if (quote != '\0') {
            quote = text[i] == quote ? '\0' : quote;
        } else if (std::find(ends.begin(), ends.end(), text[i]) != ends.end()) {
            return i;
        } else if (text[i] == '\'' || text[i] == '"') {
            quote = text[i];
        }
    }
    return text.size();
}

// The start of the value of `key` in the predicates that follow text[start].
std::optional<std::size_t> key_start(std::string_view text, std::size_t start,
                                     std::string_view key) {
    std::size_t i = find_unquoted(text, start, "[/");
    while (i < text.size() && text[i] == '[') {
        const std::size_t equals = std::min(text.find('=', i), text.size());
        if (text.substr(i + 1, equals - i - 1) == key) {
            const std::size_t quote = find_any(text, equals, "'\"/");
            return text.substr(quote, 1) == "/" || quote == text.size() ? std::nullopt
                                                                        : std::optional(quote + 1);
        }
        i = find_unquoted(text, equals, "[/");
    }
    return std::nullopt;
}

} // namespace

Value text(std::string xpath, std::string content, sr_type_t type) {
    return {std::move(xpath), type, std::move(content), 0};
}

Value number(std::string xpath, std::uint32_t content) {
    return {std::move(xpath), SR_UINT32_T, std::nullopt, content};
}

Value node(std::string xpath, sr_type_t type) {
    return {std::move(xpath), type, std::nullopt, 0};
}

Change created(Value value) {
    return {SR_OP_CREATED, std::nullopt, std::move(value)};
}

Change modified(Value old_value, Value new_value) {
    return {SR_OP_MODIFIED, std::move(old_value), std::move(new_value)};
}

Change deleted(Value value) {
    return {SR_OP_DELETED, std::move(value), std::nullopt};
}

Change moved(Value value) {
    return {SR_OP_MOVED, std::move(value), std::nullopt};
}

sr_val_t *make_value(const Value &value) {
    auto *made = static_cast<sr_val_t *>(std::calloc(1, sizeof(sr_val_t)));
    made->xpath = duplicate(value.xpath);
    made->type = value.type;
    if (has_text(value.type)) {
        made->data.string_val = duplicate(value.text);
    } else {
        made->data.uint32_val = value.number;
    }
    ++sysrepo().values_open;
    return made;
}

Sysrepo &sysrepo() {
    static Sysrepo state;
    return state;
}

void reset() {
    sysrepo() = Sysrepo{};
}

sr_session_ctx_t *session() {
    static char memory = 0;
    return reinterpret_cast<sr_session_ctx_t *>(&memory);
}

} // namespace scripted

using scripted::sysrepo;

extern "C" {

int sr_set_error(sr_session_ctx_t * /*session*/, const char *path, const char *format, ...) {
    char message[2000];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    scripted::sysrepo().errors.push_back(
        {path == nullptr ? std::nullopt : std::optional<std::string>(path), message});
    return SR_ERR_OK;
}

const char *sr_strerror(int err_code) {
    static const char *const texts[] = {"Operation succeeded",
                                        "Invalid argument",
                                        "libyang error",
                                        "System function call failed",
                                        "Out of memory",
                                        "Item not found",
                                        "Item already exists",
                                        "Internal error",
                                        "Operation not supported",
                                        "Validation failed",
                                        "Operation failed",
                                        "Operation not authorized",
                                        "Requested resource already locked",
                                        "Timeout expired",
                                        "User callback failed",
                                        "User callback shelved"};
    if (err_code < SR_ERR_OK || err_code > SR_ERR_CALLBACK_SHELVE) {
        return "Unknown error";
    }
    return texts[err_code];
}

void sr_free_val(sr_val_t *value) {
    if (value == nullptr) {
        return;
    }
    if (scripted::has_text(value->type)) {
        std::free(value->data.string_val);
    }
    std::free(value->xpath);
    std::free(value);
    --sysrepo().values_open;
}

int sr_get_item(sr_session_ctx_t * /*session*/, const char *path, uint32_t timeout_ms,
                sr_val_t **value) {
    sysrepo().item_paths.emplace_back(path);
    sysrepo().item_timeouts.push_back(timeout_ms);
    if (sysrepo().item_result != SR_ERR_OK || sysrepo().item_is_null) {
        return sysrepo().item_result;
    }
    const auto item = sysrepo().items.find(path);
    if (item == sysrepo().items.end()) {
        return SR_ERR_NOT_FOUND;
    }
    *value = scripted::make_value(item->second);
    return SR_ERR_OK;
}

int sr_get_changes_iter(sr_session_ctx_t * /*session*/, const char *xpath,
                        sr_change_iter_t **iter) {
    sysrepo().iterator_path = xpath;
    if (sysrepo().open_result != SR_ERR_OK) {
        return sysrepo().open_result;
    }
    *iter = new sr_change_iter_s{0};
    ++sysrepo().iterators_open;
    return SR_ERR_OK;
}

int sr_get_change_next(sr_session_ctx_t * /*session*/, sr_change_iter_t *iter,
                       sr_change_oper_t *operation, sr_val_t **old_value, sr_val_t **new_value) {
    const std::size_t position = iter->position++;
    if (position == sysrepo().next_fails_at) {
        return sysrepo().next_result;
    }
    if (position >= sysrepo().changes.size()) {
        return SR_ERR_NOT_FOUND;
    }
    const scripted::Change &change = sysrepo().changes[position];
    *operation = change.operation;
    *old_value = change.old_value ? scripted::make_value(*change.old_value) : nullptr;
    *new_value = change.new_value ? scripted::make_value(*change.new_value) : nullptr;
    return SR_ERR_OK;
}

void sr_free_change_iter(sr_change_iter_t *iter) {
    delete iter;
    --sysrepo().iterators_open;
}

int sr_module_change_subscribe(sr_session_ctx_t * /*session*/, const char *module_name,
                               const char *xpath, sr_module_change_cb callback, void *private_data,
                               uint32_t priority, sr_subscr_options_t opts,
                               sr_subscription_ctx_t **subscription) {
    scripted::Registration made;
    made.module = module_name;
    made.path = xpath;
    made.change = callback;
    made.private_data = private_data;
    made.priority = priority;
    made.options = opts;
    return scripted::record_registration(std::move(made), subscription);
}

int sr_rpc_subscribe(sr_session_ctx_t * /*session*/, const char *xpath, sr_rpc_cb callback,
                     void *private_data, uint32_t priority, sr_subscr_options_t opts,
                     sr_subscription_ctx_t **subscription) {
    scripted::Registration made;
    made.path = xpath;
    made.rpc = callback;
    made.private_data = private_data;
    made.priority = priority;
    made.options = opts;
    return scripted::record_registration(std::move(made), subscription);
}

int sr_unsubscribe(sr_subscription_ctx_t *subscription) {
    sysrepo().unsubscribed.push_back(subscription);
    if (subscription == sysrepo().handle) {
        sysrepo().handle = nullptr;
    }
    delete subscription;
    return SR_ERR_OK;
}

void sr_free_values(sr_val_t *values, size_t count) {
    for (std::size_t i = 0; values != nullptr && i < count; ++i) {
        if (scripted::has_text(values[i].type)) {
            std::free(values[i].data.string_val);
        }
        std::free(values[i].xpath);
    }
    sysrepo().freed_arrays.push_back(count);
    std::free(values);
}

int sr_realloc_values(size_t old_value_cnt, size_t new_value_cnt, sr_val_t **values) {
    sysrepo().reallocs.emplace_back(old_value_cnt, new_value_cnt);
    if (sysrepo().realloc_result != SR_ERR_OK) {
        return sysrepo().realloc_result;
    }
    if (new_value_cnt > sysrepo().realloc_limit) {
        return SR_ERR_NOMEM;
    }
    auto *grown = static_cast<sr_val_t *>(std::realloc(*values, new_value_cnt * sizeof(sr_val_t)));
    if (grown == nullptr && new_value_cnt != 0) {
        return SR_ERR_NOMEM;
    }
    if (new_value_cnt > old_value_cnt) {
        std::memset(grown + old_value_cnt, 0, (new_value_cnt - old_value_cnt) * sizeof(sr_val_t));
    }
    *values = grown;
    return SR_ERR_OK;
}

char *sr_xpath_node_name(const char *xpath) {
    const std::string_view text(xpath);
    char quote = '\0';
    for (std::size_t i = text.size(); i-- > 1;) {
        if (quote != '\0') {
            quote = text[i] == quote ? '\0' : quote;
        } else if (text[i] == '/') {
            return const_cast<char *>(xpath) + i + 1;
        } else if (text[i] == '\'' || text[i] == '"') {
            quote = text[i];
        }
    }
    return nullptr; // a path of one node has no last node
}

char *sr_xpath_key_value(char *xpath, const char *node_name, const char *key_name,
                         sr_xpath_ctx_t *state) {
    const std::string_view text(xpath);
    std::size_t end = 0;
    for (std::size_t i = scripted::find_unquoted(text, 0, "/"); i < text.size();
         i = scripted::find_unquoted(text, end, "/")) {
        std::size_t start = i + 1;
        end = scripted::find_any(text, start, ":/[");
        if (text.substr(end, 1) == ":") {
            start = end + 1;
            end = scripted::find_any(text, start, "/[");
        }
        if (text.substr(start, end - start) != node_name) {
            continue;
        }
        const auto key = scripted::key_start(text, end, key_name);
        if (!key) {
            return nullptr;
        }
        char *value = xpath + *key;
        const std::size_t quote = text.find(value[-1], *key);
        if (quote < text.size()) {
            xpath[quote] = '\0';
        }
        state->begining = xpath;
        return value;
    }
    return nullptr;
}

} // extern "C"
