// Appenders and removers of several processes at one file.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <thread>

#include "common/config/config_appenders.h"
#include "common/config/config_lock.h"
#include "common/config/config_readers.h"
#include "common/config/config_removers.h"
#include "common/result.h"
#include "tests/support/processor_time.h"
#include "tests/unit/config_test_files.h"

namespace zrp::config_writers_test {
namespace {

#ifdef SYS_unlink
constexpr long kDelete = SYS_unlink;
constexpr long kRename = SYS_rename;
#else
constexpr long kDelete = SYS_unlinkat;
constexpr long kRename = SYS_renameat;
#endif

bool is_asleep_or_ended(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, WNOHANG | WNOWAIT) != 0) {
        return true;
    }
    const std::string text = test::read_file("/proc/" + std::to_string(child) + "/stat");
    return text.size() > 2 && text[text.rfind(')') + 2] == 'S';
}

class ConfigWriters : public test::ConfigTest {
protected:
    [[nodiscard]] std::string temporary() const {
        return path + ".tmp";
    }

    [[nodiscard]] int remove(const char* key) const {
        return RemoveConfigEntry(path.c_str(), key, nullptr);
    }

    // Removes the lines with the key A and calls the function at the system call.
    template <typename Function>
    int remove_with(long systemCall, Function function) {
        const pid_t child = test::stopped_at(systemCall, [this] { return remove("A"); });
        if (child < 0) {
            return test::kNotPermitted;
        }
        function();
        return test::end_of_stopped(child);
    }

    // Starts another process at the system call, which waits for the remover or ends before it.
    // Returns false where tracing is not permitted.
    template <typename Function>
    bool expect_beside_remover(long systemCall, Function function, const std::string& expected) {
        SCOPED_TRACE(systemCall);
        write("A 1\nB 2\n");
        pid_t other = -1;
        const int rc = remove_with(systemCall, [&] {
            other = fork();
            if (other == 0) {
                _exit(function());
            }
            while (!is_asleep_or_ended(other)) {
                std::this_thread::yield();
            }
        });
        if (rc == test::kNotPermitted) {
            return false;
        }
        EXPECT_EQ(rc, kOk);
        EXPECT_EQ(test::exit_status(other), kOk);
        EXPECT_EQ(content(), expected);
        EXPECT_FALSE(test::exists(temporary()));
        EXPECT_EQ(test::mode_of(path), 0644U);
        return true;
    }

    // At each step that changes what other processes see.
    template <typename Function>
    bool expect_beside_remover(Function function, const std::string& expected) {
        return expect_beside_remover(SYS_fsync, function, expected) &&
               expect_beside_remover(kDelete, function, expected) &&
               expect_beside_remover(kRename, function, expected);
    }
};

} // namespace

TEST_F(ConfigWriters, AnAppendedLineIsNotLostToARewrite) {
    if (!expect_beside_remover([this] { return AppendConfigPair(path.c_str(), "C", "3"); },
                               "B 2\nC 3\n")) {
        GTEST_SKIP() << "needs tracing";
    }
}

TEST_F(ConfigWriters, NoRewriteBringsBackWhatAnotherRemoved) {
    if (!expect_beside_remover([this] { return remove("B"); }, "")) {
        GTEST_SKIP() << "needs tracing";
    }
}

TEST_F(ConfigWriters, AReaderMayComeAtAnyMoment) {
    const auto read = [this]() -> int {
        char value[8];
        int size = sizeof value;
        return GetConfigValue(path.c_str(), "B", value, &size, "");
    };
    if (!expect_beside_remover(read, "B 2\n")) {
        GTEST_SKIP() << "needs tracing";
    }
}

// What another program does while a remover brings its copy to the disk.
class ConfigWritersAndOthers : public ConfigWriters {
protected:
    template <typename Function>
    void remove_while(Function function, const std::string& expectedContent) {
        write("A 1\nB 2\n");
        const int rc = remove_with(SYS_fsync, function);
        if (rc == test::kNotPermitted) {
            GTEST_SKIP() << "needs tracing";
        }
        EXPECT_EQ(rc, kNotFound);
        EXPECT_EQ(content(), expectedContent);
        EXPECT_EQ(test::read_file(temporary()), "");
    }
};

TEST_F(ConfigWritersAndOthers, AFileThatWasReplacedIsNotDeleted) {
    test::write_file(in("other"), "EDITED\n");
    remove_while([this] { std::filesystem::rename(in("other"), path); }, "EDITED\n");
}

TEST_F(ConfigWritersAndOthers, AFileThatWasChangedIsNotDeleted) {
    remove_while([this] { std::ofstream(path, std::ios::app) << "APPENDED\n"; },
                 "A 1\nB 2\nAPPENDED\n");
}

