// Gives a test program its own network, processes and files.
#ifndef NAMESPACES_H
#define NAMESPACES_H

namespace support {

// Continues in a child process, so call it before any thread starts. The child sees only its own
// children, a network with only loopback, and an empty /dev/shm, /var/tmp and /tmp, except the one
// that the program itself is in. TMPDIR is /tmp, or /var/tmp if the program is in /tmp. When this
// process ends, in whatever way, the kernel ends everything that the child has started, daemons
// included, and removes its files. When the child ends, this process ends with the same status.
//
// If the machine does not allow that, waits for a lock that all test processes share, because the
// daemon's port is fixed, and holds it until the process ends. Throws std::system_error when
// neither works.
void enter_namespaces();

} // namespace support

#endif
