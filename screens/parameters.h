// The Parameters screen: the settings of the main daemon and their values.
#pragma once

#include <memory>

#include <ncurses.h>

#include "common/heap_text.h"
#include "common/requests/server_settings.h"

namespace zrp {

struct ParameterItem {
    int row;    // of the screen; -1 until the labels have placed it
    int column; // where the value starts
    SettingText name;
    SettingText value; // as last fetched
};

static_assert(sizeof(ParameterItem) == 8200);

// Empties the table of items. Start-up calls it before the refresh thread exists.
void clear_parameter_table();

// Fetches the list of names into the emptied table, without those that are never shown. Returns 0
// when at least one item was stored, 12 without memory, the transport's code, the server's error,
// or the scanner's code when the reply names nothing to show.
int loadParameterList();

// Fetches the item's value. Returns 0, or a code like above; the old value is then kept.
int fetchParameterValue(ParameterItem* item);

// Fetches the names anew and draws those that have a place. Returns 0, or 34 without a window.
int drawParameterLabels(WINDOW* window);

// Fetches and draws the value of every item that has a place. Returns 0 whatever the server said,
// or 34 without a window.
int updateParameterWindow(WINDOW* window);

} // namespace zrp
