#include "common/log/log_keywords.h"

#include <cctype>
#include <cstring>

#include "common/ascii_case.h"
#include "common/log/log_state.h"
#include "common/result.h"

namespace zrp {
namespace {

constexpr int kEmptyText = 1;
constexpr size_t kShortestMode = 6; // "MODE=" and a letter

enum class Action { kSetLevel, kSetMode, kNothing };

// How the prefix parser matches a keyword. The exact parser matches whole keywords only, and none
// of kPrefixParserOnly.
enum class PrefixMatch { kAbbreviated, kAbbreviatedMode, kFollowedByAnything, kPrefixParserOnly };

struct Keyword {
    const char* word;
    Action action;
    int value;
    const char* announcement; // or null
    PrefixMatch prefixMatch = PrefixMatch::kAbbreviated;
};

constexpr char kNothingText[] = "ProcessLogLevel changed to \"nothing\"";
constexpr char kErrorText[] = "ProcessLogLevel changed to \"error\"";
constexpr char kWarningText[] = "ProcessLogLevel changed to \"warning\"";
constexpr char kInfoText[] = "ProcessLogLevel changed to \"info\"";
constexpr char kDebugText[] = "ProcessLogLevel changed to \"debug\"";
constexpr char kDumpText[] = "ProcessLogLevel changed to \"dump\"";
constexpr char kEverythingText[] = "ProcessLogLevel changed to \"everything\"";
constexpr char kDefaultText[] = "ProcessLogLevel switch to default mode";
constexpr char kTruncateText[] = "ProcessLogLevel process mode change to truncate mode";
constexpr char kBackupText[] = "ProcessLogLevel process mode change to backup mode";

// The first match wins, so the order decides what "D", "L" or "E" alone mean.
constexpr Keyword kKeywords[] = {
    {"NOTHING", Action::kSetLevel, kLogNothing, kNothingText},
    {"LEVELNOTHING", Action::kSetLevel, kLogNothing, kNothingText},
    {"ERROR", Action::kSetLevel, kLogError, kErrorText},
    {"LEVELERROR", Action::kSetLevel, kLogError, kErrorText},
    {"WARNING", Action::kSetLevel, kLogWarning, kWarningText},
    {"LEVELWARNING", Action::kSetLevel, kLogWarning, kWarningText},
    {"INFO", Action::kSetLevel, kLogInfo, kInfoText},
    {"LEVELINFO", Action::kSetLevel, kLogInfo, kInfoText},
    {"DEBUG", Action::kSetLevel, kLogDebug, kDebugText},
    {"LEVELDEBUG", Action::kSetLevel, kLogDebug, kDebugText},
    {"DUMP", Action::kSetLevel, kLogDump, kDumpText},
    {"LEVELDUMP", Action::kSetLevel, kLogDump, kDumpText},
    {"ALL", Action::kSetLevel, kLogEverything, kEverythingText},
    {"LEVELALL", Action::kSetLevel, kLogEverything, kEverythingText},
    {"EVERYTHING", Action::kSetLevel, kLogEverything, kEverythingText},
    {"LEVELEVERYTHING", Action::kSetLevel, kLogEverything, kEverythingText},
    {"DEFAULT", Action::kSetMode, kLogModeDefault, kDefaultText},
    {"SYSLOG", Action::kSetMode, kLogModeSyslog, nullptr, PrefixMatch::kPrefixParserOnly},
    {"LIMIT", Action::kNothing, 0, nullptr, PrefixMatch::kFollowedByAnything},
    {"LOG_MAXIMUM_FILE_SIZE", Action::kNothing, 0, nullptr, PrefixMatch::kFollowedByAnything},
    {"TIMESTAMP", Action::kNothing, 0, nullptr, PrefixMatch::kFollowedByAnything},
    {"LOG_TIMESTAMPS", Action::kNothing, 0, nullptr, PrefixMatch::kFollowedByAnything},
    {"RESET", Action::kSetMode, kLogModeReset, nullptr, PrefixMatch::kFollowedByAnything},
    {"MODE=TRUNCATE", Action::kSetMode, kLogModeTruncate, kTruncateText,
     PrefixMatch::kAbbreviatedMode},
    {"MODE=BACKUP", Action::kSetMode, kLogModeBackup, kBackupText, PrefixMatch::kAbbreviatedMode},
};

bool matches_whole(const Keyword& keyword, const char* text) {
    return keyword.prefixMatch != PrefixMatch::kPrefixParserOnly &&
           equal_ignoring_case(text, keyword.word);
}

bool matches_prefix(const Keyword& keyword, const char* text) {
    const size_t length = strlen(text);
    if (keyword.prefixMatch == PrefixMatch::kFollowedByAnything) {
        return equal_ignoring_case(text, keyword.word, strlen(keyword.word));
    }
    if (keyword.prefixMatch == PrefixMatch::kAbbreviatedMode && length < kShortestMode) {
        return false;
    }
    return equal_ignoring_case(text, keyword.word, length);
}

void apply(const Keyword& keyword) {
    switch (keyword.action) {
    case Action::kSetLevel:
        set_log_level(keyword.value);
        break;
    case Action::kSetMode:
        set_log_mode(keyword.value);
        break;
    case Action::kNothing:
        break;
    }
}

// Finds the row that matches the text.
template <typename Matches>
int find_keyword(const char* text, Matches matches, const Keyword** found) {
    if (text == nullptr) {
        return kInvalid;
    }
    while (isspace(static_cast<unsigned char>(*text)) != 0) {
        text++;
    }
    if (*text == '\0') {
        return kEmptyText;
    }
    for (const Keyword& keyword : kKeywords) {
        if (matches(keyword, text)) {
            *found = &keyword;
            return kOk;
        }
    }
    return kInvalid;
}

} // namespace

int ProcessLogLevel(const char* text) {
    const Keyword* keyword = nullptr;
    const int rc = find_keyword(text, matches_whole, &keyword);
    if (rc != kOk) {
        return rc;
    }
    if (keyword->announcement != nullptr) {
        log_announcement("%s", keyword->announcement);
    }
    apply(*keyword);
    return kOk;
}

int ProcessLogLevelPrefix(const char* text) {
    const Keyword* keyword = nullptr;
    const int rc = find_keyword(text, matches_prefix, &keyword);
    if (rc == kOk) {
        apply(*keyword);
    }
    return rc;
}

} // namespace zrp
