#include "common/requests/volume_tree.h"

#include <utility>

#include "common/engine/operation.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kTreeRoom = 4096;
constexpr size_t kFlushRoom = 256;

} // namespace

char* BuildVolumeTreeControlRequest(int versionTag, const char* volumeName, uint32_t controlFlags,
                                    uint32_t* length) {
    XmlDocument document = start_document(kTreeRoom);
    WriteHead(document, tag::zrpConsoleRequest, control::VTCRequest);
    WriteIntElement(document, tag::versionTag, versionTag);
    WriteTextElement(document, tag::volumeName, volumeName);
    WriteUIntElement(document, control::controlFlags, controlFlags);
    WriteTrailer(document, control::VTCRequest, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

int VolumeTreeControl(const char* volumeName, uint32_t controlFlags, ErrorText* errorText,
                      const LogContext* log) {
    const int rc = check_volume_name(volumeName, log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(
        BuildVolumeTreeControlRequest(kVolumeTreeVersion, volumeName, controlFlags, &length));
    Reply reply;
    return run_operation(std::move(request), length, errorText, log, &reply);
}

char* BuildFlushVolumesRequest(uint32_t* length) {
    XmlDocument document = start_document(kFlushRoom);
    WriteChildless(document, tag::zrpConsoleRequest, tag::flushVolumes);
    return finish_document(document, length);
}

int ScanFlushVolumesReply(char* reply, int replyLength) {
    XmlElement flushed;
    return find_command(reply, replyLength, tag::flushVolumes, &flushed);
}

} // namespace zrp
