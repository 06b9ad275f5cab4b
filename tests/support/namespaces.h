// A network, processes and files of its own for a test program.
#ifndef NAMESPACES_H
#define NAMESPACES_H

namespace support {

// Goes on in a child process (so call it before any thread starts) that sees nothing but its own
// children, a network of loopback alone, an empty /dev/shm and an empty directory for temporary
// files: TMPDIR, which is /tmp, or /var/tmp where the program itself lies in /tmp. When this
// process ends, however it does, the kernel ends all that the child has started, daemons included,
// and forgets its files; when the child ends, this process ends as it did.
//
// Where the machine does not allow that, waits for a lock that all test processes share, since the
// daemon's port is fixed, and holds it until the process ends. Throws std::system_error when
// neither can be had.
void enter_namespaces();

} // namespace support

#endif
