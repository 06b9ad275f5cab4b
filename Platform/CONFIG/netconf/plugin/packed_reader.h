// Packed reader: reads a stream of counts, flags and texts at any offset, and
// never past its end.
#ifndef PACKED_READER_H
#define PACKED_READER_H

#include <cstdint>
#include <cstring>
#include <string_view>

// Each function returns false and reads nothing when the item would exceed the
// end of the stream.
class PackedReader {
  public:
    // The caller keeps the stream; texts are views into it.
    PackedReader(const char *data, std::size_t size) : next_(data), left_(size) {}

    bool number(uint32_t *value) {
        if (left_ < sizeof *value) {
            return false;
        }
        std::memcpy(value, next_, sizeof *value);
        skip(sizeof *value);
        return true;
    }
    bool flag(signed char *value) {
        if (left_ < 1) {
            return false;
        }
        *value = static_cast<signed char>(*next_);
        skip(1);
        return true;
    }
    // A text that ends with a NUL; the view excludes the NUL.
    bool text(std::string_view *value) {
        const void *end = left_ == 0 ? nullptr : std::memchr(next_, '\0', left_);
        if (end == nullptr) {
            return false;
        }
        const auto length = static_cast<std::size_t>(static_cast<const char *>(end) - next_);
        *value = {next_, length};
        skip(length + 1);
        return true;
    }

  private:
    void skip(std::size_t count) {
        next_ += count;
        left_ -= count;
    }

    const char *next_;
    std::size_t left_;
};

#endif
