// Diagnostics: lines on standard output, always or while a switch is on.
#ifndef DIAGNOSTICS_H
#define DIAGNOSTICS_H

#include <cstdarg>
#include <cstdio>

// Prints when its switch is non-zero. orv_bgpctl or a debugger sets the switch
// in a running host, so each line reads it again.
//
// Each function flushes what it prints: the host's standard output is usually a
// pipe, and a line in its buffer would be lost when the host is killed.
class Diagnostics {
  public:
    explicit constexpr Diagnostics(const int &enabled) : enabled_(enabled) {}

    bool enabled() const { return enabled_ != 0; }

    // Prints `text` as a whole line.
    void line(const char *text) const {
        if (enabled_ != 0) {
            std::puts(text);
            std::fflush(stdout);
        }
    }

    // Prints like printf, without adding a line end.
    [[gnu::format(printf, 2, 3)]] void print(const char *format, ...) const {
        if (enabled_ == 0) {
            return;
        }
        std::va_list arguments;
        va_start(arguments, format);
        std::vprintf(format, arguments);
        va_end(arguments);
        std::fflush(stdout);
    }

  private:
    const int &enabled_;
};

// The diagnostics without a switch: they say why a callback failed.
inline constexpr int diagnostics_always_on = 1;
inline constexpr Diagnostics always{diagnostics_always_on};

#endif
