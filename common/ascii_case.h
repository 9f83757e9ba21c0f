// Letter case as the daemons know it. Internal to the library.
#pragma once

#include <cstddef>

#pragma GCC visibility push(hidden)

namespace zrp {

// 'A' to 'Z' alone have a small letter, whatever the locale says: in Turkish, "I" is no large "i".
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

// The same for no more than so many characters of each.
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
