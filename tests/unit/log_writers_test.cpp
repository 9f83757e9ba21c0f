#include <cerrno>
#include <ctime>
#include <vector>

#include "common/log/log_keywords.h"
#include "common/result.h"
#include "tests/unit/log_fixture.h"

namespace zrp::log_writers_test {
namespace {

using namespace std::string_literals;

class LogWriters : public LogTest {
protected:
    LogWriters() {
        InitLogContext(path.c_str(), kLogEverything);
    }

    // One entry of each kind except LogInfoSyslog, which also writes to the system log.
    static void write_one_of_each() {
        const LogOperations& log = operations();
        log.LogError("e%d", 1);
        log.LogWarning("w%d", 2);
        log.LogInfo("i%d", 3);
        log.LogDebug("d%d", 4);
        log.LogDump("u%d", 5);
        log.LogLDump("l", 1);
        log.LogBDump("b", 1);
        log.LogPlain("p%d", 6);
    }
};

constexpr char kErrorLine[] = "[! TIME] e1\n";
constexpr char kWarningLine[] = "[W TIME] w2\n";
constexpr char kInfoLine[] = "[i TIME] i3\n";
constexpr char kDebugLine[] = "[D TIME] d4\n";
constexpr char kDumps[] = "[* TIME] <dump>\nu5\n</dump>\n"
                          "[* TIME] <ldump len=\"1\">\nl\n</ldump>\n"
                          "[* TIME] \n<bdump len=\"1\">\n[00000000]  62 \n</bdump>\n";
constexpr char kPlainLine[] = "[- TIME] p6\n";

TEST_F(LogWriters, ALevelWritesItsOwnMessagesAndThoseBelowIt) {
    const char* const messages[] = {kErrorLine, kWarningLine, kInfoLine, kDebugLine, kDumps};
    for (int level = -1; level <= kLogEverything; level++) {
        SCOPED_TRACE(level);
        empty_file();
        operations().SetLogLevel(level);
        write_one_of_each();
        std::string expected;
        for (int i = 0; i < 5 && i < level; i++) {
            expected += messages[i];
        }
        EXPECT_EQ(contents(), expected + kPlainLine);
    }
}

TEST_F(LogWriters, LevelDebugWritesNoDumps) {
    operations().SetLogLevel(kLogDebug);
    operations().LogDump("x");
    operations().LogLDump("x", 1);
    operations().LogBDump("x", 1);
    EXPECT_EQ(contents(), "");
}

TEST_F(LogWriters, LevelDumpWritesDumpsAndAllLevelMessages) {
    operations().SetLogLevel(kLogDump);
    write_one_of_each();
    EXPECT_EQ(contents(), std::string(kErrorLine) + kWarningLine + kInfoLine + kDebugLine + kDumps +
                              kPlainLine);
}

TEST_F(LogWriters, LevelNothingWritesOnlyAnnouncementsAndPlainLines) {
    operations().SetLogLevel(kLogNothing);
    IN_PRIVATE_DEV([&] {
        write_one_of_each();
        operations().LogInfoSyslog("s%d", 7);
        EXPECT_EQ(ProcessLogLevel("nothing"), 0);
        EXPECT_EQ(contents(), std::string(kPlainLine) + "[- TIME] s7\n"
                                                        "[L TIME] ProcessLogLevel changed to "
                                                        "\"nothing\"\n");
    });
}

TEST_F(LogWriters, LevelNineIsAcceptedAndWritesEveryMessage) {
    operations().SetLogLevel(9);
    EXPECT_EQ(GetLogContext()->level, 9);
    write_one_of_each();
    EXPECT_EQ(contents(), std::string(kErrorLine) + kWarningLine + kInfoLine + kDebugLine + kDumps +
                              kPlainLine);
}

TEST_F(LogWriters, ATagIsBetweenPrefixAndMessage) {
    const LogOperations& log = operations();
    log.LogErrorTag("here", "e%d", 1);
    log.LogWarningTag("here", "w%d", 2);
    log.LogInfoTag("here", "i%d", 3);
    log.LogDebugTag("50%s", "d%d", 4);
    EXPECT_EQ(contents(), "[! TIME] here: e1\n[W TIME] here: w2\n"
                          "[i TIME] here: i3\n[D TIME] 50%s: d4\n");
}

TEST_F(LogWriters, ATaggedMessageHasTheLevelOfItsPlainForm) {
    const LogOperations& log = operations();
    for (int level = kLogNothing; level <= kLogDebug; level++) {
        SCOPED_TRACE(level);
        empty_file();
        log.SetLogLevel(level);
        log.LogErrorTag("t", "1");
        log.LogWarningTag("t", "2");
        log.LogInfoTag("t", "3");
        log.LogDebugTag("t", "4");
        const std::string all = "[! TIME] t: 1\n[W TIME] t: 2\n[i TIME] t: 3\n[D TIME] t: 4\n";
        EXPECT_EQ(contents(), all.substr(0, 14 * static_cast<size_t>(level)));
    }
}

TEST_F(LogWriters, TheTimeStampIsLocalTime) {
    const char* const zone = getenv("TZ");
    const std::string before = zone != nullptr ? zone : "";
    setenv("TZ", "ZRP-5:30", 1);
    tzset();
    const time_t earliest = time(nullptr);
    operations().LogPlain("now");
    const time_t latest = time(nullptr);
    zone != nullptr ? setenv("TZ", before.c_str(), 1) : unsetenv("TZ");
    tzset();

    tm stamp = {};
    const std::string text = bytes_of(path);
    ASSERT_STREQ(strptime(text.c_str(), "[- %Y-%m-%d %H:%M:%S", &stamp), "] now\n");
    const time_t written = timegm(&stamp) - (5 * 60 + 30) * 60;
    EXPECT_GE(written, earliest);
    EXPECT_LE(written, latest);
}

TEST_F(LogWriters, AMessageMayHaveAnyLength) {
    const std::string text(100000, 'x');
    operations().LogError("%s", text.c_str());
    EXPECT_EQ(contents(), "[! TIME] " + text + "\n");
}

TEST_F(LogWriters, WithoutAFileEverythingIsDropped) {
    operations().LogClose();
    write_one_of_each();
    operations().LogFlush();
    EXPECT_EQ(contents(), "");
}

TEST_F(LogWriters, ATextDumpHoldsTheBytesAsTheyAre) {
    operations().LogLDump("a\0%s\xff\n", 6);
    EXPECT_EQ(contents(), "[* TIME] <ldump len=\"6\">\na\0%s\xff\n\n</ldump>\n"s);
}

TEST_F(LogWriters, ATextDumpReadsNoByteWithoutABufferOrALength) {
    const std::string none[] = {"0", "-1", "5"};
    std::string expected;
    for (const std::string& length : none) {
        expected += "[* TIME] <ldump len=\"" + length + "\">\n\n</ldump>\n";
    }
    operations().LogLDump("x", 0);
    operations().LogLDump("x", -1);
    operations().LogLDump(nullptr, 5);
    EXPECT_EQ(contents(), expected);
}

TEST_F(LogWriters, ABinaryDumpOf16BytesEndsWithALineOfTheOffsetOnly) {
    operations().LogBDump("0123456789abcdef", 16);
    EXPECT_EQ(contents(), "[* TIME] \n<bdump len=\"16\">\n"
                          "[00000000]  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 \n"
                          "[00000016]  \n</bdump>\n");
}

TEST_F(LogWriters, ABinaryDumpOf17BytesHasOneByteOnItsSecondLine) {
    const unsigned char bytes[17] = {0x00, 0xff, 0x0a, 0x25, 0x80, 0, 0, 0,   0,
                                     0,    0,    0,    0,    0,    0, 0, 0x7f};
    operations().LogBDump(bytes, 17);
    EXPECT_EQ(contents(), "[* TIME] \n<bdump len=\"17\">\n"
                          "[00000000]  00 ff 0a 25 80 00 00 00 00 00 00 00 00 00 00 00 \n"
                          "[00000016]  7f \n</bdump>\n");
}

TEST_F(LogWriters, ABinaryDumpReadsExactlyItsLength) {
    for (size_t length = 1; length < 40; length++) {
        empty_file();
        const std::vector<char> bytes(length, 'A');
        operations().LogBDump(bytes.data(), static_cast<int>(length));
        const std::string text = contents();
        size_t count = 0;
        for (size_t at = text.find("41 "); at != std::string::npos; at = text.find("41 ", at + 1)) {
            count++;
        }
        EXPECT_EQ(count, length);
    }
}

TEST_F(LogWriters, ABinaryDumpOfNothingWritesNothing) {
    operations().LogBDump(nullptr, 3);
    operations().LogBDump("x", 0);
    EXPECT_EQ(contents(), "");
}

TEST_F(LogWriters, ABinaryDumpOfANegativeLengthHoldsNoByte) {
    operations().LogBDump("x", -3);
    EXPECT_EQ(contents(), "[* TIME] \n<bdump len=\"-3\">\n[00000000]  \n</bdump>\n");
}

TEST_F(LogWriters, TheTextOfErrnoIsThatOfTheCallersErrno) {
    // The time zone is read in the first entry, which fails and sets errno.
    setenv("TZ", "/no/such/zone", 1);
    const LogOperations& log = operations();
    errno = ERANGE;
    log.LogError("%m");
    log.LogInfoTag("tag", "%m");
    log.LogDump("%m");
    log.LogPlain("%m");
    unsetenv("TZ");
    tzset();
    const std::string text = strerror(ERANGE);
    EXPECT_EQ(contents(), "[! TIME] " + text + "\n[i TIME] tag: " + text + "\n[* TIME] <dump>\n" +
                              text + "\n</dump>\n[- TIME] " + text + "\n");
}

TEST_F(LogWriters, NoOperationChangesErrno) {
    errno = ERANGE;
    write_one_of_each();
    operations().LogSize();
    operations().LogClose();
    operations().SetLogMode(kLogModeDefault);
    EXPECT_EQ(errno, ERANGE);
    testing::internal::CaptureStderr();
    errno = ERANGE;
    EXPECT_EQ(operations().LogOpen((folder + "/none/log").c_str()), kNotFound);
    operations().LogShutdown();
    EXPECT_EQ(errno, ERANGE);
    testing::internal::GetCapturedStderr();
}

} // namespace
} // namespace zrp::log_writers_test
