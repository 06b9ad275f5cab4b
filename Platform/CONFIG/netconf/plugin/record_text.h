// Record text: texts in the fixed char fields of the wire records.
#ifndef RECORD_TEXT_H
#define RECORD_TEXT_H

#include "diagnostics.h"

#include <cstring>

// Puts `text` into the `size` bytes at `field`: zeros first, then exactly the
// text's characters, so that a text which fills its field has no terminator.
// A text that is too long, or none at all, is refused with a line that names
// its `node`; the field is then left as it was. Returns whether it was put.
inline bool put_text(char *field, std::size_t size, const char *text, const char *node) {
    if (text == nullptr) {
        always.print("value of %s has no text\n", node);
        return false;
    }
    const std::size_t length = std::strlen(text);
    if (length > size) {
        always.print("value of %s is %zu bytes long, the limit is %zu\n", node, length, size);
        return false;
    }
    std::memset(field, 0, size);
    std::memcpy(field, text, length);
    return true;
}

template <std::size_t size>
bool put_text(char (&field)[size], const char *text, const char *node) {
    return put_text(field, size, text, node);
}

#endif
