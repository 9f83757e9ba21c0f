#include "common/requests/server_login.h"

#include <string>

#include "common/engine/command.h"
#include "common/heap_text.h"
#include "common/requests/connections.h"
#include "tests/support/exact_block.h"
#include "tests/support/simulated_server.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/operation_faults.h"

namespace zrp::server_login_test {
namespace {

constexpr const char* kEnable =
    "<zrpConsoleRequest pid=\"PID\"><enableLogin>\n<enable/>\n</enableLogin></zrpConsoleRequest>";
constexpr const char* kDisable = "<zrpConsoleRequest pid=\"PID\"><disableLogin>\n<disable/>\n"
                                 "</disableLogin></zrpConsoleRequest>";

TEST(BuildLogin, ASwitchAlone) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildEnableLoginRequest(&length), length), kEnable);
    EXPECT_EQ(built(BuildDisableLoginRequest(&length), length), kDisable);
    EXPECT_EQ(built(BuildLoginRequest({}, &length), length), kEnable);
    EXPECT_EQ(built(BuildLoginRequest({.enable = false}, &length), length), kDisable);
}

TEST(BuildLogin, ASwitchWithAVolumeAndAMessage) {
    uint32_t length = 0;
    EXPECT_EQ(built(BuildLoginRequest({false, "DATA", true, "Repair"}, &length), length),
              "<zrpConsoleRequest pid=\"PID\"><disableLogin>\n<disable/><volume><volumeName>DATA"
              "</volumeName><readOnly>YES</readOnly></volume><message>Repair</message>\n"
              "</disableLogin></zrpConsoleRequest>");
    EXPECT_EQ(built(BuildLoginRequest({true, "DATA", false, nullptr}, &length), length),
              "<zrpConsoleRequest pid=\"PID\"><enableLogin>\n<enable/><volume><volumeName>DATA"
              "</volumeName></volume>\n</enableLogin></zrpConsoleRequest>");
}

