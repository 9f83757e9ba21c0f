#include "common/requests/storage_control.h"

#include <cstdlib>

#include "common/bounded_copy.h"
#include "common/engine/reply_list.h"
#include "common/engine/storage_exchange.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"

namespace zrp {
namespace {

constexpr size_t kControlNameSize = 256; // with its terminator

XmlDocument start_control_request() {
    XmlDocument document = start_document(kControlRequestRoom);
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

void log_steps(const ControlTrace& trace, int mark, int rc) {
    constexpr int kLastMark = 4;
    for (; trace.log != nullptr && mark <= kLastMark; mark++) {
        trace.log->operations.LogError("%s: [%d] rc=%d", trace.operation, mark, rc);
    }
}

struct Listener {
    VolumeListCallback callback;
    void* userData;
};

void visit_list(const XmlElement& exclusion, const char* listTag, int32_t kind,
                const Listener& listener) {
    XmlElement list;
    if (find_inside(exclusion, listTag, &list) != kOk || list.contentStart == nullptr) {
        return;
    }
    char* end = list.contentEnd + 1;
    XmlElement volume;
    for (char* position = list.contentStart;
         FindElement(tag::volumeName, position, end, &volume) == kOk;
         position = volume.elementEnd + 1) {
        char name[kControlNameSize];
        if (volume.contentLength >= sizeof name) {
            abort();
        }
        copy_cut(name, volume.contentStart, volume.contentLength);
        listener.callback(name, kind, listener.userData);
    }
}

} // namespace

int IPCBKSControlList(VolumeListCallback callback, void* userData, const LogContext* log,
                      int32_t which) {
    const int32_t wanted = which == 0 ? kBothLists : which;
    if (callback == nullptr || (wanted & kBothLists) == 0) {
        return kInvalid;
    }
    const ControlTrace trace = {log, "IPCBKSControlList", true};
    Reply reply;
    int rc = exchange_control(trace, build_list_request(wanted), &reply);
    if (rc != kOk) {
        return rc;
    }
    int mark = 0;
    XmlElement exclusion;
    rc = find_exclusion(reply, &exclusion, &mark);
    if (rc != kOk) {
        log_steps(trace, mark, rc);
        return rc;
    }
    if ((wanted & kExcludedVolumes) != 0) {
        visit_list(exclusion, control::zrpexcluded, kExcludedVolumes, {callback, userData});
    }
    if ((wanted & kIncludedVolumes) != 0) {
        visit_list(exclusion, control::zrpincluded, kIncludedVolumes, {callback, userData});
    }
    return kOk;
}

int IPCBKSControlAction(const LogContext* log, uint32_t action, const char* volumeName) {
    if ((action & (kRemoveFromControl | kAddToControl)) == 0) {
        return kInvalid;
    }
    Reply reply;
    const int rc = exchange_control({log, "IPCBKSControlAction", true},
                                    build_action_request(action, volumeName), &reply);
    return rc == kOk ? check_reply(reply, nullptr) : rc;
}

int IPCBKSControlActionGetMountPoint(const LogContext* log, const char* volumeName,
                                     StorageMountPoint& mountPoint) {
    mountPoint[0] = '\0';
    Reply reply;
    int rc = exchange_control({log, "IPCBKSControlActionGetMountPoint", true},
                              build_mount_point_request(volumeName), &reply);
    if (rc == kOk) {
        rc = check_reply(reply, nullptr);
    }
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

} // namespace zrp
