// Has FRRouting's bgpd run what the daemon is told.
#ifndef CONFIGD_FRR_FRR_BACKEND_H
#define CONFIGD_FRR_FRR_BACKEND_H

#include "backend.h"
#include "frr/configuration.h"
#include "frr/vty.h"

#include <nlohmann/json_fwd.hpp>

#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace configd::frr {

// bgpd may end and come back at any time; while it is away each message is answered with
// SR_ERR_SOCKET_FAILED. Each query has a terminal of its own, so that several may be answered
// while a configuration message is applied.
class FrrBackend : public Backend {
  public:
    // `vty_socket` is the path of the socket, `lines` are entered in each instance that is
    // created. bgpd is first asked with the first message.
    FrrBackend(const std::string &vty_socket, std::vector<std::string> lines);

    // See Configuration::apply().
    ApplyResult apply(const Message &message) override;

    // A table of 50,000 routes takes bgpd a third of a second to write and half a second to read.
    bool is_slow() const override { return true; }

    // See answer_query().
    QueryResult query(const Message &message) override;

    void give_up() override;

    // What of bgpd's running configuration settings of the model stand for, see
    // configuration_of(); empty when bgpd cannot be asked.
    nlohmann::ordered_json configuration() const override;

  private:
    // The terminal of one query, which give_up() reaches while it lives.
    class QueryVty;

    std::string vty_socket_;
    std::mutex mutex_; // for what follows
    std::set<Vty *> query_vtys_;
    mutable Vty configuration_vty_;
    mutable Configuration configuration_;
};

} // namespace configd::frr

#endif
