#include "common/requests/server_threads.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/engine/command.h"
#include "common/heap_text.h"
#include "common/tags.h"
#include "tests/support/exact_block.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::server_threads_test {
namespace {

const char* const kNames[] = {
    "currAsynceDirThreads",   "maxAsynceDirThreads",    "peakAsynceDirThreads",
    "currQueuedeDirRequests", "peakQueuedeDirRequests", "activeSSGThreads",
    "addlSSGThreads",         "totalZRPStreams",        "averageSSGThreadLoad",
    "peakSSGThreads",         "peakZRPStreams",         "peakAverageSSGThreadLoad",
};

std::string thread_field(const std::string& name, const std::string& value) {
    return "<" + name + ">" + value + "</" + name + ">";
}

// Every field holds its place, the loads half a unit more; but the one of that name has another
// text.
std::string threads_reply(const std::string& otherName = "", const std::string& other = "") {
    std::string content;
    int place = 1;
    for (const std::string name : kNames) {
        const bool isLoad = name.ends_with("Load");
        content += name == otherName
                       ? other
                       : thread_field(name, std::to_string(place) + (isLoad ? ".5" : ""));
        place++;
    }
    return "<zrpConsoleReply><threads>" + content + "</threads></zrpConsoleReply>";
}

int scan(const std::string& text, ThreadStatistics* record) {
    const ExactBlock copy(text);
    return ScanThreadsReply(copy.begin(), static_cast<int>(text.size()), record);
}

// While it lives, numbers of the C library have a decimal comma. The machine may have no such
// locale, so it is made here, of the one category that counts.
struct DecimalComma {
    DecimalComma() {
        std::string pattern = testing::TempDir() + "zrplocaleXXXXXX";
        folder = mkdtemp(pattern.data());
        std::ofstream(folder + "/source") << "LC_NUMERIC\ndecimal_point \"<U002C>\"\n"
                                             "thousands_sep \"\"\ngrouping -1\nEND LC_NUMERIC\n";
        const std::string command = "localedef -c --no-archive -i " + folder + "/source " + folder +
                                    "/comma >/dev/null 2>&1";
        (void)!system(command.c_str()); // it warns of the other categories
        setenv("LOCPATH", folder.c_str(), 1);
        isSet = setlocale(LC_NUMERIC, "comma") != nullptr;
    }
    DecimalComma(const DecimalComma&) = delete;
    DecimalComma& operator=(const DecimalComma&) = delete;
    ~DecimalComma() {
        setlocale(LC_NUMERIC, "C");
        unsetenv("LOCPATH");
        std::filesystem::remove_all(folder);
    }

    std::string folder;
    bool isSet = false;
};

TEST(BuildThreadsRequest, HasNoChildren) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildThreadsRequest(&length), length),
              "<zrpConsoleRequest pid=\"PID\"><threads/></zrpConsoleRequest>");
    const FailingMalloc failing(256);
    EXPECT_EQ(BuildThreadsRequest(&length), nullptr);
}

// Expects each field to hold its place, and peakSSGThreads what is given.
void expect_places(const ThreadStatistics& record, int32_t peakSSGThreads) {
    EXPECT_EQ(record.currAsynceDirThreads, 1);
    EXPECT_EQ(record.maxAsynceDirThreads, 2);
    EXPECT_EQ(record.peakAsynceDirThreads, 3);
    EXPECT_EQ(record.currQueuedeDirRequests, 4);
    EXPECT_EQ(record.peakQueuedeDirRequests, 5);
    EXPECT_EQ(record.activeSSGThreads, 6);
    EXPECT_EQ(record.addlSSGThreads, 7);
    EXPECT_EQ(record.totalZRPStreams, 8);
    EXPECT_EQ(record.averageSSGThreadLoad, 9.5F);
    EXPECT_EQ(record.peakSSGThreads, peakSSGThreads);
    EXPECT_EQ(record.peakZRPStreams, 11);
    EXPECT_EQ(record.peakAverageSSGThreadLoad, 12.5F);
}

TEST(ScanThreadsReply, ReadsTheTwelveFields) {
    ThreadStatistics record = {};
    EXPECT_EQ(scan(threads_reply(), &record), kOk);
    expect_places(record, 10);
}

