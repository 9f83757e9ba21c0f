#include <syslog.h>

#include "common/log/log_keywords.h"
#include "tests/unit/log_fixture.h"

namespace zrp::log_system_log_test {
namespace {

class LogSystemLog : public LogTest {
protected:
    LogSystemLog() {
        path += ".x/log.txt"; // for the identity, which ends at the first dot
        std::filesystem::create_directory(folder + "/log.x");
        InitLogContext(path.c_str(), kLogEverything);
        identity = "[" + folder + "/log]";
        debug = "<15>" + identity + "[PID]: ";
    }

    std::string identity;
    std::string debug; // the text before a message of priority 7, facility "user"
    const LogContext& log = *GetLogContext();
};

TEST_F(LogSystemLog, InSystemLogModeEveryMessageHasPriority7AndThePathAsIdentity) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        EXPECT_EQ(ProcessLogLevelPrefix("SYSLOG"), 0);
        EXPECT_EQ(received.next(), "");
        operations().LogError("e%d", 1);
        operations().LogWarning("w%d", 2);
        operations().LogInfo("i%d", 3);
        operations().LogDebug("d%d", 4);
        operations().LogPlain("p%d", 5);
        for (const char* message : {"e1", "w2", "i3", "d4", "p5"}) {
            EXPECT_EQ(received.next(), debug + message);
        }
        EXPECT_EQ(received.next(), "");
        EXPECT_EQ(contents(), "");
    });
}

TEST_F(LogSystemLog, TheModeClosesTheFileAndIsRecorded) {
    IN_PRIVATE_DEV([&] {
        EXPECT_EQ(operations().SetLogMode(kLogModeSyslog), 0);
        EXPECT_EQ(log.useSyslog, 1);
        EXPECT_EQ(log.mode, 3);
        EXPECT_EQ(log.fileOpen, 0);
        EXPECT_EQ(log.stream, nullptr);
        EXPECT_EQ(log.syslogIdent, identity);
    });
}

TEST_F(LogSystemLog, ATagIsDropped) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        operations().LogErrorTag("tag", "x%d", 1);
        EXPECT_EQ(received.next(), debug + "x1");
    });
}

TEST_F(LogSystemLog, TheLevelAppliesThereToo) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        operations().SetLogLevel(kLogWarning);
        operations().LogInfo("no");
        operations().LogDump("no");
        operations().LogLDump("no", 2);
        operations().LogWarning("yes");
        EXPECT_EQ(received.next(), debug + "yes");
        EXPECT_EQ(received.next(), "");
    });
}

TEST_F(LogSystemLog, ATextDumpIsWrittenThereAndABinaryDumpIsNot) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        operations().LogBDump("xyz", 3);
        operations().LogDump("<%s>", "%d");
        operations().LogLDump("a%s%nb and what follows", 6);
        operations().LogLDump("ab\0cd", 5);
        operations().LogLDump("ab", -1);
        operations().LogLDump(nullptr, 7);
        for (const char* message : {"<%d>", "a%s%nb", "ab", "", ""}) {
            EXPECT_EQ(received.next(), debug + message);
        }
        EXPECT_EQ(received.next(), "");
    });
}

TEST_F(LogSystemLog, AnnouncementsAreWrittenThereAtEveryLevel) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        operations().SetLogLevel(kLogNothing);
        EXPECT_EQ(ProcessLogLevel("info"), 0);
        EXPECT_EQ(received.next(), debug + "ProcessLogLevel changed to \"info\"");
    });
}

TEST_F(LogSystemLog, InfoSyslogGoesToBothInFileMode) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogLevel(kLogNothing);
        operations().LogInfoSyslog("x%d", 1);
        const std::string message = received.next(); // of a system log that was not opened
        EXPECT_EQ(message.find("<14>"), 0U) << message;
        EXPECT_EQ(message.substr(message.rfind(": ")), ": [Info]x1");
        EXPECT_EQ(contents(), "[- TIME] x1\n");
    });
}

TEST_F(LogSystemLog, InfoSyslogGoesToTheSystemLogOnlyInItsMode) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        operations().LogInfoSyslog("x%d", 1);
        EXPECT_EQ(received.next(), "<14>" + identity + "[PID]: [Info]x1");
        EXPECT_EQ(contents(), "");
    });
}

