// The screens and the menu that every test expects.
#pragma once

namespace zrp {

struct ExpectedScreen {
    int key;
    const char* menuText;
    bool hasDialog;
};

inline constexpr ExpectedScreen kExpectedScreens[] = {
    {266, "General", false},    {267, "Volume", true},      {268, "Connection", true},
    {269, "Diagnostics", true}, {270, "Parameters", false}, {271, "Version", false},
};

inline constexpr const char* kExpectedMenu[] = {
    "[F12] Exit [F2] General [F3] Volume [F4] Connection [F5] Diagnostics",
    "[F6] Parameters [F7] Version [+/-] sec. [tab] Next Scr",
};

} // namespace zrp
