#include "session.h"

#include "configuration.h"

#include <sysrepo/values.h>

#include <cstdlib>
#include <stdexcept>

namespace soak {

std::string value_text(const sr_val_t &value) {
    if (value.type == SR_LEAF_EMPTY_T) {
        return {};
    }
    const std::unique_ptr<char, decltype(&std::free)> text{sr_val_to_str(&value), &std::free};
    return text ? text.get() : "";
}

Session::Session() {
    int code = sr_connect(SR_CONN_DEFAULT, &connection_);
    if (code == SR_ERR_OK) {
        code = sr_session_start(connection_, SR_DS_RUNNING, &session_);
    }
    if (code != SR_ERR_OK) {
        sr_disconnect(connection_);
        throw std::runtime_error(std::string("connecting to the datastore: ") + sr_strerror(code));
    }
}

Session::~Session() {
    sr_disconnect(connection_);
}

Outcome Session::outcome(int code) const {
    if (code == SR_ERR_OK) {
        return {code, {}};
    }
    const sr_error_info_t *error = nullptr;
    sr_get_error(session_, &error);
    const bool has_message = error != nullptr && error->err_count > 0;
    return {code, has_message ? error->err[0].message : sr_strerror(code)};
}

int Session::add(const Change &change) {
    const std::string path = root + change.path;
    if (change.kind == Change::remove) {
        return sr_delete_item(session_, path.c_str(), SR_EDIT_DEFAULT);
    }
    const char *value = is_entry(path) ? nullptr : change.value.c_str();
    return sr_set_item_str(session_, path.c_str(), value, nullptr, SR_EDIT_DEFAULT);
}

Outcome Session::edit(const std::vector<Change> &changes) {
    int code = SR_ERR_OK;
    for (const Change &change : changes) {
        code = add(change);
        if (code != SR_ERR_OK) {
            break;
        }
    }
    return apply(code);
}

// Applies the gathered changes if all could be gathered; otherwise nothing of them is left.
Outcome Session::apply(int code) {
    if (code == SR_ERR_OK) {
        code = sr_apply_changes(session_, time_limit, 0);
    }
    Outcome result = outcome(code);
    if (code != SR_ERR_OK) {
        sr_discard_changes(session_);
    }
    return result;
}

Outcome Session::set(const std::string &path, const std::string &value) {
    return apply(sr_set_item_str(session_, path.c_str(), value.c_str(), nullptr, SR_EDIT_DEFAULT));
}

std::string Session::get(const std::string &path) const {
    sr_val_t *value = nullptr;
    const int code = sr_get_item(session_, path.c_str(), time_limit, &value);
    const Values values{value, code == SR_ERR_OK ? std::size_t{1} : 0};
    return code == SR_ERR_OK ? value_text(*value) : std::string{};
}

Outcome Session::call(const std::string &rpc, const std::vector<Input> &inputs, Answer &answer) {
    const std::string path = "/orv_bgp:" + rpc;
    sr_val_t *made = nullptr;
    if (!inputs.empty() && sr_new_values(inputs.size(), &made) != SR_ERR_OK) {
        throw std::bad_alloc();
    }
    const Values values{made, inputs.size()};
    for (const Input &input : inputs) {
        sr_val_t *value = made + (&input - inputs.data());
        sr_val_set_xpath(value, (path + "/" + input.leaf).c_str());
        value->type = input.type;
        if (input.type == SR_UINT32_T) {
            value->data.uint32_val = static_cast<std::uint32_t>(std::stoul(input.value));
        } else if (input.type != SR_LEAF_EMPTY_T) {
            sr_val_set_str_data(value, input.type, input.value.c_str());
        }
    }

    sr_val_t *output = nullptr;
    std::size_t count = 0;
    const int code =
        sr_rpc_send(session_, path.c_str(), made, inputs.size(), time_limit, &output, &count);
    const Values outputs{output, count};
    answer.clear();
    for (const sr_val_t &value : outputs) {
        if (value.type != SR_LIST_T && value.type != SR_CONTAINER_T) {
            answer[std::string(value.xpath).substr(path.size())] = value_text(value);
        }
    }
    return outcome(code);
}

} // namespace soak
