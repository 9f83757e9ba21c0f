#include "common/requests/file_locks.h"

#include <utility>

#include "common/engine/management_command.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

constexpr ReplyField kLock[] = {
    ZRP_FIELD(tag::stationNumberTag, kDecimal, FileLock, stationNumber),
    ZRP_FIELD(tag::taskNuber, kDecimal, FileLock, taskNumber),
    ZRP_FIELD(tag::accessRights, kNumber32, FileLock, accessRights),
    ZRP_FIELD(tag::zrpFileHandle, kNumber64, FileLock, zrpFileHandle),
    ZRP_FIELD(tag::userName, kText, FileLock, userName),
};

constexpr ReplyField kCount[] = {
    {tag::actualLockCount, FieldKind::kDecimal, 0, sizeof(int32_t)},
};

constexpr ManagementCommand kList = {tag::listFileLocksByFile, nullptr, kCount};
constexpr ManagementList kLocks = {management_list(tag::listFileLocksByFile, tag::connectionTag),
                                   kLock};
constexpr ManagementCommand kClose = {tag::zrpRequests, tag::closeConnectionLocksTag, {}};

} // namespace

char* BuildListFileLocksByFileRequest(const char* fileName, uint32_t* length) {
    return build_command(kList, {text_child(tag::fileName, fileName)}, length);
}

int ScanListFileLocksByFileReply(char* reply, int replyLength, int* offset, FileLock* lock) {
    return scan_next(kLocks, reply, replyLength, offset, lock);
}

int ScanActualLockCount(char* reply, int replyLength, int32_t* count) {
    return scan_command(kList, reply, replyLength, count);
}

int ListFileLocksByFile(const char* fileName, FileLockCallback callback, void* context,
                        int32_t* count, ErrorText* errorText, const LogContext* log) {
    if (callback == nullptr || count == nullptr) {
        return kInvalid;
    }
    uint32_t length = 0;
    HeapText request(BuildListFileLocksByFileRequest(fileName, &length));
    Reply reply;
    int rc = run_operation(std::move(request), length, errorText, log, &reply);
    if (rc == kOk) {
        rc = ScanActualLockCount(reply.text.get(), reply.length, count);
    }
    int listed = 0;
    return rc == kOk ? give_all(ScanListFileLocksByFileReply, reply, callback, context, &listed)
                     : rc;
}

char* BuildCloseConnectionLocksRequest(int32_t stationNumber, uint32_t* length) {
    return build_command(kClose, {signed_child(tag::stationNumberTag, stationNumber)}, length);
}

int ScanCloseConnectionLocksReply(char* reply, int replyLength, const LogContext* log) {
    log_reply_start(reply, replyLength, log);
    return scan_command(kClose, reply, replyLength);
}

int CloseConnectionLocks(int32_t stationNumber, ErrorText* errorText, const LogContext* log) {
    uint32_t length = 0;
    HeapText request(BuildCloseConnectionLocksRequest(stationNumber, &length));
    Reply reply;
    const int rc = run_operation(std::move(request), length, errorText, log, &reply);
    return rc == kOk ? ScanCloseConnectionLocksReply(reply.text.get(), reply.length, log) : rc;
}

} // namespace zrp
