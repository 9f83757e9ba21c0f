// Files that connections have open, and closing them.
//
//  - A builder returns a malloc'ed document, or null with errno 12 without memory and 22 for a
//    text that is null or not sendable (xml_writer.h).
//  - A scanner of a list reads the next item: *offset is 0 before the first call and is moved
//    behind the item. It returns 0; 34 when no item is left; 22 for an empty reply and when an
//    element is missing. Texts are cut to their arrays. A failure leaves the outputs as they were.
//  - An operation returns 22 for a null text and -702 for a volume name of more than 15 bytes,
//    both without an exchange; what run_operation returned; 22 for a malformed reply; or what a
//    callback returned to stop.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../engine/operation.h"

namespace zrp {

inline constexpr size_t kFileNameSize = 4096;
inline constexpr size_t kUserNameSize = 514;

// A connection of an open-files list.
struct OpenFilesConnection {
    int32_t stationNumber;
    char userName[kUserNameSize];
    int32_t openFilesCount; // as the server counts them
    char* files;            // for ScanOpenFileName: a view into the reply
    int filesLength;
};

// Where a page of the list stands.
struct OpenFilesPage {
    int32_t connectionCount; // of this page
    uint32_t nextIndex;      // where the next page begins; kEndOfList after the last
};

// Called for each connection. The view in it is valid during the call. Returns 0 to go on, anything
// else to stop.
using OpenFilesCallback = int (*)(void* context, const OpenFilesConnection& connection);

// Connections with files open on the volume, or on any volume when volumeName is null, from the
// index on. An index of 0 means the first connection, maxItems 0 as many as the server likes;
// neither is then sent.
char* BuildListOpenFilesByConnectionRequest(const char* volumeName, int32_t startIndex,
                                            int32_t maxItems, uint32_t* length);

// The next connection of a page.
int ScanListOpenFilesByConnectionReply(char* reply, int replyLength, int* offset,
                                       OpenFilesConnection* connection);

// The next file of a connection; *offset is 0 before the first.
int ScanOpenFileName(const OpenFilesConnection& connection, int* offset,
                     char (&name)[kFileNameSize]);

// The page itself: a further one follows only when the server says "Yes" and where it begins.
// Returns 0, or 22 when an element is missing.
int ScanOpenFilesPage(char* reply, int replyLength, OpenFilesPage* page);

// One page. *page is set before the first call of the callback.
int ListOpenFilesByConnection(const char* volumeName, int32_t startIndex, int32_t maxItems,
                              OpenFilesCallback callback, void* context, OpenFilesPage* page,
                              ErrorText* errorText, const LogContext* log);

// All pages, one exchange for each. A server whose next page does not begin behind the last one
// ends the walk with 22.
int ListAllOpenFilesByConnection(const char* volumeName, OpenFilesCallback callback, void* context,
                                 ErrorText* errorText, const LogContext* log);

// Closes a file, named as the lists name it, on every connection. The reply names the file; the
// scanner logs "error from reply start" for a reply that is none of the server's.
char* BuildCloseFileRequest(const char* fileName, uint32_t* length);
int ScanCloseFileReply(char* reply, int replyLength, char (&closed)[kFileNameSize],
                       const LogContext* log);
int CloseFile(const char* fileName, char (&closed)[kFileNameSize], ErrorText* errorText,
              const LogContext* log);

} // namespace zrp
