#include "screens/version_files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/bounded_copy.h"
#include "common/open_file.h"
#include "common/result.h"
#include "screens/shell_command.h"

namespace zrp {
namespace {

constexpr const char* kMarkerFile = "/opt/velmora/zrpserv/sbin/v_e_r_s_i_o_n.txt";
constexpr const char* kMarkerFolder = "/opt/velmora/zrpserv/sbin";
constexpr const char* kSearchTool = "/usr/bin/strings";
constexpr const char* kPlatformFile = "/opt/velmora/p_i_n_f_o.txt";
constexpr const char* kPlatformFolder = "/opt/velmora";
constexpr const char* kReleaseFile = "/etc/velmora-release";

constexpr size_t kCommandSize = 8192;
constexpr size_t kMarkerLineSize = 8192;
constexpr size_t kReleaseLineSize = 4096;

// Opens a file that a command has just created. Returns kOk, the errno, or kInvalid for anything
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

// The output of a command that writes to a temporary file, which is removed at the end of the
// scope.
struct CommandOutput {
    // outputPath must outlive the object.
    CommandOutput(const char* command, const char* outputPath) : path(outputPath) {
        remove(path);
        const int status = run_shell_command(command);
        rc = status != 0 ? status : open_created(path, &file);
    }
    ~CommandOutput() {
        remove(path);
    }
    CommandOutput(const CommandOutput&) = delete;
    CommandOutput& operator=(const CommandOutput&) = delete;

    const char* path;
    OpenFile file;
    int rc = kOk; // kOk if the file is open
};

// False at the end of the file. A line longer than the buffer is read in pieces.
template <size_t N>
bool read_line(const OpenFile& file, char (&line)[N]) {
    return fgets(line, N, file.get()) != nullptr;
}

// The end of the file does not set errno, so it has a code of its own.
int read_failure(const OpenFile& file) {
    return ferror(file.get()) != 0 ? errno : kNoData;
}

// Volatile keeps the compiler from assembling the marker, which would then be in the program's
// file.
VersionMarker assemble_marker(const volatile char* stem, const volatile char* tail) {
    VersionMarker marker = {};
    for (const volatile char* part : {stem, tail}) {
        for (; *part != '\0'; part++) {
            marker.text[marker.length++] = *part;
        }
    }
    return marker;
}

bool operator==(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

bool operator==(const FileStamp& a, const FileStamp& b) {
    return a.exists == b.exists && a.device == b.device && a.inode == b.inode && a.size == b.size &&
           a.modified == b.modified && a.changed == b.changed;
}

FileStamp stamp_of(const char* path) {
    struct stat status = {};
    if (stat(path, &status) != 0) {
        return {};
    }
    return {true, status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
}

// A search changes the size and the times of its folder.
FileStamp folder_stamp() {
    const FileStamp stamp = stamp_of(kMarkerFolder);
    return {stamp.exists, stamp.device, stamp.inode};
}

// A file that has just been written may be written once more without getting another time.
bool is_settled(const FileStamp& file) {
    constexpr time_t kSettledSeconds = 2;
    return !file.exists || time(nullptr) > file.changed.tv_sec + kSettledSeconds;
}

// Whether the next search of the same file would find the same. Other failures may be over then.
bool is_final(int rc, const FileStamp& folder) {
    const bool hasNoMarker = WIFEXITED(rc) && WEXITSTATUS(rc) == 1;
    return rc == kOk || hasNoMarker || !folder.exists;
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
    const CommandOutput output(command, kMarkerFile);
    if (output.rc != kOk) {
        return output.rc;
    }
    char line[kMarkerLineSize];
    if (!read_line(output.file, line)) {
        return read_failure(output.file);
    }
    if (strncmp(line, marker, markerLength) != 0) {
        return kInvalid;
    }
    copy_cut(text, line + markerLength);
    return kOk;
}

int probe_changed_file(VersionSearch* search, const char* file, const VersionMarker& marker,
                       VersionText& text) {
    const FileStamp searched = stamp_of(file);
    // Nothing is found in a file that is not there, whatever else has changed.
    const FileStamp tool = searched.exists ? stamp_of(kSearchTool) : FileStamp{};
    const FileStamp folder = searched.exists ? folder_stamp() : FileStamp{};
    if (!search->isKnown || search->file != file || !(search->searched == searched) ||
        !(search->tool == tool) || !(search->folder == folder)) {
        search->rc = probeVersionString(file, marker.length, marker.text, search->text);
        search->isKnown =
            is_final(search->rc, folder) && is_settled(searched) && stamp_of(file) == searched;
        search->file = file;
        search->searched = searched;
        search->tool = tool;
        search->folder = folder;
    }
    if (search->rc == kOk) {
        copy_cut(text, search->text);
    }
    return search->rc;
}

int getPlatform(VersionText* text) {
    if (text == nullptr) {
        return kInvalid;
    }
    char command[kCommandSize];
    snprintf(command, sizeof command, "uname -i > %s", kPlatformFile);
    const CommandOutput output(command, kPlatformFile);
    if (output.rc != kOk) {
        return output.rc;
    }
    char read[kVersionTextSize];
    const size_t size = fread(read, 1, sizeof read - 1, output.file.get());
    if (size == 0) {
        return read_failure(output.file);
    }
    copy_cut(*text, read, size);
    return kOk;
}

int ask_platform(PlatformAnswer* answer) {
    if (answer->isKnown && answer->rc == kOk) {
        return kOk;
    }
    const bool hasFolder = stamp_of(kPlatformFolder).exists;
    if (hasFolder || !answer->isKnown) {
        answer->rc = getPlatform(&answer->text);
        answer->isKnown = answer->rc == kOk || !hasFolder;
    }
    return answer->rc;
}

int getReleaseLines(VersionText* text) {
    if (text == nullptr) {
        return kInvalid;
    }
    const OpenFile file(fopen(kReleaseFile, "re"));
    if (file == nullptr) {
        return errno;
    }
    constexpr size_t kRoom = kVersionTextSize - 1; // the last byte is for the empty string
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
