// The key predicates of list entries, as in an XPath.
#ifndef CONFIGD_LIST_KEYS_H
#define CONFIGD_LIST_KEYS_H

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace configd {

// [key='value'], or with double quotes if the value contains a single quote.
inline std::string predicate(std::string_view key, std::string_view value) {
    const char quote = value.find('\'') == std::string_view::npos ? '\'' : '"';
    return fmt::format("[{}={}{}{}]", key, quote, value, quote);
}

} // namespace configd

#endif
