// Namespaces for this process alone.
#ifndef BGPCTL_ISOLATION_H
#define BGPCTL_ISOLATION_H

namespace bgpctl {

// Moves this process into new namespaces: `wanted` is a set of CLONE_NEW... flags. Without root it
// first becomes root of a user namespace, which may create the others. Returns false and changes
// nothing if the kernel allows neither. Call it before the process has a second thread.
bool unshare_namespaces(int wanted);

// Brings up the loopback interface of the process's network namespace. Throws std::system_error
// on failure.
void bring_up_loopback();

// Moves this process into a new network namespace with a loopback interface alone: every port is
// free there, and no other process reaches it. Open sockets stay in the old one. With `own_memory`
// the process also gets an empty /dev/shm, which ends with it.
//
// Needs root, or a kernel that lets users create namespaces; otherwise returns false. Call it
// before the process has a second thread: existing threads stay outside. Throws std::system_error
// when a namespace cannot be set up.
bool isolate(bool own_memory = false);

} // namespace bgpctl

#endif
