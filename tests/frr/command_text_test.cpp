#include "frr/command_text.h"

#include <gtest/gtest.h>

#include <string>

using configd::frr::is_line_end;
using configd::frr::is_word;

namespace {

TEST(CommandText, AWordHasNoBlankControlCharacterOrFilter) {
    for (const char *word : {"red", "192.0.2.1", "a|b", "#", "caf\xC3\xA9"}) {
        EXPECT_TRUE(is_word(word)) << word;
    }
    for (const std::string text : {"", " ", "a b", " a", "a ", "a\tb", "a\n", "\ra", "\x7F", "|",
                                   "|include", "a |include x"}) {
        EXPECT_FALSE(is_word(text)) << text;
    }
    EXPECT_FALSE(is_word(std::string("a\0b", 3)));
}

TEST(CommandText, ALineEndMayHaveBlanks) {
    for (const char *text : {"red", "to the upstream", " a ", "a| b"}) {
        EXPECT_TRUE(is_line_end(text)) << text;
    }
    for (const std::string text : {"", "a\nclear bgp *", "a\tb", "x | include y", "x |", "|x"}) {
        EXPECT_FALSE(is_line_end(text)) << text;
    }
}

} // namespace
