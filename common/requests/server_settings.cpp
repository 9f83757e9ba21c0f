#include "common/requests/server_settings.h"

#include <cstring>
#include <utility>

#include "common/bounded_copy.h"
#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kSettingRoom = 1024; // besides the value

constexpr size_t kReadConfigRoom = 256;
constexpr size_t kSetConfigRoom = 8448;

constexpr ReplyList kNames = {{tag::zrpConsoleReply, tag::set}, tag::name};
constexpr ReplyList kValues = {{tag::zrpConsoleReply, tag::set}, tag::string};

#define ZRP_SETTING(kind, name) ZRP_FIELD(tag::name, kind, ServerConfig, name)
#define ZRP_OPTIONAL_SETTING(name) ZRP_OPTIONAL_FIELD(tag::name, kNumber32, ServerConfig, name)

constexpr ReplyField kConfigFields[] = {
    ZRP_SETTING(kText, zrpServerName),
    ZRP_SETTING(kText, zrpServerProductVersion),
    ZRP_SETTING(kText, zrpServerFileServerVersion),
    ZRP_SETTING(kText, zrpServerVersion),
    ZRP_SETTING(kNumber32, zrpAllowUncryptedPasswords),
    ZRP_SETTING(kNumber32, zrpMixedModePath),
    ZRP_SETTING(kNumber32, zrpOSLanguageID),
    ZRP_OPTIONAL_SETTING(zrpBoundaryCheck),
    ZRP_OPTIONAL_SETTING(zrpFileCommit),
    ZRP_OPTIONAL_SETTING(zrpLocalLoginInfo),
    ZRP_OPTIONAL_SETTING(signingLevel),
    ZRP_OPTIONAL_SETTING(maximumConnectionSlots),
};

#undef ZRP_OPTIONAL_SETTING
#undef ZRP_SETTING

constexpr Command kConfig = {tag::serverConfig, nullptr, {}, kConfigFields};

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

int run_config(ServerConfigMode mode, const char* name, const char* value, const Caller& caller,
               ServerConfig* record) {
    if (record == nullptr) {
        return kInvalid;
    }
    uint32_t length = 0;
    HeapText request(BuildServerConfigRequest(mode, kServerConfigVersion, name, value, &length));
    return run_document(kConfig, std::move(request), length, caller, record);
}

} // namespace

char* BuildSetRequest(uint32_t* length, int versionTag, int attributes, const char* name,
                      const char* value) {
    if (name == nullptr && value != nullptr) {
        return refuse_request();
    }
    XmlDocument document = StartDocument(kSettingRoom + (value == nullptr ? 0 : strlen(value)));
    WriteHead(document, tag::zrpConsoleRequest, tag::set);
    WriteIntElement(document, tag::versionTag, versionTag);
    WriteIntElement(document, tag::attributes, attributes);
    write_subject(document, name, value);
    WriteTrailer(document, tag::set, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int ScanSetReply(char* reply, int replyLength, int* offset, SettingText* nameBuffer,
                 SettingText* valueBuffer) {
    const bool isName = nameBuffer != nullptr;
    SettingText* text = isName ? nameBuffer : valueBuffer;
    const auto read = [&](const XmlElement& item) {
        if (text != nullptr) {
            copy_cut(*text, item.contentStart, item.contentLength);
        }
        if (isName && valueBuffer != nullptr) {
            read_value_attribute(item, *valueBuffer);
        }
        return int{kOk};
    };
    return scan_next(isName ? kNames : kValues, reply, replyLength, offset, read);
}

int QuerySettings(const char* name, Reply* reply) {
    uint32_t length = 0;
    HeapText request(BuildSetRequest(&length, kSetVersion, kSetAttributes, name, nullptr));
    return send_query({.peer = kMainDaemon}, std::move(request), length, reply);
}

char* BuildServerConfigRequest(int mode, int versionTag, const char* name, const char* value,
                               uint32_t* length) {
    const bool isRead = mode == kReadServerConfig;
    XmlDocument document = StartDocument(isRead ? kReadConfigRoom : kSetConfigRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::serverConfig);
    WriteIntElement(document, tag::versionTag, versionTag);
    if (!isRead) {
        WriteTextElement(document, tag::name, name);
        WriteTextElement(document, tag::set, value);
    }
    WriteTrailer(document, tag::serverConfig, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int ScanServerConfigReply(char* reply, int replyLength, ServerConfig* record) {
    return scan_command(kConfig, reply, replyLength, record);
}

int GetServerConfig(ServerConfig* record, ErrorText* errorText, const LogContext* log) {
    return run_config(kReadServerConfig, nullptr, nullptr, {errorText, log}, record);
}

int SetServerConfig(const char* name, const char* value, ServerConfig* record, ErrorText* errorText,
                    const LogContext* log) {
    return run_config(kSetServerConfig, name, value, {errorText, log}, record);
}

} // namespace zrp
