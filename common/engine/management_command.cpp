#include "common/engine/management_command.h"

#include <cstring>

#include "common/engine/reply_list.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kRequestRoom = 256;

size_t room_for(std::initializer_list<RequestChild> children) {
    size_t count = 0;
    size_t length = 0;
    for (const RequestChild& child : children) {
        if (child.kind == RequestChild::Kind::kText && child.text != nullptr) {
            count++;
            length += strlen(child.text);
        }
    }
    return request_room(count, length);
}

void write_child(XmlDocument& document, const RequestChild& child) {
    switch (child.kind) {
    case RequestChild::Kind::kText:
        WriteTextElement(document, child.tag, child.text);
        break;
    case RequestChild::Kind::kSigned:
        WriteIntElement(document, child.tag, static_cast<int32_t>(child.number));
        break;
    case RequestChild::Kind::kUnsigned:
        WriteUIntElement(document, child.tag, child.number);
        break;
    case RequestChild::Kind::kNothing:
        break;
    }
}

} // namespace

RequestChild text_child(const char* tag, const char* text) {
    return {tag, RequestChild::Kind::kText, text, 0};
}

RequestChild optional_text_child(const char* tag, const char* text) {
    return {tag, text != nullptr ? RequestChild::Kind::kText : RequestChild::Kind::kNothing, text,
            0};
}

RequestChild signed_child(const char* tag, int32_t value) {
    return {tag, RequestChild::Kind::kSigned, nullptr, static_cast<uint32_t>(value)};
}

RequestChild unsigned_child(const char* tag, uint32_t value) {
    return {tag, RequestChild::Kind::kUnsigned, nullptr, value};
}

RequestChild count_child(const char* tag, int32_t value) {
    return {tag, value != 0 ? RequestChild::Kind::kSigned : RequestChild::Kind::kNothing, nullptr,
            static_cast<uint32_t>(value)};
}

char* build_command(const ManagementCommand& command, std::initializer_list<RequestChild> children,
                    uint32_t* length) {
    XmlDocument document = start_document(room_for(children));
    WriteHead(document, tag::zrpConsoleRequest, command.command);
    if (command.group != nullptr) {
        WriteOpenGroup(document, command.group);
    }
    for (const RequestChild& child : children) {
        write_child(document, child);
    }
    if (command.group != nullptr) {
        WriteCloseGroup(document, command.group);
    }
    WriteTrailer(document, command.command, tag::zrpConsoleRequest);
    return finish_document(document, length);
}

size_t request_room(size_t textCount, size_t textLength) {
    return kRequestRoom - textCount + textLength;
}

int read_command(const ManagementCommand& command, char* reply, int replyLength, void* record) {
    XmlElement element;
    int rc = find_command(reply, replyLength, command.command, &element);
    if (rc == kOk && command.group != nullptr) {
        const XmlElement outer = element;
        rc = find_inside(outer, command.group, &element);
    }
    if (rc != kOk) {
        return kInvalid;
    }
    return read_fields(command.replyFields.data(), command.replyFields.size(), element, record);
}

int read_next(const ManagementList& list, char* reply, int replyLength, int* next, void* record) {
    XmlElement item;
    const int rc = next_item(list.place, reply, replyLength, next, &item);
    return rc == kOk ? read_fields(list.itemFields.data(), list.itemFields.size(), item, record)
                     : rc;
}

void log_reply_start(char* reply, int replyLength, const LogContext* log) {
    XmlElement envelope;
    if (log != nullptr &&
        find_in_reply(reply, replyLength, tag::zrpConsoleReply, &envelope) != kOk) {
        log->operations.LogError("error from reply start");
    }
}

} // namespace zrp