TEST_F(LogSystemLog, InfoSyslogIsCutAt2047Bytes) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().LogInfoSyslog("%s", std::string(5000, 'x').c_str());
        const std::string cut(2047, 'x');
        const std::string message = received.next();
        EXPECT_EQ(message.substr(message.rfind(": ")), ": [Info]" + cut);
        EXPECT_EQ(contents(), "[- TIME] " + cut + "\n");
    });
}

TEST_F(LogSystemLog, InfoSyslogUsesItsTextAsAFormatForTheFile) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().LogInfoSyslog("%s", "50%% %s %n %%%");
        const std::string message = received.next();
        EXPECT_EQ(message.substr(message.rfind(": ")), ": [Info]50%% %s %n %%%");
        EXPECT_EQ(contents(), "[- TIME] 50% %s %n %%\n");
    });
}

TEST_F(LogSystemLog, AResetInSystemLogModeEmptiesNothing) {
    IN_PRIVATE_DEV([&] {
        operations().LogPlain("kept");
        operations().SetLogMode(kLogModeSyslog);
        operations().SetLogMode(kLogModeReset);
        EXPECT_EQ(log.resetCount, 0);
        EXPECT_EQ(contents(), "[- TIME] kept\n");
        EXPECT_EQ(operations().LogOpen(path.c_str()), 0);
        operations().SetLogMode(kLogModeReset);
        EXPECT_EQ(log.resetCount, 0);
        EXPECT_EQ(contents(), "[- TIME] kept\n");
    });
}

TEST_F(LogSystemLog, TheDefaultModeReturnsToTheFile) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().LogPlain("before");
        operations().SetLogMode(kLogModeSyslog);
        chmod(path.c_str(), 0600);
        EXPECT_EQ(ProcessLogLevel("default"), 0);
        EXPECT_EQ(received.next(), debug + "ProcessLogLevel switch to default mode");
        EXPECT_EQ(log.useSyslog, 0);
        EXPECT_EQ(log.mode, 0);
        EXPECT_EQ(log.fileOpen, 1);
        operations().LogPlain("after");
        EXPECT_EQ(received.next(), "");
        EXPECT_EQ(contents(), "[- TIME] before\n[- TIME] after\n");
        operations().LogInfoSyslog("without the identity");
        const std::string message = received.next();
        EXPECT_EQ(message.find(identity), std::string::npos) << message;
        EXPECT_NE(message.find("without the identity"), std::string::npos) << message;
    });
}

TEST_F(LogSystemLog, WithoutAFileToReturnToMessagesAreDropped) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        std::filesystem::remove_all(folder);
        EXPECT_EQ(operations().SetLogMode(kLogModeDefault), 0);
        EXPECT_EQ(log.fileOpen, 0);
        operations().LogError("dropped");
        EXPECT_EQ(received.next(), "");
    });
}

TEST_F(LogSystemLog, AFileOpenedInSystemLogModeIsUsedInTheDefaultMode) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        chmod(path.c_str(), 0600);
        EXPECT_EQ(operations().LogOpen(path.c_str()), 0);
        operations().LogError("x");
        EXPECT_EQ(received.next(), debug + "x");
        operations().LogInfoSyslog("both");
        EXPECT_EQ(received.next(), "<14>" + identity + "[PID]: [Info]both");
        EXPECT_EQ(contents(), "[- TIME] both\n");
    });
}

TEST_F(LogSystemLog, TheModeMayBeSetTwice) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        operations().LogError("1");
        operations().SetLogMode(kLogModeSyslog);
        operations().LogError("2");
        EXPECT_EQ(received.next(), debug + "1");
        EXPECT_EQ(received.next(), debug + "2");
    });
}

TEST_F(LogSystemLog, AfterAShutdownNothingIsWrittenThere) {
    IN_PRIVATE_DEV([&] {
        const SystemLog received;
        operations().SetLogMode(kLogModeSyslog);
        operations().LogShutdown();
        EXPECT_EQ(log.useSyslog, 0);
        operations().LogError("dropped");
        EXPECT_EQ(received.next(), "");
    });
}

TEST_F(LogSystemLog, AMissingSystemLogIsIgnored) {
    IN_PRIVATE_DEV([&] {
        operations().SetLogMode(kLogModeSyslog);
        operations().LogError("x");
        operations().LogInfoSyslog("x");
        EXPECT_EQ(log.useSyslog, 1);
    });
}

} // namespace
} // namespace zrp::log_system_log_test
