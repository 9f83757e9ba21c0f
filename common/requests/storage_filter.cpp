#include "common/requests/storage_filter.h"

#include "common/engine/reply_list.h"
#include "common/engine/storage_exchange.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_reader.h"
#include "common/xml_scan.h"

namespace zrp {
namespace {

constexpr const char* kListOperation = "IPCBKSControlFilterList";
constexpr int kFilterTextSize = 4096; // with its terminator

// <filter> around one switch.
XmlDocument build_switch_request(const char* name) {
    XmlDocument document = start_document(kControlRequestRoom);
    WriteHead(document, command::zrp2bks_request, tag::filter);
    WriteEmptyElement(document, name);
    WriteTrailer(document, tag::filter, command::zrp2bks_request);
    return document;
}

XmlDocument build_set_request(const char* name, uint32_t value) {
    XmlDocument document = start_document(kControlRequestRoom);
    WriteHead(document, command::zrp2bks_request, tag::filter);
    WriteOpenGroup(document, tag::set);
    WriteOpenGroup(document, tag::parm);
    WriteTextElement(document, tag::name, name);
    WriteHexElement(document, tag::value, value);
    WriteCloseGroup(document, tag::parm);
    WriteCloseGroup(document, tag::set);
    WriteTrailer(document, tag::filter, command::zrp2bks_request);
    return document;
}

void log_missing(const LogContext* log, const char* name, int rc) {
    if (log != nullptr) {
        log->operations.LogError("%s: XML_GetTagElement(\"%s\") rc=%d", kListOperation, name, rc);
    }
}

struct Listener {
    FilterCallback callback;
    void* userData;
};

void visit_filter(const XmlElement& parm, const Listener& listener) {
    char name[kFilterTextSize];
    char value[kFilterTextSize];
    const auto length = static_cast<int32_t>(parm.contentLength);
    if (GetTagString(tag::name, parm.contentStart, length, sizeof name, name) == kOk &&
        GetTagString(tag::value, parm.contentStart, length, sizeof value, value) == kOk) {
        listener.callback(name, value, listener.userData);
    }
}

// A list that ends in something else than a filter is worth a line; its blanks are not.
void visit_filters(const XmlElement& list, const Listener& listener, const LogContext* log) {
    if (list.contentStart == nullptr) {
        return;
    }
    const char* end = list.contentEnd + 1;
    char* position = list.contentStart;
    while (skip_blanks(position, end) < end) {
        XmlElement parm;
        const int rc = FindElement(tag::parm, position, list.contentEnd + 1, &parm);
        if (rc != kOk) {
            log_missing(log, tag::parm, rc);
            return;
        }
        visit_filter(parm, listener);
        position = parm.elementEnd + 1;
    }
}

} // namespace

int IPCBKSControlFilterList(FilterCallback callback, void* userData, const LogContext* log) {
    if (callback == nullptr) {
        return kInvalid;
    }
    Reply reply;
    int rc =
        exchange_control({log, kListOperation, true}, build_switch_request(control::list), &reply);
    if (rc != kOk) {
        return rc;
    }
    rc = check_reply(reply, nullptr);
    if (rc != kOk) {
        if (log != nullptr) {
            log->operations.LogError("%s: CheckForError() rc=%d", kListOperation, rc);
        }
        return rc;
    }
    XmlElement list;
    rc = find_in_reply(reply.text.get(), reply.length, control::list, &list);
    if (rc != kOk) {
        log_missing(log, control::list, rc);
        return kOk;
    }
    visit_filters(list, {callback, userData}, log);
    return kOk;
}

int IPCBKSControlFilterSet(const LogContext* log, const char* name, uint32_t value) {
    Reply reply;
    return exchange_control({log, "IPCBKSControlFilterSet", false}, build_set_request(name, value),
                            &reply);
}

int IPCBKSControlFilterReset(const LogContext* log) {
    Reply reply;
    return exchange_control({log, nullptr, false}, build_switch_request(control::reset), &reply);
}

int IPCBKSControlFilterOff(const LogContext* log) {
    Reply reply;
    return exchange_control({log, nullptr, false}, build_switch_request(control::off), &reply);
}

} // namespace zrp
