// Refusals: what a client is told when its edit or its call fails.
#ifndef REFUSAL_H
#define REFUSAL_H

#include "host.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>

// The reason in the making. A result code reaches the client as sysrepo's text for it, and for
// the codes beyond sysrepo's own as "Unknown error": only a message says what was refused, by
// whom and what helps. It is noted where the failure is met, which may be far below the callback,
// and told when the callback ends. Callbacks run one at a time, so there is one.
class Refusal {
  public:
    // A callback begins: whatever was noted before is void, the work is about `path`.
    void begin(const char *path) {
        text_[0] = '\0';
        about(path);
    }

    // The work turns to the node at `path`, which is copied: a key look-up may cut it. A longer
    // path than any that is worked on is left out.
    void about(const char *path) {
        path_[0] = '\0';
        const std::size_t size = path == nullptr ? 0 : std::strlen(path) + 1;
        if (size <= sizeof path_) {
            std::memcpy(path_, path == nullptr ? "" : path, size);
        }
    }

    // Notes why, and what helps. The first reason is the one at the root and stays.
    [[gnu::format(printf, 2, 3)]] void because(const char *format, ...) {
        if (text_[0] != '\0') {
            return;
        }
        std::va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text_, sizeof text_, format, arguments);
        va_end(arguments);
    }

    // Tells the client of `session` when `rc` is a failure, and returns rc. The path goes beside
    // the text: sysrepo and NETCONF carry it themselves.
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
