#include "namespaces.h"

#include "isolation.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace support {

namespace {

constexpr int own = CLONE_NEWNET | CLONE_NEWNS | CLONE_NEWPID;

void must(bool is_done, const char *what) {
    if (!is_done) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

void make_own_files() {
    must(mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0, "keeping mounts private");
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    for (const char *directory : {"/dev/shm", "/var/tmp", "/tmp"}) {
        // What was built there must stay visible.
        if (program.rfind(std::string{directory} + '/', 0) == 0) {
            continue;
        }
        must(mount("tmpfs", directory, "tmpfs", 0, "mode=1777") == 0, directory);
        setenv("TMPDIR", directory, 1);
    }
}

pid_t child;

// Forks and returns in the child, which the kernel kills when its parent ends. The parent waits for
// the child, reaps all processes that it inherits, and ends with the child's status.
void go_on_in_child() {
    child = fork();
    must(child >= 0, "fork");
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        return;
    }
    // A request to end is meant for the child; an interrupt from the terminal reaches it anyway.
    signal(SIGINT, SIG_IGN);
    signal(SIGTERM, [](int number) { kill(child, number); });
    int status = 0;
    while (wait(&status) != child) {
    }
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

// The descriptor stays open: the lock ends with the process.
void take_port_lock() {
    const auto path = std::filesystem::temp_directory_path() / "orv_bgp_port_8888.lock";
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    must(descriptor >= 0 && flock(descriptor, LOCK_EX) == 0, "taking the lock for port 8888");
}

} // namespace

void enter_namespaces() {
    if (!bgpctl::unshare_namespaces(own)) {
        take_port_lock();
        return;
    }
    bgpctl::bring_up_loopback();
    make_own_files();
    // The first child is the namespace's init, which ignores signals without a handler; the second
    // one is an ordinary process.
    go_on_in_child();
    must(mount("proc", "/proc", "proc", 0, nullptr) == 0, "mounting /proc");
    go_on_in_child();
}

} // namespace support
