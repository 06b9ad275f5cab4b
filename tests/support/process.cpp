#include "process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace support {

namespace {

// Output that a test has not read yet must not stop the program. Any user may
// request this size.
constexpr int pipe_size = 1 << 20;

std::vector<char *> pointers_to(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

Process::Process(const std::string &program, std::vector<std::string> arguments,
                 std::vector<std::string> variables) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    output_ = ends[0];
    fcntl(output_, F_SETPIPE_SZ, pipe_size);

    arguments.insert(arguments.begin(), program);
    // Of two variables with the same name, the first one counts.
    for (char **variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    // The program must not keep other descriptors of the test open, such as a daemon's sockets.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    const int error = posix_spawnp(&pid_, program.c_str(), &actions, nullptr,
                                   pointers_to(arguments).data(), pointers_to(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        close(output_);
        throw std::system_error(error, std::generic_category(), program);
    }
}

Process::~Process() {
    if (pid_ > 0) {
        signal(SIGKILL);
        wait();
    }
    close(output_);
}

void Process::signal(int number) const {
    kill(pid_, number);
}

long Process::resident() const {
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::stol(line.substr(6));
        }
    }
    return 0;
}

std::size_t Process::descriptors() const {
    namespace fs = std::filesystem;
    const fs::path directory = "/proc/" + std::to_string(pid_) + "/fd";
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

std::string Process::read_line() {
    std::string line;
    for (char c = '\0'; read(output_, &c, 1) == 1 && c != '\n';) {
        line += c;
    }
    return line;
}

bool Process::read_more(std::string &text) {
    char chunk[4096];
    const ssize_t count = read(output_, chunk, sizeof chunk);
    if (count <= 0) {
        return false;
    }
    text.append(chunk, static_cast<std::size_t>(count));
    return true;
}

std::string Process::read_all() {
    std::string text;
    while (read_more(text)) {
    }
    return text;
}

std::string Process::read_available() {
    std::string text;
    for (pollfd output{output_, POLLIN, 0}; poll(&output, 1, 0) == 1 && read_more(text);) {
    }
    return text;
}

int Process::wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

Outcome Process::finish() {
    std::string output = read_all();
    return {wait(), std::move(output)};
}

Outcome run(const std::string &program, std::vector<std::string> arguments) {
    return Process(program, std::move(arguments)).finish();
}

} // namespace support
