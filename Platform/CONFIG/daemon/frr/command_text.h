// Keeps what comes from a client from becoming more of bgpd's command line than the one word or
// the one text that it stands for.
#ifndef CONFIGD_FRR_COMMAND_TEXT_H
#define CONFIGD_FRR_COMMAND_TEXT_H

#include <algorithm>
#include <string_view>

namespace configd::frr {

// Whether the text may end a command line, one blank before it: it holds no control character,
// which could end the line or begin another one, and no pipe that bgpd would take for a filter of
// the output, which is one behind a blank. Nothing is no text.
inline bool is_line_end(std::string_view text) {
    const auto is_control = [](unsigned char byte) { return byte < ' ' || byte == 0x7F; };
    return !text.empty() && text.front() != '|' && text.find(" |") == std::string_view::npos &&
           std::none_of(text.begin(), text.end(), is_control);
}

// Whether the text may be one word anywhere in a command line: it is a line's end without a blank.
inline bool is_word(std::string_view text) {
    return is_line_end(text) && text.find(' ') == std::string_view::npos;
}

} // namespace configd::frr

#endif
