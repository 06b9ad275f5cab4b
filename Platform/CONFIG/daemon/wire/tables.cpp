#include "wire/tables.h"

#include "wire.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace configd::wire {
namespace {

// All records, each once.
std::vector<const RecordLayout *> records() {
    std::vector<const RecordLayout *> found;
    for (const RecordKind &kind : record_kinds) {
        if (std::find(found.begin(), found.end(), kind.record) == found.end()) {
            found.push_back(kind.record);
        }
    }
    found.insert(found.end(), std::begin(reply_records), std::end(reply_records));
    return found;
}

// --- Lua -------------------------------------------------------------------------

template <std::size_t size>
std::string lua_names(const NumberName (&names)[size]) {
    std::string text;
    for (const auto &[number, name] : names) {
        text += fmt::format("{}[{}] = \"{}\"", text.empty() ? "" : ", ", number, name);
    }
    return text;
}

// What the dissector needs to know about a field's type.
std::string lua_kind(const Field &field) {
    switch (field.type) {
    case FieldType::AddressFamily:
        return fmt::format("record = \"{}\"", layout_of<address_family_val>.name);
    case FieldType::Text:
        return fmt::format("kind = \"text\", size = {}", field.size);
    case FieldType::Signed:
        return "kind = \"i32\"";
    default:
        return fmt::format("kind = \"u{}\"", 8 * field.size);
    }
}

std::string lua_record(const RecordLayout &record) {
    std::string text = fmt::format("    {} = {{\n      size = {},\n", record.name, record.size);
    for (const Field &field : record) {
        if (field.type != FieldType::Reserved) {
            text += fmt::format("      {{ offset = {}, name = \"{}\", {} }},\n", field.offset,
                                field.name, lua_kind(field));
        }
    }
    return text + "    },\n";
}

// --- Markdown --------------------------------------------------------------------

// What a comment in the header says about a field.
struct Comment {
    std::size_t offset;
    std::size_t size;
    std::string meaning;
};
using Comments = std::map<std::string, Comment>; // by record.field; a record's own by record.

// Reads the tables in the comments above the structs: the size of each record, and the offset, size
// and meaning of each field.
Comments comments_in(const std::string &header) {
    static const std::regex head{R"( \* (\w+): (\d+) bytes)"};
    static const std::regex row{R"( \* +(\d+) +(\d+)  (\w+) *(.*))"};
    Comments comments;
    std::string record;
    std::istringstream lines{header};
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, head)) {
            record = match[1];
            comments[record + "."] = {0, std::stoul(match[2]), {}};
        } else if (std::regex_match(line, match, row)) {
            comments[fmt::format("{}.{}", record, match[3].str())] = {
                std::stoul(match[1]), std::stoul(match[2]), match[4]};
        }
    }
    return comments;
}

const char *markdown_type(FieldType type) {
    switch (type) {
    case FieldType::Signed:
        return "signed";
    case FieldType::Unsigned:
        return "unsigned";
    case FieldType::Text:
        return "text";
    case FieldType::Reserved:
        return "reserved";
    case FieldType::AddressFamily:
        break;
    }
    return "`address_family_val`";
}

// The table of a record. Removes the comments that it uses.
std::string markdown_record(const RecordLayout &record, Comments &comments) {
    std::string text = fmt::format("`{}`, {} bytes:\n\n"
                                   "| Offset | Size | Field | Type | Meaning |\n"
                                   "|---:|---:|---|---|---|\n",
                                   record.name, record.size);
    const auto head = comments.extract(fmt::format("{}.", record.name));
    if (head.empty() || head.mapped().size != record.size) {
        throw std::runtime_error{fmt::format("the comment above {} does not say that it takes {} "
                                             "bytes",
                                             record.name, record.size)};
    }
    for (const Field &field : record) {
        const auto comment = comments.extract(fmt::format("{}.{}", record.name, field.name));
        if (comment.empty() || comment.mapped().offset != field.offset ||
            comment.mapped().size != field.size) {
            throw std::runtime_error{
                fmt::format("the comment above {} does not say that {} is at {} and takes {} bytes",
                            record.name, field.name, field.offset, field.size)};
        }
        text += fmt::format("| {} | {} | `{}` | {} | {} |\n", field.offset, field.size, field.name,
                            markdown_type(field.type), comment.mapped().meaning);
    }
    return text;
}

std::string markdown_sub_modules(RecordKind::Use use) {
    std::string text = "| Code | Name | Record |\n|---:|---|---|\n";
    for (const RecordKind &kind : record_kinds) {
        if (kind.use == use) {
            text +=
                fmt::format("| {} | `{}` | `{}` |\n", kind.sub_mod, kind.name, kind.record->name);
        }
    }
    return text;
}

// All tables of the document by name.
std::map<std::string, std::string> markdown_tables(const std::string &header) {
    std::map<std::string, std::string> tables{
        {"settings", markdown_sub_modules(RecordKind::Setting)},
        {"queries", markdown_sub_modules(RecordKind::Query)}};
    Comments comments = comments_in(header);
    for (const RecordLayout *record : records()) {
        tables[record->name] = markdown_record(*record, comments);
    }
    if (!comments.empty()) {
        throw std::runtime_error{
            fmt::format("a comment describes {}, which no record has", comments.begin()->first)};
    }
    return tables;
}

} // namespace

std::string dissector_tables() {
    std::string text = fmt::format(
        "-- What netconf_bgp_public.h says, for the dissector beside this file. `make wire` writes "
        "it.\n"
        "return {{\n"
        "  names = {{\n    op = {{ {} }},\n    afi = {{ {} }},\n    safi = {{ {} }},\n  }},\n"
        "  sub_modules = {{\n",
        lua_names(operation_names), lua_names(afi_names), lua_names(safi_names));
    for (const RecordKind &kind : record_kinds) {
        text += fmt::format("    [{}] = {{ name = \"{}\", record = \"{}\", is_query = {} }},\n",
                            kind.sub_mod, kind.name, kind.record->name, kind.is_query());
    }
    text += "  },\n  records = {\n";
    for (const RecordLayout *record : records()) {
        text += lua_record(*record);
    }
    return text + "  },\n}\n";
}

std::string with_tables(const std::string &document, const std::string &header) {
    static const std::regex begin{"<!-- begin generated (\\w+) -->"};
    std::map<std::string, std::string> tables = markdown_tables(header);
    std::string text;
    bool inside = false;
    std::istringstream lines{document};
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        inside = inside && line != "<!-- end generated -->";
        if (!inside) {
            text += line + '\n';
        }
        if (std::regex_match(line, match, begin)) {
            const auto table = tables.extract(match[1]);
            if (table.empty()) {
                throw std::runtime_error{fmt::format("there is no table {}", match[1].str())};
            }
            text += table.mapped();
            inside = true;
        }
    }
    if (!tables.empty()) {
        throw std::runtime_error{
            fmt::format("the document has no place for the table {}", tables.begin()->first)};
    }
    return text;
}

} // namespace configd::wire
