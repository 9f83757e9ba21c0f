// Commands of the management catalogue as data: where the children of a request stand and which
// elements of the reply are read. Internal to the library.
#pragma once

#include <cstring>
#include <initializer_list>
#include <span>
#include <type_traits>
#include <utility>

#include "../result.h"
#include "../tags.h"
#include "operation.h"
#include "reply_fields.h"
#include "reply_list.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// A command whose reply is one record. Request and reply nest alike:
// <zrpConsoleRequest><COMMAND><GROUP>children</GROUP></COMMAND></zrpConsoleRequest>.
struct ManagementCommand {
    const char* command;
    const char* group;                       // null when the children stand in the command itself
    std::span<const ReplyField> replyFields; // all of them must be there
};

// A child of a request, made by the functions below.
struct RequestChild {
    enum class Kind : uint8_t { kText, kSigned, kUnsigned, kNothing };
    const char* tag;
    Kind kind;
    const char* text;
    uint32_t number;
};

RequestChild text_child(const char* tag, const char* text);
RequestChild optional_text_child(const char* tag, const char* text); // none for a null text
RequestChild signed_child(const char* tag, int32_t value);
RequestChild unsigned_child(const char* tag, uint32_t value);
RequestChild count_child(const char* tag, int32_t value); // none for 0, which means "all" or "top"

// The document, malloc'ed. Null with errno 22 for a text that is not sendable, else 12.
char* build_command(const ManagementCommand& command, std::initializer_list<RequestChild> children,
                    uint32_t* length);

// Room for a document with texts of so many characters in all: the words around them take less than
// 250 bytes.
size_t request_room(size_t textCount, size_t textLength);

// Reads the record of a reply. Returns 0, or 22 for an empty reply (also a negative length) and
// when an element is missing; the record may then be filled in part.
int read_command(const ManagementCommand& command, char* reply, int replyLength, void* record);

// The same for a command whose reply holds nothing to read.
inline int scan_command(const ManagementCommand& command, char* reply, int replyLength) {
    return read_command(command, reply, replyLength, nullptr);
}

// The same, with the record as it was when anything is missing. It is read once only: an element
// whose CDATA markers were taken out does not read the same a second time.
template <typename Record>
int scan_command(const ManagementCommand& command, char* reply, int replyLength, Record* record) {
    if (record == nullptr) {
        return kInvalid;
    }
    Record filled = {};
    const int rc = read_command(command, reply, replyLength, &filled);
    if (rc == kOk) {
        memcpy(record, &filled, sizeof filled);
    }
    return rc;
}

// Logs "error from reply start" as an error when the reply does not hold the server's envelope.
void log_reply_start(char* reply, int replyLength, const LogContext* log);

// run_operation with a document of build_command, and scan_command on its reply. With a record to
// fill, nothing is sent for a null one.
template <typename... Record>
int run_command(const ManagementCommand& command, HeapText document, uint32_t length,
                ErrorText* errorText, const LogContext* log, Record*... record) {
    if (((record == nullptr) || ... || false)) {
        return kInvalid;
    }
    Reply reply;
    const int rc = run_operation(std::move(document), length, errorText, log, &reply);
    return rc == kOk ? scan_command(command, reply.text.get(), reply.length, record...) : rc;
}

// A list of records in a reply. Its place ends with kRange, so that the end of the list is told
// from an item that is malformed.
struct ManagementList {
    ReplyList place;
    std::span<const ReplyField> itemFields; // all of them must be there
};

constexpr ReplyList management_list(const char* command, const char* item) {
    return {{tag::zrpConsoleReply, command}, item, kInvalid, kRange, kRange};
}

// Reads the next record, from *next on, which is 0 before the first call. Returns 0, 34 when none
// is left, or 22 as read_command; a failure may leave the record filled in part.
int read_next(const ManagementList& list, char* reply, int replyLength, int* next, void* record);

// The same, with both outputs as they were when anything is missing.
template <typename Record>
int scan_next(const ManagementList& list, char* reply, int replyLength, int* offset,
              Record* record) {
    if (offset == nullptr || record == nullptr) {
        return kInvalid;
    }
    Record filled = {};
    int next = *offset;
    const int rc = read_next(list, reply, replyLength, &next, &filled);
    if (rc == kOk) {
        memcpy(record, &filled, sizeof filled);
        *offset = next;
    }
    return rc;
}

// Gives every record that scan reads to the callback. Returns 0 after the last one, 22 for a
// malformed list, or what the callback returned to stop. *count becomes the number of records read.
template <typename Record>
int give_all(int (*scan)(char* reply, int replyLength, int* offset, Record* record),
             const Reply& reply, int (*callback)(void* context, const Record& record),
             void* context, int* count) {
    *count = 0;
    int offset = 0;
    for (;;) {
        Record record = {};
        int rc = scan(reply.text.get(), reply.length, &offset, &record);
        if (rc != kOk) {
            return rc == kRange ? kOk : rc;
        }
        ++*count;
        rc = callback(context, record);
        if (rc != kOk) {
            return rc;
        }
    }
}

// A row for a record that is nothing but one text buffer.
template <typename Text>
constexpr ReplyField whole_text(const char* tag) {
    static_assert(std::is_array_v<Text>);
    return {tag, FieldKind::kText, 0, sizeof(Text)};
}

} // namespace zrp

#pragma GCC visibility pop
