#include "common/requests/storage_daemon.h"

#include <cstring>
#include <string_view>
#include <utility>

#include "common/bounded_copy.h"
#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/thread_limits.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kParmsRoom = 8192;
constexpr size_t kLevelSlack = 255; // room around the text, its terminator included
constexpr std::string_view kWordSeparators = " \t\r\n,;";

// The next word of the text, which is cut after it; empty when none is left.
std::string_view take_word(std::string_view& text) {
    const size_t start = text.find_first_not_of(kWordSeparators);
    text.remove_prefix(start == std::string_view::npos ? text.size() : start);
    const std::string_view word = text.substr(0, text.find_first_of(kWordSeparators));
    text.remove_prefix(word.size());
    return word;
}

void write_word(XmlDocument& document, int index, std::string_view word) {
    char text[kParmsRoom];
    if (word.size() >= sizeof text) {
        document.failed = true;
        return;
    }
    copy_cut(text, word.data(), word.size());
    WriteNumberedParameter(document, diagnostic::parm, index, text);
}

void write_words(XmlDocument& document, const char* words) {
    std::string_view text(words != nullptr ? words : "");
    std::string_view word = take_word(text);
    if (word.empty()) {
        return;
    }
    WriteOpenGroup(document, diagnostic::parms);
    for (int index = 0; !word.empty(); index++) {
        if (index == kMaxDiagnosticWords) {
            document.failed = true;
            document.refused = true;
            return;
        }
        write_word(document, index, word);
        word = take_word(text);
    }
    WriteCloseGroup(document, diagnostic::parms);
}

constexpr ReplyField kChoice[] = {
    ZRP_FIELD(diagnostic::level, kDecimal, DiagnosticChoice, level),
    ZRP_OPTIONAL_FIELD(diagnostic::resetAll, kDecimal, DiagnosticChoice, resetAll),
};

int read_words(const XmlElement& reply, DiagnosticChoice* record) {
    XmlElement parms;
    int rc = find_optional(reply, diagnostic::parms, &parms);
    if (rc != kOk || parms.contentStart == nullptr) {
        return rc == kOk ? rc : failure_of(rc, kInvalid);
    }
    constexpr ReplyList kWords = {{}, diagnostic::parm};
    const auto length = static_cast<int>(parms.contentLength);
    int offset = 0;
    XmlElement parm;
    while ((rc = next_item(kWords, parms.contentStart, length, &offset, &parm)) == kOk) {
        if (record->wordCount == kMaxDiagnosticWords) {
            return kInvalid;
        }
        copy_cut(record->words[record->wordCount++], parm.contentStart, parm.contentLength);
    }
    return end_of_list(kWords, parms.contentStart, length, offset, rc);
}

} // namespace

char* BuildZrp2bksParmsRequest(int level, int resetAll, const char* words, uint32_t* length) {
    XmlDocument document = StartDocument(kParmsRoom);
    WriteHead(document, diagnostic::zrp2bksDiagnosticRequest, diagnostic::zrp2bksDiagnosticRequest);
    WriteIntElement(document, diagnostic::level, level);
    if (resetAll != 0) {
        WriteIntElement(document, diagnostic::resetAll, 1);
    }
    write_words(document, words);
    WriteTrailer(document, diagnostic::zrp2bksDiagnosticRequest,
                 diagnostic::zrp2bksDiagnosticRequest);
    return FinishDocument(document, length);
}

int ScanZrp2bksParmsReply(char* reply, int replyLength, DiagnosticChoice* record) {
    if (record == nullptr) {
        return kInvalid;
    }
    XmlElement envelope;
    int rc = find_in_reply(reply, replyLength, diagnostic::zrp2bksDiagnosticReply, &envelope);
    if (rc != kOk) {
        return failure_of(rc, kInvalid);
    }
    DiagnosticChoice scanned = {};
    rc = read_fields(kChoice, envelope, &scanned);
    if (rc == kOk) {
        rc = read_words(envelope, &scanned);
    }
    if (rc == kOk) {
        *record = scanned;
    }
    return rc;
}

char* BuildChangeLoggingLevelRequest(const char* options, uint32_t* length) {
    XmlDocument document = StartDocument((options != nullptr ? strlen(options) : 0) + kLevelSlack);
    WriteHead(document, command::zrp2bks_request, command::change_logging_level);
    WriteTextElement(document, tag::options, options);
    WriteTrailer(document, command::change_logging_level, command::zrp2bks_request);
    return FinishDocument(document, length);
}

int SetStorageLogLevel(const char* options, ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    uint32_t length = 0;
    HeapText request(BuildChangeLoggingLevelRequest(options, &length));
    Reply reply;
    return send_document(std::move(request), length, caller, &reply, kStorageDaemon);
}

} // namespace zrp
