// The process that has loaded the plug-in: its memory and its sockets.
#ifndef BGPCTL_HOST_H
#define BGPCTL_HOST_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bgpctl {

// A process that has loaded the plug-in, and the address of the plug-in's file in its memory.
struct Host {
    pid_t pid;
    std::uintptr_t base;
    std::string file; // as the process names it
    std::string name; // of the process
};

// All hosts that this user may inspect, sorted by process number.
std::vector<Host> hosts();
// The host with this process number; for 0 the only one in this process's own network. Throws
// std::runtime_error without a host, or with more than one.
Host host(pid_t pid = 0);

// The plug-in's switches in a running host, which are variables of its shared object. Throws
// std::runtime_error without permission to read or write the memory, or if the file was replaced.
class Switches {
  public:
    explicit Switches(const Host &host);

    int value(const char *symbol) const;
    void set(const char *symbol, int value) const;

  private:
    // The address of the variable in the host's memory.
    off_t address_of(const char *symbol) const;

    Host host_;
};

// Whether the two processes are in the same network namespace.
bool same_network(const std::string &one, const std::string &other);

// One end of a TCP connection, or a listening socket.
struct Socket {
    enum State { established = 1, close_wait = 8, listening = 10 };

    int local_port, remote_port;
    int state; // one of State, or another number
    std::uint64_t inode;
};
// The IPv4 sockets in the network namespace of the process.
std::vector<Socket> sockets_of_network(const std::string &pid);

// The process that has this socket open, such as "bgp_configd (812)"; empty without permission to
// inspect it.
std::string owner_of(std::uint64_t inode);
// Whether this process has the socket open.
bool has_open(pid_t pid, std::uint64_t inode);

} // namespace bgpctl

#endif
