// Scans of long replies are broken off by an interrupt and at the end of a thread's time.
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/client.h"
#include "common/exchange_limits.h"
#include "common/requests/server_statistics.h"
#include "common/requests/storage_control.h"
#include "common/requests/volume_list.h"
#include "common/xml_reader.h"
#include "tests/support/scripted_peer.h"

namespace zrp::scan_limits_test {
namespace {

constexpr size_t kMegabyte = size_t{1} << 20;

std::string repeated(const std::string& text, size_t size) {
    std::string piece; // a long one, as appending takes its time under the sanitizers
    while (piece.size() < 4096) {
        piece += text;
    }
    std::string all;
    while (all.size() < size) {
        all += piece;
    }
    return all;
}

class LongScan : public testing::Test {
protected:
    LongScan() {
        IPCServInit(kMainDaemonSocket);
    }
    ~LongScan() override {
        IPCServInit("reset");
        IPCServTerm();
    }
};

struct Finder {
    const char* name;
    const char* filler; // of the text that it walks through
    int (*find)(char* start, char* end);
};

constexpr Finder kFinders[] = {
    {"FindElement before", "<x/>",
     [](char* start, char* end) {
         XmlElement element;
         return FindElement("a", start, end, &element);
     }},
    {"FindElement inside", "<x/>",
     [](char* start, char* end) {
         XmlElement element;
         return FindElement("outer", start, end, &element);
     }},
    {"NextElement before", "</x>",
     [](char* start, char* end) {
         XmlElement element;
         char* name = nullptr;
         size_t length = 0;
         return NextElement(start + strlen("<outer><b></b>"), end, &element, &name, &length);
     }},
    {"NextElement inside", "<x/>",
     [](char* start, char* end) {
         XmlElement element;
         char* name = nullptr;
         size_t length = 0;
         return NextElement(start, end, &element, &name, &length);
     }},
    {"FindPlainOpenTag", "<x/>",
     [](char* start, char* end) {
         const char* found = nullptr;
         return FindPlainOpenTag("a", start, end, &found);
     }},
    {"FindPlainOpenTag with sections", "<![CDATA[x]]>",
     [](char* start, char* end) {
         const char* found = nullptr;
         return FindPlainOpenTag("a", start, end, &found);
     }},
    {"FindClosingTag", "<x/>",
     [](char* start, char* end) {
         const char* found = nullptr;
         return FindClosingTag("b", start, end, &found);
     }},
    {"GetTagString", "<x/>",
     [](char* start, char* end) {
         char text[8];
         return GetTagString("a", start, static_cast<int>(end - start), sizeof text, text);
     }},
    {"GetTagInt", "<x/>",
     [](char* start, char* end) {
         uint32_t value = 0;
         return GetTagInt("a", start, static_cast<int>(end - start), &value);
     }},
    {"FindElement of a long name", "<",
     [](char* start, char* end) {
         XmlElement element;
         return FindElement("outer", start, end, &element);
     }},
    {"NextElement of a long name", "<",
     [](char* start, char* end) {
         XmlElement element;
         char* name = nullptr;
         size_t length = 0;
         const int rc =
             NextElement(start + strlen("<outer><b></b>"), end, &element, &name, &length);
         return rc == kNotFound ? int{kOk} : rc; // nothing closes it
     }},
    {"GetAttribute", "v ",
     [](char* start, char* end) {
         XmlAttribute attribute;
         attribute.searchStart = start;
         attribute.searchEnd = end;
         return GetAttribute("v", &attribute);
     }},
    {"CheckForError of quotes", "<x y=\"z\">",
     [](char* start, char* end) {
         return CheckForError(static_cast<uint32_t>(end - start), start, nullptr);
     }},
    {"CheckForError of elements", "<x/>",
     [](char* start, char* end) {
         return CheckForError(static_cast<uint32_t>(end - start), start, nullptr);
     }},
};

// A finder's text: what it looks for comes after the filler.
std::string text_of(const Finder& finder, size_t size) {
    return "<outer><b></b>" + repeated(finder.filler, size) + " v=\"1\"><a>1</a></outer>";
}

int run(const Finder& finder, size_t size) {
    std::string text = text_of(finder, size);
    return finder.find(text.data(), text.data() + text.size());
}

TEST_F(LongScan, OfEveryFinderIsBrokenOffByAnInterrupt) {
    for (const Finder& finder : kFinders) {
        SCOPED_TRACE(finder.name);
        EXPECT_EQ(run(finder, 2 * kMegabyte), kOk);
        IPCServInterrupt();
        EXPECT_EQ(run(finder, 2 * kMegabyte), ECANCELED);
        EXPECT_EQ(run(finder, kMegabyte / 2), kOk) << "a short one is not";
        IPCServInit(kMainDaemonSocket);
    }
}

TEST_F(LongScan, OfEveryFinderEndsWithTheThreadsTime) {
    const ExchangeLimitsGuard limits({.totalMs = 1});
    const harness::Deadline end{harness::milliseconds{2}};
    while (!end.passed()) {
        std::this_thread::yield();
    }
    for (const Finder& finder : kFinders) {
        SCOPED_TRACE(finder.name);
        EXPECT_EQ(run(finder, 2 * kMegabyte), ETIMEDOUT);
        EXPECT_EQ(run(finder, kMegabyte / 2), kOk);
    }
}

TEST_F(LongScan, OfOneParameterIsBrokenOff) {
    for (const char* filled : {"<name>n</name>", ""}) {
        std::string text = filled + repeated("<x/>", 2 * kMegabyte) + "<name/><value/>";
        char name[kParmNameSize];
        char type[kParmTypeSize];
        char value[16];
        IPCServInterrupt();
        EXPECT_EQ(GetNameValueParm(text.data(), text.data() + text.size(), name, type, value, 15),
                  ECANCELED);
        IPCServInit(kMainDaemonSocket);
    }
}

std::string volumes() {
    return "<zrpConsoleReply><listVolumes>" +
           repeated("<volume><name>V</name><status>2</status><volumeNumber>1</volumeNumber>"
                    "</volume>",
                    4 * kMegabyte) +
           "</listVolumes></zrpConsoleReply>";
}

std::string statistics() {
    return "<zrpConsoleReply><serverStatistics>" +
           repeated("<parm><name>n</name><value>1</value></parm>", 4 * kMegabyte) +
           "</serverStatistics></zrpConsoleReply>";
}

// Interrupts at its first call and counts the others.
struct Interrupter {
    int calls = 0;

