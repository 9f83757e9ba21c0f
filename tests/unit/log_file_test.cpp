#include <algorithm>
#include <csignal>
#include <functional>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include "common/result.h"
#include "tests/unit/log_fixture.h"

namespace zrp::log_file_test {
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

TEST_F(LogFile, ADefaultModeThatCannotOpenTheFileAgainKeepsTheRunningLog) {
    for (const int code : {0, 9}) {
        ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
        operations().LogInfo("before");
        const ptrdiff_t before = open_descriptors();
        const std::string moved = folder + "/moved";
        std::filesystem::rename(path, moved);
        std::filesystem::create_directory(path);
        testing::internal::CaptureStderr();
        EXPECT_EQ(operations().SetLogMode(code), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(log.mode, code);
        EXPECT_EQ(log.fileOpen, 1);
        EXPECT_EQ(open_descriptors(), before);
        operations().LogInfo("after");
        EXPECT_EQ(mask_times(bytes_of(moved)), "[i TIME] before\n[i TIME] after\n");
        std::filesystem::remove(path);
        EXPECT_EQ(operations().SetLogMode(code), 0);
        operations().LogInfo("again");
        EXPECT_EQ(contents(), "[i TIME] again\n");
        operations().LogClose();
        std::filesystem::remove(path);
    }
}

TEST_F(LogFile, ALinkAtItsPathIsNotFollowed) {
    const std::string target = folder + "/target";
    std::ofstream(target) << "text\n";
    chmod(target.c_str(), 0640);
    for (const bool isSymbolic : {true, false}) {
        ASSERT_EQ((isSymbolic ? symlink : link)(target.c_str(), path.c_str()), 0);
        EXPECT_EQ(complaint_of_opening(path.c_str(), kNotFound), "f_open(" + path + ") == NULL\n");
        EXPECT_EQ(mode_of(target), 0640U);
        EXPECT_EQ(std::filesystem::file_size(target), 5U);
        std::filesystem::remove(path);
    }
    const std::string missing = folder + "/missing";
    ASSERT_EQ(symlink(missing.c_str(), path.c_str()), 0);
    complaint_of_opening(path.c_str(), kNotFound);
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST_F(LogFile, ALinkOfAFolderOnTheWayIsFollowed) {
    const std::string link = folder + "/link";
    ASSERT_EQ(symlink(folder.c_str(), link.c_str()), 0);
    EXPECT_EQ(operations().LogOpen((link + "/log").c_str()), 0);
    operations().LogInfo("x");
    EXPECT_EQ(contents(), "[i TIME] x\n");
}

TEST_F(LogFile, WhatIsNoRegularFileKeepsItsMode) {
    const std::string pipe = folder + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0640), 0);
    EXPECT_EQ(operations().LogOpen(pipe.c_str()), 0);
    EXPECT_EQ(mode_of(pipe), 0640U);
}

TEST_F(LogFile, APipeThatNobodyReadsDropsMessages) {
    const std::string pipe = folder + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(operations().LogOpen(pipe.c_str()), 0);
    const std::string half(500, 'x');
    for (int i = 0; i < 200; i++) {
        operations().LogInfo("%s", half.c_str());
    }
    std::string text(1 << 17, '\0');
    text.resize(static_cast<size_t>(read(fileno(log.stream), text.data(), text.size())));
    EXPECT_EQ(text.find("\n[i "), text.find('\n')) << "no message is cut in a pipe";
    operations().LogInfo("after");
    char after[64] = "";
    EXPECT_GT(read(fileno(log.stream), after, sizeof after - 1), 0);
    EXPECT_EQ(mask_times(after), "[i TIME] after\n");
}

TEST_F(LogFile, ADescriptorThatOthersClosedAndUsedIsNotTouched) {
    const std::string other = folder + "/other";
    for (const bool isClosedOnly : {false, true}) {
        std::filesystem::remove(path);
        ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
        operations().LogInfo("before");
        const int number = fileno(log.stream);
        close(number);
        if (!isClosedOnly) {
            ASSERT_EQ(open(other.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600), number);
            ASSERT_EQ(write(number, "text", 4), 4);
        }
        operations().LogInfo("dropped");
        EXPECT_EQ(log.stream, nullptr);
        EXPECT_EQ(log.fileOpen, 0);
        operations().LogFlush();
        operations().SetLogMode(kLogModeReset);
        EXPECT_EQ(operations().LogSize(), 0);
        operations().LogClose();
        if (!isClosedOnly) {
            EXPECT_EQ(bytes_of(other), "text");
            EXPECT_EQ(lseek(number, 0, SEEK_CUR), 4);
            close(number);
        }
        EXPECT_EQ(operations().LogOpen(nullptr), 0);
        operations().LogInfo("again");
        EXPECT_EQ(contents(), "[i TIME] before\n[i TIME] again\n");
        operations().LogClose();
    }
}

// Each operation finds out by itself that the descriptor is not the log's any more.
TEST_F(LogFile, NoOperationTouchesADescriptorThatOthersUse) {
    const std::string other = folder + "/other";
    std::ofstream(other) << "text";
    const LogOperations& table = operations();
    const std::function<void()> uses[] = {[&] { table.LogInfo("x"); },
                                          [&] { table.LogLDump("x", 1); },
                                          [&] { table.LogBDump("x", 1); },
                                          [&] { table.LogClose(); },
                                          [&] { table.LogFlush(); },
                                          [&] { table.SetLogMode(kLogModeReset); },
                                          [&] { EXPECT_EQ(table.LogSize(), 0); },
                                          [&] { table.LogShutdown(); }};
    for (const auto& use : uses) {
        InitLogContext(nullptr, kLogEverything);
        std::filesystem::remove(path);
        ASSERT_EQ(operations().LogOpen(path.c_str()), 0);
        const int number = fileno(log.stream);
        const int used = open(other.c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_EQ(dup2(used, number), number);
        close(used);
        use();
        EXPECT_EQ(bytes_of(other), "text");
        EXPECT_EQ(lseek(number, 0, SEEK_CUR), 0);
        EXPECT_EQ(close(number), 0) << "the log closed it";
    }
}

void limit_file_size(rlim_t bytes) {
    rlimit limit = {};
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST_F(LogFile, AfterAFullDiskAtAnyByteTheNextEntryBeginsOnANewLine) {
    IN_CHILD("", [&] {
        signal(SIGXFSZ, SIG_IGN);
        const std::string cut = "[i TIME] cut\n";
        const auto size = static_cast<size_t>(kStampSize) + 4;
        for (size_t room = 0; room <= size; room++) {
            SCOPED_TRACE(room);
            std::filesystem::remove(path);
            EXPECT_EQ(operations().LogOpen(path.c_str()), 0);
            operations().LogInfo("1");
            const auto before = static_cast<size_t>(operations().LogSize());
            limit_file_size(before + room);
            operations().LogInfo("cut");
            EXPECT_EQ(operations().LogSize(), before + room);
            operations().LogInfo("no room at all");
            limit_file_size(RLIM_INFINITY);
            operations().LogInfo("2");
            operations().LogInfo("3");
            const std::string text = contents();
            EXPECT_TRUE(text.starts_with("[i TIME] 1\n")) << text;
            EXPECT_TRUE(text.ends_with("\n[i TIME] 2\n[i TIME] 3\n")) << text;
            EXPECT_EQ(text.find("\n\n"), text.npos) << text;
            EXPECT_LE(std::ranges::count(text, '\n'), 4) << text;
            operations().LogClose();
        }
        return true;
    });
}

TEST_F(LogFile, AfterALongEntryThatWasCutTheNextBeginsOnANewLine) {
    IN_CHILD("", [&] {
        signal(SIGXFSZ, SIG_IGN);
        EXPECT_EQ(operations().LogOpen(path.c_str()), 0);
        limit_file_size(10000);
        operations().LogInfo("%s", std::string(50000, 'x').c_str());
        limit_file_size(RLIM_INFINITY);
        operations().LogInfo("2");
        const std::string text = contents();
        EXPECT_TRUE(text.ends_with("xxx\n[i TIME] 2\n")) << text.size();
        return true;
    });
}

TEST_F(LogFile, AResetForgetsTheEntryThatWasCut) {
    IN_CHILD("", [&] {
        signal(SIGXFSZ, SIG_IGN);
        EXPECT_EQ(operations().LogOpen(path.c_str()), 0);
        limit_file_size(5);
        operations().LogInfo("cut");
        limit_file_size(RLIM_INFINITY);
        operations().SetLogMode(kLogModeReset);
        operations().LogInfo("2");
        EXPECT_EQ(contents(), "[i TIME] 2\n");
        return true;
    });
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
} // namespace zrp::log_file_test
