// Turns the configuration records into lines of bgpd's configuration.
#ifndef CONFIGD_FRR_COMMANDS_H
#define CONFIGD_FRR_COMMANDS_H

#include "frr/families.h"
#include "netconf_bgp_public.h"
#include "wire.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace configd::frr {

// A setting as one line of bgpd's configuration, and where that line belongs.
struct Setting {
    std::string vrf;                // empty: the default instance
    const Family *family = nullptr; // nullptr: the instance itself
    bool is_in_own_family = false;  // the record's family has SAFI_VRF
    std::string key;                // what the line begins with, as bgpd shows it
    std::string value;              // what follows the key and a blank; may be empty
    std::string removal;            // the line that removes it

    // The line that sets it.
    std::string line() const { return value.empty() ? key : key + ' ' + value; }
};

// The functions below throw Refusal: SR_ERR_INVALID_VALUE when a text of the record must not go
// into a command line or is not a prefix of the family, SR_ERR_NOT_SUPPORT for what bgpd does not
// have.

// The family of a record, and its VRF as a word of a command line.
const Family &family_of(const address_family_val &family);
std::string vrf_of(const address_family_val &family);

// The setting of a record. A deletion needs no value. SR_ERR_NOT_SUPPORT for a sub-module code that
// belongs to none of the record's leaves.
Setting setting_of(std::int32_t sub_mod, bool is_set, const bgp_globle_config &record);
Setting setting_of(std::int32_t sub_mod, bool is_set, const bgp_globle_neighbor_config &record);
Setting setting_of(std::int32_t sub_mod, bool is_set,
                   const bgp_address_family_neighbor_universal_val &record);
Setting setting_of(std::int32_t sub_mod, bool is_set,
                   const bgp_address_family_redistribute_universal_val &record);

// Where the line of a setting belongs: in the instance or in its family. A record that is a setting
// as a whole has its own function.
enum class Place { Instance, Family, Record };

// A setting in bgpd's configuration: the words of its line and the field with the value after them.
// A flag has no value.
struct SettingRow {
    std::int32_t sub_mod;
    Place place;
    const char *words = nullptr;
    std::optional<Field> field = {};
};

// The leaf with these words, or nullptr. Static storage.
const SettingRow *find_leaf(Place place, std::string_view words);

// A network: its line has options, which a record may name one at a time.
struct Network {
    Setting setting;            // without options
    std::string route_map = {}; // empty: not named
    bool backdoor = false;

    // The line with its options after the key.
    std::string line() const;
};

// The network that a record names, with the options that it names.
Network network_of(const bgp_address_family_network_universal_val &record);

// The options in the network's line, which begins with its key.
Network with_options_of(const Setting &setting, const std::string &line);

} // namespace configd::frr

#endif
