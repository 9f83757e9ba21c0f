// What commands change, as a second command shows it; questions; and what is refused before
// anything is sent.
#include <string>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "tests/ctl/act_test.h"
#include "tests/support/needs.h"
#include "tools/harness/descriptor.h"
#include "tools/harness/private_files.h"
#include "tools/harness/terminal.h"

namespace zrp::acts_test {
namespace {

class Acts : public ActTest {};

TEST_F(Acts, DismountAndMountAreSeen) {
    EXPECT_EQ(done({"dismount", "DATA", "HOME"})["volumes"].size(), 2U);
    EXPECT_EQ(volume("DATA")["mounted"], false);
    EXPECT_EQ(volume("HOME")["mounted"], false);
    EXPECT_EQ(done({"mount", "DATA", "--number", "77"})["volumes"][0]["mountFailureCode"], 0);
    EXPECT_EQ(volume("DATA")["mounted"], true);
    EXPECT_EQ(volume("DATA")["number"], 77);
    (void)done({"dismount", "--all"});
    EXPECT_EQ(done({"volumes", "--mounted"})["volumes"].size(), 0U);
    EXPECT_GT(done({"mount", "--all"})["volumes"].size(), 1U);
}

TEST_F(Acts, RefusedInPartShowsTheListAndTheError) {
    const Ran ran = run_zrpctl({"dismount", "DATA", "NOPE", "--yes", "--json"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.json()["volumes"][0]["dismountFailureCode"], 0);
    EXPECT_EQ(ran.json()["volumes"][1]["dismountFailureCode"], 2);
    EXPECT_EQ(ran.json()["error"]["code"], 2);
    EXPECT_EQ(ran.json()["error"]["message"], "not dismounted: NOPE");
}

TEST_F(Acts, AVolumeIsCreatedModifiedAndRemoved) {
    EXPECT_EQ(done({"create", "A&B", "/srv/a b", "--number", "200", "--attribute", "HIDDEN"}),
              nlohmann::ordered_json({{"done", true}, {"volumeName", "A&B"}}));
    EXPECT_EQ(volume("A&B")["mountPoint"], "/srv/a b");
    EXPECT_EQ(volume("A&B")["number"], 200);
    (void)done({"modify", "A&B", "--grant", "read-only", "--revoke", "hidden"});
    const std::string words = volume("A&B")["status"].dump();
    EXPECT_NE(words.find("read only"), std::string::npos) << words;
    EXPECT_EQ(words.find("hidden"), std::string::npos) << words;
    (void)done({"remove", "A&B"});
    EXPECT_EQ(status_of({"volume", "A&B"}), 1);
}

TEST_F(Acts, AShadowIsSeen) {
    (void)done({"shadow", "create", "DATA", "/srv/s"});
    EXPECT_EQ(volume("DATA")["shadow"], "/srv/s");
    EXPECT_EQ(done({"shadow", "remove", "DATA"})["shadowVolName"], "DATA_S");
    EXPECT_NE(volume("DATA").value("shadow", ""), "/srv/s");
    (void)done({"shadow", "forget", "DATA", "DATA_S"});
    EXPECT_EQ(status_of({"shadow", "forget", "DATA", "DATA_S"}), 1);
}

TEST_F(Acts, TheStorageDaemonsChangesAreSeen) {
    (void)done({"exclude", "DATA", "--dismount"});
    EXPECT_NE(done({"exclusions", "--excluded"}).dump().find("\"DATA\""), std::string::npos);
    EXPECT_EQ(volume("DATA")["mounted"], false);
    EXPECT_EQ(status_of({"exclude", "DATA"}), 1);
    (void)done({"exclude", "DATA", "--if-needed"});
    (void)done({"include", "DATA", "--mount"});
    EXPECT_EQ(volume("DATA")["mounted"], true);
    const auto before = done({"filters"});
    (void)done({"filter", "set", "events", "010"});
    EXPECT_EQ(done({"filters"})["filters"][0]["value"], 10);
    (void)done({"filter", "off"});
    EXPECT_EQ(done({"filters"})["filters"][0]["value"], 0);
    (void)done({"filter", "reset"});
    EXPECT_EQ(done({"filters"}), before);
    EXPECT_EQ(status_of({"filter", "set", "nope", "1"}), 1);
}

TEST_F(Acts, ConnectionsAreCleared) {
    const size_t count = connection_count();
    (void)done({"clear", "4", "4", "5"});
    EXPECT_EQ(connection_count(), count - 2);
    EXPECT_EQ(status_of({"clear", "4"}), 1);
    (void)done({"clear", "--not-logged-in"});
    EXPECT_EQ(done({"connections", "--logged-in"})["connections"].size(), connection_count());
    (void)done({"clear", "--all", "--except", "7", "--except", "8"});
    EXPECT_EQ(connection_count(), 2U);
}

TEST_F(Acts, SettingsAndLoginsAreSeen) {
    (void)done({"login", "disable", "--volume", "DATA", "--read-only"});
    EXPECT_EQ(done({"statistics", "logAllowed"})["statistics"][0]["value"], false);
    EXPECT_NE(volume("DATA")["status"].dump().find("read only"), std::string::npos);
    (void)done({"login", "enable"});
    EXPECT_EQ(done({"statistics", "logAllowed"})["statistics"][0]["value"], true);
    (void)done({"set", "FIRST_WATCHDOG_PACKET", "1"});
    EXPECT_EQ(done({"parameters", "FIRST_WATCHDOG_PACKET"})["parameters"][0]["value"], "1");
    (void)done({"configuration", "set", "signingLevel", "3"});
    EXPECT_EQ(done({"configuration"})["configuration"]["signingLevel"], 3);
    (void)done({"cluster", "bind", "VS 1", "10.0.0.7"});
    EXPECT_EQ(done({"cluster", "servers"})["servers"][0]["name"], "VS 1");
    (void)done({"cluster", "unbind", "VS 1", "10.0.0.7"});
    EXPECT_EQ(done({"cluster", "servers"})["servers"].size(), 0U);
}

TEST_F(Acts, ADryRunChangesNothing) {
    const auto shown = done({"remove", "DATA", "--dry-run"})["request"];
    EXPECT_EQ(shown["daemon"], "server");
    EXPECT_NE(shown["document"].dump().find("<volumeName>DATA</volumeName>"), std::string::npos);
    EXPECT_EQ(volume("DATA")["name"], "DATA");
}

TEST_F(Acts, OneArgumentIsOneName) {
    const std::string document =
        done({"dismount", "A B,C", "VOLUME", "A&B", "--dry-run"})["request"]["document"];
    EXPECT_NE(document.find("<volume><name>A B,C</name></volume><volume><name>VOLUME</name>"
                            "</volume><volume><name>A&amp;B</name></volume>"),
              std::string::npos)
        << document;
    const Ran longest = run_zrpctl({"purge", std::string(15, '&'), "--dry-run"});
    EXPECT_EQ(longest.status, 0) << longest.errors;
}

TEST_F(Acts, WrongLinesAreUsageErrors) {
    const Strings lines[] = {
        {"mount"},
        {"mount", "DATA", "--all"},
        {"mount", "DATA", "HOME", "--number", "3"},
        {"mount", "SIXTEEN_BYTES_XX"},
        {"modify", "DATA"},
        {"modify", "DATA", "--grant", "hidden", "--revoke", "hidden"},
        {"modify", "DATA", "--grant", "mounted"},
        {"clear"},
        {"clear", "4", "--all"},
        {"clear", "4", "--except", "5"},
        {"broadcast", "hello", "--to", ""},
        {"broadcast", "hello", "--to="},
        {"broadcast", "hello", "--to"},
        {"broadcast", "hello", "--to", "4", "--to", ""},
        {"broadcast", "hello", "--to", "4,5"},
        {"broadcast", "hello", "--to", "4 5"},
        {"clear", ""},
        {"clear", "--all", "--except", ""},
        {"clear", "--all", "--except="},
        {"mount", "--all="},
        {"broadcast", ""},
        {"set", "FIRST_WATCHDOG_PACKET", ""},
        {"set", "FIRST_WATCHDOG_PACKET", "a\x01"},
        {"login", "disable", "--read-only"},
        {"login", "disable", "--message", std::string(600, 'x')},
        {"log-level", "LOUD"},
        {"send", "/does/not/exist"},
        {"send", "/dev/null"},
        {"diagnostics", "server", "3", "--reset"},
        {"diagnostics", "server", "--reset", "--watch"},
        {"diagnostics", "server", "11"},
        {"diagnostics", "storage", "3"},
        {"diagnostics", "server", "0"},
        {"diagnostics", "server", "nope"},
        {"connections", "--user", "a", "--user", "b"},
        {"files", "--volume", "SIXTEEN_BYTES_XX"},
        {"login", "disable", "--volume", ""},
        {"create", "NEW", ""},
        {"filter", "set", "events", "0x100000000"},
        {"filter", "set", "events", "0x"},
        {"tree", "DATA", "-1"},
        {"volumes", "--watch", "--json", "--yes", "extra"},
        {"mount", "DATA", "--watch"},
        {"help", "volumez"},
    };
    for (const Strings& line : lines) {
        EXPECT_EQ(status_of(line), 2) << line.front() << ' ' << line.back();
    }
}

TEST_F(Acts, WithoutATerminalNothingIsSent) {
    const Ran ran = run_zrpctl({"remove", "DATA"}, {.environment = {}, .input = "y\n"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_NE(ran.errors.find("--yes"), std::string::npos) << ran.errors;
    EXPECT_EQ(volume("DATA")["name"], "DATA");
}

// The same question on a terminal.
int answer(const std::string& keys, const std::string& asked,
           const Strings& words = {"remove", "DATA"}) {
    Strings line = words;
    line.insert(line.begin(), ZRPCTL_PROGRAM);
    harness::Terminal terminal({.columns = 200, .child = {.arguments = line}});
    EXPECT_TRUE(terminal.wait_for(asked)) << terminal.text();
    terminal.type(keys);
    return terminal.wait_for_exit().value_or(harness::ExitStatus{-1, 0}).shell_status();
}

TEST_F(Acts, APersonIsAskedWithWhatHangsOnIt) {
    EXPECT_EQ(answer("n\r", "Remove volume DATA (2 open files)? [y/N]"), 2);
    EXPECT_EQ(answer("\r", "? [y/N]"), 2);
    EXPECT_EQ(answer("\x03", "? [y/N]"), 130);
    EXPECT_EQ(volume("DATA")["name"], "DATA");
    EXPECT_EQ(answer("yes\r", "? [y/N]"), 0);
    EXPECT_EQ(status_of({"volume", "DATA"}), 1);
}

TEST_F(Acts, ThinkingTakesNoTime) {
    harness::Terminal terminal(
        {.child = {.arguments = {ZRPCTL_PROGRAM, "remove", "DATA", "--timeout", "1"}}});
    ASSERT_TRUE(terminal.wait_for("? [y/N] ")) << terminal.text();
    const auto enough = std::chrono::steady_clock::now() + std::chrono::milliseconds(1100);
    ASSERT_TRUE(terminal.wait_until([&] { return std::chrono::steady_clock::now() > enough; }));
    terminal.type("y\r");
    EXPECT_EQ(terminal.wait_for_exit(), harness::ExitStatus{}) << terminal.text();
}

struct Asked {
    Strings words;
    const char* question;
};

const Asked kAsked[] = {
    {{"dismount", "DATA"}, "Dismount volume DATA (2 open files)?"},
    {{"dismount", "--all"}, "Dismount all volumes (75 open files)?"},
    {{"exclude", "DATA", "--dismount"}, "Exclude volume DATA (2 open files)?"},
    {{"clear", "4"}, "Clear connection 4 (jschulz.users.hq.acme, 4 open files)?"},
    {{"clear", "4", "5"}, "Clear 2 connections?"},
    {{"clear", "--all", "--except", "4"}, "Clear all connections but 1 (50 connections)?"},
    {{"clear", "--not-logged-in"}, "Clear the connections without a login (7 connections)?"},
    {{"broadcast", "hello"}, "Send the message to everybody (50 connections)?"},
    {{"unlock", "4"}, "Give up all locks of connection 4 (jschulz.users.hq.acme, 4 open files)?"},
    {{"login", "disable", "--volume", "DATA", "--read-only"},
     "Disable logins and make volume DATA read only?"},
    {{"diagnostics", "storage", "--reset"}, "Reset all counters of the storage daemon?"},
    {{"send", CTL_TESTS "/threads.xml"}, "Send 58 bytes to the server daemon?"},
};

TEST_F(Acts, TheQuestionSaysWhatHangsOnIt) {
    for (const auto& [words, question] : kAsked) {
        EXPECT_EQ(answer("\r", std::string(question) + " [y/N] ", words), 2) << question;
    }
    EXPECT_EQ(volume("DATA")["mounted"], true);
}

// A socket where the system log listens.
class SystemLog {
public:
    SystemLog() {
        harness::add_private_files("/dev", {{"log", ""}});
        unlink("/dev/log");
        sockaddr_un address = {AF_UNIX, "/dev/log"};
        socket_ = harness::Descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }

    SystemLog(const SystemLog&) = delete;
    SystemLog& operator=(const SystemLog&) = delete;
    ~SystemLog() {
        umount2("/dev", MNT_DETACH);
    }

    // The text of each line, without time and program.
    Strings lines() {
        Strings lines;
        char line[1024];
        ssize_t length = 0;
        while ((length = recv(socket_.get(), line, sizeof line, MSG_DONTWAIT)) > 0) {
            const std::string text(line, static_cast<size_t>(length));
            lines.push_back(text.substr(text.find("]: ") + 3));
        }
        return lines;
    }

private:
    harness::Descriptor socket_;
};

TEST_F(Acts, EachLeavesALineInTheSystemLog) {
    ZRP_NEEDS_NAMESPACES();
    SystemLog log;
    (void)done({"dismount", "DATA"});
    EXPECT_EQ(log.lines(), Strings{"root (uid 0): dismount DATA: done"});
    EXPECT_EQ(status_of({"create", "DATA", "/srv/a b", "--number", "9"}), 1);
    EXPECT_EQ(log.lines(), Strings{"root (uid 0): create DATA \"/srv/a b\" --number 9: "
                                   "volume exists: DATA (server daemon, code 17)"});
    EXPECT_EQ(status_of({"mount", "DATA", "NOPE", "A B"}), 1);
    EXPECT_EQ(log.lines(), Strings{"root (uid 0): mount DATA NOPE \"A B\": not mounted: NOPE, A B "
                                   "(server daemon, code 2)"});
    (void)done({"diagnostics", "storage", "--reset"});
    EXPECT_EQ(log.lines(), Strings{"root (uid 0): diagnostics storage --reset: done"});
    (void)done({"mount", "DATA", "--dry-run"});
    (void)done({"volumes"});
    (void)done({"diagnostics", "storage", "13"});
    EXPECT_EQ(run_zrpctl({"remove", "DATA"}).status, 2);
    EXPECT_EQ(status_of({"mount"}), 2);
    EXPECT_EQ(log.lines(), Strings());
}

} // namespace
} // namespace zrp::acts_test
