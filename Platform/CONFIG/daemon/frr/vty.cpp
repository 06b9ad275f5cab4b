#include "frr/vty.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

namespace configd::frr {
namespace {

// Each answer ends with three NULs and the status.
constexpr std::string_view end_mark{"\0\0\0", 3};

// The longest answer that is read, in bytes. A table of 50,000 routes has about 30 MB.
constexpr std::size_t longest_answer = std::size_t{256} * 1024 * 1024;

// How often a wait for a free place in bgpd's queue of sessions looks whether to go on.
constexpr std::chrono::milliseconds connect_step{100};

[[noreturn]] void fail(int error, const std::string &what) {
    throw std::system_error(error, std::generic_category(), what);
}

void set_limit(int socket, int option, std::chrono::milliseconds limit) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    const auto rest = std::chrono::duration_cast<std::chrono::microseconds>(limit - seconds);
    timeval value{};
    value.tv_sec = static_cast<decltype(value.tv_sec)>(seconds.count());
    value.tv_usec = static_cast<decltype(value.tv_usec)>(rest.count());
    ::setsockopt(socket, SOL_SOCKET, option, &value, sizeof value);
}

void send_all(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            fail(errno, "cannot send to bgpd");
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

// Appends the received bytes to `bytes`.
void receive_more(int socket, std::string &bytes) {
    std::array<char, 65536> chunk;
    const ssize_t count = ::recv(socket, chunk.data(), chunk.size(), 0);
    if (count == 0) {
        fail(ECONNRESET, "bgpd ended the session");
    }
    if (count < 0 && errno != EINTR) {
        fail(errno == EAGAIN ? ETIMEDOUT : errno, "no answer from bgpd");
    }
    bytes.append(chunk.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
}

VtyAnswer receive_answer(int socket) {
    std::string bytes;
    std::size_t searched = 0; // no mark starts before this offset
    while (true) {
        const std::size_t mark = bytes.find(end_mark, searched);
        const std::size_t status = mark + end_mark.size();
        if (mark != std::string::npos && status < bytes.size()) {
            const int value = static_cast<unsigned char>(bytes[status]);
            bytes.resize(mark);
            return {std::move(bytes), value};
        }
        searched = bytes.size() < end_mark.size() ? 0 : bytes.size() - end_mark.size();
        receive_more(socket, bytes);
        if (bytes.size() > longest_answer) {
            fail(EMSGSIZE, "bgpd's answer has no end");
        }
    }
}

} // namespace

Vty::Vty(std::string path, std::chrono::milliseconds patience)
    : path_{std::move(path)}, patience_{patience} {}

VtyAnswer Vty::ask(const std::string &command) {
    try {
        if (socket_.get() < 0) {
            connect();
        }
        return exchange(command);
    } catch (const std::system_error &error) {
        is_silent_ = error.code() == std::errc::timed_out;
        const std::lock_guard lock{mutex_};
        socket_ = FileDescriptor{};
        return {error.what(), VtyAnswer::unreachable};
    }
}

VtyAnswer Vty::start_over() {
    const bool was_open = socket_.get() >= 0;
    VtyAnswer answer = ask("end");
    // The session belonged to a bgpd that has ended. Another one may run now. A bgpd that is silent
    // would be as silent on a new session.
    const bool has_ended = was_open && answer.status == VtyAnswer::unreachable && !is_silent_;
    return has_ended ? ask("end") : answer;
}

void Vty::give_up() {
    const std::lock_guard lock{mutex_};
    given_up_ = true;
    ::shutdown(socket_.get(), SHUT_RDWR);
}

bool Vty::is_given_up() {
    const std::lock_guard lock{mutex_};
    return given_up_;
}

void Vty::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path) {
        fail(ENAMETOOLONG, path_);
    }
    path_.copy(address.sun_path, path_.size());

    FileDescriptor socket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (socket.get() < 0) {
        fail(errno, "cannot open a socket");
    }
    // While bgpd's queue of sessions is full, each attempt waits for the send limit.
    set_limit(socket.get(), SO_SNDTIMEO, std::min(connect_step, patience_));
    const auto deadline = std::chrono::steady_clock::now() + patience_;
    while (::connect(socket.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        const bool is_full = errno == EAGAIN;
        if (!is_full || is_given_up() || std::chrono::steady_clock::now() >= deadline) {
            fail(is_full ? ETIMEDOUT : errno, "cannot reach bgpd at " + path_);
        }
    }
    for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO}) {
        set_limit(socket.get(), option, patience_);
    }
    {
        const std::lock_guard lock{mutex_};
        if (given_up_) {
            fail(ECANCELED, "bgpd is asked no more");
        }
        socket_ = std::move(socket);
    }
    exchange("enable");
}

VtyAnswer Vty::exchange(const std::string &command) {
    // The NUL ends the line.
    send_all(socket_.get(), std::string_view{command.c_str(), command.size() + 1});
    return receive_answer(socket_.get());
}

} // namespace configd::frr
