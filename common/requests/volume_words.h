// Lists of volumes as a user types them. Internal to the library.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../engine/operation.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// A volume of such a list.
struct VolumeWord {
    char name[kMaxVolumeName + 1];
    int32_t number; // kOwnVolumeNumber without one
};

// Takes the next volume from *text and moves *text behind it. Returns 0; 61 when the text holds no
// further volume; -702 for a name of more than 15 bytes, logged as by check_volume_name; 22
// for an empty name and for a number that is none of 32 bits. A failure leaves both outputs alone.
int next_volume_word(const char** text, VolumeWord* word, const LogContext* log);

// Walks the whole text. Returns 0 with the number of volumes, 22 for a null text or one that names
// no volume, or what next_volume_word found wrong.
int count_volume_words(const char* text, size_t* count, const LogContext* log);

} // namespace zrp

#pragma GCC visibility pop
