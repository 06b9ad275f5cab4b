#include "observed_calls.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int unobserved_fill = 0xa5;

thread_local support::ObservedCalls *observing = nullptr;

// Recording allocates memory itself; these allocations are not recorded.
void see(const char *name, int descriptor, std::size_t size) {
    support::ObservedCalls *current = observing;
    observing = nullptr;
    current->calls.push_back({name, descriptor, size});
    observing = current;
}

} // namespace

namespace support {

ObservedCalls::ObservedCalls() {
    observing = this;
}

ObservedCalls::~ObservedCalls() {
    end();
}

void ObservedCalls::end() {
    observing = nullptr;
}

std::size_t ObservedCalls::count(const std::string &name) const {
    return sizes(name).size();
}

std::vector<std::size_t> ObservedCalls::sizes(const std::string &name) const {
    std::vector<std::size_t> found;
    for (const Call &call : calls) {
        if (call.name == name) {
            found.push_back(call.size);
        }
    }
    return found;
}

} // namespace support

extern "C" {

void *__real_malloc(std::size_t size);
ssize_t __real_read(int descriptor, void *buffer, std::size_t size);
ssize_t __real_write(int descriptor, const void *buffer, std::size_t size);
int __real_select(int count, fd_set *reads, fd_set *writes, fd_set *errors, timeval *limit);
int __real_socket(int domain, int type, int protocol);
int __real_connect(int descriptor, const sockaddr *address, socklen_t length);
int __real_setsockopt(int descriptor, int level, int name, const void *value, socklen_t length);
int __real_close(int descriptor);

void *__wrap_malloc(std::size_t size) {
    if (observing == nullptr) {
        // The plug-in does not set a request's result value, so for valgrind this
        // fills the memory.
        void *memory = __real_malloc(size);
        return memory == nullptr ? nullptr : std::memset(memory, unobserved_fill, size);
    }
    see("malloc", -1, size);
    if (observing->malloc_fails) {
        return nullptr;
    }
    void *memory = __real_malloc(size);
    if (memory != nullptr) {
        std::memset(memory, observing->malloc_fill, size);
    }
    return memory;
}

ssize_t __wrap_read(int descriptor, void *buffer, std::size_t size) {
    if (observing != nullptr) {
        see("read", descriptor, size);
        if (observing->read_answer) {
            return observing->read_answer(static_cast<char *>(buffer), size);
        }
    }
    return __real_read(descriptor, buffer, size);
}

ssize_t __wrap_write(int descriptor, const void *buffer, std::size_t size) {
    if (observing != nullptr) {
        see("write", descriptor, size);
        if (observing->write_answer) {
            return observing->write_answer(static_cast<const char *>(buffer), size);
        }
    }
    return __real_write(descriptor, buffer, size);
}

int __wrap_select(int count, fd_set *reads, fd_set *writes, fd_set *errors, timeval *limit) {
    if (observing != nullptr) {
        see("select", count - 1, static_cast<std::size_t>(limit->tv_sec));
        if (observing->select_result) {
            return *observing->select_result;
        }
    }
    return __real_select(count, reads, writes, errors, limit);
}

int __wrap_socket(int domain, int type, int protocol) {
    if (observing != nullptr) {
        see("socket", -1, 0);
        if (observing->socket_result) {
            return *observing->socket_result;
        }
    }
    return __real_socket(domain, type, protocol);
}

int __wrap_connect(int descriptor, const sockaddr *address, socklen_t length) {
    if (observing != nullptr) {
        see("connect", descriptor, length);
        if (observing->connect_result) {
            return *observing->connect_result;
        }
    }
    return __real_connect(descriptor, address, length);
}

int __wrap_setsockopt(int descriptor, int level, int name, const void *value, socklen_t length) {
    if (observing != nullptr && level == SOL_SOCKET && name == SO_REUSEADDR) {
        see("setsockopt", descriptor, length);
    }
    return __real_setsockopt(descriptor, level, name, value, length);
}

int __wrap_close(int descriptor) {
    if (observing != nullptr) {
        see("close", descriptor, 0);
    }
    return __real_close(descriptor);
}

} // extern "C"
