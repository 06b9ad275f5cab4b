// The process that has loaded the plug-in, seen from outside.
#ifndef BGPCTL_HOST_H
#define BGPCTL_HOST_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bgpctl {

// A process that has the plug-in in its memory, and where the plug-in's file begins there.
struct Host {
    pid_t pid;
    std::uintptr_t base;
    std::string file; // as the process names it
    std::string name; // of the process
};

// All hosts that this user may look at, by their process numbers.
std::vector<Host> hosts();
// The host with this number; for 0 the only one in this process's own network. Throws
// std::runtime_error when there is none, or more than one.
Host host(pid_t pid = 0);

// The plug-in's switches in a running host: variables of its shared object. Throws
// std::runtime_error when the memory may not be read or written, or the file has been replaced.
class Switches {
  public:
    explicit Switches(const Host &host);

    int value(const char *symbol) const;
    void set(const char *symbol, int value) const;

  private:
    // Where the variable lies in the host's memory.
    off_t address_of(const char *symbol) const;

    Host host_;
};

// Whether the two processes live in one network.
bool same_network(const std::string &one, const std::string &other);

// The end of a TCP connection or a listening socket in a process's network.
struct Socket {
    enum State { established = 1, close_wait = 8, listening = 10 };

    int local_port, remote_port;
    int state; // one of State, or another
    std::uint64_t inode;
};
// The IPv4 sockets of the network that the process lives in.
std::vector<Socket> sockets_of_network(const std::string &pid);

// The process that has this socket open, such as "bgp_configd (812)"; empty when it may not be
// looked at.
std::string owner_of(std::uint64_t inode);
// Whether this process has the socket open.
bool has_open(pid_t pid, std::uint64_t inode);

} // namespace bgpctl

#endif
