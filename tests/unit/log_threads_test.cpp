#include <semaphore>
#include <thread>
#include <vector>

#include "common/log/log_keywords.h"
#include "tests/unit/log_fixture.h"

namespace zrp::log_threads_test {
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

// Log until the time is over, in a thread that may be cancelled.
void* write_for_ever(void* /*unused*/) {
    for (;;) {
        write_entries(0);
    }
}

TEST_F(LogThreads, AThreadMayBeCancelledWhileItLogs) {
    IN_CHILD("", [&] {
        alarm(120); // a hanging child ends
        InitLogContext(path.c_str(), kLogEverything);
        for (int i = 0; i < 50; i++) {
            pthread_t thread = {};
            EXPECT_EQ(pthread_create(&thread, nullptr, write_for_ever, nullptr), 0);
            while (operations().LogSize() == 0) {
            }
            EXPECT_EQ(pthread_cancel(thread), 0);
            EXPECT_EQ(pthread_join(thread, nullptr), 0);
            operations().SetLogMode(kLogModeReset);
        }
        operations().LogPlain("after");
        EXPECT_EQ(contents(), "[- TIME] after\n");
        return true;
    });
}

TEST_F(LogThreads, AChildMayBeForkedWhileOthersLog) {
    IN_CHILD("", [&] {
        alarm(120); // a hanging child ends
        InitLogContext(path.c_str(), kLogEverything);
        std::atomic<bool> done = false;
        // To write; without an end to them fork() waits long for its turn.
        std::counting_semaphore<> entries{0};
        std::vector<std::jthread> writers;
        for (int i = 0; i < 2; i++) {
            writers.emplace_back([&] {
                for (entries.acquire(); !done; entries.acquire()) {
                    GetLogContext()->operations.LogErrorTag("parent", "%d", 1);
                }
            });
        }
        constexpr int kChildren = 100;
        constexpr int kEntriesForEach = 50;
        for (int i = 0; i < kChildren; i++) {
            entries.release(kEntriesForEach);
            const pid_t child = fork();
            if (child == 0) {
                alarm(60);
                operations().LogErrorTag("child", "%d", i);
                operations().LogClose();
                operations().LogInfo("dropped");
                _exit(0);
            }
            int status = 0;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0) << "child " << i;
        }
        done = true;
        entries.release(2);
        writers.clear();
        constexpr size_t kPrefixSize = sizeof("[! 2024-05-06 07:08:09]");
        std::istringstream lines(bytes_of(path));
        int children = 0;
        for (std::string line; std::getline(lines, line);) {
            const std::string text = line.substr(std::min(line.size(), kPrefixSize));
            const bool isNext = text == "child: " + std::to_string(children);
            children += isNext ? 1 : 0;
            EXPECT_TRUE(isNext || text == "parent: 1") << line;
        }
        EXPECT_EQ(children, kChildren);
        return true;
    });
}

} // namespace
} // namespace zrp::log_threads_test
