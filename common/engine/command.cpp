#include "common/engine/command.h"

#include <cerrno>

#include "common/thread_limits.h"
#include "common/xml_scan.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kCommandRoom = 256;

bool is_text(RequestField::Kind kind) {
    return kind <= RequestField::kOptionalVolumeName;
}

size_t room_for(const Command& command, RequestValues values) {
    if (command.room != 0) {
        return command.room;
    }
    size_t count = 0;
    size_t length = 0;
    const RequestValue* value = values.begin();
    for (const RequestField& field : command.request) {
        if (is_text(field.kind) && value->text != nullptr) {
            count++;
            length += strlen(value->text);
        }
        value++;
    }
    return request_room(count, length);
}

void write_child(XmlDocument& document, const RequestField& field, const RequestValue& value) {
    switch (field.kind) {
    case RequestField::kOptionalText:
    case RequestField::kOptionalVolumeName:
        if (value.text == nullptr) {
            break;
        }
        [[fallthrough]];
    case RequestField::kText:
    case RequestField::kVolumeName:
        WriteTextElement(document, field.tag, value.text);
        break;
    case RequestField::kCount:
        if (value.number == 0) {
            break;
        }
        [[fallthrough]];
    case RequestField::kSigned:
        WriteIntElement(document, field.tag, static_cast<int32_t>(value.number));
        break;
    case RequestField::kUnsigned:
        WriteUIntElement(document, field.tag, value.number);
        break;
    }
}

int check_names(const Command& command, RequestValues values, const LogContext* log) {
    int rc = kOk;
    const RequestValue* value = values.begin();
    for (const RequestField& field : command.request) {
        if (field.kind == RequestField::kVolumeName ||
            (field.kind == RequestField::kOptionalVolumeName && value->text != nullptr)) {
            rc = check_volume_name(value->text, log);
        }
        if (rc != kOk) {
            break;
        }
        value++;
    }
    return rc;
}

} // namespace

int check_volume_name(const char* volumeName, const LogContext* log) {
    if (volumeName == nullptr) {
        return kInvalid;
    }
    if (resolved_length(volumeName) <= kMaxVolumeName) {
        return kOk;
    }
    if (log != nullptr) {
        log->operations.LogInfo("Supported Volume name max length %d", kMaxVolumeName);
    }
    return kNameTooLong;
}

char* refuse_request() {
    errno = EINVAL;
    return nullptr;
}

char* build_command(const Command& command, RequestValues values, uint32_t* length) {
    XmlDocument document = StartDocument(room_for(command, values));
    if (command.request.empty()) {
        WriteChildless(document, tag::zrpConsoleRequest, command.name);
        return FinishDocument(document, length);
    }
    WriteHead(document, tag::zrpConsoleRequest, command.name);
    if (command.group != nullptr) {
        WriteOpenGroup(document, command.group);
    }
    const RequestValue* value = values.begin();
    for (const RequestField& field : command.request) {
        write_child(document, field, *value++);
    }
    if (command.group != nullptr) {
        WriteCloseGroup(document, command.group);
    }
    WriteTrailer(document, command.name, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

size_t request_room(size_t textCount, size_t textLength) {
    return kCommandRoom - textCount + textLength;
}

int find_command(char* reply, int length, const char* command, XmlElement* element) {
    XmlElement envelope;
    int rc = find_in_reply(reply, length, tag::zrpConsoleReply, &envelope);
    if (rc == kOk) {
        rc = find_inside(envelope, command, element);
    }
    return rc == kOk ? rc : failure_of(rc, kInvalid);
}

int read_command(const Command& command, char* reply, int length, void* record) {
    XmlElement element;
    int rc = find_command(reply, length, command.name, &element);
    if (rc == kOk && command.group != nullptr) {
        const XmlElement outer = element;
        rc = find_inside(outer, command.group, &element);
    }
    return rc == kOk ? read_fields(command.reply, element, record) : failure_of(rc, kInvalid);
}

int send_document(HeapText document, uint32_t length, const Caller& caller, Reply* reply,
                  const Peer& peer) {
    Query query;
    query.peer = peer;
    query.hooks = hooks_to(caller.log);
    query.logsNoMemory = true;
    query.errorText = caller.errorText;
    return send_query(query, std::move(document), length, reply);
}

int send_command(const Command& command, RequestValues values, const Caller& caller, Reply* reply) {
    const int rc = check_names(command, values, caller.log);
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(build_command(command, values, &length));
    return send_document(std::move(request), length, caller, reply);
}

} // namespace zrp
