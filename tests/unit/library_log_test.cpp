#include "common/log/library_log.h"

#include <ctime>

#include "common/log/log_state.h"
#include "common/result.h"
#include "tests/unit/log_fixture.h"

namespace zrp::library_log_test {
namespace {

class LibraryLogTest : public LogTest {
protected:
    // Without root, the second opening by a first attachment fails with a message.
    LogContext* attach(LogContext* log, const char* file, int level) {
        testing::internal::CaptureStderr();
        LogContext* attached = attach_log(log, file, level);
        const std::string message = testing::internal::GetCapturedStderr();
        EXPECT_EQ(message, geteuid() == 0 || file == nullptr || log != nullptr
                               ? ""
                               : "f_open(" + path + ") == NULL\n");
        return attached;
    }

    std::string write_config(const std::string& text) const {
        const std::string file = folder + "/config";
        std::ofstream(file) << text;
        return file;
    }

    // Discards the message of a second opening without root.
    int init(const char* name, const char* configPath, int level) {
        testing::internal::CaptureStderr();
        const int rc = InitLibraryLog(&library, name, configPath, path.c_str(), level);
        testing::internal::GetCapturedStderr();
        return rc;
    }

    LibraryLog library;
};

std::string start_text(time_t started) {
    return std::string("[i TIME] ... libauthgate started ") + std::ctime(&started) + "\n";
}

// Succeeds if the text is that of a start between two times, followed by the rest.
testing::AssertionResult is_start_text(const std::string& text, time_t earliest, time_t latest,
                                       const std::string& rest) {
    for (time_t t = earliest; t <= latest; t++) {
        if (text == start_text(t) + rest) {
            return testing::AssertionSuccess();
        }
    }
    return testing::AssertionFailure() << text;
}

TEST_F(LibraryLogTest, AttachingOpensTheLogAtTheLevel) {
    EXPECT_EQ(attach(nullptr, path.c_str(), kLogInfo), GetLogContext());
    EXPECT_EQ(GetLogContext()->level, kLogInfo);
    EXPECT_EQ(GetLogContext()->outputFileName, path);
    GetLogContext()->operations.LogInfo("x");
    EXPECT_EQ(contents(), "[i TIME] x\n");
}

TEST_F(LibraryLogTest, AttachingForTheFirstTimeOpensTheFileTwice) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to open a log a second time";
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

TEST_F(LibraryLogTest, AnAttachedLogIsUnchanged) {
    LogContext* log = InitLogContext(nullptr, kLogError);
    EXPECT_EQ(attach(log, path.c_str(), kLogInfo), log);
    EXPECT_EQ(log->level, kLogError);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(LibraryLogTest, StartingSetsTheLevelAndLogsTimeAndLevel) {
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

TEST_F(LibraryLogTest, AnUnknownLevelChangesNothing) {
    InitLogContext(path.c_str(), kLogInfo);
    start_log("loud", 0);
    EXPECT_EQ(GetLogContext()->level, kLogInfo);
    EXPECT_EQ(contents(), start_text(0) + "[i TIME] ... log level = 3\n");
}

TEST_F(LibraryLogTest, AComponentTakesItsLevelFromItsConfiguration) {
    const time_t earliest = time(nullptr);
    const std::string config = write_config("# LOG_LEVEL DUMP\nLOG_LEVEL info\n");
    EXPECT_EQ(init("one", config.c_str(), kLogError), 0);
    EXPECT_STREQ(library.name, "one");
    EXPECT_EQ(library.initialised, 1);
    EXPECT_EQ(library.log, GetLogContext());
    EXPECT_EQ(library.log->level, kLogInfo);
    const std::string announcement = "[L TIME] ProcessLogLevel changed to \"info\"\n";
    const std::string text = contents();
    ASSERT_EQ(text.compare(0, announcement.size(), announcement), 0) << text;
    EXPECT_TRUE(is_start_text(text.substr(announcement.size()), earliest, time(nullptr),
                              "[i TIME] ... log level = 3\n"));
}

TEST_F(LibraryLogTest, AConfigurationWithoutTheKeyMeansWarning) {
    EXPECT_EQ(init("one", write_config("log_level DUMP\n").c_str(), kLogDump), 0);
    EXPECT_EQ(GetLogContext()->level, kLogWarning);
    EXPECT_EQ(contents(), "[L TIME] ProcessLogLevel changed to \"warning\"\n");
}

TEST_F(LibraryLogTest, AMissingConfigurationKeepsTheLevelAndIsNotCreated) {
    const std::string missing = folder + "/config";
    EXPECT_EQ(init("one", missing.c_str(), kLogInfo), 0);
    EXPECT_EQ(GetLogContext()->level, kLogInfo);
    EXPECT_FALSE(std::filesystem::exists(missing));
    EXPECT_EQ(contents(), "");
}

TEST_F(LibraryLogTest, AnUnknownLevelInTheConfigurationChangesNothing) {
    EXPECT_EQ(init("one", write_config("LOG_LEVEL loud\n").c_str(), kLogError), 0);
    EXPECT_EQ(GetLogContext()->level, kLogError);
}

TEST_F(LibraryLogTest, AValueOf64CharactersIsTooLongAndMeansWarning) {
    const std::string config = write_config("LOG_LEVEL " + std::string(64, 'x') + "\n");
    EXPECT_EQ(init("one", config.c_str(), kLogDump), kBufferTooSmall);
    EXPECT_EQ(GetLogContext()->level, kLogWarning);
}

TEST_F(LibraryLogTest, ASecondCallKeepsNameAndLog) {
    EXPECT_EQ(init("one", nullptr, kLogError), 0);
    EXPECT_EQ(init("two", nullptr, kLogDump), 0);
    EXPECT_STREQ(library.name, "one");
    EXPECT_EQ(GetLogContext()->level, kLogError);
}

TEST_F(LibraryLogTest, ALongNameIsCut) {
    EXPECT_EQ(init(std::string(5000, 'n').c_str(), nullptr, kLogError), 0);
    EXPECT_EQ(library.name, std::string(4095, 'n'));
}

TEST_F(LibraryLogTest, ANullContextIsInvalidAndANullNameIsEmpty) {
    EXPECT_EQ(InitLibraryLog(nullptr, "one", nullptr, path.c_str(), kLogInfo), kInvalid);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(InitLibraryLog(&library, nullptr, nullptr, nullptr, kLogInfo), 0);
    EXPECT_STREQ(library.name, "");
    EXPECT_EQ(library.log, nullptr);
}

} // namespace
} // namespace zrp::library_log_test
