// Writers of reply text. They append to the text and escape markup characters.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace zrp::sim {

void append_escaped(std::string& out, std::string_view text);

void open_element(std::string& out, std::string_view tag);
void close_element(std::string& out, std::string_view tag);
void text_element(std::string& out, std::string_view tag, std::string_view text);
void hex_element(std::string& out, std::string_view tag, uint32_t value);

// An element with one attribute and a text.
void attribute_element(std::string& out, std::string_view tag, std::string_view attribute,
                       std::string_view setting, std::string_view text);

// A named value with its type, on a line of its own.
void typed_parm(std::string& out, std::string_view name, std::string_view type,
                std::string_view text);

void number_element(std::string& out, std::string_view tag, std::integral auto value) {
    text_element(out, tag, std::to_string(value));
}

} // namespace zrp::sim
