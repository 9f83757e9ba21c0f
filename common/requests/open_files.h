// Files that connections have open, the locks on them, and giving both up.
//
//  - A scanner of a list reads the next item: *offset is 0 before the first call and is moved past
//    the item. It returns kOk; kRange when no item is left; kInvalid when an element is missing.
//    Texts are cut to their arrays.
//  - An operation on a list gives each item to a callback, which returns 0 to go on and anything
//    else to stop; the operation then returns that value.
//  - A volume name of more than kMaxVolumeName bytes is refused with kNameTooLong.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "../log/log_context.h"
#include "../xml_reader.h"

namespace zrp {

inline constexpr size_t kFileNameSize = 4096;
inline constexpr size_t kUserNameSize = 514;
using FileName = char[kFileNameSize];

// A connection of an open-files list.
struct OpenFilesConnection {
    int32_t stationNumber;
    char userName[kUserNameSize];
    int32_t openFilesCount; // as the server counts them
    char* files;            // for ScanOpenFileName: a view into the reply
    int filesLength;
};

// What a page says of itself.
struct OpenFilesPage {
    int32_t connectionCount; // of this page
    uint32_t nextIndex;      // where the next page begins; kEndOfList after the last
};

// The view in the connection is valid during the call.
using OpenFilesCallback = int (*)(void* context, const OpenFilesConnection& connection);

// Connections with files open on the volume, or on any volume when volumeName is null, from the
// index on. A startIndex of 0 is the first connection, a maxItems of 0 leaves the count to the
// server; neither is then sent.
char* BuildListOpenFilesByConnectionRequest(const char* volumeName, int32_t startIndex,
                                            int32_t maxItems, uint32_t* length);

int ScanListOpenFilesByConnectionReply(char* reply, int replyLength, int* offset,
                                       OpenFilesConnection* connection);

// The next file of a connection; *offset is 0 before the first.
int ScanOpenFileName(const OpenFilesConnection& connection, int* offset, FileName& name);

// A further page follows only when the server says "Yes" and where it begins. Returns kOk, or
// kInvalid when an element is missing.
int ScanOpenFilesPage(char* reply, int replyLength, OpenFilesPage* page);

// One page. *page is set before the first call of the callback.
int ListOpenFilesByConnection(const char* volumeName, int32_t startIndex, int32_t maxItems,
                              OpenFilesCallback callback, void* context, OpenFilesPage* page,
                              ErrorText* errorText, const LogContext* log);

// All pages, one exchange for each. Returns kInvalid when a page does not begin after the one
// before it.
int ListAllOpenFilesByConnection(const char* volumeName, OpenFilesCallback callback, void* context,
                                 ErrorText* errorText, const LogContext* log);

// Closes a file, named as the lists name it, on every connection. The reply names the file; the
// scanner logs "error from reply start" for a reply that is not the main daemon's.
char* BuildCloseFileRequest(const char* fileName, uint32_t* length);
int ScanCloseFileReply(char* reply, int replyLength, FileName& closed, const LogContext* log);
int CloseFile(const char* fileName, FileName& closed, ErrorText* errorText, const LogContext* log);

struct FileLock {
    int32_t stationNumber;
    int32_t taskNumber;
    uint32_t accessRights;
    uint64_t zrpFileHandle;
    char userName[kUserNameSize];
};

using FileLockCallback = int (*)(void* context, const FileLock& lock);

// The locks on a file, one for each connection that holds one.
char* BuildListFileLocksByFileRequest(const char* fileName, uint32_t* length);
int ScanListFileLocksByFileReply(char* reply, int replyLength, int* offset, FileLock* lock);

// How many locks the server counts. Returns kOk, or kInvalid when the reply does not say.
int ScanActualLockCount(char* reply, int replyLength, int32_t* count);

// *count is set before the first call of the callback.
int ListFileLocksByFile(const char* fileName, FileLockCallback callback, void* context,
                        int32_t* count, ErrorText* errorText, const LogContext* log);

// Gives up all locks of a connection; its files stay open. The scanner logs as that of CloseFile.
char* BuildCloseConnectionLocksRequest(int32_t stationNumber, uint32_t* length);
int ScanCloseConnectionLocksReply(char* reply, int replyLength, const LogContext* log);
int CloseConnectionLocks(int32_t stationNumber, ErrorText* errorText, const LogContext* log);

} // namespace zrp
