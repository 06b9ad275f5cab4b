// Owns a file descriptor.
#ifndef CONFIGD_FILE_DESCRIPTOR_H
#define CONFIGD_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace configd {

class FileDescriptor {
  public:
    FileDescriptor() = default;
    // Takes ownership of fd. A negative fd means none.
    explicit FileDescriptor(int fd) noexcept : fd_{fd} {}
    FileDescriptor(FileDescriptor &&other) noexcept : fd_{std::exchange(other.fd_, -1)} {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }

    // The descriptor, still owned by this object; -1 when there is none.
    int get() const noexcept { return fd_; }

  private:
    int fd_ = -1;
};

} // namespace configd

#endif