TEST(ScanThreadsReply, AMissingFieldIsToldAndKeepsItsSlot) {
    ThreadStatistics record = {};
    record.peakSSGThreads = -77;
    testing::internal::CaptureStderr();
    EXPECT_EQ(scan(threads_reply("peakSSGThreads", ""), &record), kOk);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "\nScanThreadsReply:Error- failed for peakSSGThreads, err = 2!\n");
    expect_places(record, -77);
}

TEST(ScanThreadsReply, ASelfClosingFieldIsToldAndKeepsItsSlot) {
    ThreadStatistics record = {};
    record.averageSSGThreadLoad = 0.25F;
    testing::internal::CaptureStderr();
    EXPECT_EQ(scan(threads_reply("averageSSGThreadLoad", "<averageSSGThreadLoad/>"), &record), kOk);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "\nScanThreadsReply:Error- failed for averageSSGThreadLoad, data is null!\n");
    EXPECT_EQ(record.averageSSGThreadLoad, 0.25F);
    EXPECT_EQ(record.peakSSGThreads, 10);
}

TEST(ScanThreadsReply, NothingOfTheFieldsIsStillSuccess) {
    ThreadStatistics record = {};
    record.totalZRPStreams = 5;
    for (const char* text : {"<threads></threads>", "<threads/>"}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(scan(text, &record), kOk);
        const std::string reported = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(reported.begin(), reported.end(), '!'), 12);
    }
    EXPECT_EQ(record.totalZRPStreams, 5);
}

TEST(ScanThreadsReply, RefusesANullRecordAndAReplyWithoutThreads) {
    ThreadStatistics record = {};
    EXPECT_EQ(scan(threads_reply(), nullptr), kInvalid);
    EXPECT_EQ(scan("<zrpConsoleReply><thread/></zrpConsoleReply>", &record), kInvalid);
    EXPECT_EQ(scan("", &record), kInvalid);
    EXPECT_EQ(ScanThreadsReply(nullptr, 0, &record), kInvalid);
    char text[] = "<threads/>";
    EXPECT_EQ(ScanThreadsReply(text, -1, &record), kInvalid);
}

TEST(ScanThreadsReply, OddNumbersAreReadAsFarAsTheyGo) {
    struct Row {
        const char* text;
        int32_t value;
    };
    const Row rows[] = {{" 12x", 12}, {"", 0}, {"abc", 0}, {"-3", -3}, {"0x1F", 0}, {"010", 10}};
    for (const Row& row : rows) {
        ThreadStatistics record = {};
        EXPECT_EQ(scan(threads_reply("peakSSGThreads", thread_field("peakSSGThreads", row.text)),
                       &record),
                  kOk);
        EXPECT_EQ(record.peakSSGThreads, row.value) << row.text;
    }
}

TEST(ScanThreadsReply, TheLocaleDoesNotMatter) {
    const DecimalComma comma;
    if (!comma.isSet) {
        GTEST_SKIP() << "localedef has no sources here (package locales)";
    }
    ASSERT_STREQ(localeconv()->decimal_point, ",");
    ThreadStatistics record = {};
    EXPECT_EQ(scan(threads_reply(), &record), kOk);
    EXPECT_EQ(record.averageSSGThreadLoad, 9.5F);
}

TEST(ScanThreadsReply, EveryPrefixIsReadInItsBounds) {
    const std::string text = threads_reply();
    const size_t end = text.find("</threads>") + strlen("</threads>");
    scan_every_prefix(text, [&](char* reply, int length) {
        ThreadStatistics record = {};
        EXPECT_EQ(ScanThreadsReply(reply, length, &record),
                  static_cast<size_t>(length) < end ? kInvalid : kOk);
    });
}

using SimulatedThreads = OperationTest;

TEST_F(SimulatedThreads, AreRead) {
    const SimulatedServer server;
    ASSERT_TRUE(server.ready());
    uint32_t length = 0;
    HeapText request(BuildThreadsRequest(&length));
    Reply answer;
    ASSERT_EQ(send_document(std::move(request), length, {nullptr, log}, &answer), kOk);
    ThreadStatistics record = {};
    testing::internal::CaptureStderr();
    EXPECT_EQ(ScanThreadsReply(answer.text.get(), answer.length, &record), kOk);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_GT(record.peakSSGThreads, 0);
    EXPECT_LE(record.activeSSGThreads, record.peakSSGThreads);
    EXPECT_GT(record.peakAverageSSGThreadLoad, 0.0F);
}

} // namespace
} // namespace zrp::server_threads_test
