// A program as a separate process, and its output.
#ifndef PROCESS_H
#define PROCESS_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace support {

// The result of a program that has ended.
struct Outcome {
    int exit_code;
    std::string output;
};

class Process {
  public:
    // Starts `program`, found in PATH, in the environment of the test with
    // `variables` ("NAME=value") added. Its standard output and error are one text,
    // of which up to 1 MiB may be unread. Throws std::system_error.
    explicit Process(const std::string &program, std::vector<std::string> arguments = {},
                     std::vector<std::string> variables = {});
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    // Kills it if it still runs.
    ~Process();

    pid_t pid() const { return pid_; }
    void signal(int number) const;

    // Its resident memory in KiB, and the number of its open descriptors.
    long resident() const;
    std::size_t descriptors() const;

    // The next line of its output, without its end; empty at the end of the output.
    std::string read_line();

    // The rest of its output, until it closes it.
    std::string read_all();

    // The output so far that nobody has read.
    std::string read_available();

    // Waits for more of its output and appends it to `text`. Returns false at the
    // end of the output.
    bool read_more(std::string &text);

    // Waits for its end. Returns the exit code, or the negated number of the signal.
    int wait();

    // Reads the rest of its output and waits for its end.
    Outcome finish();

  private:
    pid_t pid_ = 0;
    int output_ = -1;
};

Outcome run(const std::string &program, std::vector<std::string> arguments);

} // namespace support

#endif
