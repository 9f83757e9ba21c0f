#include "common/requests/storage_control.h"

#include <cstdlib>
#include <utility>

#include "common/bounded_copy.h"
#include "common/engine/command.h"
#include "common/engine/query.h"
#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/thread_limits.h"
#include "common/xml_reader.h"
#include "common/xml_scan.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kControlRoom = 512;
constexpr size_t kControlNameSize = 256; // with its terminator
constexpr int kFilterTextSize = 4096;    // with its terminator

constexpr ReplyList kVolumeNames = {{}, tag::volumeName};
constexpr ReplyList kFilters = {{}, tag::parm, {}, kNotFound, kNotFound, kNotFound};

// The query of an operation that shows both documents and its failures to the log.
Query control_query(const LogContext* log, const char* operation) {
    return {.peer = kStorageDaemon,
            .hooks = hooks_to(log),
            .operation = operation,
            .checksReply = false};
}

int send_control(const Query& query, XmlDocument document, Reply* reply) {
    uint32_t length = 0;
    HeapText request(FinishDocument(document, &length));
    return send_query(query, std::move(request), length, reply);
}

XmlDocument start_control_request() {
    XmlDocument document = StartDocument(kControlRoom);
    WriteHead(document, command::zrp2bks_request, command::exclusion_control);
    return document;
}

void end_control_request(XmlDocument& document) {
    WriteTrailer(document, command::exclusion_control, command::zrp2bks_request);
}

XmlDocument build_list_request(int32_t which) {
    XmlDocument document = start_control_request();
    WriteOpenGroup(document, tag::listVolumes);
    if (which == kBothLists) {
        WriteEmptyElement(document, tag::all);
    } else {
        if ((which & kExcludedVolumes) != 0) {
            WriteEmptyElement(document, control::zrpexcluded);
        }
        if ((which & kIncludedVolumes) != 0) {
            WriteEmptyElement(document, control::zrpincluded);
        }
    }
    WriteCloseGroup(document, tag::listVolumes);
    end_control_request(document);
    return document;
}

XmlDocument build_action_request(uint32_t action, const char* volumeName) {
    const char* name = (action & kAddToControl) != 0 ? tag::createVolume : tag::removeVolume;
    XmlDocument document = start_control_request();
    WriteOpenGroup(document, name);
    WriteTextElement(document, tag::volumeName, volumeName);
    if ((action & kThenMount) != 0) {
        WriteEmptyElement(document, tag::mountVolumes);
    }
    if ((action & kThenDismount) != 0) {
        WriteEmptyElement(document, tag::dismountVolumes);
    }
    WriteCloseGroup(document, name);
    end_control_request(document);
    return document;
}

XmlDocument build_mount_point_request(const char* volumeName) {
    XmlDocument document = start_control_request();
    WriteOpenGroup(document, command::get_volume_mount_point);
    WriteReceivedName(document, tag::volumeName, volumeName);
    WriteCloseGroup(document, command::get_volume_mount_point);
    end_control_request(document);
    return document;
}

XmlDocument build_filter_switch(const char* name) {
    XmlDocument document = StartDocument(kControlRoom);
    WriteHead(document, command::zrp2bks_request, tag::filter);
    WriteEmptyElement(document, name);
    WriteTrailer(document, tag::filter, command::zrp2bks_request);
    return document;
}

XmlDocument build_filter_set(const char* name, uint32_t value) {
    XmlDocument document = StartDocument(kControlRoom);
    WriteHead(document, command::zrp2bks_request, tag::filter);
    WriteOpenGroup(document, tag::set);
    WriteOpenGroup(document, tag::parm);
    WriteTextElement(document, tag::name, name);
    WriteHexElement(document, tag::value, value);
    WriteCloseGroup(document, tag::parm);
    WriteCloseGroup(document, tag::set);
    WriteTrailer(document, tag::filter, command::zrp2bks_request);
    return document;
}

// *mark is the first of the step marks that a failure writes.
int find_exclusion(const Reply& reply, XmlElement* exclusion, int* mark) {
    XmlElement envelope;
    *mark = 1;
    int rc = check_reply(reply, nullptr);
    if (rc == kOk) {
        rc = find_in_reply(reply.text.get(), reply.length, command::zrp2bks_reply, &envelope);
    }
    if (rc == kOk) {
        *mark = 2;
        rc = find_inside(envelope, command::exclusion_control, exclusion);
    }
    return rc;
}

