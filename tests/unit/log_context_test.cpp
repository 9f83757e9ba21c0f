#include "common/log/log_context.h"

#include <cstddef>
#include <cstdlib>
#include <string>

#include "common/result.h"
#include "tests/support/failing_allocation.h"
#include "tests/unit/log_fixture.h"

namespace zrp::log_context_test {
namespace {

using LogContextTest = LogTest;

TEST(LogOperationTable, OperationsHaveTheirOrder) {
    constexpr size_t kSlots[] = {
        offsetof(LogOperations, LogDebug),      offsetof(LogOperations, LogDebugTag),
        offsetof(LogOperations, LogInfo),       offsetof(LogOperations, LogInfoTag),
        offsetof(LogOperations, LogWarning),    offsetof(LogOperations, LogWarningTag),
        offsetof(LogOperations, LogError),      offsetof(LogOperations, LogErrorTag),
        offsetof(LogOperations, SetLogLevel),   offsetof(LogOperations, LogLevelUp),
        offsetof(LogOperations, LogLevelDown),  offsetof(LogOperations, LogOpen),
        offsetof(LogOperations, LogClose),      offsetof(LogOperations, LogFlush),
        offsetof(LogOperations, LogSize),       offsetof(LogOperations, LogShutdown),
        offsetof(LogOperations, LogDump),       offsetof(LogOperations, LogLDump),
        offsetof(LogOperations, LogBDump),      offsetof(LogOperations, LogPlain),
        offsetof(LogOperations, LogInfoSyslog), offsetof(LogOperations, SetLogMode),
        offsetof(LogOperations, LogNoop),
    };
    for (size_t i = 0; i < std::size(kSlots); i++) {
        EXPECT_EQ(kSlots[i], i * sizeof(void*)) << "slot " << i + 1;
    }
    EXPECT_EQ(sizeof(LogOperations), 23 * sizeof(void*));
}

TEST_F(LogContextTest, InitialisationSetsEveryField) {
    LogContext* log = InitLogContext(nullptr, kLogInfo);
    EXPECT_EQ(log, GetLogContext());
    EXPECT_EQ(log->level, kLogInfo);
    EXPECT_EQ(log->maxFileSize, 16777216U);
    EXPECT_EQ(log->fileSize, 0U);
    EXPECT_EQ(log->initialised, 255);
    EXPECT_EQ(log->mode, 0);
    EXPECT_EQ(log->flags, 2);
    EXPECT_EQ(log->resetCount, 0);
    EXPECT_EQ(log->useSyslog, 0);
    EXPECT_EQ(log->fileOpen, 0);
    EXPECT_EQ(log->stream, nullptr);
    EXPECT_STREQ(log->outputFileName, "");
    EXPECT_STREQ(log->logName, "");
    EXPECT_STREQ(log->syslogIdent, "");
}

TEST_F(LogContextTest, InitialisationOpensTheFile) {
    LogContext* log = InitLogContext(path.c_str(), kLogInfo);
    EXPECT_EQ(log->fileOpen, 1);
    EXPECT_STREQ(log->outputFileName, path.c_str());
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(LogContextTest, ASecondInitialisationChangesNothing) {
    LogContext* log = InitLogContext(path.c_str(), kLogInfo);
    FILE* stream = log->stream;
    EXPECT_EQ(InitLogContext((path + "2").c_str(), kLogDebug), log);
    EXPECT_EQ(log->level, kLogInfo);
    EXPECT_EQ(log->stream, stream);
    EXPECT_FALSE(std::filesystem::exists(path + "2"));
}

TEST_F(LogContextTest, AfterAShutdownItMayBeInitialisedAgain) {
    LogContext* log = InitLogContext(path.c_str(), kLogInfo);
    log->operations.SetLogMode(kLogModeSetFlag);
    log->operations.SetLogMode(kLogModeReset);
    log->operations.LogShutdown();
    EXPECT_EQ(log->initialised, 0);
    EXPECT_EQ(log->fileOpen, 0);
    EXPECT_EQ(log->stream, nullptr);
    EXPECT_EQ(log->outputFileName, nullptr);
    EXPECT_EQ(log->logName, nullptr);

    EXPECT_EQ(InitLogContext(nullptr, kLogError), log);
    EXPECT_EQ(log->level, kLogError);
    EXPECT_EQ(log->flags, 2);
    EXPECT_EQ(log->resetCount, 0);
}

TEST_F(LogContextTest, ShutdownAndWritersBeforeInitialisationAreHarmless) {
    operations().LogShutdown();
    operations().SetLogLevel(kLogEverything);
    operations().LogError("dropped");
    operations().LogPlain("dropped");
    operations().LogDump("dropped");
    operations().LogFlush();
    operations().LogClose();
    EXPECT_EQ(operations().LogSize(), 0);
    EXPECT_EQ(operations().SetLogMode(kLogModeDefault), 0);
    EXPECT_EQ(operations().SetLogMode(kLogModeReset), 0);
    EXPECT_EQ(GetLogContext()->fileOpen, 0);
}

TEST_F(LogContextTest, LevelUpStopsAtSix) {
    operations().SetLogLevel(kLogDebug);
    EXPECT_EQ(operations().LogLevelUp(), 5);
    EXPECT_EQ(operations().LogLevelUp(), 6);
    EXPECT_EQ(operations().LogLevelUp(), 6);
    EXPECT_EQ(GetLogContext()->level, 6);
}

TEST_F(LogContextTest, LevelDownStopsAtZero) {
    operations().SetLogLevel(kLogWarning);
    EXPECT_EQ(operations().LogLevelDown(), 1);
    EXPECT_EQ(operations().LogLevelDown(), 0);
    EXPECT_EQ(operations().LogLevelDown(), 0);
    EXPECT_EQ(GetLogContext()->level, 0);
}

TEST_F(LogContextTest, StepsKeepALevelBeyondTheirEnd) {
    operations().SetLogLevel(9);
    EXPECT_EQ(operations().LogLevelUp(), 9);
    EXPECT_EQ(operations().LogLevelDown(), 8);
    operations().SetLogLevel(-4);
    EXPECT_EQ(operations().LogLevelDown(), -4);
    EXPECT_EQ(operations().LogLevelUp(), -3);
}

TEST_F(LogContextTest, NoopReturnsZero) {
    EXPECT_EQ(operations().LogNoop(), 0);
}

TEST(LogLevelName, NamesTheSevenLevelsAndNoOther) {
    const char* const names[] = {"unknown", "NOTHING", "ERROR",      "WARNING", "INFO",
                                 "DEBUG",   "DUMP",    "EVERYTHING", "unknown"};
    for (int level = -1; level <= 7; level++) {
        EXPECT_STREQ(LogLevelName(level), names[level + 1]);
    }
    EXPECT_STREQ(LogLevelName(INT32_MAX), "unknown");
    EXPECT_STREQ(LogLevelName(INT32_MIN), "unknown");
}

TEST_F(LogContextTest, WithoutMemoryForTheNameTheFileIsStillOpened) {
    const FailingAllocation failing(kLogNameSize);
    testing::internal::CaptureStderr();
    LogContext* log = InitLogContext(path.c_str(), kLogInfo);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "logname == NULL");
    EXPECT_EQ(log->logName, nullptr);
    EXPECT_STREQ(log->outputFileName, path.c_str());
    log->operations.LogInfo("x");
    EXPECT_EQ(contents(), "[i TIME] x\n");
}

TEST_F(LogContextTest, WithoutMemoryForThePathNoFileIsOpened) {
    const FailingAllocation failing(kLogPathSize);
    testing::internal::CaptureStderr();
    LogContext* log = InitLogContext(path.c_str(), kLogInfo);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "f_output_filename == NULL");
    EXPECT_EQ(log, GetLogContext());
    EXPECT_EQ(log->initialised, 255);
    EXPECT_FALSE(std::filesystem::exists(path));

    testing::internal::CaptureStderr();
    EXPECT_EQ(log->operations.LogOpen(path.c_str()), kNoMemory);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "*f_output_filename == NULL\n");
    EXPECT_EQ(log->operations.SetLogMode(kLogModeDefault), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

} // namespace
} // namespace zrp::log_context_test
