// Keeps the configuration in memory.
#ifndef CONFIGD_MEMORY_BACKEND_H
#define CONFIGD_MEMORY_BACKEND_H

#include "backend.h"
#include "state.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>

namespace configd {

// Holds the configuration from the messages as the tree of the YANG model, which can be compared
// with the datastore.
//
// An operation of 1 sets and 0 deletes; -1 changes nothing. Deleting what is not there succeeds.
// An address family exists while something is configured in it; a VRF's own (SAFI_VRF) from the
// message that creates it to the one that deletes it.
class MemoryBackend : public Backend {
  public:
    // `state` is what a BGP speaker would know besides its configuration: no BGP runs here.
    explicit MemoryBackend(State state = {}) : state_{std::move(state)} {}

    // Returns 0; SR_ERR_INVALID_VALUE for an unknown operation, AFI or SAFI and for an AS number,
    // router identifier, prefix or hop count that every switch refuses; SR_ERR_CONFIG_FAILED for a
    // setting while no AS is held or while the AS is not bgp_id; SR_ERR_NOT_SUPPORT for a message
    // that is not a setting.
    ApplyResult apply(const Message &message) override;

    // Answers from the configuration and the state, as answer_query() describes.
    QueryResult query(const Message &message) override;

    nlohmann::ordered_json configuration() const override;

  private:
    nlohmann::json tree_ = nlohmann::json::object();
    State state_;
};

// The XPath in the module of what a configuration record is about: a leaf, or the list entry when
// the record is about several of its leaves. Empty for any other message and for an unknown address
// family.
std::string xpath_of(const Message &message);

} // namespace configd

#endif
