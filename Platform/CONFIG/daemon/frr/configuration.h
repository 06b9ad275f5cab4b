// Applies configuration messages to bgpd.
#ifndef CONFIGD_FRR_CONFIGURATION_H
#define CONFIGD_FRR_CONFIGURATION_H

#include "backend.h"
#include "frr/commands.h"
#include "frr/running_config.h"
#include "frr/vty_answer.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace configd::frr {

// bgpd holds the configuration, and others may change it as well. So each message is applied to
// what bgpd has at that moment. A message is checked before its first line is sent.
class Configuration {
  public:
    // Every instance that is created here gets the baseline that the records assume, and then
    // `lines`.
    Configuration(AskVty ask, std::vector<std::string> lines);

    // Applies a message in a terminal that is in its enable mode. Returns 0, also for deleting what
    // does not exist, or the code for bgpd's answer, with the reason: SR_ERR_INVALID_VALUE for a
    // line that bgpd does not understand, SR_ERR_CONFIG_FAILED for a line that it refuses,
    // SR_ERR_NOT_SUPPORT for what it does not have, SR_ERR_SOCKET_FAILED when it cannot be reached.
    // A message that bgpd refuses halfway changes nothing. An exchange that breaks may change a
    // part.
    ApplyResult apply(const Message &message);

    // The instances that bgpd has; empty when it cannot be reached.
    std::vector<Instance> instances();

  private:
    std::string run(const std::string &line);
    std::vector<Instance> read_instances();
    std::set<std::string> vrfs();

    bool enter(std::uint32_t as, const std::string &vrf);
    void enter_family(const Family *family);
    void create(std::uint32_t as, const std::string &vrf);
    void remove(std::uint32_t as, const std::string &vrf);
    void prepare(std::uint32_t as, const std::string &vrf);

    void apply_record(std::int32_t sub_mod, bool is_set, const bgp_as_val &record);
    template <typename Record>
    void apply_record(std::int32_t sub_mod, bool is_set, const Record &record);
    void set_as(std::uint32_t as);
    void change_as(std::vector<Instance> instances, std::uint32_t as);
    void replay(const std::vector<Instance> &instances, std::uint32_t as);
    void remove_as(std::uint32_t as);

    void set(std::uint32_t as, const Setting &setting);
    void set_network(std::uint32_t as, Network network);
    void erase(std::uint32_t as, const Setting &setting);
    void erase_network(std::uint32_t as, const Network &network);
    Network present_network(const Setting &setting);
    bool is_absent(const Setting &network);

    void set_vrf_family(std::uint32_t as, const std::string &vrf, const Family &family);
    void erase_vrf_family(std::uint32_t as, const std::string &vrf, const Family &family);
    void erase_lines(const Instance &instance, const Family &family);
    bool is_unused(const Instance &instance, const Family *except) const;
    void remove_if_unused(std::uint32_t as, const Setting &setting);

    AskVty ask_;
    std::vector<std::string> lines_;
    // The families that messages created in each VRF: bgpd does not show a family without lines.
    std::map<std::string, std::set<const Family *>> vrf_families_;
};

} // namespace configd::frr

#endif
