// Diagnostics: lines on standard output, always or under a switch.
#ifndef DIAGNOSTICS_H
#define DIAGNOSTICS_H

#include <cstdarg>
#include <cstdio>

// Prints when its switch is non-zero. The switch is a variable that a debugger
// may set in a running host, so it is looked at anew for every line.
//
// Whatever is printed has left the process when a function returns: the host's
// standard output is usually a pipe, and a line that waits in its buffer is
// lost when the host is killed.
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

    // Prints as printf does: no line end is added.
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

// The diagnostics that no switch turns off: they say why a callback failed.
inline constexpr int diagnostics_always_on = 1;
inline constexpr Diagnostics always{diagnostics_always_on};

#endif
