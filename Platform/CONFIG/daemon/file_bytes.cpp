#include "file_bytes.h"

#include "file_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

namespace configd {

// A file without an end, such as a device, must not fill the memory.
constexpr std::size_t longest = std::size_t{64} * 1024 * 1024;

std::string read_file(const std::string &file) {
    const auto fail = [&] { throw std::system_error(errno, std::generic_category(), file); };
    const FileDescriptor descriptor{::open(file.c_str(), O_RDONLY | O_CLOEXEC)};
    if (descriptor.get() < 0) {
        fail();
    }
    std::string bytes;
    char chunk[65536];
    ssize_t count = 0;
    while ((count = ::read(descriptor.get(), chunk, sizeof chunk)) > 0) {
        bytes.append(chunk, static_cast<std::size_t>(count));
        if (bytes.size() > longest) {
            errno = EFBIG;
            fail();
        }
    }
    if (count < 0) {
        fail();
    }
    return bytes;
}

} // namespace configd
