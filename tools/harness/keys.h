// The bytes that an xterm sends for its keys in application keypad mode.
#pragma once

#include <string_view>

namespace zrp::harness {

enum class Key {
    kF1,
    kF2,
    kF3,
    kF4,
    kF5,
    kF6,
    kF7,
    kF8,
    kF9,
    kF10,
    kF11,
    kF12,
    kTab,
    kShiftTab,
    kUp,
    kDown,
    kRight,
    kLeft,
    kHome,
    kEnd,
    kPageUp,
    kPageDown,
    kInsert,
    kDelete,
    kBackspace,
    kEnter,
    kEscape,
    kCount_
};

std::string_view key_bytes(Key key);

} // namespace zrp::harness
