#include <linux/capability.h>
#include <sys/syscall.h>

#include "common/result.h"
#include "tests/unit/log_fixture.h"

namespace zrp {
namespace {

constexpr int64_t kStampSize = sizeof("[i 2024-05-06 07:08:09] ") - 1;

class LogFile : public LogTest {
protected:
    LogFile() {
        InitLogContext(nullptr, kLogEverything);
    }

    static unsigned mode_of(const std::string& file) {
        struct stat status = {};
        EXPECT_EQ(stat(file.c_str(), &status), 0);
        return status.st_mode & 07777U;
    }

    static ptrdiff_t open_descriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    // Opens the log and returns what was written to standard error.
    static std::string complaint_of_opening(const char* file, int expected) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(operations().LogOpen(file), expected);
        return testing::internal::GetCapturedStderr();
    }

    const LogContext& log = *GetLogContext();
};

// To permission checks, root without capabilities is an ordinary user.
bool drop_capabilities() {
    __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capset, &header, none) == 0;
}

TEST_F(LogFile, OpeningRemovesAllPermissionBits) {
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    EXPECT_EQ(mode_of(path), 0U);
    EXPECT_EQ(log.fileOpen, 1);
    EXPECT_EQ(log.fileSize, 0U);
    EXPECT_STREQ(log.outputFileName, path.c_str());
}

TEST_F(LogFile, OpeningAppendsAndRecordsTheEnd) {
    std::ofstream(path) << "before\n";
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    EXPECT_EQ(log.fileSize, 7U);
    EXPECT_EQ(operations().LogSize(), 7);
    operations().LogInfo("after");
    EXPECT_EQ(log.fileSize, 7U);
    EXPECT_EQ(operations().LogSize(), 7 + kStampSize + 6);
    EXPECT_EQ(contents(), "before\n[i TIME] after\n");
}

TEST_F(LogFile, WritingContinuesAtTheEndAfterReadingTheSize) {
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    operations().LogInfo("1");
    operations().LogSize();
    operations().LogInfo("2");
    EXPECT_EQ(contents(), "[i TIME] 1\n[i TIME] 2\n");
}

TEST_F(LogFile, NoPathAndNoStoredPathIsInvalid) {
    EXPECT_EQ(complaint_of_opening(nullptr, kInvalid), "filename == NULL\n");
    EXPECT_EQ(log.fileOpen, 0);
}

