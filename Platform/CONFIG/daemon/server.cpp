#include "server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace configd {
namespace {

// The result of a system call, or its failure thrown.
int checked(int result, const std::string &what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

bool would_block() {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

// What goes out for an answer, and whether the connection ends with it.
struct AnswerBytes {
    RawBytes operator()(const ResultCode &answer) const {
        std::string bytes(sizeof answer.code, '\0');
        std::memcpy(bytes.data(), &answer.code, sizeof answer.code);
        return {std::move(bytes), false};
    }
    RawBytes operator()(const Reply &answer) const {
        return {make_message(answer.module, answer.sub_mod, answer.payload, answer.res_value).bytes,
                false};
    }
    RawBytes operator()(RawBytes &answer) const { return std::move(answer); }
    RawBytes operator()(const Silence & /*answer*/) const { return {{}, false}; }
};

} // namespace

struct Server::Connection {
    FileDescriptor socket;
    std::uint64_t number;
    std::string input{};        // received and not answered yet
    RawBytes output{{}, false}; // the answer being sent
    std::size_t sent = 0;       // bytes of it that the socket has taken
    std::uint32_t interest = EPOLLIN;
    bool is_waiting = false; // for a job's answer

    bool is_sending() const { return sent < output.bytes.size(); }

    // Sends what the socket takes. Returns false when the connection is to be closed.
    bool flush() {
        while (is_sending()) {
            const ssize_t count = ::send(socket.get(), output.bytes.data() + sent,
                                         output.bytes.size() - sent, MSG_NOSIGNAL);
            if (count < 0) {
                return would_block();
            }
            sent += static_cast<std::size_t>(count);
        }
        return !output.close_after;
    }
};

Server::Server(Handler &handler, std::uint16_t port)
    : handler_{handler}, epoll_{checked(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1")},
      listener_{
          checked(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket")},
      stop_{checked(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")} {
    // A restart does not wait for the old connections' end.
    const int on = 1;
    checked(::setsockopt(listener_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), "setsockopt");

    sockaddr_in address{};
    socklen_t length = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::inet_addr(NETCONF_DAEMON_ADDRESS);
    address.sin_port = htons(port);
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    const std::string failure =
        "cannot listen on " NETCONF_DAEMON_ADDRESS ":" + std::to_string(port);
    checked(::bind(listener_.get(), generic, length), failure);
    checked(::listen(listener_.get(), SOMAXCONN), failure);
    checked(::getsockname(listener_.get(), generic, &length), "getsockname");
    port_ = ntohs(address.sin_port);

    watch(listener_.get(), [this] { accept_connections(); });
    watch(workers_.descriptor(), [this] { workers_.finish(); });
    watch(stop_.get(), [this] {
        eventfd_t count = 0;
        ::eventfd_read(stop_.get(), &count);
        running_ = false;
    });
}

Server::~Server() = default;

void Server::on_event(std::function<void(const ConnectionEvent &)> sink) {
    sink_ = std::move(sink);
}

void Server::watch(int fd, std::function<void()> readable) {
    set_interest(EPOLL_CTL_ADD, fd, EPOLLIN);
    watches_[fd] = std::move(readable);
}

void Server::run() {
    running_ = true;
    std::array<epoll_event, 64> events{};
    while (running_) {
        const int count =
            ::epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), -1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        checked(count, "epoll_wait");
        for (int i = 0; i < count; ++i) {
            dispatch(events[static_cast<std::size_t>(i)].data.fd);
        }
    }
}

void Server::stop() noexcept {
    const int saved = errno; // belongs to the code that a signal interrupted
    ::eventfd_write(stop_.get(), 1);
    errno = saved;
}

void Server::set_interest(int operation, int fd, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    checked(::epoll_ctl(epoll_.get(), operation, fd, &event), "epoll_ctl");
}

void Server::dispatch(int fd) {
    if (const auto watch = watches_.find(fd); watch != watches_.end()) {
        watch->second();
        return;
    }
    const auto found = connections_.find(fd);
    if (found == connections_.end()) {
        return;
    }
    Connection &connection = *found->second;
    // While it waits for an answer, all that comes up is that its peer reset it.
    settle(fd, !connection.is_waiting && serve(connection));
}

// Closes the connection, or has it wait for what it is to do next.
void Server::settle(int fd, bool is_open) {
    if (!is_open) {
        close_connection(fd);
        return;
    }
    Connection &connection = *connections_.at(fd);
    const std::uint32_t idle = connection.is_waiting ? 0U : EPOLLIN;
    const std::uint32_t interest = connection.is_sending() ? EPOLLOUT : idle;
    if (interest != connection.interest) {
        set_interest(EPOLL_CTL_MOD, fd, interest);
        connection.interest = interest;
    }
}

void Server::accept_connections() {
    while (true) {
        FileDescriptor socket{
            ::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)};
        const int fd = socket.get();
        if (fd < 0) {
            // Out of descriptors: the next connection waits until another one ends.
            accepting_ = errno != EMFILE && errno != ENFILE;
            if (!accepting_) {
                set_interest(EPOLL_CTL_MOD, listener_.get(), 0);
            }
            return;
        }
        // Answers are small: each goes out as it is written.
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        set_interest(EPOLL_CTL_ADD, fd, EPOLLIN);
        const std::uint64_t number = ++connections_opened_;
        connections_[fd] = std::make_unique<Connection>(Connection{std::move(socket), number});
        report(ConnectionEvent::Kind::Opened, number);
    }
}

void Server::close_connection(int fd) {
    const std::uint64_t number = connections_.at(fd)->number;
    connections_.erase(fd);
    report(ConnectionEvent::Kind::Closed, number);
    if (!accepting_) {
        accepting_ = true;
        set_interest(EPOLL_CTL_MOD, listener_.get(), EPOLLIN);
    }
}

// Does what the connection is ready for. Returns false when it is to be closed.
bool Server::serve(Connection &connection) {
    const bool open = connection.is_sending() ? connection.flush() : receive(connection);
    return open && answer_received(connection);
}

// Receives what is there. Returns false when the connection is to be closed.
bool Server::receive(Connection &connection) {
    const ssize_t count = ::recv(connection.socket.get(), chunk_.data(), chunk_.size(), 0);
    if (count > 0) {
        connection.input.append(chunk_.data(), static_cast<std::size_t>(count));
        return true;
    }
    if (count < 0 && would_block()) {
        return true;
    }
    if (!connection.input.empty()) {
        report(ConnectionEvent::Kind::BadFrame, connection.number,
               "closed in the middle of a message");
    }
    return false;
}

// Answers the messages received, until one answer has to wait for its peer. Returns false when
// the connection is to be closed.
bool Server::answer_received(Connection &connection) {
    while (!connection.is_sending() && !connection.is_waiting) {
        const Frame frame = frame_of(connection.input);
        if (frame.framing == Framing::Broken) {
            report(ConnectionEvent::Kind::BadFrame, connection.number,
                   "dataLen is " + std::to_string(frame.length));
            return false;
        }
        if (frame.framing == Framing::Incomplete) {
            return true;
        }
        const auto length = static_cast<std::size_t>(frame.length);
        const Message message = message_from_bytes(connection.input.substr(0, length));
        connection.input.erase(0, length);
        if (std::optional<Job> job = handler_.job_for(message); job) {
            start(connection, std::move(*job));
        } else if (!send_answer(connection, handler_.answer(message))) {
            return false;
        }
    }
    return true;
}

// Sends what the socket takes of the answer. Returns false when the connection is to be closed.
bool Server::send_answer(Connection &connection, Answer answer) {
    connection.output = std::visit(AnswerBytes{}, answer);
    connection.sent = 0;
    return connection.flush();
}

// Has the job done while the connection waits for its answer.
void Server::start(Connection &connection, Job job) {
    connection.is_waiting = true;
    workers_.start(std::move(job.work),
                   [this, fd = connection.socket.get(), number = connection.number,
                    answer = std::move(job.answer)] { finish(fd, number, answer()); });
}

// Sends a job's answer, unless its connection is gone by now and another one has its descriptor.
void Server::finish(int fd, std::uint64_t number, Answer answer) {
    const auto found = connections_.find(fd);
    if (found == connections_.end() || found->second->number != number) {
        return;
    }
    Connection &connection = *found->second;
    connection.is_waiting = false;
    settle(fd, send_answer(connection, std::move(answer)) && answer_received(connection));
}

void Server::report(ConnectionEvent::Kind kind, std::uint64_t connection, std::string detail) {
    if (sink_) {
        sink_({kind, connection, std::move(detail)});
    }
}

} // namespace configd
