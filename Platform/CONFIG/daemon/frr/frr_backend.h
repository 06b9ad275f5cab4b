// Configures and queries FRRouting's bgpd.
#ifndef CONFIGD_FRR_FRR_BACKEND_H
#define CONFIGD_FRR_FRR_BACKEND_H

#include "backend.h"
#include "frr/configuration.h"
#include "frr/vty.h"

#include <nlohmann/json_fwd.hpp>

#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace configd::frr {

// bgpd may end and come back at any time. While it is away, each message is answered with
// SR_ERR_SOCKET_FAILED. Each query has its own terminal, so that several can be answered while a
// configuration message is applied.
class FrrBackend : public Backend {
  public:
    // `vty_socket` is the path of the socket, `lines` are entered in each instance that is created.
    // The backend connects to bgpd for the first message.
    FrrBackend(const std::string &vty_socket, std::vector<std::string> lines);

    // See Configuration::apply().
    ApplyResult apply(const Message &message) override;

    // A table of 50,000 routes takes a third of a second to write in bgpd and half a second to read
    // here.
    bool is_slow() const override { return true; }

    // See answer_query().
    QueryResult query(const Message &message) override;

    void give_up() override;

    // The part of bgpd's running configuration that the model covers, see configuration_of(). Empty
    // when bgpd cannot be reached.
    nlohmann::ordered_json configuration() const override;

  private:
    // The terminal of one query. give_up() reaches it as long as it exists.
    class QueryVty;

    void start_over() const;

    std::string vty_socket_;
    std::mutex mutex_; // guards query_vtys_ and given_up_
    std::set<Vty *> query_vtys_;
    bool given_up_ = false;
    mutable Vty configuration_vty_;
    mutable std::optional<VtyAnswer> no_session_; // why bgpd cannot be configured now
    mutable Configuration configuration_;
};

} // namespace configd::frr

#endif
