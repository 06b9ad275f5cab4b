// Record values: trace a reply's record and publish it as output values, by its table.
#ifndef RECORD_VALUES_H
#define RECORD_VALUES_H

#include "diagnostics.h"
#include "output_values.h"
#include "reply_fields.h"

#include <cstring>
#include <string_view>
#include <utility>

// A copy of the record at `offset`, which may be misaligned.
template <typename Record>
Record record_at(const char *payload, std::size_t offset) {
    Record record;
    std::memcpy(&record, payload + offset, sizeof record);
    return record;
}

// A text ends at its first NUL or at the end of its field.
inline std::string_view text_at(const char *field, std::size_t size) {
    return {field, strnlen(field, size)};
}
template <std::size_t size>
std::string_view text_in(const char (&field)[size]) {
    return text_at(field, size);
}

inline uint32_t number_at(const char *field, FieldType type) {
    if (type == FieldType::byte) {
        return static_cast<unsigned char>(*field);
    }
    if (type == FieldType::number16) {
        return record_at<uint16_t>(field, 0);
    }
    return record_at<uint32_t>(field, 0);
}

// Traces a record, one line for each field.
inline void trace_record(const Diagnostics &debug, const ReplyRecord &layout, const void *record) {
    if (!debug.enabled()) {
        return;
    }
    debug.line(layout.begin);
    for (std::size_t i = 0; i < layout.field_count; ++i) {
        const ReplyField &row = layout.fields[i];
        const char *field = static_cast<const char *>(record) + row.offset;
        if (row.type == FieldType::text) {
            const std::string_view text = text_at(field, row.size);
            debug.print("%-*s:%.*s\n", layout.column, row.trace, static_cast<int>(text.size()),
                        text.data());
        } else {
            debug.print("%-*s:%d\n", layout.column, row.trace, number_at(field, row.type));
        }
    }
    debug.line(layout.end);
}

inline const char *valid_name(uint32_t flag) {
    return flag == 1 ? "valid" : "other";
}

inline const char *best_name(uint32_t flag) {
    return flag == 1 ? "best" : "other";
}

inline const char *source_name(uint32_t type) {
    if (type == 1) {
        return "internal";
    }
    return type == 2 ? "local" : "other";
}

// Adds a number as the unsigned type of its field's size.
template <FieldType type>
bool add_number(OutputValues &values, const OutputXPath &entry, std::string_view leaf,
                uint32_t number) {
    switch (type) {
    case FieldType::byte:
        return values.add(entry, leaf, SR_UINT8_T, &sr_data_t::uint8_val,
                          static_cast<uint8_t>(number));
    case FieldType::number16:
        return values.add(entry, leaf, SR_UINT16_T, &sr_data_t::uint16_val,
                          static_cast<uint16_t>(number));
    default:
        return values.add(entry, leaf, SR_UINT32_T, &sr_data_t::uint32_val, number);
    }
}

// Publishes the field of one row, which is a constant: the compiler keeps only
// the branches of this row. Returns false when the array has no room for it.
template <const ReplyRecord &layout, std::size_t index>
bool publish_field(OutputValues &values, const OutputXPath &entry, const char *record) {
    constexpr ReplyField row = layout.fields[index];
    if (row.leaf.empty()) {
        return true;
    }
    const char *field = record + row.offset;
    if (row.type == FieldType::text) {
        return values.add_text(entry, row.leaf, SR_STRING_T, text_at(field, row.size));
    }
    const uint32_t number = number_at(field, row.type);
    switch (row.publish) {
    case Publish::as_number32:
        return values.add(entry, row.leaf, SR_UINT32_T, &sr_data_t::uint32_val, number);
    case Publish::low_16_bits:
        return values.add(entry, row.leaf, SR_UINT16_T, &sr_data_t::uint16_val,
                          static_cast<uint16_t>(number));
    case Publish::zero_byte:
        return values.add(entry, row.leaf, SR_UINT8_T, &sr_data_t::uint8_val, uint8_t{0});
    case Publish::boolean:
        return values.add(entry, row.leaf, SR_BOOL_T, &sr_data_t::bool_val, number != 0);
    case Publish::unless_zero:
        return number == 0 || add_number<row.type>(values, entry, row.leaf, number);
    case Publish::valid:
        return values.add_text(entry, row.leaf, SR_ENUM_T, valid_name(number));
    case Publish::best:
        return values.add_text(entry, row.leaf, SR_ENUM_T, best_name(number));
    case Publish::source:
        return values.add_text(entry, row.leaf, SR_ENUM_T, source_name(number));
    default:
        return add_number<row.type>(values, entry, row.leaf, number);
    }
}

// Publishes the leaves of a record below the entry's XPath, in publishing order.
template <const ReplyRecord &layout, std::size_t... indexes>
bool publish_rows(OutputValues &values, const OutputXPath &entry, const char *record,
                  std::index_sequence<indexes...> /*rows*/) {
    bool fits = true;
    ((fits &= publish_field<layout, (layout.published_first + indexes) % layout.field_count>(
          values, entry, record)),
     ...);
    return fits;
}
template <const ReplyRecord &layout>
bool publish_record(OutputValues &values, const OutputXPath &entry, const void *record) {
    return publish_rows<layout>(values, entry, static_cast<const char *>(record),
                                std::make_index_sequence<layout.field_count>());
}

#endif
