// Record text: texts in the fixed char fields of the wire records.
#ifndef RECORD_TEXT_H
#define RECORD_TEXT_H

#include "diagnostics.h"
#include "refusal.h"

#include <cstring>

// Whether `text` fits a field of `size` bytes. It may fill the field, without a
// terminator. A text that is too long or NULL is refused with a line that names
// its `node`.
inline bool text_fits(std::size_t size, const char *text, const char *node) {
    if (text == nullptr) {
        always.print("value of %s has no text\n", node);
        refusal.because("the value has no text");
        return false;
    }
    const std::size_t length = std::strlen(text);
    if (length > size) {
        always.print("value of %s is %zu bytes long, the limit is %zu\n", node, length, size);
        refusal.because("value of %s is %zu bytes long, the limit is %zu; shorten it", node, length,
                        size);
        return false;
    }
    return true;
}

// Writes `text` into the `size` bytes at `field`: zeros first, then exactly the
// text's characters. Returns false for a text that does not fit; the field then
// stays as it was.
inline bool put_text(char *field, std::size_t size, const char *text, const char *node) {
    if (!text_fits(size, text, node)) {
        return false;
    }
    std::memset(field, 0, size);
    std::memcpy(field, text, std::strlen(text));
    return true;
}

template <std::size_t size>
bool put_text(char (&field)[size], const char *text, const char *node) {
    return put_text(field, size, text, node);
}

#endif
