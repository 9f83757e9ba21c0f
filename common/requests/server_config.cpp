#include "common/requests/server_config.h"

#include "common/engine/reply_record.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kReadRoom = 256;
constexpr size_t kSetRoom = 8448;

#define ZRP_SETTING(kind, name) ZRP_FIELD(tag::name, kind, ServerConfig, name)

constexpr ReplyField kNeeded[] = {
    ZRP_SETTING(kText, zrpServerName),
    ZRP_SETTING(kText, zrpServerProductVersion),
    ZRP_SETTING(kText, zrpServerFileServerVersion),
    ZRP_SETTING(kText, zrpServerVersion),
    ZRP_SETTING(kNumber32, zrpAllowUncryptedPasswords),
    ZRP_SETTING(kNumber32, zrpMixedModePath),
    ZRP_SETTING(kNumber32, zrpOSLanguageID),
};

constexpr ReplyField kFurther[] = {
    ZRP_SETTING(kNumber32, zrpBoundaryCheck),       ZRP_SETTING(kNumber32, zrpFileCommit),
    ZRP_SETTING(kNumber32, zrpLocalLoginInfo),      ZRP_SETTING(kNumber32, signingLevel),
    ZRP_SETTING(kNumber32, maximumConnectionSlots),
};

#undef ZRP_SETTING

} // namespace

char* BuildServerConfigRequest(int mode, int versionTag, const char* name, const char* value,
                               uint32_t* length) {
    const bool isRead = mode == kReadServerConfig;
    XmlDocument document = start_document(isRead ? kReadRoom : kSetRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::serverConfig);
    WriteIntElement(document, tag::versionTag, versionTag);
    if (!isRead) {
        WriteTextElement(document, tag::name, name);
        WriteTextElement(document, tag::set, value);
    }
    WriteTrailer(document, tag::serverConfig, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

int ScanServerConfigReply(char* reply, int replyLength, ServerConfig* record) {
    return scan_record(reply, replyLength, tag::serverConfig, kNeeded, kFurther, record);
}

} // namespace zrp
