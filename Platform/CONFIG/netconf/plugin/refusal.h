// Refusals: tell a client why its edit or its RPC fails.
#ifndef REFUSAL_H
#define REFUSAL_H

#include "host.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

// The reason of a failure. For a result code alone the client gets sysrepo's text, and "Unknown
// error" for the codes beyond sysrepo's own. The reason adds what was refused, by whom and what to
// do. The function that detects the failure notes it, and the callback tells it to the client at
// the end. Callbacks run one at a time, so one object is enough.
class Refusal {
  public:
    // Call when a callback begins: clears the reason and sets the path.
    void begin(const char *path) {
        text_[0] = '\0';
        about(path);
    }

    // Sets the path of the node that is handled next. Copies it, because a key look-up may cut it.
    // Leaves out a path that is longer than the callbacks accept.
    void about(const char *path) {
        path_[0] = '\0';
        const std::size_t size = path == nullptr ? 0 : std::strlen(path) + 1;
        if (size <= sizeof path_) {
            std::memcpy(path_, path == nullptr ? "" : path, size);
        }
    }

    // Notes the reason and what to do. Keeps the first reason, which is the cause.
    [[gnu::format(printf, 2, 3)]] void because(const char *format, ...) {
        if (text_[0] != '\0') {
            return;
        }
        std::va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text_, sizeof text_, format, arguments);
        va_end(arguments);
    }

    // Tells the client of `session` the reason if `rc` is a failure, and returns rc. Passes the
    // path separately: sysrepo and NETCONF have a field for it.
    int tell(sr_session_ctx_t *session, int rc) const {
        if (rc != SR_ERR_OK && session != nullptr && host.is_sysrepo()) {
            sr_set_error(session, path_[0] == '\0' ? nullptr : path_, "%s",
                         text_[0] == '\0' ? sr_strerror(rc) : text_);
        }
        return rc;
    }

  private:
    char path_[1000] = {};
    char text_[400] = {};
};

inline Refusal refusal;

#endif
