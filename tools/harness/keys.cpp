#include "tools/harness/keys.h"

#include <array>
#include <cstddef>

namespace zrp::harness {
namespace {

// In the order of the enumeration.
constexpr std::array<std::string_view, static_cast<size_t>(Key::kCount_)> kBytes = {
    "\x1bOP",   "\x1bOQ",   "\x1bOR",   "\x1bOS",   // F1 to F4
    "\x1b[15~", "\x1b[17~", "\x1b[18~", "\x1b[19~", // F5 to F8
    "\x1b[20~", "\x1b[21~", "\x1b[23~", "\x1b[24~", // F9 to F12
    "\t",       "\x1b[Z",                           // Tab, Shift-Tab
    "\x1bOA",   "\x1bOB",   "\x1bOC",   "\x1bOD",   // up, down, right, left
    "\x1bOH",   "\x1bOF",   "\x1b[5~",  "\x1b[6~",  // Home, End, PgUp, PgDn
    "\x1b[2~",  "\x1b[3~",  "\x7f",     "\r",       // Insert, Delete, Backspace, Enter
    "\x1b",                                         // Escape
};

static_assert(!kBytes.back().empty(), "a key is missing in the table");

} // namespace

std::string_view key_bytes(Key key) {
    return kBytes[static_cast<size_t>(key)];
}

} // namespace zrp::harness
