#include "common/config/config_removers.h"

#include <cerrno>
#include <cstddef>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>

#include "common/config/config_appenders.h"
#include "common/config/config_lines.h"
#include "common/config/config_readers.h"
#include "common/result.h"
#include "tests/unit/config_test_files.h"

namespace zrp::config_removers_test {
namespace {

class ConfigRemoversTest : public test::ConfigTest {
protected:
    [[nodiscard]] std::string temporary() const {
        return path + ".tmp";
    }

    [[nodiscard]] int remove(const char* key, const char* value = nullptr) const {
        return RemoveConfigEntry(path.c_str(), key, value);
    }

    template <typename Remover>
    void expect_rewrite(const std::string& before, const std::string& after, Remover remover) {
        write(before);
        EXPECT_EQ(remover(), kOk);
        EXPECT_EQ(content(), after);
        EXPECT_FALSE(test::exists(temporary()));
        EXPECT_EQ(test::mode_of(path), 0644U);
    }
};

// Makes every rename by this process fail, as on a broken disk.
bool forbid_renaming() {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
#ifdef SYS_rename
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_rename, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat, 1, 0),
#endif
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EIO),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {std::size(program), program};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

enum class End { kKilled, kFinished, kNotPermitted };

// Runs the function in a child and kills it at the given step. Each system call is two steps: its
// entry and its return.
template <typename Function>
End kill_at_step(int step, Function function) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            _exit(test::kNotPermitted);
        }
        raise(SIGSTOP);
        _exit(function());
    }
    int status = 0;
    waitpid(child, &status, 0);
    for (int i = 0; i < step && WIFSTOPPED(status); i++) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
    }
    if (WIFEXITED(status)) {
        return WEXITSTATUS(status) == test::kNotPermitted ? End::kNotPermitted : End::kFinished;
    }
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return End::kKilled;
}

} // namespace

TEST_F(ConfigRemoversTest, ServerNameLinesAreRemovedInAnyCaseAndSpacing) {
    const std::string kept = "# ZRP FILE SERVER NAME X\n"
                             "  ; ZRP FILE SERVER NAME X\n"
                             "ZRP_FILE_SERVER_NAME X\n"
                             "ZRP FILE SERVER X\n"
                             "ZRP FILE\n"
                             "X ZRP FILE SERVER NAME\n"
                             "\n"
                             "VOLUME A /a\n";
    const std::string dropped = "ZRP FILE SERVER NAME X\n"
                                "zrp \tfile server name\n"
                                "  Zrp File Server Names X\n";
    expect_rewrite(dropped + kept + dropped, kept,
                   [this] { return remove_server_name(path.c_str()); });
}

TEST_F(ConfigRemoversTest, AServerNameLineNeedsNoBlanksBetweenItsWords) {
    expect_rewrite("zrpfileservername X\nZRP_FILE_SERVER_NAME X\n", "ZRP_FILE_SERVER_NAME X\n",
                   [this] { return remove_server_name(path.c_str()); });
}

TEST_F(ConfigRemoversTest, AKeyWithoutAValueRemovesEveryLineThatBeginsWithIt) {
    expect_rewrite("LOG_LEVEL a\nlog_level b\n \tLOG_LEVEL\nLOG c\n#LOG_LEVEL d\nx LOG_LEVEL\n",
                   "LOG c\n#LOG_LEVEL d\nx LOG_LEVEL\n", [this] { return remove("LOG_LEVEL"); });
}

TEST_F(ConfigRemoversTest, AKeyMatchesByPrefix) {
    expect_rewrite("VOL a\nVOLUME A /a\nVO b\n", "VO b\n", [this] { return remove("VOL"); });
}

TEST_F(ConfigRemoversTest, AKeyAfterOtherWhiteSpaceThanBlanksAndTabsStays) {
    expect_rewrite("\fVOLUME a\n\vVOLUME b\n\rVOLUME c\n\t VOLUME d\n",
                   "\fVOLUME a\n\vVOLUME b\n\rVOLUME c\n", [this] { return remove("VOLUME"); });
}

TEST_F(ConfigRemoversTest, CommentsStayEvenForAKeyThatLooksLikeOne) {
    expect_rewrite("# note\n ;KEY\nKEY 1\n", "# note\n ;KEY\nKEY 1\n",
                   [this] { return remove("#") == kOk ? remove(";KEY") : int{kInvalid}; });
}

TEST_F(ConfigRemoversTest, AValueMustFollowTheKeyAsAWholeWord) {
    expect_rewrite("VOLUME A /a\nVOLUME  \tA\nvolume a x\nVOLUMEA y\n"
                   "VOLUME AB /b\nVOLUME B A\nVOLUMES A /c\nVOLUME\n; VOLUME A\n",
                   "VOLUME AB /b\nVOLUME B A\nVOLUMES A /c\nVOLUME\n; VOLUME A\n",
                   [this] { return remove("VOLUME", "A"); });
}

