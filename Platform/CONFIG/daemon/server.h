// Serves the daemon protocol's connections.
#ifndef CONFIGD_SERVER_H
#define CONFIGD_SERVER_H

#include "file_descriptor.h"
#include "handler.h"
#include "worker_pool.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace configd {

// Something that happened to a connection.
struct ConnectionEvent {
    enum class Kind { Opened, Closed, BadFrame };

    Kind kind;
    std::uint64_t connection; // counted from 1
    std::string detail;       // BadFrame: what is wrong
};

// Listens on the loopback address and serves any number of connections from the one thread that
// calls run(). It cuts the byte streams into messages and sends the handler's answers; what a
// message says is the handler's matter. Only the handler's jobs have threads of their own.
//
// A message whose dataLen is below 16 or above BUF_SIZE_MAX, or that its peer breaks off, closes
// its connection. A connection that does not take its answer, or whose answer is still at work, is
// not read from until it has it.
class Server {
  public:
    // Binds and listens on 127.0.0.1; `port` in host byte order, 0 for any free one. The handler
    // is not owned and outlives the server. Throws std::system_error.
    explicit Server(Handler &handler, std::uint16_t port = NETCONF_DAEMON_PORT);
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    // Waits for the jobs at work.
    ~Server();

    // The port listened on, in host byte order.
    std::uint16_t port() const noexcept { return port_; }

    // Reports every connection event to `sink`, from run(). Call before run().
    void on_event(std::function<void(const ConnectionEvent &)> sink);

    // Calls `readable` from run() whenever fd, which stays the caller's, can be read from. Call
    // before run(). Throws std::system_error.
    void watch(int fd, std::function<void()> readable);

    // Serves until stop(); returns at once when stop() came before. What a connection has not
    // taken by then stays with it. Throws std::system_error, and what the handler throws.
    void run();

    // Ends run(), from any thread or from a signal handler.
    void stop() noexcept;

  private:
    struct Connection;

    void set_interest(int operation, int fd, std::uint32_t events);
    void dispatch(int fd);
    void accept_connections();
    void close_connection(int fd);
    bool serve(Connection &connection);
    bool receive(Connection &connection);
    bool answer_received(Connection &connection);
    static bool send_answer(Connection &connection, Answer answer);
    void start(Connection &connection, Job job);
    void finish(int fd, std::uint64_t number, Answer answer);
    void settle(int fd, bool is_open);
    void report(ConnectionEvent::Kind kind, std::uint64_t connection, std::string detail = {});

    Handler &handler_;
    FileDescriptor epoll_;
    FileDescriptor listener_;
    FileDescriptor stop_;
    std::uint16_t port_ = 0;
    bool running_ = false;
    bool accepting_ = true;
    std::uint64_t connections_opened_ = 0;
    std::function<void(const ConnectionEvent &)> sink_;
    std::unordered_map<int, std::function<void()>> watches_;
    std::unordered_map<int, std::unique_ptr<Connection>> connections_;
    std::array<char, 65536> chunk_{};
    WorkerPool workers_{4}; // ends first, since what they do is for the others
};

} // namespace configd

#endif
