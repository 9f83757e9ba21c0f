#include "core/keyboard.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include <ncurses.h>

#include "common/heap_text.h"
#include "core/window.h"

namespace zrp {
namespace {

// ncurses numbers the keys that only a description of the terminal names from KEY_MAX on. No
// description has this many.
constexpr int kNamedKeys = 1024;

struct KeySequence {
    HeapText bytes;
    int code;
};

// More than any terminal has.
constexpr size_t kMaxSequences = 1024;

struct Keys {
    KeySequence sequences[kMaxSequences];
    size_t count = 0;
    bool areRead = false;
};

// Longer than the sequence of any key.
constexpr size_t kMaxPending = 64;

char pending[kMaxPending];
size_t pendingCount = 0;

void read_sequences(Keys* keys) {
    const CursesLock lock;
    for (int code = KEY_MIN; code < KEY_MAX + kNamedKeys; code++) {
        for (int i = 0; keys->count < kMaxSequences; i++) {
            HeapText bytes(keybound(code, i));
            if (bytes == nullptr) {
                break;
            }
            keys->sequences[keys->count++] = {std::move(bytes), code};
        }
    }
}

// Those of this terminal. Each belongs to one key.
std::span<const KeySequence> sequences() {
    static Keys keys;
    if (!keys.areRead) {
        read_sequences(&keys);
        keys.areRead = true;
    }
    return {keys.sequences, keys.count};
}

enum class Match { kNone, kPartial, kWhole };

Match match(std::string_view typed, int* code) {
    Match best = Match::kNone;
    for (const KeySequence& sequence : sequences()) {
        const std::string_view bytes = sequence.bytes.get();
        if (bytes == typed) {
            *code = sequence.code;
            return Match::kWhole;
        }
        if (bytes.starts_with(typed)) {
            best = Match::kPartial;
        }
    }
    return best;
}

void drop_pending(size_t count) {
    pendingCount -= count;
    memmove(pending, pending + count, pendingCount);
}

// Looks at the bytes that are pending. Of two keys of which one begins with the other, the shorter
// one is taken, as ncurses does. *length is the number of bytes of a whole match.
Match match_pending(int* code, size_t* length) {
    Match result = Match::kNone;
    for (*length = 1; *length <= pendingCount; ++*length) {
        result = match({pending, *length}, code);
        if (result != Match::kPartial) {
            return result;
        }
    }
    return result;
}

} // namespace

void add_typed_byte(unsigned char byte) {
    pending[pendingCount++] = static_cast<char>(byte);
}

bool key_is_incomplete() {
    int code = ERR;
    size_t length = 0;
    return match_pending(&code, &length) == Match::kPartial;
}

int next_typed_key(bool isOver) {
    int code = ERR;
    size_t length = 0;
    const Match result = match_pending(&code, &length);
    if (result == Match::kWhole) {
        drop_pending(length);
        return code;
    }
    const bool waits = result == Match::kPartial && !isOver && pendingCount < kMaxPending;
    if (pendingCount == 0 || waits) {
        return ERR;
    }
    code = static_cast<unsigned char>(pending[0]);
    drop_pending(1);
    return code == '\r' ? '\n' : code; // as ncurses does unless nonl() is called
}

bool is_special_key(int key) {
    return std::any_of(sequences().begin(), sequences().end(),
                       [key](const KeySequence& sequence) { return sequence.code == key; });
}

} // namespace zrp