TEST_F(ConfigRemoversTest, AMatchingLastLineWithoutANewlineStays) {
    expect_rewrite("VOLUME A\nVOLUME A", "VOLUME A", [this] { return remove("VOLUME", "A"); });
}

TEST_F(ConfigRemoversTest, AMatchingLastLineWithoutANewlineIsRemovedByKeyOnly) {
    expect_rewrite("X 1\nVOLUME A", "X 1\n", [this] { return remove("VOLUME"); });
}

TEST_F(ConfigRemoversTest, ADoubledPercentSignBecomesASingleOne) {
    expect_rewrite("A 100%%\nB %%%% %%x\n", "A 100%\nB %% %x\n", [this] { return remove("X"); });
}

TEST_F(ConfigRemoversTest, ALineWithAnotherPercentSequenceIsCopiedUnchanged) {
    const std::string lines = "A %s %%\nB 100%\nC %%%\nD %n%n%n\nE % d %%\n% G %%\nF %";
    expect_rewrite(lines, lines, [this] { return remove("X"); });
}

TEST_F(ConfigRemoversTest, OrdinaryLinesAreCopiedByteForByte) {
    const std::string lines = std::string("A\0hidden\n", 9) + " \t B \r\n\n\xff\xfe\n" +
                              std::string(2000, 'x') + "\nlast";
    expect_rewrite(lines, lines, [this] { return remove("KEY"); });
}

TEST_F(ConfigRemoversTest, EachPieceOfALongLineIsALineOfItsOwn) {
    const std::string first = "A " + std::string(509, 'x');
    expect_rewrite(first + "KEY rest\nB 1\n", first + "B 1\n", [this] { return remove("KEY"); });
}

TEST_F(ConfigRemoversTest, AMissingFileBecomesAnEmptyOne) {
    EXPECT_EQ(remove("KEY"), kOk);
    EXPECT_EQ(content(), "");
    EXPECT_EQ(test::mode_of(path), 0644U);
    EXPECT_FALSE(test::exists(temporary()));
}

TEST_F(ConfigRemoversTest, TheFileGetsItsModeWhateverTheUmask) {
    umask(077);
    write("A 1\n");
    EXPECT_EQ(remove("KEY"), kOk);
    EXPECT_EQ(test::mode_of(path), 0644U);
}

TEST_F(ConfigRemoversTest, AStaleTemporaryFileIsAppendedTo) {
    write("A 1\nB 2\n");
    test::write_file(temporary(), "STALE x\n");
    EXPECT_EQ(remove("A"), kOk);
    EXPECT_EQ(content(), "STALE x\nB 2\n");
}

TEST_F(ConfigRemoversTest, AStalePartialLineIsNotJoinedToTheFirstLine) {
    write("A 1\nB 2\n");
    test::write_file(temporary(), "# STA");
    EXPECT_EQ(remove("B"), kOk);
    EXPECT_EQ(content(), "# STA\nA 1\n");
}

TEST_F(ConfigRemoversTest, ATemporaryFileThatCannotBeOpenedChangesNothing) {
    write("A 1\n");
    ASSERT_EQ(mkdir(temporary().c_str(), 0755), 0);
    EXPECT_EQ(remove("A"), kNotFound);
    EXPECT_EQ(content(), "A 1\n");
    EXPECT_TRUE(test::exists(temporary()));
}

TEST_F(ConfigRemoversTest, TheTemporaryFileIsRemovedWhenTheConfigurationFileCannotBeOpened) {
    ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
    test::write_file(temporary(), "STALE x\n");
    EXPECT_EQ(remove("A"), kNotFound);
    EXPECT_EQ(remove_server_name(path.c_str()), kNotFound);
    EXPECT_FALSE(test::exists(temporary()));
    EXPECT_TRUE(test::exists(path));
}

// Removes an entry with descriptors left for the folder and the temporary file and no other.
int remove_with_two_descriptors(const std::string& path) {
    return test::in_child([file = path.c_str()] {
        const int next = dup(STDIN_FILENO);
        close(next);
        const rlimit limit = {static_cast<rlim_t>(next) + 2, static_cast<rlim_t>(next) + 2};
        setrlimit(RLIMIT_NOFILE, &limit);
        return RemoveConfigEntry(file, "B", nullptr);
    });
}

TEST_F(ConfigRemoversTest, TheOnlyCopyIsNotRemoved) {
    test::write_file(temporary(), "A 1\n");
    EXPECT_EQ(remove_with_two_descriptors(path), kNotFound);
    EXPECT_EQ(content(), "A 1\n");
    EXPECT_FALSE(test::exists(temporary()));
}

