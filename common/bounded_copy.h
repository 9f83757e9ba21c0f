// Copies into fixed-size character arrays that never overflow and always end in a NUL. Internal to
// the library.
#pragma once

#include <cstddef>
#include <cstring>

#pragma GCC visibility push(hidden)

namespace zrp {

// Returns the largest length, at most limit, at which the text can be cut without splitting a UTF-8
// sequence. Text that is not UTF-8 is cut at the limit.
size_t utf8_cut(const char* text, size_t length, size_t limit);

// Copies length bytes into a buffer of capacity bytes (at least 1), cut by utf8_cut if necessary.
void copy_cut(char* destination, size_t capacity, const char* text, size_t length);

template <size_t N>
void copy_cut(char (&destination)[N], const char* text, size_t length) {
    copy_cut(destination, N, text, length);
}

template <size_t N>
void copy_cut(char (&destination)[N], const char* text) {
    copy_cut(destination, N, text, strlen(text));
}

} // namespace zrp

#pragma GCC visibility pop
