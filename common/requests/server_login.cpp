#include "common/requests/server_login.h"

#include "common/engine/command.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kSwitchRoom = 256;
constexpr size_t kChangeRoom = 500;
constexpr const char* kYes = "YES";

constexpr ReplyField kLine = whole_text<LoginText>(tag::string);
constexpr ReplyList kEnableLines = command_list(tag::enableLogin, tag::string, {});
constexpr ReplyList kDisableLines = command_list(tag::disableLogin, tag::string, {});

char* build(size_t room, const LoginChange& change, uint32_t* length) {
    const char* command = change.enable ? tag::enableLogin : tag::disableLogin;
    XmlDocument document = StartDocument(room);
    WriteHead(document, tag::zrpConsoleRequest, command);
    WriteEmptyElement(document, change.enable ? tag::enable : tag::disable);
    if (change.volumeName != nullptr) {
        WriteOpenGroup(document, tag::volume);
        WriteTextElement(document, tag::volumeName, change.volumeName);
        if (change.readOnly) {
            WriteTextElement(document, tag::readOnly, kYes);
        }
        WriteCloseGroup(document, tag::volume);
    }
    if (change.message != nullptr) {
        WriteTextElement(document, tag::message, change.message);
    }
    WriteTrailer(document, command, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int scan_line(const ReplyList& lines, char* reply, int replyLength, int* offset, LoginText& text) {
    return scan_next(lines, reply, replyLength, offset, [&](const XmlElement& line) {
        store_field(kLine, line, &text);
        return int{kOk};
    });
}

} // namespace

char* BuildEnableLoginRequest(uint32_t* length) {
    return build(kSwitchRoom, {.enable = true}, length);
}

char* BuildDisableLoginRequest(uint32_t* length) {
    return build(kSwitchRoom, {.enable = false}, length);
}

char* BuildLoginRequest(const LoginChange& change, uint32_t* length) {
    return build(kChangeRoom, change, length);
}

int ScanEnableLoginReply(char* reply, int replyLength, int* offset, LoginText& text) {
    return scan_line(kEnableLines, reply, replyLength, offset, text);
}

int ScanDisableLoginReply(char* reply, int replyLength, int* offset, LoginText& text) {
    return scan_line(kDisableLines, reply, replyLength, offset, text);
}

} // namespace zrp
