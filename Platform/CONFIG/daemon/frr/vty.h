// The client of bgpd's terminal: the unix socket that bgpd itself listens on.
#ifndef CONFIGD_FRR_VTY_H
#define CONFIGD_FRR_VTY_H

#include "file_descriptor.h"
#include "vty_answer.h"

#include <chrono>
#include <mutex>
#include <string>

namespace configd::frr {

// One session of bgpd's terminal, in its enabled mode. bgpd may end and come back at any time:
// the session is opened when it is needed and not there, and closed when an exchange breaks.
// Not for two threads at once.
class Vty {
  public:
    // `path` is the socket's. An exchange in which bgpd says nothing for `patience` is broken.
    explicit Vty(std::string path, std::chrono::milliseconds patience = std::chrono::seconds{30});

    // Sends one command line, which has no control characters, and waits for its answer. An
    // exchange that breaks is not repeated, since bgpd may have done what the line says.
    VtyAnswer ask(const std::string &command);

    // Leaves whatever mode the session is in for its first one. A session that ended since the
    // last exchange is opened anew, so what follows goes to the bgpd that runs now.
    VtyAnswer start_over();

    // Breaks the exchange under way and all that follow. The one function for another thread.
    void give_up();

  private:
    void connect();
    VtyAnswer exchange(const std::string &command);

    std::string path_;
    std::chrono::milliseconds patience_;
    FileDescriptor socket_;
    std::mutex mutex_; // for what follows, and for which descriptor the socket is
    bool given_up_ = false;
};

} // namespace configd::frr

#endif
