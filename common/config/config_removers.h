// Removers: they rewrite a configuration file without some of its lines. config_file.h tells the
// conventions.
//
// The kept lines are copied to path + ".tmp", which then takes the file's place, with mode 0644.
// The file itself is untouched until the copy is complete and on the disk; between its deletion and
// the renaming of the copy there is a moment without it. A temporary file that a killed rewrite
// left behind is appended to, since it may hold the only copy of the lines.
//
// Lines are copied as a formatted write without arguments prints them, where that is defined: "%%"
// becomes "%". A line that holds "%" in any other way is copied as it is.
//
// Each returns 0, or kNotFound when a file could not be opened or the rewrite could not be done (a
// full disk). The configuration file is unchanged then, with one exception: when the copy cannot be
// renamed after the file was deleted, the file is missing and all kept lines are in path + ".tmp".
// The next rewrite puts them back, so does renaming that file by hand.
#pragma once

namespace zrp {

// Removes every line of the main daemon's file that begins with ZRP FILE SERVER NAME, in any case
// and with or without blanks between the words.
int RemoveZrpServerName();

// Removes every line that begins with the key, in any case, and, when a value is given, holds that
// value behind the key, followed by white space. A line that only begins with the key belongs to
// it: VOL removes VOLUME lines too. Comments stay. A null or empty key is kInvalid.
int RemoveConfigEntry(const char* path, const char* key, const char* value);

} // namespace zrp
