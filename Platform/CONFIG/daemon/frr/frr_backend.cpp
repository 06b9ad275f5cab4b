#include "frr/frr_backend.h"

#include "frr/queries.h"
#include "frr/running_config.h"

#include <utility>

namespace configd::frr {

FrrBackend::FrrBackend(const std::string &vty_socket, std::vector<std::string> lines)
    : vty_socket_{vty_socket}, configuration_vty_{vty_socket},
      configuration_{[this](const std::string &line) { return configuration_vty_.ask(line); },
                     std::move(lines)} {}

ApplyResult FrrBackend::apply(const Message &message) {
    configuration_vty_.start_over();
    return configuration_.apply(message);
}

QueryResult FrrBackend::query(const Message &message) {
    Vty vty{vty_socket_};
    return answer_query(message, [&vty](const std::string &line) { return vty.ask(line); });
}

nlohmann::ordered_json FrrBackend::configuration() const {
    configuration_vty_.start_over();
    return configuration_of(configuration_.instances());
}

} // namespace configd::frr
