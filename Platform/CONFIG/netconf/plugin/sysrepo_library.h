// What the plug-in uses of sysrepo's library in addition to <sysrepo.h>.
#ifndef SYSREPO_LIBRARY_H
#define SYSREPO_LIBRARY_H

#include <sysrepo.h>

// The library declares some of its functions in other headers than its sysrepo.h, which includes
// libyang. Another sysrepo.h declares everything needed itself, and the library's other headers
// would contradict it.
#ifdef LY_LIBYANG_H_
#define SYSREPO_HAS_ALL_TYPES // sr_type_t names every type
#endif
#if defined LY_LIBYANG_H_ || !__has_include(<libyang/libyang.h>)
#if __has_include(<sysrepo/values.h>)
#include <sysrepo/values.h>
#endif
#if __has_include(<sysrepo/xpath.h>)
#include <sysrepo/xpath.h>
#endif
#endif

// Functions that a library may lack: the plug-in then loads and works without them.
// NOLINTBEGIN(readability-redundant-declaration): the library's header may lack them too.
extern "C" {
[[gnu::weak]] int sr_set_error(sr_session_ctx_t *session, const char *path, const char *format,
                               ...);
[[gnu::weak]] void sr_free_values(sr_val_t *values, size_t count);
}
// NOLINTEND(readability-redundant-declaration)

#endif
