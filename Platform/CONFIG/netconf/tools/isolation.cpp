#include "isolation.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <system_error>

namespace bgpctl {
namespace {

void check(int result, const char *what) {
    if (result != 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

} // namespace

bool unshare_namespaces(int wanted) {
    if (unshare(wanted) == 0) {
        return true;
    }
    const std::string uid = std::to_string(geteuid());
    const std::string gid = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | wanted) != 0) {
        return false;
    }
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
    return true;
}

void bring_up_loopback() {
    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const int result = ioctl(descriptor, SIOCSIFFLAGS, &request);
    close(descriptor);
    check(result, "bringing up loopback");
}

bool isolate(bool own_memory) {
    if (!unshare_namespaces(CLONE_NEWNET | (own_memory ? CLONE_NEWNS : 0))) {
        return false;
    }
    bring_up_loopback();
    if (own_memory) {
        check(mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr), "keeping mounts private");
        check(mount("none", "/dev/shm", "tmpfs", 0, nullptr), "mounting memory");
    }
    return true;
}

} // namespace bgpctl
