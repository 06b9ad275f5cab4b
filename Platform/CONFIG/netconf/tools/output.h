// Standard output for results only.
#ifndef BGPCTL_OUTPUT_H
#define BGPCTL_OUTPUT_H

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace bgpctl {

// Redirects what the plug-in prints in this process to standard error. Only the results, written to
// file(), go to standard output.
class OwnOutput {
  public:
    // Throws std::system_error.
    OwnOutput() : file_(fdopen(dup(STDOUT_FILENO), "w")) {
        if (file_ == nullptr || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
            throw std::system_error(errno, std::generic_category(), "standard output");
        }
    }
    OwnOutput(const OwnOutput &) = delete;
    OwnOutput &operator=(const OwnOutput &) = delete;
    ~OwnOutput() { std::fclose(file_); }

    std::FILE *file() const { return file_; }

  private:
    std::FILE *file_;
};

} // namespace bgpctl

#endif
