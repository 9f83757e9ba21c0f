#include "common/requests/diagnostics.h"

#include <cerrno>
#include <cstring>

#include "common/bounded_copy.h"
#include "common/engine/reply_list.h"
#include "common/heap_text.h"
#include "common/range_number.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kDiagnosticsRoom = 1024;

// What differs between the daemons.
struct Vocabulary {
    const char* outer; // the elements of the request
    const char* command;
    const char* level;
    ReplyList counters;
};

constexpr Vocabulary kServerWords = {
    tag::zrpConsoleRequest,
    tag::diagnostics,
    tag::diagLevel,
    {{tag::zrpConsoleReply, tag::diagnostics, tag::diagLevel}, tag::diagValue},
};

// The request's command repeats its outer element: the daemon expects it so.
constexpr Vocabulary kStorageWords = {
    diagnostic::zrp2bksDiagnosticRequest,
    diagnostic::zrp2bksDiagnosticRequest,
    diagnostic::level,
    {{diagnostic::zrp2bksDiagnosticReply, diagnostic::level}, diagnostic::zrp2bksValue},
};

struct MessageHead {
    uint32_t kind = 24;
    uint32_t version = 1;
    uint32_t textSize = 0; // with its NUL
};

constexpr uint32_t kMessageExtra = 32; // bytes of a message beside its document's characters
static_assert(sizeof(MessageHead) == 12);

char* build_request(const Vocabulary& words, uint32_t* length, int level, int resetAll) {
    XmlDocument document = StartDocument(kDiagnosticsRoom);
    WriteHead(document, words.outer, words.command);
    WriteIntElement(document, words.level, level);
    if (resetAll != 0) {
        WriteIntElement(document, tag::resetAll, 1);
    }
    WriteTrailer(document, words.command, words.outer);
    return FinishDocument(document, length);
}

// The attribute is in the opening tag; a self-closing element is all opening tag.
int read_value(const XmlElement& counter, int32_t* value) {
    XmlAttribute attribute;
    attribute.searchStart = counter.tagEnd;
    attribute.searchEnd =
        counter.contentStart != nullptr ? counter.contentStart - 1 : counter.elementEnd;
    if (GetAttribute(tag::value, &attribute) != kOk) {
        return kInvalid;
    }
    *value = static_cast<int32_t>(leading_decimal({attribute.valueStart, attribute.valueLength}));
    return kOk;
}

int scan_counter(const Vocabulary& words, char* reply, int replyLength, int* cursor,
                 DiagnosticName& name, int32_t* value) {
    if (cursor == nullptr || value == nullptr) {
        return kInvalid;
    }
    XmlElement counter;
    const int rc = next_item(words.counters, reply, replyLength, cursor, &counter);
    if (rc != kOk) {
        return rc;
    }
    copy_cut(name, counter.contentStart, counter.contentLength);
    return read_value(counter, value);
}

} // namespace

char* BuildDiagnosticsRequest(uint32_t* length, int level, int resetAll) {
    return build_request(kServerWords, length, level, resetAll);
}

char* BuildZrp2bksDiagnosticRequest(uint32_t* length, int level, int resetAll) {
    return build_request(kStorageWords, length, level, resetAll);
}

char* WrapDiagnosticRequest(const char* document, uint32_t length, uint32_t* messageLength) {
    if (document == nullptr || messageLength == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    const size_t size = size_t{length} + kMessageExtra;
    HeapText message(static_cast<char*>(calloc(size, 1)));
    if (message == nullptr) {
        return nullptr;
    }
    MessageHead head;
    head.textSize = length + 1;
    memcpy(message.get(), &head, sizeof head);
    memcpy(message.get() + sizeof head, document, length);
    *messageLength = static_cast<uint32_t>(size);
    return message.release();
}

int ScanDiagnosticsReply(char* reply, int replyLength, int* cursor, DiagnosticName& name,
                         int32_t* value) {
    return scan_counter(kServerWords, reply, replyLength, cursor, name, value);
}

int ScanZrp2bksDiagnosticReply(char* reply, int replyLength, int* cursor, DiagnosticName& name,
                               int32_t* value) {
    return scan_counter(kStorageWords, reply, replyLength, cursor, name, value);
}

} // namespace zrp