TEST_F(ConfigWritersAndOthers, ATemporaryFileThatBecameTheConfigurationIsNotTruncated) {
    remove_while([this] { std::filesystem::rename(temporary(), path); }, "B 2\n");
}

TEST_F(ConfigWriters, AFileIsNeverCopiedIntoItself) {
    for (const bool isSymbolic : {false, true}) {
        write("A 1\nB 2\n");
        ASSERT_EQ(isSymbolic ? symlink(path.c_str(), temporary().c_str())
                             : link(path.c_str(), temporary().c_str()),
                  0);
        EXPECT_EQ(test::in_child([this] {
                      test::kill_above_file_size(1 << 20);
                      return remove("A");
                  }),
                  kNotFound);
        EXPECT_EQ(content(), "A 1\nB 2\n");
        std::filesystem::remove(temporary());
    }
}

TEST_F(ConfigWriters, ATemporaryFileWithAnotherNameIsNotWrittenTo) {
    write("A 1\nB 2\n");
    const std::string other = in("other");
    test::write_file(other, "OTHER\n");
    for (const bool isSymbolic : {false, true}) {
        ASSERT_EQ(isSymbolic ? symlink(other.c_str(), temporary().c_str())
                             : link(other.c_str(), temporary().c_str()),
                  0);
        EXPECT_EQ(remove("A"), kNotFound);
        EXPECT_EQ(content(), "A 1\nB 2\n");
        EXPECT_EQ(test::read_file(other), "OTHER\n");
        std::filesystem::remove(temporary());
    }
}

TEST_F(ConfigWriters, APipeIsNotWrittenTo) {
    ASSERT_EQ(mkfifo(temporary().c_str(), 0600), 0);
    write("A 1\n");
    EXPECT_EQ(remove("A"), kNotFound);
    EXPECT_EQ(content(), "A 1\n");
}

TEST_F(ConfigWriters, ADeviceIsNotRewritten) {
    for (const auto& [name, minor] : {std::pair{"null", 3U}, {"zero", 5U}}) {
        const std::string device = in(name);
        if (!test::make_device(device, minor)) {
            GTEST_SKIP() << "needs root: no device can be made";
        }
        ASSERT_EQ(symlink(device.c_str(), path.c_str()), 0);
        EXPECT_EQ(test::in_child([this] {
                      test::kill_above_file_size(1 << 20);
                      return remove("A");
                  }),
                  kNotFound);
        EXPECT_TRUE(std::filesystem::is_symlink(path));
        EXPECT_FALSE(test::exists(temporary()));
        std::filesystem::remove(path);
    }
}

TEST_F(ConfigWriters, TheCopyOfAKilledRewriteIsNotAddedTwice) {
    const std::string lines = "A 1\nC %%\nB 2\n# note\nlast";
    for (const std::string left : {"A 1\nC %\n", "C %\nB", "A 1\nC %\nB 2\n# note\nlast", "last"}) {
        write(lines);
        test::write_file(temporary(), left);
        EXPECT_EQ(remove("A"), kOk);
        EXPECT_EQ(content(), "C %\nB 2\n# note\nlast");
    }
}

TEST_F(ConfigWriters, WhatIsNoCopyOfTheFileIsKept) {
    for (const std::string left : {"B 2\nA 1\n", "A 1\nA 1\n", "A 1\nX", "A 1\nB 2\nC 3\n"}) {
        write("A 1\nB 2\n");
        test::write_file(temporary(), left);
        EXPECT_EQ(remove("C"), kOk);
        const std::string end = left.back() == '\n' ? "" : "\n";
        EXPECT_EQ(content(), left + end + "A 1\nB 2\n");
    }
}

TEST_F(ConfigWriters, ALineIsAppendedToWhatAKilledRewriteLeft) {
    for (const bool isEmpty : {false, true}) {
        std::filesystem::remove(path);
        if (isEmpty) {
            write("");
        }
        test::write_file(temporary(), "A 1\nB 2\n");
        EXPECT_EQ(AppendConfigPair(path.c_str(), "C", "3"), kOk);
        EXPECT_EQ(content(), "A 1\nB 2\nC 3\n");
        EXPECT_FALSE(test::exists(temporary()));
    }
}

TEST_F(ConfigWriters, ARemovedLineIsAlsoRemovedFromWhatAKilledRewriteLeft) {
    test::write_file(temporary(), "A 1\nB 2\n");
    EXPECT_EQ(remove("A"), kOk);
    EXPECT_EQ(content(), "B 2\n");
    EXPECT_FALSE(test::exists(temporary()));
}

