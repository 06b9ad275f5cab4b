// Random edits. Each is valid for the module, and its result is known.
#ifndef SOAK_EDITS_H
#define SOAK_EDITS_H

#include "configuration.h"
#include "random.h"
#include "session.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace soak {

// Blocks of networks come and go, each in one edit; an answer lists those of all blocks.
inline constexpr std::size_t block_size = 1000;
inline constexpr std::array blocks = {64, 72}; // the second byte of their first addresses

struct Edit {
    std::vector<Change> changes;
    std::string refusal; // why it must be refused; empty: it must be accepted
};

// The configuration after the changes.
Configuration applied(Configuration configuration, const std::vector<Change> &changes);

// Creates random edits for the current configuration. Nearly all must be accepted. The others must
// be refused at their first record or before it, so that the daemon keeps nothing of them: it keeps
// records that it accepted before a refusal.
class EditMaker {
  public:
    explicit EditMaker(std::uint64_t seed) : random_{seed} {}

    Edit next(const Configuration &now);

  private:
    std::vector<Change> draw(const Configuration &now);
    std::vector<Change> draw_long(const Configuration &now);
    std::vector<Change> draw_settings(const Configuration &now);
    std::vector<Change> draw_entry();
    Change draw_removal(const Configuration &now);
    std::optional<Edit> draw_refused(const Configuration &now);

    std::string draw_family_entry();
    std::string draw_neighbor_entry(const Configuration &now);
    std::string draw_value(const std::string &leaf);
    std::string draw_text(std::size_t longest);

    Random random_;
};

} // namespace soak

#endif
