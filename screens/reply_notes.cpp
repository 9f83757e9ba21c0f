#include "screens/reply_notes.h"

#include <cerrno>

#include "common/result.h"
#include "common/xml_reader.h"

namespace zrp {

void note_result(DaemonId daemon, int rc) {
    const ExchangeResult last = GetExchangeState(daemon).last;
    const bool isKnown = last.transportCode != kOk || last.replyCode != kOk;
    const bool isOfTheReply = rc != kOk && rc != kNoMemory && rc != ECANCELED;
    if (isOfTheReply && !isKnown) {
        NoteReplyResult(daemon, rc, nullptr);
    }
}

void note_broken_document(DaemonId daemon, const Reply& reply) {
    XmlElement root;
    char* name = nullptr;
    size_t nameLength = 0;
    if (reply.length <= 0) {
        note_result(daemon, kInvalid);
    } else {
        char* text = reply.text.get();
        note_result(daemon, NextElement(text, text + reply.length, &root, &name, &nameLength));
    }
}

} // namespace zrp
