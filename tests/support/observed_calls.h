// Records the system calls and allocations of the code under test, and replaces their results if a
// test asks for it. A test program wraps the calls with the linker's --wrap (see
// observed_calls.cmake). Only the thread that holds the object is observed.
#ifndef OBSERVED_CALLS_H
#define OBSERVED_CALLS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace support {

struct Call {
    std::string name;
    int descriptor;
    std::size_t size; // bytes requested; seconds for select
};

struct ObservedCalls {
    ObservedCalls();
    ObservedCalls(const ObservedCalls &) = delete;
    ObservedCalls &operator=(const ObservedCalls &) = delete;
    ~ObservedCalls();

    // Ends the observation: the next calls belong to the test.
    void end();

    // How often a call was made, and with which sizes.
    std::size_t count(const std::string &name) const;
    std::vector<std::size_t> sizes(const std::string &name) const;

    std::vector<Call> calls;
    std::optional<int> socket_result;  // instead of a socket
    std::optional<int> select_result;  // instead of waiting
    std::optional<int> connect_result; // instead of connecting
    // Instead of reading into, and writing from, a descriptor.
    std::function<std::ptrdiff_t(char *buffer, std::size_t size)> read_answer;
    std::function<std::ptrdiff_t(const char *buffer, std::size_t size)> write_answer;
    bool malloc_fails = false;
    char malloc_fill = '\0'; // fills allocated memory
};

} // namespace support

#endif
