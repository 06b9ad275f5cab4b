// A client in its own process: it sends RPCs continuously and makes the requested edits in between.
#ifndef SOAK_CLIENT_H
#define SOAK_CLIENT_H

#include "edits.h"
#include "queries.h"
#include "session.h"

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace soak {

// The counters of all clients, in shared memory.
struct Tally {
    std::atomic<bool> querying{false}; // whether the clients send RPCs continuously
    std::atomic<std::uint64_t> queries{0};
    std::atomic<std::uint64_t> refused_queries{0}; // queries that must be refused
    std::atomic<bool> daemon_is_away{false};       // whether queries may also fail
    std::atomic<std::uint64_t> failed_queries{0};  // queries that failed meanwhile
    std::atomic<std::size_t> largest_answer{0};    // entries of a list
    std::atomic<std::uint64_t> other_edits{0};     // edits of the other plug-in's module
    std::atomic<std::uint64_t> connections{0};
};

// The tally in memory shared with all processes that are forked later; it is never freed.
Tally &shared_tally();

class Client {
  public:
    // Forks the client. Call it before this process has a connection or a thread, while the host
    // runs. The client connects at its first task.
    Client(std::uint64_t seed, Tally &tally);
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client();

    // Each of these waits until the client has finished, and throws std::runtime_error when the
    // client failed. The client prints the reason to standard error.

    // Makes an edit.
    Outcome edit(const std::vector<Change> &changes);

    // Sends one random query while no client edits, and compares the answer with the configuration
    // of the daemon.
    void query(const Configuration &configuration);

    // Does nothing. When it returns, no RPC of the client is in progress, and the client has read
    // again whether it must send any.
    void rest();

    // Ends the client.
    void end();

  private:
    std::string ask(const std::string &message);

    pid_t pid_ = 0;
    int socket_ = -1;
};

} // namespace soak

#endif
