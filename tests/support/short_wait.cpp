// Preloaded into the plug-in host: shortens the wait of a minute for the daemon's
// reply, so that a test can use a silent daemon.
#include <dlfcn.h>
#include <sys/select.h>

extern "C" int select(int count, fd_set *reads, fd_set *writes, fd_set *errors, timeval *limit) {
    static const auto real_select = reinterpret_cast<decltype(&select)>(dlsym(RTLD_NEXT, "select"));
    timeval short_limit{1, 0};
    const bool is_reply_wait = limit != nullptr && limit->tv_sec == 60;
    return real_select(count, reads, writes, errors, is_reply_wait ? &short_limit : limit);
}
