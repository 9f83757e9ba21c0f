// Letter case in ASCII, independent of the locale. Internal to the library.
#pragma once

#include <cstddef>

#pragma GCC visibility push(hidden)

namespace zrp {

// Only 'A' to 'Z' change. tolower() follows the locale: in Turkish, 'I' is not the capital of 'i'.
constexpr char ascii_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool equal_ignoring_case(const char* one, const char* other) {
    while (*one != '\0' && ascii_lower(*one) == ascii_lower(*other)) {
        one++;
        other++;
    }
    return ascii_lower(*one) == ascii_lower(*other);
}

// Compares at most length characters.
constexpr bool equal_ignoring_case(const char* one, const char* other, size_t length) {
    while (length > 0 && *one != '\0' && ascii_lower(*one) == ascii_lower(*other)) {
        one++;
        other++;
        length--;
    }
    return length == 0 || ascii_lower(*one) == ascii_lower(*other);
}

} // namespace zrp

#pragma GCC visibility pop
