#include "common/log/log_keywords.h"

#include <cctype>

#include "common/result.h"
#include "tests/unit/log_fixture.h"

namespace zrp::log_keywords_test {
namespace {

constexpr int kUnset = 77;
constexpr int kEmpty = 1;

class LogKeywords : public LogTest {
protected:
    LogKeywords() {
        InitLogContext(path.c_str(), kUnset);
    }

    // Runs one parser from a known level and compares its result, the new level and the lines.
    void expect(int (*parser)(const char*), const std::string& text, int rc, int level,
                const std::string& announcement = "") {
        SCOPED_TRACE("\"" + text + "\"");
        operations().SetLogLevel(kUnset);
        empty_file();
        EXPECT_EQ(parser(text.c_str()), rc);
        EXPECT_EQ(GetLogContext()->level, level);
        EXPECT_EQ(contents(), announcement.empty() ? "" : "[L TIME] " + announcement + "\n");
    }
};

struct LevelWord {
    const char* word;
    int level;
};

constexpr LevelWord kLevelWords[] = {
    {"NOTHING", 0}, {"LEVELNOTHING", 0}, {"ERROR", 1},      {"LEVELERROR", 1},
    {"WARNING", 2}, {"LEVELWARNING", 2}, {"INFO", 3},       {"LEVELINFO", 3},
    {"DEBUG", 4},   {"LEVELDEBUG", 4},   {"DUMP", 5},       {"LEVELDUMP", 5},
    {"ALL", 6},     {"LEVELALL", 6},     {"EVERYTHING", 6}, {"LEVELEVERYTHING", 6},
};

constexpr const char* kAnnouncedLevels[] = {"nothing", "error", "warning",   "info",
                                            "debug",   "dump",  "everything"};

std::string level_announcement(int level) {
    return std::string("ProcessLogLevel changed to \"") + kAnnouncedLevels[level] + "\"";
}

std::string lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

TEST_F(LogKeywords, EveryLevelWordIsAnnouncedAndSet) {
    for (const auto& [word, level] : kLevelWords) {
        expect(ProcessLogLevel, word, 0, level, level_announcement(level));
    }
}

TEST_F(LogKeywords, CaseIsIgnored) {
    for (const auto& [word, level] : kLevelWords) {
        expect(ProcessLogLevel, lower(word), 0, level, level_announcement(level));
        expect(ProcessLogLevelPrefix, lower(word), 0, level);
    }
    expect(ProcessLogLevel, "LevelDebug", 0, kLogDebug, level_announcement(kLogDebug));
    expect(ProcessLogLevel, "dEBUG", 0, kLogDebug, level_announcement(kLogDebug));
}

TEST_F(LogKeywords, LeadingWhiteSpaceIsSkipped) {
    expect(ProcessLogLevel, "  debug", 0, kLogDebug, level_announcement(kLogDebug));
    expect(ProcessLogLevel, " \t\n\v\f\rdebug", 0, kLogDebug, level_announcement(kLogDebug));
    expect(ProcessLogLevelPrefix, " \t\n\v\f\rde", 0, kLogDebug);
}

TEST_F(LogKeywords, DebugFollowedByABlankIsInvalid) {
    expect(ProcessLogLevel, "debug ", kInvalid, kUnset);
    expect(ProcessLogLevelPrefix, "debug ", kInvalid, kUnset);
}

TEST_F(LogKeywords, TheExactParserAcceptsNoOtherWord) {
    for (const char* text : {"D", "DEBU", "DEBUGS", "LEVEL", "LEVEL DEBUG", "DEBUG=1", "LIMIT=8192",
                             "LOG_MAXIMUM_FILE_SIZE=8192", "SYSLOG", "MODE=", "MODE=BACK",
                             "MODE=BACKUPS", "TIMESTAMPS", "RESETS", "=", "4", "\xff"}) {
        expect(ProcessLogLevel, text, kInvalid, kUnset);
    }
    EXPECT_EQ(GetLogContext()->useSyslog, 0);
}

TEST_F(LogKeywords, ATextOfWhiteSpaceReturnsOne) {
    for (const char* text : {"", " ", " \t\n"}) {
        expect(ProcessLogLevel, text, kEmpty, kUnset);
        expect(ProcessLogLevelPrefix, text, kEmpty, kUnset);
    }
}

TEST_F(LogKeywords, ANullTextIsInvalid) {
    EXPECT_EQ(ProcessLogLevel(nullptr), kInvalid);
    EXPECT_EQ(ProcessLogLevelPrefix(nullptr), kInvalid);
}

TEST_F(LogKeywords, LongAndHostileTextsAreInvalid) {
    for (const std::string& text : {std::string(1 << 20, 'D'), std::string("%s%n%s%n")}) {
        expect(ProcessLogLevel, text, kInvalid, kUnset);
        expect(ProcessLogLevelPrefix, text, kInvalid, kUnset);
    }
}

TEST_F(LogKeywords, AnAnnouncementIsWrittenAtEveryOldLevel) {
    operations().SetLogLevel(kLogNothing);
    EXPECT_EQ(ProcessLogLevel("error"), 0);
    EXPECT_EQ(contents(), "[L TIME] ProcessLogLevel changed to \"error\"\n");
}

TEST_F(LogKeywords, WordsWithoutEffectAreAcceptedSilently) {
    for (const char* text : {"LIMIT", "LOG_MAXIMUM_FILE_SIZE", "TIMESTAMP", "LOG_TIMESTAMPS"}) {
        expect(ProcessLogLevel, text, 0, kUnset);
        expect(ProcessLogLevelPrefix, text, 0, kUnset);
    }
    EXPECT_EQ(GetLogContext()->maxFileSize, kLogMaxFileSize);
}

TEST_F(LogKeywords, ASizeAfterLimitIsAcceptedAndNotStored) {
    for (const char* text : {"LIMIT=8192", "limit 8192", "LIMIT=", "LIMIT=1", "LIMIT=x", "LIMITED",
                             "LOG_MAXIMUM_FILE_SIZE=99999999999999999999", "LIMIT8192"}) {
        expect(ProcessLogLevelPrefix, text, 0, kUnset);
    }
    EXPECT_EQ(GetLogContext()->maxFileSize, kLogMaxFileSize);
}

TEST_F(LogKeywords, ModeBackupIsAnnouncedAndLeavesTheFileUntouched) {
    operations().LogPlain("x");
    EXPECT_EQ(ProcessLogLevel("MODE=BACKUP"), 0);
    EXPECT_EQ(contents(), "[- TIME] x\n"
                          "[L TIME] ProcessLogLevel process mode change to backup mode\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
    EXPECT_EQ(GetLogContext()->mode, 0);
}

TEST_F(LogKeywords, ModeTruncateIsAnnouncedAndLeavesTheFileUntouched) {
    operations().LogPlain("x");
    EXPECT_EQ(ProcessLogLevel("mode=truncate"), 0);
    EXPECT_EQ(contents(), "[- TIME] x\n"
                          "[L TIME] ProcessLogLevel process mode change to truncate mode\n");
    EXPECT_EQ(GetLogContext()->mode, 0);
}

TEST_F(LogKeywords, DefaultIsAnnouncedInTheOldFileAndOpensTheFileAgain) {
    FILE* before = GetLogContext()->stream;
    chmod(path.c_str(), 0600);
    EXPECT_EQ(ProcessLogLevel("default"), 0);
    EXPECT_NE(GetLogContext()->stream, before);
    EXPECT_EQ(contents(), "[L TIME] ProcessLogLevel switch to default mode\n");
}

TEST_F(LogKeywords, ResetEmptiesTheFileSilently) {
    operations().LogPlain("x");
    EXPECT_EQ(ProcessLogLevel("reset"), 0);
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(GetLogContext()->resetCount, 1);
    EXPECT_EQ(ProcessLogLevelPrefix("RESETTING"), 0);
    EXPECT_EQ(GetLogContext()->resetCount, 2);
}

TEST_F(LogKeywords, DSelectsDebugDumSelectsDumpAndDeIsDebugBeforeDefault) {
    expect(ProcessLogLevelPrefix, "d", 0, kLogDebug);
    expect(ProcessLogLevelPrefix, "dum", 0, kLogDump);
    expect(ProcessLogLevelPrefix, "de", 0, kLogDebug);
}

TEST_F(LogKeywords, TheFirstKeywordThatBeginsWithTheTextWins) {
    const LevelWord cases[] = {
        {"N", 0},       {"E", 1},         {"EV", 6},      {"W", 2},        {"I", 3},
        {"DU", 5},      {"A", 6},         {"L", 0},       {"LEVEL", 0},    {"LEVELE", 1},
        {"LEVELEV", 6}, {"LEVELW", 2},    {"LEVELI", 3},  {"LEVELD", 4},   {"LEVELDU", 5},
        {"LEVELA", 6},  {"EVERYTHIN", 6}, {"NOTHING", 0}, {"LEVELALL", 6},
    };
    for (const auto& [text, level] : cases) {
        expect(ProcessLogLevelPrefix, text, 0, level);
    }
}

TEST_F(LogKeywords, ThePrefixParserAcceptsWholeLevelWords) {
    for (const auto& [word, level] : kLevelWords) {
        expect(ProcessLogLevelPrefix, word, 0, level);
        expect(ProcessLogLevelPrefix, std::string(word) + "X", kInvalid, kUnset);
    }
}

TEST_F(LogKeywords, DefaultMayBeAbbreviatedToThreeLetters) {
    chmod(path.c_str(), 0600);
    FILE* before = GetLogContext()->stream;
    EXPECT_EQ(ProcessLogLevelPrefix("def"), 0);
    EXPECT_NE(GetLogContext()->stream, before);
    EXPECT_EQ(contents(), "");
}

TEST_F(LogKeywords, AModeMayBeAbbreviatedToOneLetter) {
    for (const char* text : {"MODE=T", "mode=b", "MODE=TRUNCATE", "MODE=BACKUP"}) {
        expect(ProcessLogLevelPrefix, text, 0, kUnset);
    }
    for (const char* text : {"M", "MODE", "MODE=", "MODE=X", "MODE=TRUNCATED", "MODE T"}) {
        expect(ProcessLogLevelPrefix, text, kInvalid, kUnset);
    }
}

TEST_F(LogKeywords, MaintenanceWordsMayNotBeAbbreviated) {
    for (const char* text : {"LI", "LIMI", "LO", "LOG_MAXIMUM_FILE_SIZ", "T", "TIMESTAM", "R",
                             "RESE", "LOG_TIMESTAMP"}) {
        expect(ProcessLogLevelPrefix, text, kInvalid, kUnset);
    }
}

TEST_F(LogKeywords, TimestampWordsMayBeFollowedByAnything) {
    for (const char* text : {"TIMESTAMPS", "TIMESTAMP=1", "LOG_TIMESTAMPS=no"}) {
        expect(ProcessLogLevelPrefix, text, 0, kUnset);
    }
}

} // namespace
} // namespace zrp::log_keywords_test
