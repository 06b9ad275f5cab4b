#include "private_network.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace support {

namespace {

[[noreturn]] void fail(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Becomes root of a user namespace, which may create network namespaces.
bool enter_user_namespace() {
    const auto uid = std::to_string(geteuid());
    const auto gid = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
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
    if (result != 0) {
        fail("bringing up loopback");
    }
}

// The descriptor stays open: the lock ends with the process.
void take_port_lock() {
    const auto path = std::filesystem::temp_directory_path() / "orv_bgp_port_8888.lock";
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor < 0 || flock(descriptor, LOCK_EX) != 0) {
        fail("taking the lock for port 8888");
    }
}

} // namespace

void enter_private_network() {
    if (unshare(CLONE_NEWNET) == 0 || enter_user_namespace()) {
        bring_up_loopback();
    } else {
        take_port_lock();
    }
}

} // namespace support
