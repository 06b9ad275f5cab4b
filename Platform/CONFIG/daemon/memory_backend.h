// Keeps the configuration in memory.
#ifndef CONFIGD_MEMORY_BACKEND_H
#define CONFIGD_MEMORY_BACKEND_H

#include "backend.h"
#include "state.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>

namespace configd {

// Holds what the configuration messages say as the tree of the YANG model, to be compared with
// the datastore they came from.
//
// An operation of 1 sets and 0 deletes; -1 changes nothing. Deleting what is not there succeeds.
// An address family exists while something is configured in it; a VRF's own (SAFI_VRF) from the
// message that creates it to the one that deletes it.
class MemoryBackend : public Backend {
  public:
    // No BGP runs here: what a BGP speaker would know beside the configuration is this state.
    explicit MemoryBackend(State state = {}) : state_{std::move(state)} {}

    // The codes: 0; SR_ERR_INVALID_VALUE for an operation, AFI or SAFI there is not, and for an AS
    // number, router identifier, prefix or hop count that no switch takes; SR_ERR_CONFIG_FAILED for
    // setting something with no AS held, or another one than bgp_id; SR_ERR_NOT_SUPPORT for what is
    // no setting.
    ApplyResult apply(const Message &message) override;

    // Answers from the configuration held and the state, as answer_query() describes.
    QueryResult query(const Message &message) override;

    nlohmann::ordered_json configuration() const override;

  private:
    nlohmann::json tree_ = nlohmann::json::object();
    State state_;
};

// The XPath in the module of what a configuration record is about: a leaf, or the list entry when
// the record is about several of its leaves. Empty for any other message and for an address family
// there is not.
std::string xpath_of(const Message &message);

} // namespace configd

#endif
