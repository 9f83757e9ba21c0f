#include <thread>
#include <vector>

#include "common/log/log_keywords.h"
#include "tests/unit/log_fixture.h"

namespace zrp {
namespace {

using LogThreads = LogTest;

constexpr int kWriters = 4;
constexpr int kRounds = 200;

void write_entries(int writer) {
    const LogOperations& log = GetLogContext()->operations;
    for (int i = 0; i < kRounds; i++) {
        log.LogErrorTag("tag", "%d.%d", writer, i);
        log.LogLDump("<text>", 6);
        log.LogBDump("0123456789abcdef", 16);
    }
}

size_t count_of(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        count++;
    }
    return count;
}

TEST_F(LogThreads, EntriesOfSeveralThreadsAreNotMixed) {
    InitLogContext(path.c_str(), kLogEverything);
    {
        std::vector<std::jthread> writers;
        for (int i = 0; i < kWriters; i++) {
            writers.emplace_back(write_entries, i);
        }
    }
    const std::string text = contents();
    size_t size = 0;
    for (int i = 0; i < kWriters; i++) {
        for (int round = 0; round < kRounds; round++) {
            const std::string line =
                "[! TIME] tag: " + std::to_string(i) + "." + std::to_string(round) + "\n";
            EXPECT_EQ(count_of(text, line), 1U) << line;
            size += line.size();
        }
    }
    const std::string dumps[] = {"[* TIME] <ldump len=\"6\">\n<text>\n</ldump>\n",
                                 "[* TIME] \n<bdump len=\"16\">\n[00000000]  30 31 32 33 34 35 36 "
                                 "37 38 39 61 62 63 64 65 66 "
                                 "\n[00000016]  \n</bdump>\n"};
    for (const std::string& dump : dumps) {
        EXPECT_EQ(count_of(text, dump), static_cast<size_t>(kWriters * kRounds));
        size += dump.size() * kWriters * kRounds;
    }
    EXPECT_EQ(text.size(), size);
}

TEST_F(LogThreads, EveryLevelStepCounts) {
    InitLogContext(nullptr, -1000);
    {
        std::vector<std::jthread> steppers;
        for (int i = 0; i < kWriters; i++) {
            steppers.emplace_back([] {
                for (int step = 0; step < kRounds; step++) {
                    GetLogContext()->operations.LogLevelUp();
                }
            });
        }
    }
    EXPECT_EQ(GetLogContext()->level, -1000 + kWriters * kRounds);
}

// Everything at once: the sanitizers must find nothing.
TEST_F(LogThreads, ModesFilesAndLifeCyclesMayChangeWhileOthersWrite) {
    IN_PRIVATE_DEV([&] {
        InitLogContext(path.c_str(), kLogEverything);
        const LogContext& log = *GetLogContext();
        std::atomic<bool> done = false;
        {
            std::vector<std::jthread> others;
            for (int i = 0; i < 2; i++) {
                others.emplace_back(write_entries, i);
            }
            others.emplace_back([&] {
                while (!done) {
                    ProcessLogLevel("reset");
                    ProcessLogLevelPrefix("all");
                    log.operations.LogSize();
                    log.operations.LogInfoSyslog("%d", log.level + log.useSyslog + log.fileOpen);
                    std::this_thread::yield();
                }
            });
            for (int i = 0; i < 50; i++) {
                log.operations.SetLogMode(kLogModeSyslog);
                chmod(path.c_str(), 0600);
                log.operations.SetLogMode(kLogModeDefault);
                log.operations.LogShutdown();
                chmod(path.c_str(), 0600);
                InitLogContext(path.c_str(), kLogEverything);
            }
            done = true;
        }
        EXPECT_EQ(log.fileOpen, 1);
    });
}

} // namespace
} // namespace zrp
