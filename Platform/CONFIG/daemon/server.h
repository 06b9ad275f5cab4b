// Serves the daemon protocol's connections.
#ifndef CONFIGD_SERVER_H
#define CONFIGD_SERVER_H

#include "handler.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace configd {

// Something that happened to a connection.
struct ConnectionEvent {
    enum class Kind { Opened, Closed, BadFrame, Refused };

    Kind kind;
    std::uint64_t connection; // counted from 1
    std::string detail;       // BadFrame and Refused: why
};

// What a server lets its peers use.
struct Limits {
    std::size_t connections = 1024;                               // at once
    std::chrono::milliseconds message = std::chrono::seconds{30}; // from its first byte to its last
    std::size_t unfinished = std::size_t{64} * 1024 * 1024; // bytes of unfinished messages, of all
};

// Listens on the loopback address and serves any number of connections in the one thread that calls
// run(). It splits the byte streams into messages and sends the handler's answers; the handler
// interprets the messages. Only the handler's jobs run in other threads.
//
// A connection is closed when a message on it has a dataLen below 16 or above BUF_SIZE_MAX, ends
// too early or exceeds the limits. The server reads the next message of a connection only after it
// has sent the answer to the previous one. When the process has no free descriptor, new connections
// wait.
class Server {
  public:
    // Binds and listens on 127.0.0.1; `port` in host byte order, 0 for any free one. The handler is
    // not owned and must outlive the server. Throws std::system_error.
    explicit Server(Handler &handler, std::uint16_t port = NETCONF_DAEMON_PORT,
                    const Limits &limits = {});
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    // Waits for the jobs that run. Jobs that still wait for a thread are dropped.
    ~Server();

    // The port listened on, in host byte order.
    std::uint16_t port() const;

    // Reports every connection event to `sink`, from run(). Call before run().
    void on_event(std::function<void(const ConnectionEvent &)> sink);

    // Calls `received` from run() whenever the process gets the signal. Call before run(). Throws
    // std::system_error.
    void on_signal(int number, std::function<void()> received);

    // Does `work` after the jobs in order that came before, then calls `done` from run(). Call from
    // run().
    void in_order(std::function<void()> work, std::function<void()> done);

    // Serves until stop(). Returns at once if stop() was called before. Answers that are not sent
    // by then are dropped. Throws std::system_error.
    void run();

    // Ends run(), from any thread.
    void stop();

  private:
    class Connection;
    struct State;

    std::unique_ptr<State> state_;
};

} // namespace configd

#endif
