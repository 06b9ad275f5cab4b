// A file that exists as long as its object.
#ifndef DAEMON_TEST_TEMPORARY_FILE_H
#define DAEMON_TEST_TEMPORARY_FILE_H

#include "file_descriptor.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string &bytes)
        : name_{std::filesystem::temp_directory_path() / "daemon_test_XXXXXX"} {
        const configd::FileDescriptor descriptor{::mkstemp(name_.data())};
        if (descriptor.get() < 0) {
            throw std::system_error(errno, std::generic_category(), name_);
        }
        std::ofstream{name_, std::ios::binary} << bytes;
    }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    ~TemporaryFile() { ::unlink(name_.c_str()); }

    const std::string &name() const { return name_; }

  private:
    std::string name_;
};

#endif
