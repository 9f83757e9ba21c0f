// Versions, release and platform, as the files of the installed product say them.
//
// The commands write to files with fixed names, so only one of these functions may run at a time.
// The files are removed before and after use. The shell overwrites no ordinary file, and the reader
// opens no link and no file of another user. A user who may write to the folders of these files,
// and creates a link, a device or a FIFO at the right moment, can still do two things: redirect the
// line of a version to a device or a FIFO, and delay the screen by kCommandTimeout with a FIFO that
// has no reader.
#pragma once

#include <cstddef>
#include <ctime>
#include <sys/types.h>

#include "common/requests/component_versions.h"

namespace zrp {

// The text with which a component's version line begins, as its file holds it.
struct VersionMarker {
    char text[16];
    size_t length;
};

struct VersionMarkers {
    VersionMarker engine;    // of the engine library
    VersionMarker component; // of every other component
};

// The two markers, assembled on the first call. As literals, a search of this program's own file
// would find them as well as its version line.
const VersionMarkers& version_markers();

// Searches a file for its version line. The text after the marker is cut to the buffer. Returns
// kOk; the status of the commands if that is not 0; kInvalid if the first line found does not begin
// with the marker; kNoData if there is no line; or the errno of the temporary file.
int probeVersionString(const char* file, size_t markerLength, const char* marker,
                       VersionText& text);

// By which a file is known to be the one that was searched, unchanged.
struct FileStamp {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified = {};
    timespec changed = {};
};

// What the last search has found, and in which circumstances.
struct VersionSearch {
    const char* file = nullptr;
    FileStamp searched;
    FileStamp tool;   // that searches
    FileStamp folder; // of the temporary file, apart from its size and times
    int rc = 0;
    VersionText text = "";
    bool isKnown = false;
};

// The same as probeVersionString, without the commands where they could only find what they have
// found before. search belongs to one marker and one row of the screen; file must outlive it.
int probe_changed_file(VersionSearch* search, const char* file, const VersionMarker& marker,
                       VersionText& text);

// Gives the hardware platform, including the line feed. Returns kOk; the status of the command if
// that is not 0; kNoData if it printed nothing; kInvalid for a null text; or the errno of the
// temporary file.
int getPlatform(VersionText* text);

// What the platform was when it was asked for.
struct PlatformAnswer {
    int rc = 0;
    VersionText text = "";
    bool isKnown = false;
};

// getPlatform() until it has answered: the platform does not change while the program runs. Nor is
// it asked for again while the folder of the command's file is missing.
int ask_platform(PlatformAnswer* answer);

// Gives the lines of the release file, each NUL-terminated, with an empty string after the last.
// Empty lines, and text that does not fit into the buffer, are left out. Returns kOk, kNoData if
// there is no line, kInvalid for a null text, or the errno of the file.
int getReleaseLines(VersionText* text);

} // namespace zrp