TEST(BuildLogin, HostileAndLongTexts) {
    uint32_t length = 0;
    EXPECT_EQ(BuildLoginRequest({true, "<DATA", false, nullptr}, &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(BuildLoginRequest({true, nullptr, false, "a</message>"}, &length), nullptr);
    EXPECT_EQ(errno, EINVAL);
    const std::string fits(300, 'm');
    EXPECT_NE(built(BuildLoginRequest({true, nullptr, false, fits.c_str()}, &length), length),
              "(null)");
    const std::string tooLong(500, 'm');
    EXPECT_EQ(BuildLoginRequest({true, nullptr, false, tooLong.c_str()}, &length), nullptr);
    EXPECT_EQ(errno, ENOMEM);
    {
        const FailingMalloc failing(256);
        EXPECT_EQ(BuildEnableLoginRequest(&length), nullptr);
        EXPECT_EQ(BuildDisableLoginRequest(&length), nullptr);
    }
    const FailingMalloc failing(500);
    EXPECT_EQ(BuildLoginRequest({}, &length), nullptr);
}

using Scan = int (*)(char* reply, int replyLength, int* offset, LoginText& text);

struct LoginRow {
    const char* command;
    Scan scan;
};

const LoginRow kRows[] = {{"enableLogin", ScanEnableLoginReply},
                          {"disableLogin", ScanDisableLoginReply}};

std::string login_reply(const std::string& command, const std::string& content) {
    return " <zrpConsoleReply><" + command + ">" + content + "</" + command + "></zrpConsoleReply>";
}

TEST(ScanLogin, GivesLineAfterLine) {
    for (const LoginRow& row : kRows) {
        std::string text = login_reply(row.command, "<string>first</string>\n<string/><string>" +
                                                        std::string(5000, 'x') + "</string>");
        const auto length = static_cast<int>(text.size());
        int offset = 0;
        LoginText line;
        EXPECT_EQ(row.scan(text.data(), length, &offset, line), kOk);
        EXPECT_STREQ(line, "first");
        EXPECT_EQ(row.scan(text.data(), length, &offset, line), kOk);
        EXPECT_STREQ(line, "");
        EXPECT_EQ(row.scan(text.data(), length, &offset, line), kOk);
        EXPECT_EQ(line, std::string(kLoginTextSize - 1, 'x'));
        EXPECT_EQ(row.scan(text.data(), length, &offset, line), kRange);
        EXPECT_EQ(line, std::string(kLoginTextSize - 1, 'x'));
        offset = length;
        EXPECT_EQ(row.scan(text.data(), length, &offset, line), kRange);
    }
}

TEST(ScanLogin, AnotherReplyIsRefused) {
    for (const LoginRow& row : kRows) {
        for (std::string text : {std::string(), login_reply("threads", "<string>a</string>"),
                                 std::string("<string>a</string>")}) {
            int offset = 0;
            LoginText line;
            EXPECT_EQ(row.scan(text.data(), static_cast<int>(text.size()), &offset, line),
                      kInvalid);
        }
    }
}

TEST(ScanLogin, EveryPrefixIsReadInItsBounds) {
    for (const LoginRow& row : kRows) {
        const std::string text = login_reply(row.command, "<string>a</string>");
        scan_every_prefix(text, [&](char* reply, int length) {
            int offset = 0;
            LoginText line;
            EXPECT_EQ(row.scan(reply, length, &offset, line),
                      static_cast<size_t>(length) < text.size() ? kInvalid : kOk);
        });
    }
}

class SimulatedLogin : public OperationTest {
protected:
    int ask(char* document, uint32_t length, Reply* answer, ErrorText* errorText = nullptr) {
        return send_document(HeapText(document), length, {errorText, log}, answer);
    }

    uint32_t login_state() {
        ServerConnInfo info = {};
        EXPECT_EQ(GetServerConnInfo(&info, nullptr, log), kOk);
        return info.loginState;
    }

    SimulatedServer server;
};

TEST_F(SimulatedLogin, IsDisabledAndEnabled) {
    ASSERT_TRUE(server.ready());
    EXPECT_EQ(login_state(), 1U);
    uint32_t length = 0;
    char* document = BuildDisableLoginRequest(&length);
    Reply answer;
    ASSERT_EQ(ask(document, length, &answer), kOk);
    int offset = 0;
    LoginText line;
    EXPECT_EQ(ScanDisableLoginReply(answer.text.get(), answer.length, &offset, line), kOk);
    EXPECT_STREQ(line, "Login is disabled");
    EXPECT_EQ(login_state(), 0U);

    document = BuildEnableLoginRequest(&length);
    ASSERT_EQ(ask(document, length, &answer), kOk);
    offset = 0;
    EXPECT_EQ(ScanEnableLoginReply(answer.text.get(), answer.length, &offset, line), kOk);
    EXPECT_STREQ(line, "Login is enabled");
    EXPECT_EQ(login_state(), 1U);
}

TEST_F(SimulatedLogin, AVolumeBecomesReadOnlyOrIsRefused) {
    ASSERT_TRUE(server.ready());
    uint32_t length = 0;
    char* document = BuildLoginRequest({false, "SYS", true, "Repair"}, &length);
    Reply answer;
    ASSERT_EQ(ask(document, length, &answer), kOk);
    int offset = 0;
    LoginText line;
    EXPECT_EQ(ScanDisableLoginReply(answer.text.get(), answer.length, &offset, line), kOk);
    EXPECT_STREQ(line, "SYS is read only");

    ErrorText errorText;
    document = BuildLoginRequest({false, "NOSUCH", true, nullptr}, &length);
    EXPECT_EQ(ask(document, length, &answer, &errorText), 2);
    EXPECT_STREQ(errorText, "2 no such volume: NOSUCH");
}

} // namespace
} // namespace zrp::server_login_test
