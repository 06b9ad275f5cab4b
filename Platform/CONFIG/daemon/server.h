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

// Listens on the loopback address and serves any number of connections from the one thread that
// calls run(). It cuts the byte streams into messages and sends the handler's answers; what a
// message says is the handler's matter. Only the handler's jobs have threads of their own.
//
// A message whose dataLen is below 16 or above BUF_SIZE_MAX, that its peer breaks off, or that
// exceeds the limits closes its connection. A connection that does not take its answer, or whose
// answer is still at work, is not read from until it has it. When the process is out of
// descriptors, new connections wait.
class Server {
  public:
    // Binds and listens on 127.0.0.1; `port` in host byte order, 0 for any free one. The handler
    // is not owned and outlives the server. Throws std::system_error.
    explicit Server(Handler &handler, std::uint16_t port = NETCONF_DAEMON_PORT,
                    const Limits &limits = {});
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;
    // Waits for the jobs at work. Those that wait for a thread are dropped.
    ~Server();

    // The port listened on, in host byte order.
    std::uint16_t port() const;

    // Reports every connection event to `sink`, from run(). Call before run().
    void on_event(std::function<void(const ConnectionEvent &)> sink);

    // Calls `received` from run() whenever the process gets the signal. Call before run(). Throws
    // std::system_error.
    void on_signal(int number, std::function<void()> received);

    // Does `work` behind the jobs in order that came before, then `done` from run(). Call from
    // run().
    void in_order(std::function<void()> work, std::function<void()> done);

    // Serves until stop(); returns at once when stop() came before. What a connection has not
    // taken by then stays with it. Throws std::system_error.
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
