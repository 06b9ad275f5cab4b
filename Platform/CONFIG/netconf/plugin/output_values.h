// Output values: (XPath, type, value) triples in the array that an RPC returns.
#ifndef OUTPUT_VALUES_H
#define OUTPUT_VALUES_H

#include "sysrepo_library.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

// The common start of the XPaths of an entry's leaves. It is built once for the
// entry, then cut and extended for the next one. An XPath has at most 999
// characters.
class OutputXPath {
  public:
    static constexpr std::size_t limit = 999;

    // Appends the parts, as many characters as fit.
    template <typename... Parts>
    void append(const Parts &...parts) {
        (append_part(parts), ...);
    }
    std::size_t length() const { return length_; }
    // Keeps the first `length` characters; `length` is at most length().
    void cut(std::size_t length) { length_ = length; }
    std::string_view text() const { return {text_, length_}; }

  private:
    void append_part(std::string_view part) {
        const std::size_t room = limit - length_;
        if (part.size() <= room) { // the size of a literal is a constant
            std::memcpy(text_ + length_, part.data(), part.size());
            length_ += part.size();
        } else {
            length_ += part.copy(text_ + length_, room);
        }
    }

    char text_[limit] = {};
    std::size_t length_ = 0;
};

// Writes values into sysrepo's array, from its start and never past its end.
// XPaths and texts are copies on the heap, which sysrepo frees with the array. A
// copy that fails leaves a null pointer.
class OutputValues {
  public:
    using Type = decltype(sr_val_t::type);

    // What to do with a value that does not fit.
    enum class Excess { refuse, drop };

    // `values` has room for `capacity` values, or is NULL and has none.
    OutputValues(sr_val_t *values, std::size_t capacity, Excess excess = Excess::refuse)
        : values_(values), capacity_(values == nullptr ? 0 : capacity), excess_(excess) {}

    // Adds a value with its data. Each returns false when there is no room and
    // the excess is refused.
    template <typename Member, typename Data>
    bool add(const OutputXPath &entry, std::string_view leaf, Type type, Member member, Data data) {
        sr_val_t *value = next(entry, leaf, type);
        if (value != nullptr) {
            value->data.*member = data;
        }
        return value != nullptr || !overflowed_;
    }
    // `type` is SR_STRING_T or SR_ENUM_T.
    bool add_text(const OutputXPath &entry, std::string_view leaf, Type type,
                  std::string_view text) {
        sr_val_t *value = next(entry, leaf, type);
        if (value != nullptr) {
            value->data.string_val = join(text, {});
        }
        return value != nullptr || !overflowed_;
    }

    std::size_t count() const { return count_; }

    // Whether a value was refused because there was no room for it.
    bool overflowed() const { return overflowed_; }

    // Frees the copies of all values and starts again: for a reply that is
    // refused after some values were written.
    void discard() {
        for (; count_ > 0; --count_) {
            sr_val_t &value = values_[count_ - 1];
            if (value.type == SR_STRING_T || value.type == SR_ENUM_T) {
                std::free(value.data.string_val);
            }
            std::free(value.xpath);
            std::memset(&value, 0, sizeof value);
        }
    }

  private:
    // The next value, with XPath and type set; NULL when the array is full.
    sr_val_t *next(const OutputXPath &entry, std::string_view leaf, Type type) {
        if (count_ == capacity_) {
            overflowed_ = excess_ == Excess::refuse;
            return nullptr;
        }
        sr_val_t *value = &values_[count_++];
        const std::string_view start = entry.text();
        value->xpath = join(start, leaf.substr(0, OutputXPath::limit - start.size()));
        value->type = type;
        return value;
    }
    static char *join(std::string_view first, std::string_view second) {
        auto *copy = static_cast<char *>(std::malloc(first.size() + second.size() + 1));
        if (copy != nullptr) {
            std::memcpy(copy, first.data(), first.size());
            if (!second.empty()) {
                std::memcpy(copy + first.size(), second.data(), second.size());
            }
            copy[first.size() + second.size()] = '\0';
        }
        return copy;
    }

    sr_val_t *values_;
    std::size_t capacity_;
    Excess excess_;
    bool overflowed_ = false;
    std::size_t count_ = 0;
};

#endif