TEST_F(ConfigWriters, ALockThatIsNeverGivenBackHoldsNobodyForEver) {
    write("A 1\nC 3\n");
    const int folder = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(folder, LOCK_EX), 0);
    const auto begin = std::chrono::steady_clock::now();
    const auto before = processor_time();
    EXPECT_EQ(remove("A"), kOk);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(kConfigLockPatience));
    EXPECT_LT(processor_time() - before, std::chrono::seconds(kConfigLockPatience) / 2); // sleeps
    EXPECT_EQ(content(), "C 3\n");
    EXPECT_FALSE(test::exists(temporary()));
    close(folder);
}

TEST_F(ConfigWriters, AChildThatWasForkedMeanwhileDoesNotKeepTheLock) {
    const int folder = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    pid_t child = -1;
    {
        const ConfigLock lock(path.c_str());
        child = fork();
        if (child == 0) {
            pause();
            _exit(0);
        }
    }
    ASSERT_GT(child, 0);
    EXPECT_EQ(flock(folder, LOCK_EX | LOCK_NB), 0);
    close(folder);
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

TEST_F(ConfigWriters, AProgramWithoutStandardInputLocksAndUnlocksToo) {
    EXPECT_EQ(test::in_child([this] {
                  const int folder = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                  close(STDIN_FILENO); // the lock gets its number
                  {
                      const ConfigLock lock(path.c_str());
                      if (flock(folder, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
                          return 1;
                      }
                  }
                  const bool isFree = flock(folder, LOCK_EX | LOCK_NB) == 0;
                  return isFree && fcntl(STDIN_FILENO, F_GETFD) < 0 ? 0 : 2;
              }),
              0);
}

TEST_F(ConfigWriters, TheFolderOfANameAloneIsTheWorkingFolder) {
    EXPECT_EQ(test::in_child([&] {
                  const std::string name = std::filesystem::path(path).filename();
                  if (chdir(directory.c_str()) != 0) {
                      return 1;
                  }
                  const int folder = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                  const ConfigLock lock(name.c_str());
                  return flock(folder, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK ? 0 : 2;
              }),
              0);
}

TEST_F(ConfigWriters, LeaveNoDescriptorOpen) {
    write("A 1\n");
    const auto lowest_free = [] {
        const int number = open("/", O_RDONLY | O_CLOEXEC);
        close(number);
        return number;
    };
    const int before = lowest_free();
    EXPECT_EQ(AppendConfigPair(path.c_str(), "B", "2"), kOk);
    EXPECT_EQ(remove("A"), kOk);
    EXPECT_EQ(lowest_free(), before);
}

TEST_F(ConfigWriters, AFolderThatCannotBeReadIsNotLocked) {
    if (getuid() == 0 && test::in_child([] { return setuid(65534) == 0 ? 0 : 1; }) != 0) {
        GTEST_SKIP() << "needs another user";
    }
    write("A 1\nB 2\n");
    chmod(path.c_str(), 0666);
    chmod(directory.c_str(), 0333);
    EXPECT_EQ(test::in_child([this]() -> int {
                  if (getuid() == 0 && setuid(65534) != 0) {
                      return 1;
                  }
                  return AppendConfigPair(path.c_str(), "C", "3");
              }),
              kOk);
    chmod(directory.c_str(), 0755);
    EXPECT_EQ(content(), "A 1\nB 2\nC 3\n");
}

namespace {

// Who did what, in memory that all processes share, so that it is right up to the moment of a kill.
enum class State : uint8_t { kNone, kAppending, kAppended, kRemoving, kRemoved, kRefused };

struct Journal {
    static constexpr int kEntries = 200000;
    std::atomic<State> states[kEntries];
    std::atomic<int> next;     // entry that nobody has appended
    std::atomic<int> appends;  // that returned
    std::atomic<int> rewrites; // that returned
    std::atomic<int> failures;
    std::atomic<bool> done;
};

std::string name_of(int entry) {
    return "entry" + std::to_string(entry);
}

void append_one(const char* path, Journal& journal) {
    const int entry = journal.next++;
    journal.states[entry] = State::kAppending;
    const bool isAppended = AppendConfigPair(path, "KEY", name_of(entry).c_str()) == kOk;
    journal.states[entry] = isAppended ? State::kAppended : State::kRefused;
    journal.failures += isAppended ? 0 : 1;
    journal.appends++;
}

// Takes an entry that no other process removes; -1 when there is none among the last ones.
int claim_one(Journal& journal, unsigned random) {
    constexpr int kLast = 40;
    const int known = journal.next;
    for (int i = 0; i < kLast; i++) {
        const int entry = known - 1 - (static_cast<int>(random % kLast) + i) % kLast;
        State expected = State::kAppended;
        if (entry >= 0 &&
            journal.states[entry].compare_exchange_strong(expected, State::kRemoving)) {
            return entry;
        }
    }
    return -1;
}

void remove_one(const char* path, Journal& journal, int entry) {
    const bool isRemoved = RemoveConfigEntry(path, "KEY", name_of(entry).c_str()) == kOk;
    journal.states[entry] = isRemoved ? State::kRemoved : State::kAppended;
    journal.failures += isRemoved ? 0 : 1;
    journal.rewrites++;
}

// Appends entries and removes those of any process until the end.
[[noreturn]] void write_until_done(const char* path, Journal& journal, unsigned seed) {
    std::minstd_rand random(seed);
    while (!journal.done && journal.next < Journal::kEntries) {
        append_one(path, journal);
        const int entry = claim_one(journal, static_cast<unsigned>(random()));
        if (entry >= 0) {
            remove_one(path, journal, entry);
        }
    }
    _exit(0);
}

[[noreturn]] void read_until_done(const char* path, const Journal& journal) {
    while (!journal.done) {
        char value[32];
        int size = sizeof value;
        GetConfigValue(path, "NO_SUCH_KEY", value, &size, "");
    }
    _exit(0);
}

template <typename Function>
pid_t start(Function function) {
    const pid_t child = fork();
    if (child == 0) {
        function();
    }
    return child;
}

Journal* make_journal() {
    void* memory =
        mmap(nullptr, sizeof(Journal), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory != MAP_FAILED ? static_cast<Journal*>(memory) : nullptr;
}

int operations_of(const Journal& journal) {
    return journal.appends + journal.rewrites;
}

// The lines of the text and how often each is there.
std::map<std::string, int> counted_lines(const std::string& text) {
    std::map<std::string, int> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines[line]++;
    }
    return lines;
}

// Takes the lines of all entries out and returns how many broke a promise.
int broken_promises(const Journal& journal, std::map<std::string, int>& lines) {
    int broken = 0;
    for (int entry = 0; entry < journal.next; entry++) {
        const State state = journal.states[entry];
        const std::string line = "KEY " + name_of(entry);
        const auto found = lines.find(line);
        const int count = found != lines.end() ? found->second : 0;
        const bool mayBeThere = state != State::kRemoved && state != State::kRefused;
        const bool mustBeThere = state == State::kAppended;
        if (count > (mayBeThere ? 1 : 0) || count < (mustBeThere ? 1 : 0)) {
            ADD_FAILURE() << line << " is there " << count << " times in state "
                          << static_cast<int>(state);
            broken++;
        }
        lines.erase(line);
    }
    return broken;
}

} // namespace

// ZRP_CONFIG_OPERATIONS makes it longer.
TEST_F(ConfigWriters, KeepTheirPromisesWhileOthersWriteAndAreKilled) {
    const char* wanted = getenv("ZRP_CONFIG_OPERATIONS");
    const int operations = wanted != nullptr ? std::atoi(wanted) : 3000;
    Journal* journal = make_journal();
    ASSERT_NE(journal, nullptr);
    constexpr size_t kWriters = 2;
    pid_t writers[kWriters] = {};
    unsigned seed = 1;
    const auto start_writer = [&] {
        return start([&] { write_until_done(path.c_str(), *journal, seed); });
    };
    for (pid_t& writer : writers) {
        writer = start_writer();
        seed++;
    }
    const pid_t reader = start([&] { read_until_done(path.c_str(), *journal); });
    std::minstd_rand random(1);
    int kills = 0;
    while (operations_of(*journal) < operations) {
        // A kill after some operations, and a random time into one of them.
        const int target = operations_of(*journal) + static_cast<int>(random() % 20U);
        while (operations_of(*journal) < target) {
            std::this_thread::yield();
        }
        const auto moment =
            std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 500U);
        while (std::chrono::steady_clock::now() < moment) {
        }
        pid_t& victim = writers[random() % kWriters];
        kill(victim, SIGKILL);
        waitpid(victim, nullptr, 0);
        kills++;
        victim = start_writer();
        seed++;
    }
    journal->done = true;
    for (const pid_t writer : writers) {
        EXPECT_EQ(test::exit_status(writer), 0);
    }
    EXPECT_EQ(test::exit_status(reader), 0);
    // What the last kill left is put in its place by any writer.
    EXPECT_EQ(remove("NO_SUCH_KEY"), kOk);
    EXPECT_FALSE(test::exists(temporary()));
    EXPECT_EQ(test::mode_of(path), 0644U);

    std::map<std::string, int> lines = counted_lines(content());
    EXPECT_EQ(broken_promises(*journal, lines), 0);
    for (const auto& [line, count] : lines) {
        ADD_FAILURE() << "nobody wrote " << line;
    }
    EXPECT_EQ(journal->failures, 0);
    RecordProperty("appends", journal->appends);
    RecordProperty("rewrites", journal->rewrites);
    RecordProperty("kills", kills);
    munmap(journal, sizeof(Journal));
}

} // namespace zrp::config_writers_test
