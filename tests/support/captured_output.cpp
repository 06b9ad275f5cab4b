#include "captured_output.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace support {

CapturedOutput::CapturedOutput() : file_(memfd_create("stdout", 0)), saved_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    if (file_ < 0 || saved_ < 0 || dup2(file_, STDOUT_FILENO) < 0) {
        throw std::system_error(errno, std::generic_category(), "capturing standard output");
    }
}

CapturedOutput::~CapturedOutput() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    close(file_);
}

std::string CapturedOutput::text() const {
    std::string content;
    char chunk[4096];
    for (;;) {
        const ssize_t count = pread(file_, chunk, sizeof chunk, static_cast<off_t>(content.size()));
        if (count <= 0) {
            return content;
        }
        content.append(chunk, static_cast<std::size_t>(count));
    }
}

} // namespace support
