// Locks on files, and giving up those of a connection. The conventions are those of open_files.h.
#pragma once

#include <cstdint>

#include "../engine/operation.h"
#include "open_files.h"

namespace zrp {

struct FileLock {
    int32_t stationNumber;
    int32_t taskNumber;
    uint32_t accessRights;
    uint64_t zrpFileHandle;
    char userName[kUserNameSize];
};

// Called for each lock. Returns 0 to go on, anything else to stop.
using FileLockCallback = int (*)(void* context, const FileLock& lock);

// The locks on a file, one for each connection that holds one.
char* BuildListFileLocksByFileRequest(const char* fileName, uint32_t* length);
int ScanListFileLocksByFileReply(char* reply, int replyLength, int* offset, FileLock* lock);

// How many locks the server counts. Returns 0, or 22 when the reply does not say it.
int ScanActualLockCount(char* reply, int replyLength, int32_t* count);

// *count is set before the first call of the callback.
int ListFileLocksByFile(const char* fileName, FileLockCallback callback, void* context,
                        int32_t* count, ErrorText* errorText, const LogContext* log);

// Gives up all locks of a connection; its files stay open. The scanner logs "error from reply
// start" for a reply that is none of the server's.
char* BuildCloseConnectionLocksRequest(int32_t stationNumber, uint32_t* length);
int ScanCloseConnectionLocksReply(char* reply, int replyLength, const LogContext* log);
int CloseConnectionLocks(int32_t stationNumber, ErrorText* errorText, const LogContext* log);

} // namespace zrp
