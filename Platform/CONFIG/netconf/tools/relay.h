// The daemon that the plug-in meets inside orv_bgpctl: it sees every record on its way.
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

// A connection to the daemon on 127.0.0.1:8888. Throws std::runtime_error when none listens.
class Upstream {
  public:
    Upstream();
    Upstream(const Upstream &) = delete;
    Upstream &operator=(const Upstream &) = delete;
    ~Upstream();

    // Sends a configuration message and returns the daemon's result code. Throws
    // std::runtime_error when the connection ends instead.
    std::int32_t ask(const configd::Message &message) const;

  private:
    int socket_;
};

// Listens on port 8888 of the process's own network and hands each record on to the daemon, or to
// nobody. Lives in a thread of its own, from construction to destruction.
class Relay : private configd::Handler {
  public:
    // Sees a record when its result code is known; called in the relay's thread.
    using Observer = std::function<void(const configd::Message &message, std::int32_t code)>;

    // Without an upstream every record is accepted. `upstream` is not owned. Throws
    // std::system_error when the port is taken.
    Relay(const Upstream *upstream, Observer observer);
    Relay(const Relay &) = delete;
    Relay &operator=(const Relay &) = delete;
    ~Relay() override;

    // How many records of each kind the daemon accepted, by the names of their sub-module codes.
    // Look at these once the plug-in has returned.
    const std::map<std::string, std::size_t> &accepted() const { return accepted_; }
    // The path of what the daemon refused first, why, and the record; nothing when it accepted all.
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
