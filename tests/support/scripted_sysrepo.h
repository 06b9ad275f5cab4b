// A sysrepo that does what a test says: the functions of the library that the
// plug-in calls, without a datastore. A test program links this instead of the
// library.
#ifndef SCRIPTED_SYSREPO_H
#define SCRIPTED_SYSREPO_H

#include <sysrepo.h>
#include <sysrepo/values.h>
#include <sysrepo/xpath.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace scripted {

// A value as sysrepo returns it; without `xpath` it has no XPath.
struct Value {
    std::optional<std::string> xpath;
    sr_type_t type = SR_UNKNOWN_T;
    std::optional<std::string> text;
    std::uint32_t number = 0;
};

Value text(std::string xpath, std::string content, sr_type_t type = SR_STRING_T);
Value number(std::string xpath, std::uint32_t content);
// A node without content: a leaf of type empty, a list entry or a container.
Value node(std::string xpath, sr_type_t type);

struct Change {
    sr_change_oper_t operation = SR_OP_CREATED;
    std::optional<Value> old_value;
    std::optional<Value> new_value;
};

Change created(Value value);
Change modified(Value old_value, Value new_value);
Change deleted(Value value);
Change moved(Value value);

// A value on the heap, as sysrepo returns it; free it with sr_free_val.
sr_val_t *make_value(const Value &value);

// The arguments of sr_set_error.
struct Error {
    std::optional<std::string> path;
    std::string message;
};

struct Registration {
    std::string module; // empty for an RPC
    std::string path;
    sr_module_change_cb change = nullptr;
    sr_rpc_cb rpc = nullptr;
    void *private_data = nullptr;
    std::uint32_t priority = 0;
    sr_subscr_options_t options = 0;
    bool joined = false; // the handle passed in was not null
};

// What the functions do, and how they were called.
struct Sysrepo {
    // The script.
    std::vector<Change> changes;
    std::map<std::string, Value> items;   // what sr_get_item finds
    int item_result = SR_ERR_OK;          // of sr_get_item, when it is not SR_ERR_OK
    bool item_is_null = false;            // sr_get_item succeeds without a value
    int open_result = SR_ERR_OK;          // of sr_get_changes_iter
    std::size_t next_fails_at = SIZE_MAX; // this call of sr_get_change_next, from 0 ...
    int next_result = SR_ERR_OK;          // ... returns this
    std::size_t subscribe_fails_at = 0;   // this registration, from 1 ...
    int subscribe_result = SR_ERR_OK;     // ... returns this
    int realloc_result = SR_ERR_OK;       // of sr_realloc_values
    std::size_t realloc_limit = SIZE_MAX; // more values than this are SR_ERR_NOMEM

    // The calls so far.
    std::string iterator_path;
    std::vector<std::string> item_paths;
    std::vector<std::uint32_t> item_timeouts;
    std::vector<Registration> registrations; // successful ones
    sr_subscription_ctx_t *handle = nullptr; // of all registrations
    std::vector<void *> unsubscribed;        // handles, null ones too
    std::vector<std::pair<std::size_t, std::size_t>> reallocs;
    std::vector<Error> errors;
    std::vector<std::size_t> freed_arrays; // the number of values of each
    std::size_t values_open = 0;           // handed out and not freed
    std::size_t iterators_open = 0;        // opened and not freed
};

// The one sysrepo of the process; reset it before each test.
Sysrepo &sysrepo();
void reset();

// A session that the functions accept and never read.
sr_session_ctx_t *session();

} // namespace scripted

#endif
