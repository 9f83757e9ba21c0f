// Names of a server as values of labels.
#pragma once

#include <string>
#include <string_view>

namespace zrp::exporter {

// What is longer is cut, without splitting a character.
inline constexpr size_t kLongestLabel = 128;

// A text of the server with its entities resolved, as valid UTF-8 of at most kLongestLabel bytes.
// Bytes that are none, control characters and line separators become U+FFFD: the text format has no
// other way to keep them from being a line of its own or the end of the text.
std::string LabelText(std::string_view text);

} // namespace zrp::exporter
