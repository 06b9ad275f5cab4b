// A client in a process of its own: it calls RPCs without pause and makes the edits that it is
// given in between.
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

// What all clients have in common, in shared memory.
struct Tally {
    std::atomic<bool> querying{false}; // whether they call RPCs of their own accord
    std::atomic<std::uint64_t> queries{0};
    std::atomic<std::uint64_t> refused_queries{0}; // those that must be
    std::atomic<std::uint64_t> connections{0};
};

// The tally in memory that is shared with the processes forked later, for the program's life.
Tally &shared_tally();

class Client {
  public:
    // Forks it. To be called before this process has a connection or a thread; the datastore's
    // host is there. It connects when it is first told something.
    Client(std::uint64_t seed, Tally &tally);
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client();

    // Each of these waits until the client has done it, and throws std::runtime_error when the
    // client has failed; it has said why on standard error.

    // Makes an edit.
    Outcome edit(const std::vector<Change> &changes);

    // Calls one query, drawn by lot, while nobody edits, and compares its answer with the
    // configuration, which is the daemon's.
    void query(const Configuration &configuration);

    // Does nothing: no call of its own is under way when it returns, and it looks anew whether it
    // is to make any.
    void rest();

    // Ends it.
    void end();

  private:
    std::string ask(const std::string &message);

    pid_t pid_ = 0;
    int socket_ = -1;
};

} // namespace soak

#endif
