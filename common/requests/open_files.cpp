#include "common/requests/open_files.h"

#include <cstring>

#include "common/bounded_copy.h"
#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

constexpr const char* kMore = "Yes";

constexpr RequestField kListFilesRequest[] = {
    {tag::volumeName, RequestField::kOptionalVolumeName},
    {tag::startIndex, RequestField::kCount},
    {tag::maxItems, RequestField::kCount},
};
constexpr Command kListFiles = {tag::listOpenFilesByConnection, nullptr, kListFilesRequest};

constexpr ReplyField kConnection[] = {
    ZRP_FIELD(tag::stationNumberTag, kDecimal, OpenFilesConnection, stationNumber),
    ZRP_FIELD(tag::userName, kText, OpenFilesConnection, userName),
    ZRP_FIELD(tag::openFilesCount, kDecimal, OpenFilesConnection, openFilesCount),
};
constexpr ReplyList kConnections =
    command_list(tag::listOpenFilesByConnection, tag::connectionTag, kConnection);

// The files of one connection; the view itself is the list.
constexpr ReplyList kFiles = {{}, tag::name, {}, kInvalid, kRange, kRange};

struct IterationInfo {
    int32_t connectionCount;
    char moreFlag[8];
};

constexpr ReplyField kPage[] = {
    ZRP_FIELD(tag::stationNumberCount, kDecimal, IterationInfo, connectionCount),
    ZRP_FIELD(tag::moreFlag, kText, IterationInfo, moreFlag),
};
constexpr Command kIteration = {tag::listOpenFilesByConnection, tag::iterationInfo, {}, kPage};

constexpr ReplyField kNextIndex[] = {
    {tag::startIndex, 0, sizeof(uint32_t), FieldKind::kDecimal},
};
constexpr Command kNextPage = {tag::listOpenFilesByConnection, tag::iterationInfo, {}, kNextIndex};

constexpr RequestField kCloseRequest[] = {{tag::fileName, RequestField::kText}};
constexpr ReplyField kCloseReply[] = {whole_text<FileName>(tag::fileName)};
constexpr Command kClose = {tag::zrpRequests, tag::fileClose, kCloseRequest, kCloseReply};

constexpr RequestField kLocksRequest[] = {{tag::fileName, RequestField::kText}};
constexpr ReplyField kLockCount[] = {
    {tag::actualLockCount, 0, sizeof(int32_t), FieldKind::kDecimal},
};
constexpr Command kListLocks = {tag::listFileLocksByFile, nullptr, kLocksRequest, kLockCount};

constexpr ReplyField kLock[] = {
    ZRP_FIELD(tag::stationNumberTag, kDecimal, FileLock, stationNumber),
    ZRP_FIELD(tag::taskNuber, kDecimal, FileLock, taskNumber),
    ZRP_FIELD(tag::accessRights, kNumber32, FileLock, accessRights),
    ZRP_FIELD(tag::zrpFileHandle, kNumber64, FileLock, zrpFileHandle),
    ZRP_FIELD(tag::userName, kText, FileLock, userName),
};
constexpr ReplyList kLocks = command_list(tag::listFileLocksByFile, tag::connectionTag, kLock);

constexpr RequestField kCloseLocksRequest[] = {{tag::stationNumberTag, RequestField::kSigned}};
constexpr Command kCloseLocks = {tag::zrpRequests, tag::closeConnectionLocksTag,
                                 kCloseLocksRequest};

void log_reply_start(char* reply, int replyLength, const LogContext* log) {
    XmlElement envelope;
    if (log != nullptr &&
        find_in_reply(reply, replyLength, tag::zrpConsoleReply, &envelope) != kOk) {
        log->operations.LogError("error from reply start");
    }
}

} // namespace

char* BuildListOpenFilesByConnectionRequest(const char* volumeName, int32_t startIndex,
                                            int32_t maxItems, uint32_t* length) {
    return build_command(kListFiles, {volumeName, startIndex, maxItems}, length);
}

int ScanListOpenFilesByConnectionReply(char* reply, int replyLength, int* offset,
                                       OpenFilesConnection* connection) {
    const auto read = [](const ReplyItem& item, OpenFilesConnection& filled) {
        XmlElement files;
        if (read_fields(kConnections.fields, item, &filled) != kOk ||
            find_inside(item, tag::openFiles, &files) != kOk) {
            return kInvalid;
        }
        filled.files = files.contentStart;
        filled.filesLength = static_cast<int>(files.contentLength);
        return kOk;
    };
    return scan_record(kConnections, reply, replyLength, offset, connection, read);
}

