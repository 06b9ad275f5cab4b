// Texts in the fixed char fields of the wire records.
#ifndef CONFIGD_FIELD_TEXT_H
#define CONFIGD_FIELD_TEXT_H

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace configd {

// Puts the text into the field and fills the rest with zeros. A text that is longer than the field
// is cut. A text that fills the field has no terminator.
template <std::size_t size>
void put_text(char (&field)[size], std::string_view text) {
    const std::string_view kept = text.substr(0, size);
    std::fill(std::copy(kept.begin(), kept.end(), field), field + size, '\0');
}

// The field's text up to its first NUL or its end: a view into the field.
template <std::size_t size>
std::string_view text_of(const char (&field)[size]) {
    return {field, static_cast<std::size_t>(std::find(field, field + size, '\0') - field)};
}

} // namespace configd

#endif
