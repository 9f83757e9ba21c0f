// Files that connections have open, and locks on them.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../requests/open_files.h"
#include "detail.h"

namespace zrp::client {

// What one connection has open.
struct OpenFiles {
    int32_t station = 0;
    std::string userName;
    std::vector<std::string> files;
};

namespace detail {

inline constexpr List kOpenFiles = {tag::listOpenFilesByConnection, tag::connectionTag};
inline constexpr List kLocks = {tag::listFileLocksByFile, tag::connectionTag};

// The files are read while the reply that the connection points into is there.
struct OpenFilesItem {
    OpenFilesConnection connection;
    std::vector<std::string> files;
};

// Of the two codes that end the walk, one is for a name that is malformed: it is in the rest.
inline int ScanFileNames(const OpenFilesConnection& connection, std::vector<std::string>* files) {
    const std::string_view view(connection.files, static_cast<size_t>(connection.filesLength));
    int offset = 0;
    char name[kFileNameSize];
    while (ScanOpenFileName(connection, &offset, name) == kOk) {
        files->emplace_back(name);
    }
    return HasElement(view.substr(static_cast<size_t>(offset)), tag::name) ? kInvalid : kOk;
}

inline int ScanOpenFiles(char* reply, int length, int* offset, OpenFilesItem* item) {
    int next = *offset;
    int rc = ScanListOpenFilesByConnectionReply(reply, length, &next, &item->connection);
    if (rc == kOk) {
        rc = ScanFileNames(item->connection, &item->files);
    }
    if (rc == kOk) {
        *offset = next;
    }
    return rc;
}

} // namespace detail

// The connections with files open on the volume, or on any volume without a name, as their pages
// arrive: a failure may follow the first ones.
template <typename Callback>
Answer<> ForEachOpenFiles(std::string_view volume, Callback callback) {
    const detail::Text name(volume);
    return detail::WalkPages<detail::OpenFilesItem>(
        detail::kOpenFiles,
        [&](int index, uint32_t* length) {
            return BuildListOpenFilesByConnectionRequest(name.OrNull(), index, 0, length);
        },
        detail::ScanOpenFiles,
        [&](const detail::OpenFilesItem& item) {
            return detail::GoesOn(callback, OpenFiles{item.connection.stationNumber,
                                                      item.connection.userName, item.files});
        },
        [](const Reply& reply, int* index) {
            OpenFilesPage page = {};
            const int rc = ScanOpenFilesPage(reply.text.get(), reply.length, &page);
            if (rc == kOk && page.nextIndex != kEndOfList) {
                *index = static_cast<int>(page.nextIndex);
            }
            return rc;
        });
}

inline Answer<std::vector<OpenFiles>> ListOpenFiles(std::string_view volume = {}) {
    return detail::Collect<OpenFiles>([&](auto visit) { return ForEachOpenFiles(volume, visit); });
}

// The locks on a file, one for each connection that holds one. A file is named as the lists name
// it.
inline Answer<std::vector<FileLock>> ListLocks(std::string_view file) {
    return detail::ListRecords<FileLock>(
        detail::kLocks, detail::Request(BuildListFileLocksByFileRequest, detail::Text(file)),
        ScanListFileLocksByFileReply);
}

// Closes a file on every connection; gives its name as the server spells it.
inline Answer<std::string> CloseFile(std::string_view file) {
    return detail::RunForName<kFileNameSize>(zrp::CloseFile, detail::Text(file));
}

// Gives up all locks of a connection; its files stay open.
inline Answer<> CloseConnectionLocks(int32_t station) {
    return detail::Run(zrp::CloseConnectionLocks, station);
}

} // namespace zrp::client