int ScanOpenFileName(const OpenFilesConnection& connection, int* offset, FileName& name) {
    if (offset != nullptr && connection.filesLength == 0) {
        return kRange;
    }
    const auto read = [](const XmlElement& item, FileName& filled) {
        if (item.contentStart == nullptr) {
            return kInvalid;
        }
        copy_cut(filled, item.contentStart, item.contentLength);
        return kOk;
    };
    return scan_record(kFiles, connection.files, connection.filesLength, offset, &name, read);
}

int ScanOpenFilesPage(char* reply, int replyLength, OpenFilesPage* page) {
    if (page == nullptr) {
        return kInvalid;
    }
    IterationInfo found = {};
    const int rc = scan_command(kIteration, reply, replyLength, &found);
    if (rc != kOk) {
        return rc;
    }
    uint32_t next = kEndOfList;
    if (strcmp(found.moreFlag, kMore) == 0) {
        // Without an index nothing follows, whatever the flag says.
        (void)scan_command(kNextPage, reply, replyLength, &next);
    }
    *page = {found.connectionCount, next};
    return kOk;
}

int ListOpenFilesByConnection(const char* volumeName, int32_t startIndex, int32_t maxItems,
                              OpenFilesCallback callback, void* context, OpenFilesPage* page,
                              ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    if (callback == nullptr || page == nullptr) {
        return kInvalid;
    }
    Reply reply;
    int rc = send_command(kListFiles, {volumeName, startIndex, maxItems}, caller, &reply);
    if (rc == kOk) {
        rc = ScanOpenFilesPage(reply.text.get(), reply.length, page);
    }
    return rc == kOk ? visit_list(kConnections, reply, ScanListOpenFilesByConnectionReply, callback,
                                  context)
                     : rc;
}

int ListAllOpenFilesByConnection(const char* volumeName, OpenFilesCallback callback, void* context,
                                 ErrorText* errorText, const LogContext* log) {
    OpenFilesPage page = {0, 0};
    int rc = kOk;
    while (rc == kOk && page.nextIndex != kEndOfList) {
        const auto index = static_cast<int32_t>(page.nextIndex);
        rc = ListOpenFilesByConnection(volumeName, index, 0, callback, context, &page, errorText,
                                       log);
        if (rc == kOk && static_cast<int32_t>(page.nextIndex) <= index &&
            page.nextIndex != kEndOfList) {
            rc = kInvalid;
        }
    }
    return rc;
}

char* BuildCloseFileRequest(const char* fileName, uint32_t* length) {
    return build_command(kClose, {fileName}, length);
}

int ScanCloseFileReply(char* reply, int replyLength, FileName& closed, const LogContext* log) {
    log_reply_start(reply, replyLength, log);
    return scan_command(kClose, reply, replyLength, &closed);
}

int CloseFile(const char* fileName, FileName& closed, ErrorText* errorText, const LogContext* log) {
    Reply reply;
    const int rc = send_command(kClose, {fileName}, {errorText, log}, &reply);
    return rc == kOk ? ScanCloseFileReply(reply.text.get(), reply.length, closed, log) : rc;
}

char* BuildListFileLocksByFileRequest(const char* fileName, uint32_t* length) {
    return build_command(kListLocks, {fileName}, length);
}

int ScanListFileLocksByFileReply(char* reply, int replyLength, int* offset, FileLock* lock) {
    return scan_record(kLocks, reply, replyLength, offset, lock);
}

int ScanActualLockCount(char* reply, int replyLength, int32_t* count) {
    return scan_command(kListLocks, reply, replyLength, count);
}

int ListFileLocksByFile(const char* fileName, FileLockCallback callback, void* context,
                        int32_t* count, ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    if (callback == nullptr || count == nullptr) {
        return kInvalid;
    }
    Reply reply;
    int rc = send_command(kListLocks, {fileName}, caller, &reply);
    if (rc == kOk) {
        rc = ScanActualLockCount(reply.text.get(), reply.length, count);
    }
    return rc == kOk ? visit_list(kLocks, reply, ScanListFileLocksByFileReply, callback, context)
                     : rc;
}

char* BuildCloseConnectionLocksRequest(int32_t stationNumber, uint32_t* length) {
    return build_command(kCloseLocks, {stationNumber}, length);
}

int ScanCloseConnectionLocksReply(char* reply, int replyLength, const LogContext* log) {
    log_reply_start(reply, replyLength, log);
    return scan_command(kCloseLocks, reply, replyLength);
}

int CloseConnectionLocks(int32_t stationNumber, ErrorText* errorText, const LogContext* log) {
    Reply reply;
    const int rc = send_command(kCloseLocks, {stationNumber}, {errorText, log}, &reply);
    return rc == kOk ? ScanCloseConnectionLocksReply(reply.text.get(), reply.length, log) : rc;
}

} // namespace zrp
