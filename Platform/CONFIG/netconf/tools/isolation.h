// Namespaces of the process's own.
#ifndef BGPCTL_ISOLATION_H
#define BGPCTL_ISOLATION_H

namespace bgpctl {

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
