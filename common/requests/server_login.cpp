#include "common/requests/server_login.h"

#include "common/bounded_copy.h"
#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kSwitchRoom = 256;
constexpr size_t kChangeRoom = 500;
constexpr const char* kYes = "YES";

constexpr ReplyList kEnableLines = {{tag::zrpConsoleReply, tag::enableLogin}, tag::string};
constexpr ReplyList kDisableLines = {{tag::zrpConsoleReply, tag::disableLogin}, tag::string};

char* build(size_t room, const LoginChange& change, uint32_t* length) {
    const char* command = change.enable ? tag::enableLogin : tag::disableLogin;
    XmlDocument document = start_document(room);
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
    return finish_document(document, length);
}

int next_line(const ReplyList& lines, char* reply, int replyLength, int* offset, LoginText& text) {
    if (offset == nullptr) {
        return kInvalid;
    }
    XmlElement line;
    const int rc = next_item(lines, reply, replyLength, offset, &line);
    if (rc == kOk) {
        copy_cut(text, line.contentStart, line.contentLength);
    }
    return rc;
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
    return next_line(kEnableLines, reply, replyLength, offset, text);
}

int ScanDisableLoginReply(char* reply, int replyLength, int* offset, LoginText& text) {
    return next_line(kDisableLines, reply, replyLength, offset, text);
}

} // namespace zrp
