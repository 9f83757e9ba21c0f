// Commands of the main daemon as data, and the walk that all operations on them share. Internal to
// the library.
//
// A command is one record: its name, the children of its request and the fields of its reply. The
// functions of a family only fill in the values:
//
//     constexpr RequestField kCreateRequest[] = {
//         {tag::volumeName, RequestField::kVolumeName}, {tag::mountPoint, RequestField::kText}};
//     constexpr ReplyField kCreated[] = {whole_text<VolumeName>(tag::volumeName)};
//     constexpr Command kCreate = {tag::createVolume, nullptr, kCreateRequest, kCreated};
//
//     char* BuildCreateVolumeRequest(const char* name, const char* mountPoint, uint32_t* length) {
//         return build_command(kCreate, {name, mountPoint}, length);
//     }
//     int ScanCreateVolumeReply(char* reply, int replyLength, VolumeName& created) {
//         return scan_command(kCreate, reply, replyLength, &created);
//     }
//     int CreateVolume(const char* name, const char* mountPoint, VolumeName& created,
//                      ErrorText* errorText, const LogContext* log) {
//         return run_command(kCreate, {name, mountPoint}, {errorText, log}, &created);
//     }
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>
#include <utility>

#include "../log/log_context.h"
#include "../result.h"
#include "../tags.h"
#include "../volume_name.h"
#include "../xml_reader.h"
#include "query.h"
#include "reply_fields.h"
#include "reply_list.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// One child of a request.
struct RequestField {
    enum Kind : uint8_t {
        kText,
        kVolumeName,         // an operation refuses one of more than kMaxVolumeName bytes
        kOptionalText,       // no child for a null text
        kOptionalVolumeName, // the same for a volume's name
        kSigned,
        kUnsigned,
        kCount, // signed; no child for 0, which leaves the choice to the server
    };
    const char* tag;
    Kind kind;
};

// Request and reply nest alike:
// <zrpConsoleRequest><NAME><GROUP>children</GROUP></NAME></zrpConsoleRequest>.
struct Command {
    const char* name;
    const char* group = nullptr; // null when the children are in the command itself
    std::span<const RequestField> request = {};
    std::span<const ReplyField> reply = {};
    size_t room = 0; // bytes that the request may take; 0 for as many as its texts need
};

// The value of a request's child: a text or a number, as its field says.
struct RequestValue {
    RequestValue(const char* value) : text(value) {}
    RequestValue(int32_t value) : number(static_cast<uint32_t>(value)) {}
    RequestValue(uint32_t value) : number(value) {}

    const char* text = nullptr;
    uint32_t number = 0;
};

// One value for each field of the request, in its order.
using RequestValues = std::initializer_list<RequestValue>;

// The last two arguments of every operation; both may be null. It is the first thing that an
// operation makes: whatever fails from there on, no words of an earlier call are left.
struct Caller {
    Caller(ErrorText* words, const LogContext* context) : errorText(words), log(context) {
        if (words != nullptr) {
            (*words)[0] = '\0';
        }
    }

    ErrorText* errorText;
    const LogContext* log;
};

// Returns kOk; kInvalid for null; kNameTooLong for a name of more than kMaxVolumeName bytes, as the
// server sees it when its references are resolved, which is logged as "Supported Volume name max
// length 15".
int check_volume_name(const char* volumeName, const LogContext* log);

// Null for documents that a builder refuses, with errno EINVAL.
char* refuse_request();

// The document, malloc'ed; one without children for a command whose request has no fields. Null
// with errno EINVAL for a text that is not sendable, else ENOMEM.
char* build_command(const Command& command, RequestValues values, uint32_t* length);

// Room for a document with that many texts of that many characters in all: the words around them
// take less than 250 bytes.
size_t request_room(size_t textCount, size_t textLength);

// The command's element inside the envelope of a reply. Returns kOk, or kInvalid for an empty reply
// and when either element is missing.
int find_command(char* reply, int length, const char* command, XmlElement* element);

// Reads the fields of a reply into the record. Returns kOk or kInvalid; a failure may leave the
// record filled in part.
int read_command(const Command& command, char* reply, int length, void* record);

// The same for a command whose reply holds nothing to read.
inline int scan_command(const Command& command, char* reply, int length) {
    return read_command(command, reply, length, nullptr);
}

// The same, with the record as it was when anything is missing.
template <typename Record>
int scan_command(const Command& command, char* reply, int length, Record* record) {
    if (record == nullptr) {
        return kInvalid;
    }
    Record filled;
    memcpy(&filled, record, sizeof filled);
    const int rc = read_command(command, reply, length, &filled);
    if (rc == kOk) {
        memcpy(record, &filled, sizeof filled);
    }
    return rc;
}

// send_query, with all that is logged of an operation.
int send_document(HeapText document, uint32_t length, const Caller& caller, Reply* reply,
                  const Peer& peer = kDefaultPeer);

// Checks the names of volumes among the values, then builds and sends the request. Returns kOk with
// the reply; kInvalid; kNameTooLong; or send_query's code.
int send_command(const Command& command, RequestValues values, const Caller& caller, Reply* reply);

// The whole operation. With a record to fill, nothing is sent for a null one.
template <typename... Record>
int run_command(const Command& command, RequestValues values, const Caller& caller,
                Record*... record) {
    if (((record == nullptr) || ... || false)) {
        return kInvalid;
    }
    Reply reply;
    const int rc = send_command(command, values, caller, &reply);
    return rc == kOk ? scan_command(command, reply.text.get(), reply.length, record...) : rc;
}

// The same with a document of another builder, for requests whose children repeat.
template <typename... Record>
int run_document(const Command& command, HeapText document, uint32_t length, const Caller& caller,
                 Record*... record) {
    Reply reply;
    const int rc = send_document(std::move(document), length, caller, &reply);
    return rc == kOk ? scan_command(command, reply.text.get(), reply.length, record...) : rc;
}

// The same for a reply that is a list, whose records go to the callback of the operation.
template <typename Record>
int run_list(const ReplyList& list,
             int (*scan)(char* reply, int replyLength, int* offset, Record* record),
             HeapText document, uint32_t length, const Caller& caller,
             int (*callback)(void* context, const Record& record), void* context,
             int* count = nullptr) {
    Reply reply;
    const int rc = send_document(std::move(document), length, caller, &reply);
    return rc == kOk ? visit_list(list, reply, scan, callback, context, count) : rc;
}

// The list of a command in the main daemon's envelope. It ends with kRange, so that the end differs
// from an item that is malformed.
constexpr ReplyList command_list(const char* command, const char* item,
                                 std::span<const ReplyField> fields) {
    return {{tag::zrpConsoleReply, command}, item, fields, kInvalid, kRange, kRange};
}

} // namespace zrp

#pragma GCC visibility pop
