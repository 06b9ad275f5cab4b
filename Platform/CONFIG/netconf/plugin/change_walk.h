// Change walk: the changes of one edit, one at a time.
#ifndef CHANGE_WALK_H
#define CHANGE_WALK_H

#include "plugin_public.h"

// Owns a change iterator and the values of the current change, and frees them
// on every return. The values of a change are valid until the next call of next().
class ChangeWalk {
  public:
    ChangeWalk() = default;
    ChangeWalk(const ChangeWalk &) = delete;
    ChangeWalk &operator=(const ChangeWalk &) = delete;
    ~ChangeWalk() {
        free_values();
        if (iterator_ != nullptr) {
            sr_free_change_iter(iterator_);
        }
    }

    // Opens the iterator on `xpath`; call it once. Returns sysrepo's code.
    int open(sr_session_ctx_t *session, const char *xpath) {
        session_ = session;
        return sr_get_changes_iter(session, xpath, &iterator_);
    }

    // Steps to the next change. Returns sysrepo's code, SR_ERR_NOT_FOUND after
    // the last change; operation() then still returns the last operation.
    int next() {
        free_values();
        return sr_get_change_next(session_, iterator_, &operation_, &old_value_, &new_value_);
    }

    // Chooses the old or the new value with plugin_value_choose and returns its
    // result. After SR_ERR_OK, value() returns the chosen one.
    int choose() { return plugin_value_choose(operation_, old_value_, new_value_, &chosen_value_); }

    sr_change_oper_t operation() const { return operation_; }
    sr_val_t *old_value() const { return old_value_; }
    sr_val_t *new_value() const { return new_value_; }
    sr_val_t *value() const { return chosen_value_; }

  private:
    void free_values() {
        free_value(old_value_);
        free_value(new_value_);
        chosen_value_ = nullptr;
    }
    static void free_value(sr_val_t *&value) {
        if (value != nullptr) {
            sr_free_val(value);
            value = nullptr;
        }
    }

    sr_session_ctx_t *session_ = nullptr;
    sr_change_iter_t *iterator_ = nullptr;
    sr_change_oper_t operation_ = SR_OP_CREATED;
    sr_val_t *old_value_ = nullptr;
    sr_val_t *new_value_ = nullptr;
    sr_val_t *chosen_value_ = nullptr;
};

#endif