TEST_F(ConfigRemoversTest, AnEmptyTemporaryFileIsRemoved) {
    EXPECT_EQ(remove_with_two_descriptors(path), kNotFound);
    EXPECT_FALSE(test::exists(path));
    EXPECT_FALSE(test::exists(temporary()));
}

TEST_F(ConfigRemoversTest, BadArgumentsAreInvalid) {
    write("A 1\n");
    EXPECT_EQ(remove(nullptr), kInvalid);
    EXPECT_EQ(remove(""), kInvalid) << "every line begins with an empty key";
    EXPECT_EQ(RemoveConfigEntry(nullptr, "A", nullptr), kInvalid);
    EXPECT_EQ(remove_server_name(nullptr), kInvalid);
    EXPECT_EQ(content(), "A 1\n");
}

TEST_F(ConfigRemoversTest, APathWithoutRoomForTheSuffixIsNotFound) {
    EXPECT_EQ(RemoveConfigEntry(std::string(PATH_MAX, 'x').c_str(), "A", nullptr), kNotFound);
}

TEST_F(ConfigRemoversTest, TheEndingOfAPathIsNeverCut) {
    write("A 1\n");
    std::string longest = path;
    longest.insert(directory.size(), PATH_MAX - sizeof ".tmp" - path.size(), '/');
    EXPECT_EQ(RemoveConfigEntry(("/" + longest).c_str(), "A", nullptr), kNotFound);
    EXPECT_EQ(content(), "A 1\n");
    EXPECT_EQ(RemoveConfigEntry(longest.c_str(), "A", nullptr), kOk);
    EXPECT_EQ(content(), "");
}

TEST_F(ConfigRemoversTest, AFileThatCannotBeReadStays) {
    ASSERT_EQ(symlink("/proc/self/mem", path.c_str()), 0);
    EXPECT_EQ(remove("A"), kNotFound);
    EXPECT_TRUE(test::exists(path));
}

TEST_F(ConfigRemoversTest, AFullDiskAtAnyByteLosesNoLine) {
    const std::string before = "A 1\nVOLUME V /v\nB 100%%\n# comment\nlast";
    const std::string after = "A 1\nB 100%\n# comment\nlast";
    // The last one is a part of a copy, which does not stay.
    for (const std::string stale : {"", "STALE half", "A 1\nVOL"}) {
        const bool stays = stale == "STALE half";
        const std::string whole = stays ? stale + "\n" + after : after;
        for (size_t size = 0; size <= whole.size(); size++) {
            SCOPED_TRACE(stale + " " + std::to_string(size));
            write(before);
            test::write_file(temporary(), stale);
            const int rc = test::in_child([this, size] {
                test::limit_file_size(size);
                return remove("VOLUME");
            });
            const bool fits = size == whole.size();
            EXPECT_EQ(rc, fits ? kOk : kNotFound);
            EXPECT_EQ(content(), fits ? whole : before);
            EXPECT_EQ(test::read_file(temporary()), !fits && stays ? stale : "");
            EXPECT_EQ(test::exists(temporary()), !fits);
        }
    }
}

TEST_F(ConfigRemoversTest, AFullFileSystemLosesNoLine) {
    const std::string lines = std::string(8100, 'x') + "\nA 1\n";
    const int rc = test::in_child([this, &lines]() -> int {
        if (!test::enter_private_mounts() ||
            mount("tiny", directory.c_str(), "tmpfs", 0, "size=8k,mode=755") != 0) {
            return test::kNotPermitted;
        }
        write(lines);
        const std::string longWord(400, 'y');
        const bool removed = remove("A") != kNotFound;
        const bool appended =
            AppendConfigPair(path.c_str(), "KEY", longWord.c_str()) != kAppendFailed;
        return removed || appended || content() != lines ? 1 : 0;
    });
    if (rc == test::kNotPermitted) {
        GTEST_SKIP() << "needs private mounts";
    }
    EXPECT_EQ(rc, 0);
}

TEST_F(ConfigRemoversTest, AFileThatCannotBeDeletedStays) {
    write("A 1\nB 2\n");
    test::write_file(temporary(), "STALE x\n");
    const int rc = test::in_child([this]() -> int {
        // A file that is a mount point cannot be deleted.
        if (!test::enter_private_mounts() ||
            mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0) {
            return test::kNotPermitted;
        }
        return remove("A");
    });
    if (rc == test::kNotPermitted) {
        GTEST_SKIP() << "needs private mounts";
    }
    EXPECT_EQ(rc, kNotFound);
    EXPECT_EQ(content(), "A 1\nB 2\n");
    EXPECT_EQ(test::read_file(temporary()), "STALE x\n");
}

