// Prevents a client's texts from adding words or commands to bgpd's command lines.
#ifndef CONFIGD_FRR_COMMAND_TEXT_H
#define CONFIGD_FRR_COMMAND_TEXT_H

#include <algorithm>
#include <string_view>

namespace configd::frr {

// Whether the text may end a command line, after a blank. It must not be empty. It must not contain
// a control character, which could end the line or begin another one, nor a pipe after a blank,
// which bgpd takes as a filter of the output.
inline bool is_line_end(std::string_view text) {
    const auto is_control = [](unsigned char byte) { return byte < ' ' || byte == 0x7F; };
    return !text.empty() && text.front() != '|' && text.find(" |") == std::string_view::npos &&
           std::none_of(text.begin(), text.end(), is_control);
}

// Whether the text may be one word anywhere in a command line: as is_line_end(), without blanks.
inline bool is_word(std::string_view text) {
    return is_line_end(text) && text.find(' ') == std::string_view::npos;
}

} // namespace configd::frr

#endif
