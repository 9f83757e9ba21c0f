// Text as a terminal and a JSON reader may see it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zrp::ctl {

// Controls, DEL, C1, separators of lines and paragraphs, and marks of direction: what could move
// the cursor, end a line or turn a text around.
bool is_unsafe(char32_t character);

// Takes the first character off a text that is not empty. What is not UTF-8 gives U+FFFD for each
// byte.
char32_t take_character(std::string_view& text);

// The words with ", " between them.
template <typename Words>
std::string joined(const Words& words) {
    std::string text;
    for (const auto& word : words) {
        text += text.empty() ? "" : ", ";
        text += word;
    }
    return text;
}

void append_utf8(std::string& text, char32_t character);

// With U+FFFD for every character that is_unsafe, and for what is not UTF-8.
std::string visible(std::string_view text);

// The same, but with line ends and tabs as they are.
std::string visible_lines(std::string_view text);

// With U+FFFD for what is not UTF-8.
std::string valid_utf8(std::string_view text);

// Columns of a terminal.
size_t display_width(std::string_view visibleText);

// Makes the widths of all characters known. Called once, before the first thread.
void prepare_widths();

} // namespace zrp::ctl
