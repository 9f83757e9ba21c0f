// Removers: they rewrite a configuration file without some of its lines. The conventions are those
// of config_file.h.
//
// The lines that stay are copied to path + ".tmp", which then replaces the file and gets mode 0644.
// The file itself is untouched until the copy is complete and on the disk; between its deletion and
// the renaming of the copy there is a moment without it.
//
// A temporary file that is already there is appended to, since it may hold the only copy of its
// lines: they come first, and none of them is removed. It is emptied when it holds nothing but
// lines of the file in their order, as a rewrite leaves it that was killed while it copied. A
// rewrite that is killed while it appends to the lines of others doubles what it has copied.
//
// Compatibility: "%%" in a copied line becomes "%". A line with a '%' in any other form is copied
// unchanged.
//
// Each returns kOk, or kNotFound when a file cannot be opened or the rewrite fails, as on a full
// disk. A temporary file that is no regular file or is the file itself, and a configuration file
// that is no regular file, count as files that cannot be opened. The configuration file is then
// unchanged, with one exception: when the copy cannot be renamed after the file was deleted, the
// file is missing and its lines are in path + ".tmp". The next appender or remover restores them,
// and so does renaming that file by hand.
#pragma once
#include "../cplusplus.h"

namespace zrp {

// Removes every line of the main daemon's file that begins with the words of kServerNameKey, in any
// case and with or without blanks between them.
int RemoveZrpServerName();

// Removes every line that begins with the key, in any case. With a value, removes only those where
// the key is followed by that value and white space. Comments stay. A null or empty key is
// kInvalid.
//
// Compatibility: the key need not be a whole word, so that VOL removes VOLUME lines too. A line
// with other white space than blanks and tabs before its key stays, though readers take it.
int RemoveConfigEntry(const char* path, const char* key, const char* value);

} // namespace zrp
