// The Parameters screen: the settings of the main daemon and their values.
#pragma once

#include <memory>

#include <ncurses.h>

#include "common/heap_text.h"
#include "common/requests/server_settings.h"

namespace zrp {

struct ParameterItem {
    int row;    // in the window; -1 without a place in it
    int column; // of the value
    SettingText name;
    SettingText value; // as last fetched
};

static_assert(sizeof(ParameterItem) == 8200);

// Empties the table of items.
void clear_parameter_table();

// Empties the table and fetches the names of the settings into it, except those that are never
// shown. Returns kOk if at least one item was stored. Otherwise returns kNoMemory, the transport's
// code, the server's error, or the scanner's code.
int loadParameterList();

// Fetches the value of an item. Returns kOk, or a code as above, which leaves the old value.
int fetchParameterValue(ParameterItem* item);

// Calls loadParameterList and draws the names that have a place. Returns kOk, or kRange without a
// window.
int drawParameterLabels(WINDOW* window);

// Fetches and draws the value of each item that has a place. Returns kOk even if requests fail, or
// kRange without a window.
int updateParameterWindow(WINDOW* window);

} // namespace zrp
