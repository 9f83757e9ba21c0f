#include "screens/version_files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/bounded_copy.h"
#include "common/open_file.h"
#include "common/result.h"
#include "screens/shell_command.h"

namespace zrp {
namespace {

constexpr const char* kMarkerFile = "/opt/velmora/zrpserv/sbin/v_e_r_s_i_o_n.txt";
constexpr const char* kPlatformFile = "/opt/velmora/p_i_n_f_o.txt";
constexpr const char* kReleaseFile = "/etc/velmora-release";

constexpr size_t kCommandSize = 8192;
constexpr size_t kMarkerLineSize = 8192;
constexpr size_t kReleaseLineSize = 4096;

// The name of a temporary file, free at the start and at the end of the scope.
class TemporaryName {
public:
    explicit TemporaryName(const char* name) : path(name) {
        remove(path);
    }
    ~TemporaryName() {
        remove(path);
    }
    TemporaryName(const TemporaryName&) = delete;
    TemporaryName& operator=(const TemporaryName&) = delete;

private:
    const char* path;
};

// Opens a file that a command of ours has just created. Returns 0, the errno, or 22 for anything
// that the shell did not create.
int open_created(const char* path, OpenFile* file) {
    const int fd = open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    file->reset(fdopen(fd, "r"));
    if (*file == nullptr) {
        close(fd);
        return kNoMemory;
    }
    struct stat status = {};
    const bool created = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
                         status.st_uid == geteuid() && status.st_nlink == 1;
    return created ? kOk : kInvalid;
}

// Runs a command that writes to the path and opens what it has written.
int run_into(const char* path, const char* command, OpenFile* file) {
    const int status = run_shell_command(command);
    return status != 0 ? status : open_created(path, file);
}

// False at the end of the file. A line longer than the buffer comes in pieces.
template <size_t N>
bool read_line(const OpenFile& file, char (&line)[N]) {
    return fgets(line, N, file.get()) != nullptr;
}

// The end of the file sets no errno: what an earlier call has left there could even read as
// success, so that it has a code of its own.
int read_failure(const OpenFile& file) {
    return ferror(file.get()) != 0 ? errno : kNoData;
}

// The pieces are read through volatile, so that the compiler cannot put the whole together itself.
VersionMarker assemble_marker(const volatile char* stem, const volatile char* tail) {
    VersionMarker marker = {};
    for (const volatile char* part : {stem, tail}) {
        for (; *part != '\0'; part++) {
            marker.text[marker.length++] = *part;
        }
    }
    return marker;
}

size_t length_without_line_feed(const char* line) {
    const size_t length = strlen(line);
    return length > 0 && line[length - 1] == '\n' ? length - 1 : length;
}

} // namespace

const VersionMarkers& version_markers() {
    static const VersionMarkers markers = {assemble_marker("VeRsIo", "ZrP = "),
                                           assemble_marker("VeRsIo", "N = ")};
    return markers;
}

int probeVersionString(const char* file, size_t markerLength, const char* marker,
                       VersionText& text) {
    char command[kCommandSize];
    const int length = snprintf(command, sizeof command, "strings %s | grep \"%s\" > %s", file,
                                marker, kMarkerFile);
    if (length < 0 || static_cast<size_t>(length) >= sizeof command) {
        return kInvalid;
    }
    const TemporaryName name(kMarkerFile);
    OpenFile found;
    const int rc = run_into(kMarkerFile, command, &found);
    if (rc != kOk) {
        return rc;
    }
    char line[kMarkerLineSize];
    if (!read_line(found, line)) {
        return read_failure(found);
    }
    if (strncmp(line, marker, markerLength) != 0) {
        return kInvalid;
    }
    copy_cut(text, line + markerLength);
    return kOk;
}

int getPlatform(VersionText* text) {
    if (text == nullptr) {
        return kInvalid;
    }
    char command[kCommandSize];
    snprintf(command, sizeof command, "uname -i > %s", kPlatformFile);
    const TemporaryName name(kPlatformFile);
    OpenFile found;
    const int rc = run_into(kPlatformFile, command, &found);
    if (rc != kOk) {
        return rc;
    }
    char read[kVersionTextSize];
    const size_t size = fread(read, 1, sizeof read - 1, found.get());
    if (size == 0) {
        return read_failure(found);
    }
    copy_cut(*text, read, size);
    return kOk;
}

int getReleaseLines(VersionText* text) {
    if (text == nullptr) {
        return kInvalid;
    }
    const OpenFile file(fopen(kReleaseFile, "re"));
    if (file == nullptr) {
        return errno;
    }
    constexpr size_t kRoom = kVersionTextSize - 1; // the last byte closes the list
    char line[kReleaseLineSize];
    size_t used = 0;
    while (used + 1 < kRoom && read_line(file, line)) {
        const size_t length = length_without_line_feed(line);
        if (length > 0) {
            copy_cut(*text + used, kRoom - used, line, length);
            used += strlen(*text + used) + 1;
        }
    }
    (*text)[used] = '\0';
    return used == 0 ? kNoData : kOk;
}

} // namespace zrp