void log_steps(const Query& query, int mark, int rc) {
    constexpr int kLastMark = 4;
    for (; query.hooks.log != nullptr && mark <= kLastMark; mark++) {
        query.hooks.log("%s: [%d] rc=%d", query.operation, mark, rc);
    }
}

int visit_names(const XmlElement& exclusion, const char* listTag, int32_t kind,
                VolumeListCallback callback, void* userData) {
    XmlElement list;
    int rc = find_optional(exclusion, listTag, &list);
    if (rc != kOk || list.contentStart == nullptr) {
        return rc;
    }
    const auto length = static_cast<int>(list.contentLength);
    int offset = 0;
    XmlElement volume;
    while ((rc = next_item(kVolumeNames, list.contentStart, length, &offset, &volume)) == kOk) {
        char name[kControlNameSize];
        if (volume.contentLength >= sizeof name) {
            abort();
        }
        copy_cut(name, volume.contentStart, volume.contentLength);
        callback(name, kind, userData);
    }
    rc = end_of_list(kVolumeNames, list.contentStart, length, offset, rc);
    return rc == kInvalid ? int{kNotFound} : rc;
}

void log_missing(const Query& query, const char* name, int rc) {
    if (query.hooks.log != nullptr) {
        query.hooks.log("%s: XML_GetTagElement(\"%s\") rc=%d", query.operation, name, rc);
    }
}

void visit_filter(const XmlElement& parm, FilterCallback callback, void* userData) {
    char name[kFilterTextSize];
    char value[kFilterTextSize];
    const auto length = static_cast<int32_t>(parm.contentLength);
    if (GetTagString(tag::name, parm.contentStart, length, sizeof name, name) == kOk &&
        GetTagString(tag::value, parm.contentStart, length, sizeof value, value) == kOk) {
        callback(name, value, userData);
    }
}

// A list that ends in something other than a filter is worth a line; trailing blanks are not.
int visit_filters(const Query& query, const XmlElement& list, FilterCallback callback,
                  void* userData) {
    char* const start = list.contentStart;
    const auto length = static_cast<int>(list.contentLength);
    int offset = 0;
    while (start != nullptr && skip_blanks(start + offset, start + length) < start + length) {
        XmlElement parm;
        const int rc = next_item(kFilters, start, length, &offset, &parm);
        if (rc != kOk) {
            log_missing(query, tag::parm, rc);
            return failure_of(rc, kOk);
        }
        visit_filter(parm, callback, userData);
    }
    return kOk;
}

// What a reply without a whole list is: one that says of no filter, or one that was cut.
int check_without_list(const Reply& reply) {
    constexpr ReplyList kAny = {};
    const int rc = check_list(kAny, reply);
    const char* start = reply.text.get();
    const char* opening = nullptr;
    const bool isCut = rc != kOk || find_opening(control::list, start, start + reply.length,
                                                 &opening) != kNotFound;
    return isCut ? failure_of(rc, kNotFound) : int{kOk};
}

// Sends a change of the filter; nobody looks at the reply.
int change_filter(Query query, XmlDocument document) {
    query.dumpsReply = false;
    Reply reply;
    return send_control(query, std::move(document), &reply);
}

// Compatibility: resetting and switching off write no line for a failed exchange.
Query silent_query(const LogContext* log) {
    Query query = control_query(log, nullptr);
    query.hooks.log = nullptr;
    return query;
}

} // namespace

int IPCBKSControlList(VolumeListCallback callback, void* userData, const LogContext* log,
                      int32_t which) {
    const int32_t wanted = which == 0 ? kBothLists : which;
    if (callback == nullptr || (wanted & kBothLists) == 0) {
        return kInvalid;
    }
    const Query query = control_query(log, "IPCBKSControlList");
    Reply reply;
    int rc = send_control(query, build_list_request(wanted), &reply);
    if (rc != kOk) {
        return rc;
    }
    int mark = 0;
    XmlElement exclusion;
    rc = find_exclusion(reply, &exclusion, &mark);
    if (rc != kOk) {
        log_steps(query, mark, rc);
        return rc;
    }
    if ((wanted & kExcludedVolumes) != 0) {
        rc = visit_names(exclusion, control::zrpexcluded, kExcludedVolumes, callback, userData);
    }
    if (rc == kOk && (wanted & kIncludedVolumes) != 0) {
        rc = visit_names(exclusion, control::zrpincluded, kIncludedVolumes, callback, userData);
    }
    return rc;
}

