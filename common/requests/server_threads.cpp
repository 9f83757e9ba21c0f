#include "common/requests/server_threads.h"

#include <clocale>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/bounded_copy.h"
#include "common/engine/reply_list.h"
#include "common/range_number.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kRequestRoom = 256;
constexpr size_t kNumberSize = 80; // of a fraction, with its terminator

struct ThreadField {
    const char* tag;
    size_t offset;
    bool isLoad; // a fraction
};

#define ZRP_THREAD_FIELD(name, isLoad)                                                             \
    { tag::name, offsetof(ThreadStatistics, name), isLoad }

constexpr ThreadField kFields[] = {
    ZRP_THREAD_FIELD(currAsynceDirThreads, false),
    ZRP_THREAD_FIELD(maxAsynceDirThreads, false),
    ZRP_THREAD_FIELD(peakAsynceDirThreads, false),
    ZRP_THREAD_FIELD(currQueuedeDirRequests, false),
    ZRP_THREAD_FIELD(peakQueuedeDirRequests, false),
    ZRP_THREAD_FIELD(activeSSGThreads, false),
    ZRP_THREAD_FIELD(addlSSGThreads, false),
    ZRP_THREAD_FIELD(totalZRPStreams, false),
    ZRP_THREAD_FIELD(averageSSGThreadLoad, true),
    ZRP_THREAD_FIELD(peakSSGThreads, false),
    ZRP_THREAD_FIELD(peakZRPStreams, false),
    ZRP_THREAD_FIELD(peakAverageSSGThreadLoad, true),
};

#undef ZRP_THREAD_FIELD

// The daemon writes a point whatever the program's locale says.
float to_load(std::string_view text) {
    static const locale_t plain = newlocale(LC_NUMERIC_MASK, "C", nullptr);
    char number[kNumberSize];
    copy_cut(number, text.data(), text.size());
    return static_cast<float>(plain != nullptr ? strtod_l(number, nullptr, plain)
                                               : strtod(number, nullptr));
}

void store(const ThreadField& field, std::string_view text, ThreadStatistics* record) {
    char* member = reinterpret_cast<char*>(record) + field.offset;
    if (field.isLoad) {
        const float load = to_load(text);
        memcpy(member, &load, sizeof load);
    } else {
        const auto count = static_cast<int32_t>(leading_decimal(text));
        memcpy(member, &count, sizeof count);
    }
}

} // namespace

char* BuildThreadsRequest(uint32_t* length) {
    XmlDocument document = start_document(kRequestRoom);
    WriteChildless(document, tag::zrpConsoleRequest, tag::threads);
    return finish_document(document, length);
}

int ScanThreadsReply(char* reply, int replyLength, ThreadStatistics* record) {
    XmlElement threads;
    if (record == nullptr || find_in_reply(reply, replyLength, tag::threads, &threads) != kOk) {
        return kInvalid;
    }
    for (const ThreadField& field : kFields) {
        XmlElement element;
        const int rc = find_inside(threads, field.tag, &element);
        if (rc != kOk) {
            fprintf(stderr, "\n%s:Error- failed for %s, err = %d!\n", "ScanThreadsReply", field.tag,
                    rc);
            fflush(stderr);
        } else if (element.contentStart == nullptr) {
            fprintf(stderr, "\n%s:Error- failed for %s, data is null!\n", "ScanThreadsReply",
                    field.tag);
            fflush(stderr);
        } else {
            store(field, {element.contentStart, element.contentLength}, record);
        }
    }
    return kOk;
}

} // namespace zrp
