// A client of bgpd's terminal, on the unix socket that bgpd itself listens on.
#ifndef CONFIGD_FRR_VTY_H
#define CONFIGD_FRR_VTY_H

#include "file_descriptor.h"
#include "vty_answer.h"

#include <chrono>
#include <mutex>
#include <string>

namespace configd::frr {

// One session of bgpd's terminal, in its enable mode. bgpd may end and come back at any time: the
// session is opened when one is needed and closed when an exchange breaks. Not for two threads at
// once.
class Vty {
  public:
    // `path` is the path of the socket. An exchange breaks when bgpd sends nothing for `patience`.
    explicit Vty(std::string path, std::chrono::milliseconds patience = std::chrono::seconds{30});

    // Sends one command line, which has no control characters, and waits for its answer. A broken
    // exchange is not repeated because bgpd may have executed the line.
    VtyAnswer ask(const std::string &command);

    // Returns to the enable mode from any other. Opens a new session if the last one has ended, so
    // that what follows goes to the bgpd that runs now; not if bgpd was silent.
    VtyAnswer start_over();

    // Breaks the exchange under way and all later ones. The only function that another thread may
    // call.
    void give_up();

  private:
    void connect();
    bool is_given_up();
    VtyAnswer exchange(const std::string &command);

    std::string path_;
    std::chrono::milliseconds patience_;
    FileDescriptor socket_;
    bool is_silent_ = false; // whether the last broken exchange took the whole patience
    std::mutex mutex_;       // guards given_up_ and the descriptor in socket_
    bool given_up_ = false;
};

} // namespace configd::frr

#endif
