// The daemon: splits a stream into messages, decodes, logs and answers each, and passes the
// replies to the plug-in.
#include "daemon.h"
#include "daemon_input.h"
#include "expected_values.h"
#include "log.h"
#include "memory_backend.h"
#include "message.h"
#include "reply_room.h"
#include "targets.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>

namespace fuzz {

namespace {

constexpr std::size_t most_messages = 20;

// --- The stream --------------------------------------------------------------------------

std::string field_bytes(Input &input, const configd::Field &field);

std::string record_bytes(Input &input, const configd::RecordLayout &record) {
    std::string bytes(record.size, '\0');
    for (const configd::Field &field : record) {
        if (field.type != configd::FieldType::Reserved) {
            bytes.replace(field.offset, field.size, field_bytes(input, field));
        }
    }
    return bytes;
}

std::string field_bytes(Input &input, const configd::Field &field) {
    switch (field.type) {
    case configd::FieldType::Text: {
        std::string text = input.bytes();
        text.resize(field.size);
        return text;
    }
    case configd::FieldType::AddressFamily:
        return record_bytes(input, configd::layout_of<address_family_val>);
    case configd::FieldType::Signed:
        return support::bytes_of(input.pick(operations));
    default:
        return support::bytes_of(input.number());
    }
}

std::string read_message(Input &input) {
    const std::uint32_t flags = input.byte();
    const auto sub_mod = static_cast<std::int32_t>(input.byte() % sub_mod_range);
    const bool other_module = (flags & message_other_module) != 0;
    const bool other_length = (flags & message_other_length) != 0;
    const std::int32_t module =
        other_module ? static_cast<std::int32_t>(input.number()) : std::int32_t{MODULE_ID_BGP};
    const auto length = static_cast<std::int32_t>(other_length ? input.number() : 0);
    const configd::RecordKind *kind = configd::find_record_kind(sub_mod);
    const bool raw = kind == nullptr || (flags & message_raw) != 0;
    std::string payload = raw ? input.bytes() : record_bytes(input, *kind->record);
    if ((flags & message_longer) != 0) {
        payload += input.bytes();
    }
    std::string bytes = configd::make_message(module, sub_mod, payload).bytes;
    if (other_length) {
        std::memcpy(&bytes[offsetof(netconf_data_struc, dataLen)], &length, sizeof length);
    }
    return bytes;
}

std::string read_stream(Input &input) {
    std::string stream;
    for (std::size_t i = 0; i < most_messages && !input.empty(); ++i) {
        stream += read_message(input);
    }
    return stream;
}

// --- The daemon and the plug-in -----------------------------------------------------------

const configd::State &known_state() {
    static const configd::State state = configd::state_from_json(nlohmann::json::parse(R"({
        "table-version": 7, "as-path-number": 2, "community-number": 1,
        "neighbors": [
            {"neighbor-addr": "a", "state": "Established", "messages-in": 12,
             "address-familys": [{"afi": "AFI_IP", "safi": "SAFI_UNICAST", "index": 3}]},
            {"neighbor-addr": "a", "vrf-name": "v", "up-down": "01:02:03"}],
        "evpn": [
            {"route-distinguisher": "1:1", "routes": [
                {"evpn-route": "[2]:[0]:[48]", "lable-info": "5010",
                 "next-hops": [{"nexthop-address": "192.0.2.1", "path": "i"}]},
                {"evpn-route": "[5]:[0]:[24]"}]}]
    })"));
    return state;
}

// The daemon without a socket.
struct Daemon {
    configd::MemoryBackend backend{known_state()};
    std::ostringstream out;
    configd::Log text_log{out, configd::LogFormat::Text};
    configd::Log json_log{out, configd::LogFormat::Json};
    configd::Daemon as_text{backend, text_log};
    configd::Daemon as_json{backend, json_log};
};

void check_texts(const configd::Message &message) {
    const std::string line = configd::json_line(configd::decode(message));
    for (const std::string &text : {configd::readable(message), line}) {
        require(text.find('\n') == std::string::npos, "a message is told on one line");
    }
    require(nlohmann::json::accept(line), "what is told of a message is JSON");
}

support::ReplyParser parser_of(std::int32_t sub_mod) {
    const auto *row =
        std::find_if(std::begin(support::parsers), std::end(support::parsers),
                     [=](const support::Parser *parser) { return parser->sub_mod == sub_mod; });
    return row == std::end(support::parsers) ? nullptr : (*row)->parse;
}

void check_reply(const configd::Message &message, const configd::Reply &reply) {
    require(reply.module == message.module && reply.sub_mod == message.sub_mod,
            "a reply is that of its query");
    require(reply.payload.size() <= payload_size, "a reply fits the plug-in's buffer");
    const support::ReplyParser parse = parser_of(message.sub_mod);
    if (parse == nullptr) {
        return;
    }
    netconf_data_struc *received = put_reply(
        {reply.module, reply.sub_mod,
         static_cast<std::int32_t>(configd::header_size + reply.payload.size()), reply.payload});
    scripted::reset();
    support::Values values;
    const int result =
        values.fill([&](sr_val_t **array, size_t *count) { return parse(array, count, received); });
    require(result == 0, "the plug-in takes the daemon's reply");
    const auto &reallocs = scripted::sysrepo().reallocs;
    require(values.size() <= reallocs.front().second, "a reply has no more values than announced");
}

void check_answer(const configd::Message &message, const configd::Answer &answer) {
    const auto *code = std::get_if<configd::ResultCode>(&answer);
    const auto *reply = std::get_if<configd::Reply>(&answer);
    if (const auto refusal = configd::check(message)) {
        require(code != nullptr ? code->code == refusal->code
                                : reply != nullptr && reply->res_value == refusal->code &&
                                      reply->payload.empty(),
                "a message that is none is refused");
        return;
    }
    if (configd::find_record_kind(message.sub_mod)->is_query()) {
        require(reply != nullptr, "a query is answered by a message");
        check_reply(message, *reply);
        return;
    }
    require(code != nullptr, "a configuration message is answered by a code");
    require(code->code == SR_ERR_OK || code->code == SR_ERR_INVALID_VALUE ||
                code->code == SR_ERR_CONFIG_FAILED,
            "the code is one of the backend's");
}

// Removes the next message from the start of the stream. Returns false at the end.
bool take_message(std::string_view &stream, std::string_view &bytes) {
    const configd::Frame frame = configd::frame_of(stream);
    if (frame.framing != configd::Framing::Complete) {
        return false;
    }
    const auto length = static_cast<std::size_t>(frame.length);
    require(length >= configd::header_size && length <= stream.size(),
            "a whole message is as long as it says");
    for (const std::size_t less : {length - 1, configd::header_size - 1}) {
        require(configd::frame_of(stream.substr(0, less)).framing == configd::Framing::Incomplete,
                "a message's start is not a message");
    }
    bytes = stream.substr(0, length);
    stream.remove_prefix(length);
    return true;
}

} // namespace

void daemon_message(const std::uint8_t *data, std::size_t size) {
    Input input(data, size);
    Daemon daemon;
    const std::string received = read_stream(input);
    std::string_view stream = received;
    std::string_view bytes;
    bool as_text = true;
    while (take_message(stream, bytes)) {
        const configd::Message message = configd::message_from_bytes(std::string(bytes));
        require(message.bytes == bytes, "a message keeps its bytes");
        check_texts(message);
        check_answer(message, (as_text ? daemon.as_text : daemon.as_json).answer(message));
        as_text = !as_text;
    }
    configd::json_line(daemon.backend.configuration());
    const bgp_as_val gone{0, 0};
    daemon.backend.apply(
        configd::make_message(MODULE_ID_BGP, BGP_SUB_BGP_AS, support::bytes_of(gone)));
    require(daemon.backend.configuration().empty(), "nothing is left without an AS");
}

} // namespace fuzz