TEST_F(ConfigRemoversTest, ACopyThatCannotBeRenamedKeepsTheLinesForTheNextRewrite) {
    write("A 1\nB 2\n");
    const int rc = test::in_child(
        [this]() -> int { return forbid_renaming() ? remove("A") : test::kNotPermitted; });
    if (rc == test::kNotPermitted) {
        GTEST_SKIP() << "needs system call filters";
    }
    EXPECT_EQ(rc, kNotFound);
    EXPECT_FALSE(test::exists(path));
    EXPECT_EQ(test::read_file(temporary()), "B 2\n");
    EXPECT_EQ(remove("NO_SUCH_KEY"), kOk);
    EXPECT_EQ(content(), "B 2\n");
    EXPECT_FALSE(test::exists(temporary()));
}

TEST_F(ConfigRemoversTest, AProcessKilledAtAnyStepLosesNoLine) {
    const std::string before = "A 1\nVOLUME V /v\n# comment\nB 2\n" + std::string(600, 'x') + "\n";
    const std::string after = "A 1\n# comment\nB 2\n" + std::string(600, 'x') + "\n";
    int oldStood = 0;
    int newStood = 0;
    int copyAlone = 0;
    int copyInParts = 0;
    End end = End::kKilled;
    for (int step = 0; end == End::kKilled; step++) {
        SCOPED_TRACE(step);
        write(before);
        end = kill_at_step(step, [this] { return remove("VOLUME"); });
        if (end == End::kNotPermitted) {
            GTEST_SKIP() << "needs tracing";
        }
        if (!test::exists(path)) {
            EXPECT_EQ(test::read_file(temporary()), after);
            copyAlone++;
        } else if (content() == before) {
            oldStood++;
        } else {
            EXPECT_EQ(content(), after);
            newStood++;
        }
        const size_t copied = test::read_file(temporary()).size();
        copyInParts += copied > 0 && copied < after.size() ? 1 : 0;
        // Whatever the killed process left, the next rewrite restores every line once.
        const std::string expected = content() == before ? before : after;
        EXPECT_EQ(remove("NO_SUCH_KEY"), kOk);
        EXPECT_EQ(content(), expected);
        EXPECT_FALSE(test::exists(temporary()));
    }
    EXPECT_GT(oldStood, 0);
    EXPECT_GT(newStood, 0);
    EXPECT_GT(copyInParts, 0) << "lines are not flushed one by one";
    EXPECT_GT(copyAlone, 0) << "the moment between deletion and renaming was not met";
}

TEST_F(ConfigRemoversTest, AnAppenderKilledAtAnyStepLeavesTheLineWholeOrNotAtAll) {
    const std::string before = "A 1\nlast";
    const std::string after = "A 1\nlast\nKEY v\n";
    int oldStood = 0;
    int newStood = 0;
    End end = End::kKilled;
    for (int step = 0; end == End::kKilled; step++) {
        SCOPED_TRACE(step);
        write(before);
        end = kill_at_step(step, [this] { return AppendConfigPair(path.c_str(), "KEY", "v"); });
        if (end == End::kNotPermitted) {
            GTEST_SKIP() << "needs tracing";
        }
        EXPECT_TRUE(content() == before || content() == after) << content();
        oldStood += content() == before ? 1 : 0;
        newStood += content() == after ? 1 : 0;
    }
    EXPECT_GT(oldStood, 0);
    EXPECT_GT(newStood, 0);
}

TEST_F(ConfigRemoversTest, TheFixedPathsAreTheDaemonsFiles) {
    const int rc = test::in_child([]() -> int {
        if (!test::enter_private_mounts() ||
            mount("etc", "/etc/opt", "tmpfs", 0, "mode=755") != 0) {
            return test::kNotPermitted;
        }
        const std::string server = "/etc/opt/velmora/zrpserv.conf";
        const std::string storage = "/etc/opt/velmora/zrp2bks.conf";
        char name[16] = "";
        int size = sizeof name;
        if (GetZrpServerName(name, &size) != kNotFound || RemoveZrpServerName() != kNotFound) {
            return 1;
        }
        mkdir("/etc/opt/velmora", 0755);
        test::write_file(server, "ZRP FILE SERVER NAME Alpha\nA 1\n");
        test::write_file(storage, "");
        chmod(server.c_str(), 0600);
        chmod(storage.c_str(), 0600);
        FixConfigFilePermissions();
        if (test::mode_of(server) != 0644U || test::mode_of(storage) != 0644U) {
            return 2;
        }
        if (GetZrpServerName(name, &size) != kOk || std::string(name) != "Alpha") {
            return 3;
        }
        return RemoveZrpServerName() == kOk && test::read_file(server) == "A 1\n" ? 0 : 4;
    });
    if (rc == test::kNotPermitted) {
        GTEST_SKIP() << "needs private mounts";
    }
    EXPECT_EQ(rc, 0);
}

} // namespace zrp::config_removers_test
