#include "speaker.h"

#include "process.h"

#include <fmt/format.h>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr const char *program = "/usr/lib/frr/bgpd";

fs::path make_directory() {
    std::string name = (fs::temp_directory_path() / "orv_bgp_frr_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    return name;
}

} // namespace

bool Speaker::is_installed() {
    return access(program, X_OK) == 0;
}

Speaker::Speaker(std::string address)
    : address_{std::move(address)}, directory_{make_directory()}, vty_{vty_socket()} {
    start();
}

Speaker::~Speaker() {
    stop();
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
}

void Speaker::start() {
    std::ofstream{directory_ / "bgpd.conf"};
    // bgpd may keep the output that it was started with: that must not be the pipe of `run`.
    const char *const with_output_in_a_file =
        R"(log=$1; shift; "$@" >"$log" 2>&1 || { code=$?; cat "$log"; exit $code; })";
    // The parent process returns when bgpd is ready.
    const auto [code, output] =
        support::run("/bin/sh", {"-c",           with_output_in_a_file,
                                 "sh",           directory_ / "output",
                                 program,        "-d",
                                 "-Z",           "-S",
                                 "-l",           address_,
                                 "-p",           std::to_string(port),
                                 "-P",           "0",
                                 "-f",           directory_ / "bgpd.conf",
                                 "-i",           directory_ / "bgpd.pid",
                                 "--vty_socket", directory_,
                                 "--log",        "file:" + (directory_ / "bgpd.log").string()});
    if (code != 0 || !(std::ifstream{directory_ / "bgpd.pid"} >> pid_)) {
        throw std::runtime_error(fmt::format("bgpd ended with {}: {}", code, output));
    }
}

void Speaker::stop() {
    if (pid_ == 0) {
        return;
    }
    // It is not a child of this process, so a descriptor reports its end.
    const configd::FileDescriptor handle{static_cast<int>(syscall(SYS_pidfd_open, pid_, 0))};
    kill(pid_, SIGKILL);
    // There is no descriptor for a process that has already ended.
    if (handle.get() >= 0) {
        pollfd end{handle.get(), POLLIN, 0};
        poll(&end, 1, -1);
    }
    pid_ = 0;
}

configd::frr::VtyAnswer Speaker::ask(const std::string &command) {
    return vty_.ask(command);
}

void Speaker::configure(const std::vector<std::string> &lines) {
    vty_.start_over();
    vty_.ask("configure terminal");
    for (const std::string &line : lines) {
        const auto answer = vty_.ask(line);
        if (answer.status != 0) {
            throw std::runtime_error(fmt::format("{} -> {}: {}", line, answer.status, answer.text));
        }
    }
    vty_.ask("end");
}

std::string Speaker::running_config() {
    vty_.start_over();
    return vty_.ask("show running-config").text;
}

bool Speaker::has_line(const std::string &line) {
    std::istringstream lines{running_config()};
    for (std::string text; std::getline(lines, text);) {
        text.erase(0, text.find_first_not_of(' '));
        if (text == line) {
            return true;
        }
    }
    return false;
}
