#include "frr/frr_backend.h"

#include "frr/queries.h"
#include "frr/running_config.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace configd::frr {

class FrrBackend::QueryVty {
  public:
    explicit QueryVty(FrrBackend &backend) : backend_{backend}, vty_{backend.vty_socket_} {
        const std::lock_guard lock{backend_.mutex_};
        backend_.query_vtys_.insert(&vty_);
        if (backend_.given_up_) {
            vty_.give_up();
        }
    }
    QueryVty(const QueryVty &) = delete;
    QueryVty &operator=(const QueryVty &) = delete;
    ~QueryVty() {
        const std::lock_guard lock{backend_.mutex_};
        backend_.query_vtys_.erase(&vty_);
    }

    VtyAnswer ask(const std::string &line) { return vty_.ask(line); }

  private:
    FrrBackend &backend_;
    Vty vty_;
};

FrrBackend::FrrBackend(const std::string &vty_socket, std::vector<std::string> lines)
    : vty_socket_{vty_socket}, configuration_vty_{vty_socket},
      configuration_{[this](const std::string &line) {
                         return no_session_ ? *no_session_ : configuration_vty_.ask(line);
                     },
                     std::move(lines)} {}

ApplyResult FrrBackend::apply(const Message &message) {
    start_over();
    return configuration_.apply(message);
}

QueryResult FrrBackend::query(const Message &message) {
    QueryVty vty{*this};
    return answer_query(message, [&vty](const std::string &line) { return vty.ask(line); });
}

void FrrBackend::give_up() {
    const std::lock_guard lock{mutex_};
    given_up_ = true;
    configuration_vty_.give_up();
    for (Vty *vty : query_vtys_) {
        vty->give_up();
    }
}

// Without a session each line of what follows gets the same answer, instead of trying to reach bgpd
// again.
void FrrBackend::start_over() const {
    VtyAnswer answer = configuration_vty_.start_over();
    const bool has_session = answer.status != VtyAnswer::unreachable;
    no_session_ = has_session ? std::nullopt : std::optional{std::move(answer)};
}

nlohmann::ordered_json FrrBackend::configuration() const {
    start_over();
    return configuration_of(configuration_.instances());
}

} // namespace configd::frr
