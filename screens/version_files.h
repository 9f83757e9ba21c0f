// What the files of the installed product tell: version markers, release, platform.
//
// The commands write to files at fixed names, so only one of these functions may run at a time. The
// files are removed before and after use; the shell overwrites no ordinary file and the reader
// opens no link and nobody else's file. What remains to somebody who may write to their folders and
// puts a link, a device or a FIFO there just before the shell looks: the line of a version can be
// led to a device or a FIFO, and a FIFO that nobody reads holds the screen for kCommandPatience.
#pragma once

#include <cstddef>

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

// The two markers, put together on the first call: a search of this program's own file finds its
// version line and nothing else.
const VersionMarkers& version_markers();

// Searches a file for its version line; the text behind the marker is cut to the buffer. Returns 0;
// the status of the commands where that is not 0; 22 when the first line found does not begin with
// the marker; 61 when there is none; the errno of the temporary file.
int probeVersionString(const char* file, size_t markerLength, const char* marker,
                       VersionText& text);

// The hardware platform, with its line feed. Returns 0; the status of the command where that is not
// 0; 61 when it said nothing; the errno of the temporary file; 22 for a null text.
int getPlatform(VersionText* text);

// The lines of the release file, each NUL-terminated, closed by an empty string. Empty lines are
// left out, and what does not fit the buffer. Returns 0, 61 when there is no line, the errno of the
// file, 22 for a null text.
int getReleaseLines(VersionText* text);

} // namespace zrp
