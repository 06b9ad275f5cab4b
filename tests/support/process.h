// A program as a process of its own, with what it prints.
#ifndef PROCESS_H
#define PROCESS_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace support {

// What a program that runs to its end did.
struct Outcome {
    int exit_code;
    std::string output;
};

class Process {
  public:
    // Starts `program`, looked up in PATH, in the environment of the test, to
    // which `variables` ("NAME=value") are added; its standard output and error
    // become one text, of which up to 1 MiB may wait to be read. Throws
    // std::system_error.
    explicit Process(const std::string &program, std::vector<std::string> arguments = {},
                     std::vector<std::string> variables = {});
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;
    // Kills it, if need be.
    ~Process();

    pid_t pid() const { return pid_; }
    void signal(int number) const;

    // Its resident memory in KiB, and how many descriptors it has open.
    long resident() const;
    std::size_t descriptors() const;

    // The next line of its output, without its end; empty at the end of the output.
    std::string read_line();

    // All that it still prints until it closes its output.
    std::string read_all();

    // What it printed by now and nobody has read.
    std::string read_available();

    // Waits for more of its output and appends it to `text`. Returns false at the
    // end of the output.
    bool read_more(std::string &text);

    // Waits for its end. Returns the exit code, or the signal's number negated.
    int wait();

    // Reads all that it still prints and waits for its end.
    Outcome finish();

  private:
    pid_t pid_ = 0;
    int output_ = -1;
};

Outcome run(const std::string &program, std::vector<std::string> arguments);

} // namespace support

#endif
