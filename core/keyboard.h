// The bytes that the terminal sends, as the key codes of ncurses.
//
// wgetch() would do this too. But it waits for the rest of a function key while it holds the lock
// of ncurses, so that Escape alone would keep the other thread from drawing for a second. These
// functions wait for nothing and take no lock after the first call. Main thread only.
#pragma once

namespace zrp {

// Adds a byte that the terminal has sent.
void add_typed_byte(unsigned char byte);

// True while the bytes added are the beginning of a function key and nothing else.
bool key_is_incomplete();

// Takes the next key from the bytes added: a function or cursor key, or a byte. Returns its code,
// or ERR if there is none or it is incomplete. With isOver, nothing will complete it any more, and
// its first byte is a key of its own.
int next_typed_key(bool isOver);

// True if ncurses knows the code as a function or cursor key of this terminal.
bool is_special_key(int key);

} // namespace zrp
