// A network of its own for a test process, since the daemon's port is fixed.
#ifndef PRIVATE_NETWORK_H
#define PRIVATE_NETWORK_H

namespace support {

// Moves the process (call it before any thread starts) into a network namespace
// with nothing but loopback; its children inherit it. Where the machine does
// not allow that, waits for a lock that all test processes share and holds it
// until the process ends. Throws std::system_error when neither can be had.
void enter_private_network();

} // namespace support

#endif
