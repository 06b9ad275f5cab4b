// Host: whether it is sysrepo's own plug-in host that the plug-in runs in.
#ifndef HOST_H
#define HOST_H

#include "sysrepo_library.h"

#include <dlfcn.h>
#include <sys/auxv.h>

#include <atomic>
#include <initializer_list>

// In its host the plug-in tells clients why an edit or a call failed, and releases arrays that the
// library would forget. Both hand the library what it must have made itself: a session, an array.
// Under anything else that calls the callbacks these may be of another make, and both are left out.
class Host {
  public:
    // Initialisation has succeeded: the library calls the callbacks from now on, unless somebody
    // stands in for it.
    void registered() { is_sysrepo_ = functions_are_sysrepos(); }

    // The plug-in is cleaned up.
    void left() { is_sysrepo_ = false; }

    // Whether sessions and arrays are the library's. Any thread may ask.
    bool is_sysrepo() const { return is_sysrepo_; }

  private:
    // The loaded object that `address` lies in; NULL: none.
    static const void *object_of(const void *address) {
        Dl_info info{};
        return address != nullptr && dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
    }

    // The functions that the plug-in hands sessions and arrays to, and those that it has them from,
    // are one library's. The program itself is none.
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
