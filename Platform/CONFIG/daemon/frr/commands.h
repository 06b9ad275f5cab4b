// Turns the configuration records into lines of bgpd's configuration.
#ifndef CONFIGD_FRR_COMMANDS_H
#define CONFIGD_FRR_COMMANDS_H

#include "frr/families.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>

namespace configd::frr {

// A setting: the one line of bgpd's configuration that it is, and where that line belongs.
struct Setting {
    std::string vrf;                // empty: the default instance
    const Family *family = nullptr; // nullptr: the instance itself
    std::string key;                // what the line begins with, as bgpd shows it
    std::string value;              // what stands behind the key, after a blank; may be empty
    std::string removal;            // the line that removes it

    // The line that sets it.
    std::string line() const { return value.empty() ? key : key + ' ' + value; }
};

// What the functions below take are the fields of a record (see decode_record). They throw
// Refusal: SR_ERR_INVALID_VALUE when a text may not go into a command line or is no prefix of the
// family, SR_ERR_NOT_SUPPORT for what bgpd has not.

// The family of an address_family_val record, and a word for the VRF.
const Family &family_of(const nlohmann::ordered_json &address_family);
std::string vrf_of(const nlohmann::ordered_json &address_family);

// The setting of a record; SR_ERR_NOT_SUPPORT for BGP_SUB_BGP_AS, BGP_SUB_NETWORK and
// BGP_SUB_ADDRESS_FAMILY_VRF, and for a code that is no setting. A deletion needs no value.
Setting setting_of(std::int32_t sub_mod, bool is_set, const nlohmann::ordered_json &fields);

// A network: its line has options, which a record may name one at a time.
struct Network {
    Setting setting;            // without options
    std::string route_map = {}; // empty: not named
    bool backdoor = false;

    // The line with its options behind the key.
    std::string line() const;
};

// The network that a BGP_SUB_NETWORK record names, with the options that it names.
Network network_of(const nlohmann::ordered_json &fields);

// The options in the network's line, which begins with its key.
Network with_options_of(const Setting &setting, const std::string &line);

} // namespace configd::frr

#endif
