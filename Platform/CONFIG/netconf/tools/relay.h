// The daemon for the plug-in inside orv_bgpctl: it sees every record that the plug-in sends.
#ifndef BGPCTL_RELAY_H
#define BGPCTL_RELAY_H

#include "handler.h"
#include "server.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>

namespace bgpctl {

// A connection to the daemon on 127.0.0.1:8888. Throws std::runtime_error without a daemon.
class Upstream {
  public:
    Upstream();
    Upstream(const Upstream &) = delete;
    Upstream &operator=(const Upstream &) = delete;
    ~Upstream();

    // Sends a configuration message and returns the daemon's result code. Throws std::runtime_error
    // when the connection ends.
    std::int32_t ask(const configd::Message &message) const;

  private:
    int socket_;
};

// Listens on port 8888 in the process's own network and passes each record to the daemon, or
// accepts it. Runs in its own thread, from construction to destruction.
class Relay : private configd::Handler {
  public:
    // Gets each record with its result code, in the relay's thread.
    using Observer = std::function<void(const configd::Message &message, std::int32_t code)>;

    // Without `upstream` it accepts every record. `upstream` is not owned and must outlive the
    // relay. Throws std::system_error when the port is in use.
    Relay(const Upstream *upstream, Observer observer);
    Relay(const Relay &) = delete;
    Relay &operator=(const Relay &) = delete;
    ~Relay() override;

    // How many records of each kind the daemon accepted, by the names of their sub-module codes.
    // Call accepted() and refused() only after the plug-in has returned.
    const std::map<std::string, std::size_t> &accepted() const { return accepted_; }
    // The first record that the daemon refused, with its path and the reason; nothing without one.
    const std::optional<std::string> &refused() const { return refused_; }

  private:
    configd::Answer answer(const configd::Message &message) override;

    const Upstream *upstream_;
    Observer observer_;
    std::map<std::string, std::size_t> accepted_;
    std::optional<std::string> refused_;
    configd::Server server_;
    std::thread thread_;
};

} // namespace bgpctl

#endif
