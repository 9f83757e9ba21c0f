// The words of a volume's state that a request may change, as arguments: "read-only".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zrp::ctl {

// The bit of a word, in any case, with hyphens for its blanks; 0 for no such word.
uint32_t find_attribute(std::string_view word);

// The words as they are typed.
std::vector<std::string> attribute_words();
std::string attribute_list(); // with commas

} // namespace zrp::ctl
