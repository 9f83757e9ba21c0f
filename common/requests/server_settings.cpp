#include "common/requests/server_settings.h"

#include <cerrno>
#include <cstring>

#include "common/bounded_copy.h"
#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kRequestRoom = 1024; // besides the value

constexpr ReplyList kNames = {{tag::zrpConsoleReply, tag::set}, tag::name};
constexpr ReplyList kValues = {{tag::zrpConsoleReply, tag::set}, tag::string};

void write_subject(XmlDocument& document, const char* name, const char* value) {
    if (name == nullptr) {
        WriteIntElement(document, tag::browse, 1);
        return;
    }
    WriteReceivedName(document, tag::name, name);
    if (value != nullptr && *value != '\0') {
        WriteTextElement(document, tag::string, value);
    }
}

// The value attribute in the opening tag of a name; empty without one.
void read_value_attribute(const XmlElement& name, SettingText& value) {
    XmlAttribute attribute;
    attribute.searchStart = name.tagEnd;
    attribute.searchEnd = name.contentStart != nullptr ? name.contentStart : name.elementEnd;
    if (GetAttribute(tag::value, &attribute) == kOk) {
        copy_cut(value, attribute.valueStart, attribute.valueLength);
    } else {
        value[0] = '\0';
    }
}

} // namespace

char* BuildSetRequest(uint32_t* length, int versionTag, int attributes, const char* name,
                      const char* value) {
    if (name == nullptr && value != nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    XmlDocument document = start_document(kRequestRoom + (value == nullptr ? 0 : strlen(value)));
    WriteHead(document, tag::zrpConsoleRequest, tag::set);
    WriteIntElement(document, tag::versionTag, versionTag);
    WriteIntElement(document, tag::attributes, attributes);
    write_subject(document, name, value);
    WriteTrailer(document, tag::set, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

int ScanSetReply(char* reply, int replyLength, int* offset, SettingText* nameBuffer,
                 SettingText* valueBuffer) {
    if (offset == nullptr) {
        return kInvalid;
    }
    XmlElement found;
    const ReplyList& list = nameBuffer != nullptr ? kNames : kValues;
    const int rc = next_item(list, reply, replyLength, offset, &found);
    if (rc != kOk) {
        return rc;
    }
    SettingText* text = nameBuffer != nullptr ? nameBuffer : valueBuffer;
    if (text != nullptr) {
        copy_cut(*text, found.contentStart, found.contentLength);
    }
    if (nameBuffer != nullptr && valueBuffer != nullptr) {
        read_value_attribute(found, *valueBuffer);
    }
    return kOk;
}

int QuerySettings(const char* name, Reply* reply) {
    uint32_t length = 0;
    HeapText request(BuildSetRequest(&length, kSetVersion, kSetAttributes, name, nullptr));
    return send_checked_query(kMainDaemon, std::move(request), length, nullptr, reply);
}

} // namespace zrp
