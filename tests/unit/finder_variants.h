// The library's finder as other compilers and processors get it.
#pragma once

#include <string>
#include <string_view>

namespace zrp {

// Returns what FindElement does; the content is empty for one that is self-closing.
using FindVariant = int(std::string_view tag, char* start, char* end, std::string* content);

FindVariant find_without_vectors;
FindVariant find_with_portable_bits;

} // namespace zrp
