#include "common/log/library_log.h"

#include <ctime>

#include "log_fixture.h"

namespace zrp {
namespace {

class LibraryLogTest : public LogTest {
protected:
    // Without root the second opening of a first attachment fails and says so.
    LogContext* attach(LogContext* log, const char* file, int level) {
        testing::internal::CaptureStderr();
        LogContext* attached = attach_log(log, file, level);
        const std::string complaint = testing::internal::GetCapturedStderr();
        EXPECT_EQ(complaint, geteuid() == 0 || file == nullptr || log != nullptr
                                 ? ""
                                 : "f_open(" + path + ") == NULL\n");
        return attached;
    }

    static std::string start_text(time_t started) {
        return std::string("[i TIME] ... libauthgate started ") + std::ctime(&started) + "\n";
    }
};

TEST_F(LibraryLogTest, AttachingOpensTheLogAtTheLevel) {
    EXPECT_EQ(attach(nullptr, path.c_str(), kLogInfo), GetLogContext());
    EXPECT_EQ(GetLogContext()->level, kLogInfo);
    EXPECT_EQ(GetLogContext()->outputFileName, path);
    GetLogContext()->operations.LogInfo("x");
    EXPECT_EQ(contents(), "[i TIME] x\n");
}

TEST_F(LibraryLogTest, AttachingForTheFirstTimeOpensTheFileTwice) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root opens a log a second time";
    }
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const ptrdiff_t before = descriptors();
    attach(nullptr, path.c_str(), kLogInfo);
    EXPECT_EQ(descriptors(), before + 2);
}

TEST_F(LibraryLogTest, WithoutAPathNoLogIsAttached) {
    EXPECT_EQ(attach(nullptr, nullptr, kLogInfo), nullptr);
    EXPECT_EQ(GetLogContext()->initialised, 0);
}

TEST_F(LibraryLogTest, AnAttachedLogStaysAsItIs) {
    LogContext* log = InitLogContext(nullptr, kLogError);
    EXPECT_EQ(attach(log, path.c_str(), kLogInfo), log);
    EXPECT_EQ(log->level, kLogError);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(LibraryLogTest, StartingTakesTheLevelAndTellsTimeAndLevel) {
    InitLogContext(path.c_str(), kLogError);
    const time_t started = time(nullptr) - 86400 * 3;
    start_log("dump", started);
    EXPECT_EQ(GetLogContext()->level, kLogDump);
    EXPECT_EQ(contents(), "[L TIME] ProcessLogLevel changed to \"dump\"\n" + start_text(started) +
                              "[i TIME] ... log level = 5\n");
}

TEST_F(LibraryLogTest, AnEmptyLevelIsWarningAndUnannounced) {
    InitLogContext(path.c_str(), kLogEverything);
    start_log("", 0);
    EXPECT_EQ(GetLogContext()->level, kLogWarning);
    EXPECT_EQ(contents(), "");
}

TEST_F(LibraryLogTest, AnUnknownLevelLeavesTheLevel) {
    InitLogContext(path.c_str(), kLogInfo);
    start_log("loud", 0);
    EXPECT_EQ(GetLogContext()->level, kLogInfo);
    EXPECT_EQ(contents(), start_text(0) + "[i TIME] ... log level = 3\n");
}

} // namespace
} // namespace zrp