int IPCBKSControlAction(const LogContext* log, uint32_t action, const char* volumeName) {
    if ((action & (kRemoveFromControl | kAddToControl)) == 0) {
        return kInvalid;
    }
    Query query = control_query(log, "IPCBKSControlAction");
    query.checksReply = true;
    Reply reply;
    return send_control(query, build_action_request(action, volumeName), &reply);
}

int IPCBKSControlActionGetMountPoint(const LogContext* log, const char* volumeName,
                                     StorageMountPoint& mountPoint) {
    mountPoint[0] = '\0';
    Query query = control_query(log, "IPCBKSControlActionGetMountPoint");
    query.checksReply = true;
    Reply reply;
    int rc = send_control(query, build_mount_point_request(volumeName), &reply);
    XmlElement found;
    if (rc == kOk) {
        rc = find_in_reply(reply.text.get(), reply.length, command::get_volume_mount_point, &found);
    }
    if (rc == kOk && found.contentLength >= kStorageMountPointSize) {
        rc = kTooLong;
    }
    if (rc == kOk) {
        copy_cut(mountPoint, found.contentStart, found.contentLength);
    }
    return rc;
}

int IPCBKSControlFilterList(FilterCallback callback, void* userData, const LogContext* log) {
    if (callback == nullptr) {
        return kInvalid;
    }
    const Query query = control_query(log, "IPCBKSControlFilterList");
    Reply reply;
    int rc = send_control(query, build_filter_switch(control::list), &reply);
    if (rc != kOk) {
        return rc;
    }
    rc = check_reply(reply, nullptr);
    if (rc != kOk) {
        if (query.hooks.log != nullptr) {
            query.hooks.log("%s: CheckForError() rc=%d", query.operation, rc);
        }
        return rc;
    }
    XmlElement list;
    rc = find_in_reply(reply.text.get(), reply.length, control::list, &list);
    if (rc != kOk) {
        log_missing(query, control::list, rc);
        return check_without_list(reply);
    }
    return visit_filters(query, list, callback, userData);
}

int IPCBKSControlFilterSet(const LogContext* log, const char* name, uint32_t value) {
    return change_filter(control_query(log, "IPCBKSControlFilterSet"),
                         build_filter_set(name, value));
}

int IPCBKSControlFilterReset(const LogContext* log) {
    return change_filter(silent_query(log), build_filter_switch(control::reset));
}

int IPCBKSControlFilterOff(const LogContext* log) {
    return change_filter(silent_query(log), build_filter_switch(control::off));
}

char* BuildControlListRequest(int32_t which, uint32_t* length) {
    const int32_t wanted = which == 0 ? kBothLists : which;
    if ((wanted & kBothLists) == 0) {
        return refuse_request();
    }
    XmlDocument document = build_list_request(wanted);
    return FinishDocument(document, length);
}

char* BuildControlActionRequest(uint32_t action, const char* volumeName, uint32_t* length) {
    if ((action & (kRemoveFromControl | kAddToControl)) == 0) {
        return refuse_request();
    }
    XmlDocument document = build_action_request(action, volumeName);
    return FinishDocument(document, length);
}

char* BuildMountPointRequest(const char* volumeName, uint32_t* length) {
    XmlDocument document = build_mount_point_request(volumeName);
    return FinishDocument(document, length);
}

char* BuildFilterListRequest(uint32_t* length) {
    XmlDocument document = build_filter_switch(control::list);
    return FinishDocument(document, length);
}

char* BuildFilterSetRequest(const char* name, uint32_t value, uint32_t* length) {
    XmlDocument document = build_filter_set(name, value);
    return FinishDocument(document, length);
}

char* BuildFilterResetRequest(uint32_t* length) {
    XmlDocument document = build_filter_switch(control::reset);
    return FinishDocument(document, length);
}

char* BuildFilterOffRequest(uint32_t* length) {
    XmlDocument document = build_filter_switch(control::off);
    return FinishDocument(document, length);
}

} // namespace zrp