TEST_F(LogFile, NoMemoryForAPathIsReported) {
    operations().LogShutdown();
    EXPECT_EQ(complaint_of_opening(path.c_str(), kNoMemory), "*f_output_filename == NULL\n");
    EXPECT_EQ(complaint_of_opening(nullptr, kNoMemory), "*f_output_filename == NULL\n");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(LogFile, AFileThatCannotBeOpenedIsNotFound) {
    const std::string missing = folder + "/none/log";
    EXPECT_EQ(complaint_of_opening(missing.c_str(), kNotFound),
              "f_open(" + missing + ") == NULL\n");
    EXPECT_EQ(complaint_of_opening("", kNotFound), "f_open() == NULL\n");
    EXPECT_EQ(log.fileOpen, 0);
    EXPECT_STREQ(log.outputFileName, "");
}

TEST_F(LogFile, AFailedOpeningKeepsTheEarlierFile) {
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    complaint_of_opening((folder + "/none/log").c_str(), kNotFound);
    EXPECT_STREQ(log.outputFileName, path.c_str());
    operations().LogInfo("x");
    EXPECT_EQ(contents(), "[i TIME] x\n");
}

TEST_F(LogFile, NoPathMeansTheStoredOne) {
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    operations().LogClose();
    chmod(path.c_str(), 0600);
    EXPECT_EQ(operations().LogOpen(nullptr), 0);
    EXPECT_EQ(log.fileOpen, 1);
    EXPECT_EQ(mode_of(path), 0U);
    EXPECT_STREQ(log.outputFileName, path.c_str());
}

TEST_F(LogFile, TheLongestPathIsKeptWholeAndALongerOneTouchesNoFile) {
    const std::string longest = path + std::string(kLogPathSize - 1 - path.size(), 'x');
    ASSERT_EQ(longest.rfind('/'), folder.size());
    ASSERT_LT(longest.size() - folder.size(), 256U); // the limit of a file name
    EXPECT_EQ(complaint_of_opening(longest.c_str(), 0), "");
    EXPECT_STREQ(log.outputFileName, longest.c_str());
    EXPECT_EQ(strlen(log.logName), kLogNameSize - 1);
    EXPECT_EQ(longest.compare(0, kLogNameSize - 1, log.logName), 0);

    const std::string longer = folder + "/." + longest.substr(folder.size());
    EXPECT_EQ(complaint_of_opening(longer.c_str(), kTooLong), "");
    EXPECT_STREQ(log.outputFileName, longest.c_str());
    const std::string huge(1 << 20, 'x');
    EXPECT_EQ(complaint_of_opening(huge.c_str(), kTooLong), "");
}

TEST_F(LogFile, TheNameEndsBeforeTheFirstDot) {
    const std::string deep = folder + "/my.app";
    ASSERT_EQ(folder.find('.'), std::string::npos);
    std::filesystem::create_directory(deep);
    ASSERT_EQ(operations().LogOpen((deep + "/x.log").c_str()), 0);
    EXPECT_EQ(log.logName, folder + "/my");
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    EXPECT_EQ(log.logName, path);
    ASSERT_EQ(chdir(folder.c_str()), 0);
    ASSERT_EQ(operations().LogOpen("./x"), 0);
    EXPECT_STREQ(log.logName, "");
}

TEST_F(LogFile, AnotherOpeningReplacesTheStreamWithoutClosingIt) {
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    const ptrdiff_t before = open_descriptors();
    const std::string other = folder + "/other";
    ASSERT_EQ(operations().LogOpen(other.c_str()), 0);
    EXPECT_EQ(open_descriptors(), before + 1);
    operations().LogInfo("x");
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(mask_times(bytes_of(other)), "[i TIME] x\n");
}

TEST_F(LogFile, ClosingClosesAndMayBeRepeated) {
    const ptrdiff_t before = open_descriptors();
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    operations().LogClose();
    EXPECT_EQ(log.fileOpen, 0);
    EXPECT_EQ(log.stream, nullptr);
    EXPECT_EQ(open_descriptors(), before);
    operations().LogClose();
    EXPECT_EQ(operations().LogSize(), 0);
}

TEST_F(LogFile, TheFileIsNotInheritedByAnotherProgram) {
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    EXPECT_EQ(fcntl(fileno(log.stream), F_GETFD), FD_CLOEXEC);
}

TEST_F(LogFile, AFileWithoutAnEndHasSizeZero) {
    const std::string pipe = folder + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(operations().LogOpen(pipe.c_str()), 0);
    EXPECT_EQ(log.fileSize, 0U);
    EXPECT_EQ(operations().LogSize(), 0);
}

TEST_F(LogFile, WithoutRootALogIsNotOpenedASecondTime) {
    IN_CHILD("capabilities cannot be dropped here", [&] {
        if (!drop_capabilities()) {
            return false;
        }
        EXPECT_EQ(operations().LogOpen(path.c_str()), 0);
        EXPECT_EQ(complaint_of_opening(path.c_str(), kNotFound), "f_open(" + path + ") == NULL\n");
        operations().LogInfo("the first stream goes on");
        EXPECT_EQ(contents(), "[i TIME] the first stream goes on\n");
        return true;
    });
}

TEST_F(LogFile, ADefaultModeThatCannotOpenTheFileAgainDropsMessages) {
    for (const int code : {0, 9}) {
        ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
        operations().LogInfo("before");
        const ptrdiff_t before = open_descriptors();
        std::filesystem::remove(path);
        std::filesystem::create_directory(path);
        testing::internal::CaptureStderr();
        EXPECT_EQ(operations().SetLogMode(code), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(log.mode, code);
        EXPECT_EQ(log.fileOpen, 0);
        EXPECT_EQ(log.stream, nullptr);
        EXPECT_EQ(open_descriptors(), before - 1);
        std::filesystem::remove(path);
        operations().LogInfo("dropped");
        EXPECT_FALSE(std::filesystem::exists(path));
        EXPECT_EQ(operations().SetLogMode(code), 0);
        operations().LogInfo("after");
        EXPECT_EQ(contents(), "[i TIME] after\n");
        operations().LogClose();
        std::filesystem::remove(path);
    }
}

TEST_F(LogFile, EveryModeCodeReturnsZeroAndOnlySomeAreRecorded) {
    const struct {
        int code;
        int mode;
    } cases[] = {{9, 9},
                 {1, 9},
                 {2, 9},
                 {4, 9},
                 {5, 9},
                 {6, 9},
                 {7, 9},
                 {8, 9},
                 {0, 0},
                 {1, 0},
                 {INT32_MAX, INT32_MAX},
                 {-1, INT32_MAX}};
    for (const auto& [code, mode] : cases) {
        EXPECT_EQ(operations().SetLogMode(code), 0) << code;
        EXPECT_EQ(log.mode, mode) << code;
    }
}

TEST_F(LogFile, ModesFourAndFiveChangeBitZeroOfTheFlags) {
    EXPECT_EQ(log.flags, 2);
    operations().SetLogMode(kLogModeSetFlag);
    EXPECT_EQ(log.flags, 3);
    operations().SetLogMode(kLogModeSetFlag);
    EXPECT_EQ(log.flags, 3);
    operations().SetLogMode(kLogModeClearFlag);
    EXPECT_EQ(log.flags, 2);
}

TEST_F(LogFile, ModesWithoutEffectChangeNeitherFileNorStream) {
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    operations().LogInfo("x");
    FILE* stream = log.stream;
    for (const int code : {-1, 1, 2, 4, 5, 6, 7}) {
        operations().SetLogMode(code);
        EXPECT_EQ(log.stream, stream) << code;
        EXPECT_EQ(mode_of(path), 0U) << code;
        EXPECT_EQ(operations().LogSize(), kStampSize + 2) << code;
    }
}

TEST_F(LogFile, TheDefaultModeOpensTheFileAgainAndKeepsTheOldStreamOpen) {
    for (const int code : {0, 9}) {
        ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
        operations().LogInfo("x");
        chmod(path.c_str(), 0600);
        const ptrdiff_t before = open_descriptors();
        operations().SetLogMode(code);
        EXPECT_EQ(log.mode, code);
        EXPECT_EQ(open_descriptors(), before + 1);
        EXPECT_EQ(mode_of(path), 0U);
        EXPECT_EQ(log.fileSize, static_cast<uint64_t>(operations().LogSize()));
        operations().LogShutdown();
        std::filesystem::remove(path);
        InitLogContext(nullptr, kLogEverything);
    }
}

TEST_F(LogFile, TheDefaultModeOpensAClosedFileAgain) {
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    operations().LogClose();
    chmod(path.c_str(), 0600);
    operations().SetLogMode(kLogModeDefault);
    EXPECT_EQ(log.fileOpen, 1);
    operations().LogInfo("again");
    EXPECT_EQ(contents(), "[i TIME] again\n");
}

TEST_F(LogFile, ADefaultModeWithoutAFileDoesNothing) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(operations().SetLogMode(kLogModeDefault), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(log.fileOpen, 0);
    EXPECT_EQ(log.stream, nullptr);
}

TEST_F(LogFile, AResetEmptiesTheFileAndCounts) {
    std::ofstream(path) << "before\n";
    ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
    operations().LogInfo("x");
    operations().SetLogMode(kLogModeReset);
    EXPECT_EQ(log.fileSize, 0U);
    EXPECT_EQ(log.resetCount, 1);
    EXPECT_EQ(operations().LogSize(), 0);
    operations().LogInfo("after");
    EXPECT_EQ(contents(), "[i TIME] after\n");
    operations().SetLogMode(kLogModeReset);
    EXPECT_EQ(log.resetCount, 2);
    EXPECT_EQ(contents(), "");
}

TEST_F(LogFile, AResetWithoutAFileOrOfAPipeDoesNotCount) {
    operations().SetLogMode(kLogModeReset);
    EXPECT_EQ(log.resetCount, 0);
    const std::string pipe = folder + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(operations().LogOpen(pipe.c_str()), 0);
    EXPECT_EQ(operations().SetLogMode(kLogModeReset), 0);
    EXPECT_EQ(log.resetCount, 0);
}

} // namespace
} // namespace zrp
