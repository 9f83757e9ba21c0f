#include "common/requests/open_files.h"

#include <cstring>
#include <utility>

#include "common/bounded_copy.h"
#include "common/engine/management_command.h"
#include "common/result.h"
#include "common/tags.h"

namespace zrp {
namespace {

constexpr const char* kMore = "Yes";

using FileName = char[kFileNameSize];

struct FoundPage {
    int32_t connectionCount;
    char moreFlag[8];
};

constexpr ReplyField kConnection[] = {
    ZRP_FIELD(tag::stationNumberTag, kDecimal, OpenFilesConnection, stationNumber),
    ZRP_FIELD(tag::userName, kText, OpenFilesConnection, userName),
    ZRP_FIELD(tag::openFilesCount, kDecimal, OpenFilesConnection, openFilesCount),
};

constexpr ReplyField kPage[] = {
    ZRP_FIELD(tag::stationNumberCount, kDecimal, FoundPage, connectionCount),
    ZRP_FIELD(tag::moreFlag, kText, FoundPage, moreFlag),
};

constexpr ReplyField kNextIndex = {tag::startIndex, FieldKind::kDecimal, 0, sizeof(uint32_t)};

constexpr ReplyField kFileName[] = {whole_text<FileName>(tag::fileName)};

constexpr ManagementCommand kList = {tag::listOpenFilesByConnection, nullptr, {}};
constexpr ManagementCommand kIteration = {tag::listOpenFilesByConnection, tag::iterationInfo,
                                          kPage};
constexpr ManagementCommand kClose = {tag::zrpRequests, tag::fileClose, kFileName};

constexpr ReplyList kConnections =
    management_list(tag::listOpenFilesByConnection, tag::connectionTag);

// The files of one connection; the view itself is the list.
constexpr ReplyList kFiles = {{nullptr}, tag::name, kInvalid, kRange, kRange};

int check_optional_name(const char* volumeName, const LogContext* log) {
    return volumeName == nullptr ? int{kOk} : check_volume_name(volumeName, log);
}

// One exchange.
int list_page(const char* volumeName, int32_t startIndex, int32_t maxItems,
              OpenFilesCallback callback, void* context, OpenFilesPage* page, ErrorText* errorText,
              const LogContext* log) {
    uint32_t length = 0;
    HeapText request(
        BuildListOpenFilesByConnectionRequest(volumeName, startIndex, maxItems, &length));
    Reply reply;
    int rc = run_operation(std::move(request), length, errorText, log, &reply);
    if (rc == kOk) {
        rc = ScanOpenFilesPage(reply.text.get(), reply.length, page);
    }
    int count = 0;
    return rc == kOk
               ? give_all(ScanListOpenFilesByConnectionReply, reply, callback, context, &count)
               : rc;
}

} // namespace

char* BuildListOpenFilesByConnectionRequest(const char* volumeName, int32_t startIndex,
                                            int32_t maxItems, uint32_t* length) {
    return build_command(kList,
                         {optional_text_child(tag::volumeName, volumeName),
                          count_child(tag::startIndex, startIndex),
                          count_child(tag::maxItems, maxItems)},
                         length);
}

int ScanListOpenFilesByConnectionReply(char* reply, int replyLength, int* offset,
                                       OpenFilesConnection* connection) {
    if (offset == nullptr || connection == nullptr) {
        return kInvalid;
    }
    XmlElement item;
    XmlElement files;
    int next = *offset;
    int rc = next_item(kConnections, reply, replyLength, &next, &item);
    if (rc != kOk) {
        return rc;
    }
    OpenFilesConnection found = {};
    rc = read_fields(kConnection, item, &found);
    if (rc != kOk || find_inside(item, tag::openFiles, &files) != kOk) {
        return kInvalid;
    }
    found.files = files.contentStart;
    found.filesLength = static_cast<int>(files.contentLength);
    *connection = found;
    *offset = next;
    return kOk;
}

int ScanOpenFileName(const OpenFilesConnection& connection, int* offset,
                     char (&name)[kFileNameSize]) {
    if (offset == nullptr) {
        return kInvalid;
    }
    if (connection.filesLength == 0) {
        return kRange;
    }
    XmlElement item;
    int next = *offset;
    const int rc = next_item(kFiles, connection.files, connection.filesLength, &next, &item);
    if (rc != kOk) {
        return rc;
    }
    if (item.contentStart == nullptr) {
        return kInvalid;
    }
    copy_cut(name, item.contentStart, item.contentLength);
    *offset = next;
    return kOk;
}

int ScanOpenFilesPage(char* reply, int replyLength, OpenFilesPage* page) {
    if (page == nullptr) {
        return kInvalid;
    }
    FoundPage found = {};
    const int rc = scan_command(kIteration, reply, replyLength, &found);
    if (rc != kOk) {
        return rc;
    }
    uint32_t next = kEndOfList;
    if (strcmp(found.moreFlag, kMore) == 0) {
        constexpr ManagementCommand kWhere = {
            tag::listOpenFilesByConnection, tag::iterationInfo, {&kNextIndex, 1}};
        // Without an index nothing follows, whatever the flag says.
        (void)scan_command(kWhere, reply, replyLength, &next);
    }
    *page = {found.connectionCount, next};
    return kOk;
}

int ListOpenFilesByConnection(const char* volumeName, int32_t startIndex, int32_t maxItems,
                              OpenFilesCallback callback, void* context, OpenFilesPage* page,
                              ErrorText* errorText, const LogContext* log) {
    if (callback == nullptr || page == nullptr) {
        return kInvalid;
    }
    const int rc = check_optional_name(volumeName, log);
    return rc == kOk ? list_page(volumeName, startIndex, maxItems, callback, context, page,
                                 errorText, log)
                     : rc;
}

int ListAllOpenFilesByConnection(const char* volumeName, OpenFilesCallback callback, void* context,
                                 ErrorText* errorText, const LogContext* log) {
    if (callback == nullptr) {
        return kInvalid;
    }
    int rc = check_optional_name(volumeName, log);
    OpenFilesPage page = {0, 0};
    while (rc == kOk && page.nextIndex != kEndOfList) {
        const auto index = static_cast<int32_t>(page.nextIndex);
        rc = list_page(volumeName, index, 0, callback, context, &page, errorText, log);
        if (rc == kOk && static_cast<int32_t>(page.nextIndex) <= index &&
            page.nextIndex != kEndOfList) {
            rc = kInvalid;
        }
    }
    return rc;
}

char* BuildCloseFileRequest(const char* fileName, uint32_t* length) {
    return build_command(kClose, {text_child(tag::fileName, fileName)}, length);
}

int ScanCloseFileReply(char* reply, int replyLength, char (&closed)[kFileNameSize],
                       const LogContext* log) {
    log_reply_start(reply, replyLength, log);
    return scan_command(kClose, reply, replyLength, &closed);
}

int CloseFile(const char* fileName, char (&closed)[kFileNameSize], ErrorText* errorText,
              const LogContext* log) {
    uint32_t length = 0;
    HeapText request(BuildCloseFileRequest(fileName, &length));
    Reply reply;
    const int rc = run_operation(std::move(request), length, errorText, log, &reply);
    return rc == kOk ? ScanCloseFileReply(reply.text.get(), reply.length, closed, log) : rc;
}

} // namespace zrp
