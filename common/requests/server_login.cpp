#include "common/requests/server_login.h"

#include <utility>

#include "common/engine/command.h"
#include "common/result.h"
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

char* build_login(size_t room, const LoginChange& change, uint32_t* length) {
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

int scan_line(const ReplyList& lines, char* reply, int replyLength, int* offset, LoginText* text) {
    return scan_next(lines, reply, replyLength, offset, [&](const XmlElement& line) {
        return store_field(kLine, {line.contentStart, line.contentLength}, text);
    });
}

int scan_enabled(char* reply, int replyLength, int* offset, LoginText* text) {
    return scan_line(kEnableLines, reply, replyLength, offset, text);
}

int scan_disabled(char* reply, int replyLength, int* offset, LoginText* text) {
    return scan_line(kDisableLines, reply, replyLength, offset, text);
}

} // namespace

char* BuildEnableLoginRequest(uint32_t* length) {
    return build_login(kSwitchRoom, {.enable = true}, length);
}

char* BuildDisableLoginRequest(uint32_t* length) {
    return build_login(kSwitchRoom, {.enable = false}, length);
}

char* BuildLoginRequest(const LoginChange& change, uint32_t* length) {
    return build_login(kChangeRoom, change, length);
}

int ScanEnableLoginReply(char* reply, int replyLength, int* offset, LoginText& text) {
    return scan_enabled(reply, replyLength, offset, &text);
}

int ScanDisableLoginReply(char* reply, int replyLength, int* offset, LoginText& text) {
    return scan_disabled(reply, replyLength, offset, &text);
}

int ChangeLogin(const LoginChange& change, LoginTextCallback callback, void* context,
                ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    if (callback == nullptr) {
        return kInvalid;
    }
    if (change.volumeName != nullptr) {
        const int rc = check_volume_name(change.volumeName, log);
        if (rc != kOk) {
            return rc;
        }
    }
    uint32_t length = 0;
    HeapText request(BuildLoginRequest(change, &length));
    return run_list(change.enable ? kEnableLines : kDisableLines,
                    change.enable ? scan_enabled : scan_disabled, std::move(request), length,
                    caller, callback, context);
}

} // namespace zrp
