#include "host.h"

#include <fmt/format.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace bgpctl {
namespace {

namespace fs = std::filesystem;

constexpr const char *plugin_file = "orv_bgp_plugin.so";

bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The names in a directory, without those that vanish meanwhile.
std::vector<std::string> names_in(const fs::path &directory) {
    std::vector<std::string> names;
    std::error_code vanished;
    for (fs::directory_iterator entry(directory, vanished), end; !vanished && entry != end;
         entry.increment(vanished)) {
        names.push_back(entry->path().filename());
    }
    return names;
}

std::vector<pid_t> processes() {
    std::vector<pid_t> found;
    for (const std::string &name : names_in("/proc")) {
        if (std::all_of(name.begin(), name.end(),
                        [](unsigned char letter) { return std::isdigit(letter) != 0; })) {
            found.push_back(std::stoi(name));
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::string name_of(pid_t pid) {
    std::ifstream stream(fmt::format("/proc/{}/comm", pid));
    std::string name;
    std::getline(stream, name);
    return name;
}

// The process as a host; nothing when it has not loaded the plug-in or this user may not inspect
// it.
std::optional<Host> host_of(pid_t pid) {
    std::ifstream maps(fmt::format("/proc/{}/maps", pid));
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        std::string range, rights, offset, device, inode, file;
        words >> range >> rights >> offset >> device >> inode >> std::ws;
        std::getline(words, file);
        const std::string deleted = " (deleted)";
        const std::string path =
            ends_with(file, deleted) ? file.substr(0, file.size() - deleted.size()) : file;
        if (offset == "00000000" && ends_with(path, std::string("/") + plugin_file)) {
            return Host{pid, std::stoull(range, nullptr, 16), file, name_of(pid)};
        }
    }
    return std::nullopt;
}

// A descriptor of a process's memory, closed by the destructor.
class Memory {
  public:
    Memory(pid_t pid, int flags)
        : descriptor_(open(fmt::format("/proc/{}/mem", pid).c_str(), flags | O_CLOEXEC)) {}
    Memory(const Memory &) = delete;
    Memory &operator=(const Memory &) = delete;
    ~Memory() { close(descriptor_); }

    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

} // namespace

std::vector<Host> hosts() {
    std::vector<Host> found;
    for (const pid_t pid : processes()) {
        if (const auto host = pid == getpid() ? std::nullopt : host_of(pid)) {
            found.push_back(*host);
        }
    }
    return found;
}

Host host(pid_t pid) {
    if (pid != 0) {
        const auto found = host_of(pid);
        if (!fs::exists(fmt::format("/proc/{}", pid))) {
            throw std::runtime_error(fmt::format("there is no process {}", pid));
        }
        if (!found) {
            throw std::runtime_error(
                fmt::format("process {} has not loaded {}, or you may not read its memory map", pid,
                            plugin_file));
        }
        return *found;
    }
    std::vector<Host> found = hosts();
    found.erase(std::remove_if(
                    found.begin(), found.end(),
                    [](const Host &one) { return !same_network("self", std::to_string(one.pid)); }),
                found.end());
    if (found.empty()) {
        throw std::runtime_error(
            fmt::format("no running process has loaded {} in this network; start sysrepo-plugind, "
                        "and run this as root to see it",
                        plugin_file));
    }
    if (found.size() > 1) {
        std::string pids;
        for (const Host &one : found) {
            pids += fmt::format(" {}", one.pid);
        }
        throw std::runtime_error(fmt::format(
            "several processes have loaded {}:{}; name one with --pid", plugin_file, pids));
    }
    return found.front();
}

Switches::Switches(const Host &host) : host_(host) {
    if (ends_with(host_.file, ")")) {
        throw std::runtime_error(
            fmt::format("{} has been replaced since process {} loaded it; restart the host",
                        plugin_file, host_.pid));
    }
}

off_t Switches::address_of(const char *symbol) const {
    // Through /proc/PID/root: the host may run in another root directory.
    const std::string file = fmt::format("/proc/{}/root{}", host_.pid, host_.file);
    void *library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    void *variable = library == nullptr ? nullptr : dlsym(library, symbol);
    Dl_info info{};
    if (variable == nullptr || dladdr(variable, &info) == 0) {
        throw std::runtime_error(fmt::format("{} has no symbol {}", host_.file, symbol));
    }
    const auto offset =
        static_cast<const char *>(variable) - static_cast<const char *>(info.dli_fbase);
    return static_cast<off_t>(host_.base) + offset;
}

int Switches::value(const char *symbol) const {
    int value = 0;
    const Memory memory(host_.pid, O_RDONLY);
    if (pread(memory.descriptor(), &value, sizeof value, address_of(symbol)) != sizeof value) {
        throw std::runtime_error(
            fmt::format("cannot read the memory of process {}; run this as root", host_.pid));
    }
    return value;
}

void Switches::set(const char *symbol, int value) const {
    const Memory memory(host_.pid, O_WRONLY);
    if (pwrite(memory.descriptor(), &value, sizeof value, address_of(symbol)) != sizeof value) {
        throw std::runtime_error(
            fmt::format("cannot write to the memory of process {}; run this as root", host_.pid));
    }
}

bool same_network(const std::string &one, const std::string &other) {
    std::error_code unreadable;
    return fs::equivalent(fmt::format("/proc/{}/ns/net", one),
                          fmt::format("/proc/{}/ns/net", other), unreadable);
}

std::vector<Socket> sockets_of_network(const std::string &pid) {
    std::ifstream table(fmt::format("/proc/{}/net/tcp", pid));
    std::vector<Socket> found;
    std::string line;
    std::getline(table, line); // the heading
    const auto port = [](const std::string &end) {
        return std::stoi(end.substr(end.rfind(':') + 1), nullptr, 16);
    };
    while (std::getline(table, line)) {
        std::istringstream words(line);
        std::string slot, local, remote, state, skipped;
        std::uint64_t inode = 0;
        words >> slot >> local >> remote >> state;
        words >> skipped >> skipped >> skipped >> skipped >> skipped >> inode;
        if (words) {
            found.push_back({port(local), port(remote), std::stoi(state, nullptr, 16), inode});
        }
    }
    return found;
}

bool has_open(pid_t pid, std::uint64_t inode) {
    const fs::path directory = fmt::format("/proc/{}/fd", pid);
    const std::string target = fmt::format("socket:[{}]", inode);
    const auto names = names_in(directory);
    return std::any_of(names.begin(), names.end(), [&](const std::string &name) {
        std::error_code closed_meanwhile;
        return fs::read_symlink(directory / name, closed_meanwhile) == target;
    });
}

std::string owner_of(std::uint64_t inode) {
    for (const pid_t pid : processes()) {
        if (has_open(pid, inode)) {
            return fmt::format("{} ({})", name_of(pid), pid);
        }
    }
    return {};
}

} // namespace bgpctl
