// Change values: write a change's keys and value into a record, by its table.
#ifndef CHANGE_VALUES_H
#define CHANGE_VALUES_H

#include "change_fields.h"
#include "diagnostics.h"
#include "record_text.h"
#include "refusal.h"
#include "sysrepo_library.h"

#include <cstring>

inline constexpr std::size_t path_size = 1000; // bytes, terminator included

// Refuses, with SR_ERR_INVALID_VALUE, a path that does not fit its working
// buffer of hundreds of bytes. The line shows the end of the path, which names
// the node.
inline int refuse_path(const char *path, std::size_t limit) {
    const std::size_t length = std::strlen(path);
    always.print("path ...%s is %zu bytes long, the limit is %zu\n", path + length - 100, length,
                 limit);
    refusal.because("the path is %zu bytes long, the limit is %zu; shorten its keys", length,
                    limit);
    return SR_ERR_INVALID_VALUE;
}

// Copies the characters of `path` into a working buffer, without a terminator:
// the end of an earlier, longer path stays behind them. The last byte of the
// buffer stays zero. Refuses a path that does not fit.
inline int copy_path(char (&buffer)[path_size], const char *path) {
    const std::size_t length = std::strlen(path);
    if (length >= path_size) {
        return refuse_path(path, path_size - 1);
    }
    std::memcpy(buffer, path, length);
    return SR_ERR_OK;
}

// The value of a list's key in `path`, or nullptr. The result points into
// `path`, which the look-up cuts after it.
inline const char *key_value(char *path, const char *list, const char *key) {
    sr_xpath_ctx_t state{};
    return path == nullptr ? nullptr : sr_xpath_key_value(path, list, key, &state);
}

// The text of a value, or nullptr when a value of its type has none: the data
// is a union, and a number is not a pointer. sysrepo sets no data for a type
// that it does not know.
inline const char *text_of(const sr_val_t &value) {
    switch (value.type) {
    case SR_BOOL_T:
    case SR_UINT8_T:
    case SR_UINT16_T:
    case SR_UINT32_T:
#ifdef SYSREPO_HAS_ALL_TYPES
    case SR_LIST_T:
    case SR_CONTAINER_T:
    case SR_CONTAINER_PRESENCE_T:
    case SR_NOTIFICATION_T:
    case SR_LEAF_EMPTY_T:
    case SR_DECIMAL64_T:
    case SR_INT8_T:
    case SR_INT16_T:
    case SR_INT32_T:
    case SR_INT64_T:
    case SR_UINT64_T:
#endif
        return nullptr;
    default:
        return value.data.string_val;
    }
}

// Writes the changed value of a leaf into its field of `record`. Returns SR_ERR_OK. Prints why and
// returns SR_ERR_INVALID_VALUE for a text that does not fit.
inline int write_leaf(char *record, const Leaf &leaf, const sr_val_t &value) {
    char *field = record + leaf.offset;
    if (leaf.is_text) {
        const bool put = put_text(field, leaf.size, text_of(value), leaf.node);
        return put ? int{SR_ERR_OK} : int{SR_ERR_INVALID_VALUE};
    }
    const uint32_t number = leaf.puts == Puts::value ? value.data.uint32_val : 1;
    std::memcpy(field, &number, sizeof number);
    return SR_ERR_OK;
}

// Writes the list's keys from the value's path, which this may cut, into the record. Returns
// SR_ERR_OK, SR_ERR_INTERNAL when a key is missing, or SR_ERR_INVALID_VALUE when a text does not
// fit; in both cases it prints why. The traces name `function`.
inline int put_keys(const Diagnostics &debug, const EntryRecord &layout, const char *list,
                    const char *function, char *record, sr_val_t &value) {
    // A look-up cuts its text, so a second look-up needs a copy.
    char copy[path_size];
    const bool several = layout.keys[1].node != nullptr;
    if (several) {
        std::memset(copy, 0, sizeof copy);
    }
    for (const Key &key : layout.keys) {
        if (key.node == nullptr) {
            break;
        }
        if (several && value.xpath != nullptr) {
            const int rc = copy_path(copy, value.xpath);
            if (rc != SR_ERR_OK) {
                return rc;
            }
        }
        const char *text = key_value(several ? copy : value.xpath, list, key.node);
        if (text == nullptr) {
            always.line(key.missing);
            return SR_ERR_INTERNAL;
        }
        if (!put_text(record + key.offset, key.size, text, key.node)) {
            return SR_ERR_INVALID_VALUE;
        }
        if (key.trace != nullptr) {
            debug.print("[%s][%d]%s%s.\n", function, __LINE__, key.trace, text);
        }
    }
    return SR_ERR_OK;
}

#endif
