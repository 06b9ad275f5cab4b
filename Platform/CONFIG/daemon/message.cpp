#include "message.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstring>
#include <iterator>
#include <utility>

namespace configd {
namespace {

// The number in these bytes, which may have any alignment.
template <typename Number>
Number number_from(std::string_view bytes) {
    Number number;
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

// The fields as blank-separated assignments.
std::string assignments(const nlohmann::ordered_json &fields) {
    std::string text;
    for (const auto &[name, value] : fields.items()) {
        text += fmt::format("{}{}={}", text.empty() ? "" : " ", name,
                            value.is_object() ? "{" + assignments(value) + "}" : json_line(value));
    }
    return text;
}

} // namespace

std::optional<std::int32_t> sub_mod_from_text(std::string_view text) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc{} && end == text.data() + text.size()) {
        return find_record_kind(number) != nullptr ? std::optional{number} : std::nullopt;
    }

    constexpr std::string_view prefix = "BGP_SUB_";
    std::string name{text};
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    const auto *kind =
        std::find_if(std::begin(record_kinds), std::end(record_kinds), [&](const RecordKind &row) {
            const std::string_view full = row.name;
            return name == full || name == full.substr(prefix.size());
        });
    return kind == std::end(record_kinds) ? std::nullopt : std::optional{kind->sub_mod};
}

Message make_message(std::int32_t module, std::int32_t sub_mod, std::string_view payload,
                     std::int32_t res_value) {
    const std::array<std::int32_t, 4> header{
        module, sub_mod, res_value, static_cast<std::int32_t>(header_size + payload.size())};
    std::string bytes(header_size + payload.size(), '\0');
    std::memcpy(bytes.data(), header.data(), header_size);
    std::copy(payload.begin(), payload.end(), bytes.begin() + header_size);
    return {module, sub_mod, std::move(bytes)};
}

Frame frame_of(std::string_view input) {
    if (input.size() < header_size) {
        return {Framing::Incomplete, 0};
    }
    const auto length =
        number_from<std::int32_t>(input.substr(offsetof(netconf_data_struc, dataLen)));
    if (length < static_cast<std::int32_t>(header_size) || length > BUF_SIZE_MAX) {
        return {Framing::Broken, length};
    }
    const bool complete = input.size() >= static_cast<std::size_t>(length);
    return {complete ? Framing::Complete : Framing::Incomplete, length};
}

Message message_from_bytes(std::string bytes) {
    const std::string_view header = bytes;
    const auto module =
        number_from<std::int32_t>(header.substr(offsetof(netconf_data_struc, module)));
    const auto sub_mod =
        number_from<std::int32_t>(header.substr(offsetof(netconf_data_struc, subMod)));
    return {module, sub_mod, std::move(bytes)};
}

FieldValue value_of(const Field &field, std::string_view record) {
    const std::string_view bytes = record.substr(field.offset, field.size);
    if (field.type == FieldType::Text) {
        return bytes.substr(0, bytes.find('\0'));
    }
    if (field.type == FieldType::Signed) {
        return number_from<std::int32_t>(bytes);
    }
    switch (field.size) {
    case 1:
        return number_from<std::uint8_t>(bytes);
    case 2:
        return number_from<std::uint16_t>(bytes);
    default:
        return number_from<std::uint32_t>(bytes);
    }
}

nlohmann::ordered_json decode_record(const RecordLayout &record, std::string_view payload) {
    auto fields = nlohmann::ordered_json::object();
    for (const Field &field : record) {
        if (field.type == FieldType::AddressFamily) {
            fields[field.name] = decode_record(layout_of<address_family_val>,
                                               payload.substr(field.offset, field.size));
        } else if (field.type != FieldType::Reserved) {
            std::visit([&](auto value) { fields[field.name] = value; }, value_of(field, payload));
        }
    }
    return fields;
}

nlohmann::ordered_json decode(const Message &message) {
    nlohmann::ordered_json object{
        {"module", message.module}, {"subMod", message.sub_mod}, {"dataLen", message.bytes.size()}};
    const RecordKind *kind = find_record_kind(message.sub_mod);
    if (kind == nullptr) {
        return object;
    }
    object["name"] = kind->name;
    object["record"] = kind->record->name;
    if (message.payload().size() == kind->record->size) {
        object["fields"] = decode_record(*kind->record, message.payload());
    }
    return object;
}

std::string readable(const Message &message) {
    const RecordKind *kind = find_record_kind(message.sub_mod);
    if (kind == nullptr || message.payload().size() != kind->record->size) {
        return fmt::format("{} module={} subMod={} dataLen={}",
                           kind == nullptr ? "unknown" : kind->name, message.module,
                           message.sub_mod, message.bytes.size());
    }
    auto fields = decode_record(*kind->record, message.payload());
    std::string operation;
    if (const auto op = fields.find("op"); op != fields.end()) {
        const char *name = name_of(operation_names, op->get<std::int32_t>());
        operation = fmt::format("op={} ", name == nullptr ? "other" : name);
        fields.erase(op);
    }
    return fmt::format("{} {} {}{}", kind->name, kind->record->name, operation,
                       assignments(fields));
}

std::string json_line(const nlohmann::ordered_json &value) {
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

} // namespace configd
