// Host: whether the plug-in runs in sysrepo's own plug-in host.
#ifndef HOST_H
#define HOST_H

#include "sysrepo_library.h"

#include <dlfcn.h>
#include <sys/auxv.h>

#include <atomic>
#include <initializer_list>

// In sysrepo's host the plug-in tells clients why an edit or an RPC failed, and releases arrays
// that the library would not free. Both pass the library a session or an array, which it must have
// created itself. Another program that calls the callbacks may pass its own, so there the plug-in
// does neither.
class Host {
  public:
    // Call after a successful initialization: from now on the library calls the callbacks, unless
    // another program replaces its functions.
    void registered() { is_sysrepo_ = functions_are_sysrepos(); }

    // Call when the host cleans up the plug-in.
    void left() { is_sysrepo_ = false; }

    // Whether sessions and arrays belong to the library. Any thread may call it.
    bool is_sysrepo() const { return is_sysrepo_; }

  private:
    // The loaded object that contains `address`; NULL: none.
    static const void *object_of(const void *address) {
        Dl_info info{};
        return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
    }

    // Whether the functions that take and return sessions and arrays belong to one library, and not
    // to the program itself.
    static bool functions_are_sysrepos() {
        const void *library =
            object_of(reinterpret_cast<const void *>(&sr_module_change_subscribe));
        for (const void *function : {reinterpret_cast<const void *>(&sr_rpc_subscribe),
                                     reinterpret_cast<const void *>(&sr_set_error),
                                     reinterpret_cast<const void *>(&sr_realloc_values),
                                     reinterpret_cast<const void *>(&sr_free_values)}) {
            if (object_of(function) != library) {
                return false;
            }
        }
        const auto *entry = reinterpret_cast<const void *>( // NOLINT(performance-no-int-to-ptr)
            getauxval(AT_ENTRY));
        return library != nullptr && library != object_of(entry);
    }

    std::atomic<bool> is_sysrepo_ = false;
};

inline Host host;

#endif