    int call() {
        if (calls++ == 0) {
            IPCServInterrupt();
        }
        return kOk;
    }
};

// Fewer than the items of two megabytes are given after the interrupt.
void expect_broken_off(int rc, const Interrupter& interrupter) {
    EXPECT_EQ(rc, ECANCELED);
    EXPECT_GT(interrupter.calls, 0);
    EXPECT_LT(interrupter.calls, 50'000);
}

TEST_F(LongScan, OfAListOfSmallItemsIsBrokenOff) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(volumes()))}});
    Interrupter interrupter;
    const int rc =
        GetVolumes([](void* context,
                      const ListedVolume&) { return static_cast<Interrupter*>(context)->call(); },
                   nullptr, &interrupter);
    expect_broken_off(rc, interrupter);
}

TEST_F(LongScan, OfStatisticsIsBrokenOff) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(statistics()))}});
    Interrupter interrupter;
    const int rc = QueryServerStatistics(
        1, [](void* context, char*, int) { return static_cast<Interrupter*>(context)->call(); },
        nullptr, &interrupter);
    expect_broken_off(rc, interrupter);
}

TEST_F(LongScan, OfTheFaceIsBrokenOff) {
    const ScriptedPeer peer(kMainDaemonSocket, {{read_request(), send_bytes(reply(volumes()))}});
    Interrupter interrupter;
    const auto answer = client::ForEachVolume([&](const client::Volume&) { interrupter.call(); });
    expect_broken_off(answer.code, interrupter);
}

TEST_F(LongScan, OfTheStorageDaemonsListsIsBrokenOff) {
    const std::string names = "<zrp2bks_reply><exclusion_control><zrpexcluded>" +
                              repeated("<volumeName>V</volumeName>", 4 * kMegabyte) +
                              "</zrpexcluded></exclusion_control></zrp2bks_reply>";
    const std::string filters =
        "<zrp2bks_reply><filter><list>" +
        repeated("<parm><name>n</name><value>1</value></parm>", 4 * kMegabyte) +
        "</list></filter></zrp2bks_reply>";
    const ScriptedPeer peer(kStorageDaemonSocket, {{read_request(), send_bytes(reply(names))},
                                                   {read_request(), send_bytes(reply(filters))}});
    Interrupter interrupter;
    int rc = IPCBKSControlList(
        [](const char*, int32_t, void* context) { static_cast<Interrupter*>(context)->call(); },
        &interrupter, nullptr, kBothLists);
    expect_broken_off(rc, interrupter);
    IPCServInit(kMainDaemonSocket);
    interrupter = {};
    rc = IPCBKSControlFilterList(
        [](const char*, const char*, void* context) { static_cast<Interrupter*>(context)->call(); },
        &interrupter, nullptr);
    expect_broken_off(rc, interrupter);
}

} // namespace
} // namespace zrp::scan_limits_test
