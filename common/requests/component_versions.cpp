#include "common/requests/component_versions.h"

#include <utility>

#include "common/engine/query.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kVersionRoom = 256;

struct Component {
    Peer peer;
    const char* outer;         // element of its requests
    bool emptyReplyIsAnAnswer; // with an empty version
};

constexpr Component kEngine = {kDefaultPeer, tag::zrpConsoleRequest, true};
constexpr Component kBks = {kStorageDaemon, command::zrp2bks_request, false};
constexpr Component kOmw = {kManagementComponent, tag::libomw2zrpRequestTag, true};

char* build_request(const Component& component, uint32_t* length) {
    XmlDocument document = StartDocument(kVersionRoom);
    WriteHead(document, component.outer, tag::versionTag);
    WriteTrailer(document, tag::versionTag, component.outer);
    return FinishDocument(document, length);
}

int get_version(const Component& component, VersionText& text) {
    text[0] = '\0';
    uint32_t length = 0;
    HeapText request(build_request(component, &length));
    Reply reply;
    const int rc = send_query({.peer = component.peer}, std::move(request), length, &reply);
    if (rc != kOk || (reply.length == 0 && component.emptyReplyIsAnAnswer)) {
        return rc;
    }
    return GetTagString(tag::versionTag, reply.text.get(), reply.length, kVersionTextSize, text);
}

} // namespace

char* BuildServerVersionRequest(uint32_t* length) {
    return build_request(kEngine, length);
}

char* BuildBksVersionRequest(uint32_t* length) {
    return build_request(kBks, length);
}

char* BuildOmwVersionRequest(uint32_t* length) {
    return build_request(kOmw, length);
}

int getServerVersion(VersionText& text) {
    return get_version(kEngine, text);
}

int getBksVersion(VersionText& text) {
    return get_version(kBks, text);
}

int getOmwVersion(VersionText& text) {
    return get_version(kOmw, text);
}

} // namespace zrp
