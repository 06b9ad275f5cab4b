// What the configuration records have in common for whoever applies them.
#ifndef CONFIGD_OPERATION_H
#define CONFIGD_OPERATION_H

#include <nlohmann/json.hpp>

#include <string>

namespace configd {

// Whether a field has something to say: a text that is not empty, a number that is not 0.
inline bool is_given(const nlohmann::ordered_json &field) {
    return field.is_string() ? !field.get_ref<const std::string &>().empty() : field != 0;
}

} // namespace configd

#endif
