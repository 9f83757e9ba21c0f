// The six screens in the order of Tab.
#pragma once

#include "screens/screen.h"

namespace zrp {

// The screen of that identifier, or null.
const Screen* find_screen(int id);

// The neighbours in the order of Tab, round the ends.
const Screen* next_screen(const Screen* screen);
const Screen* previous_screen(const Screen* screen);

} // namespace zrp
