// Namespaces of the process's own.
#ifndef BGPCTL_ISOLATION_H
#define BGPCTL_ISOLATION_H

namespace bgpctl {

// Moves the process into namespaces of its own: `wanted` is a set of CLONE_NEW… flags. Without
// root it becomes root of a user namespace first, which may create the others. Returns false where
// the kernel allows neither, and then nothing has changed. Call it before the process has a second
// thread.
bool unshare_namespaces(int wanted);

// Brings up the loopback interface of the process's network namespace. Throws std::system_error
// when it cannot.
void bring_up_loopback();

// Leaves the network for one that has nothing but a loopback interface, which is up: every port is
// free there, and nobody else reaches it. Sockets that are open stay where they are. With
// `own_memory` /dev/shm becomes an empty one too, which ends with the process.
//
// As root, or where the kernel lets users make namespaces; returns false elsewhere. Call it before
// the process has a second thread: threads that are there already stay outside. Throws
// std::system_error when a namespace is there but cannot be set up.
bool isolate(bool own_memory = false);

} // namespace bgpctl

#endif
