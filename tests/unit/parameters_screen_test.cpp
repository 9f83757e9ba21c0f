// The results of the Parameters screen's functions.
#include <clocale>
#include <cstdlib>
#include <filesystem>

#include "common/result.h"
#include "screens/parameters.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/screen_fixture.h"
#include "tools/harness/child_process.h"

namespace zrp::parameters_screen_test {
namespace {

constexpr size_t kRequestSize = 1024;

std::string set_reply(const std::string& content) {
    return reply("<zrpConsoleReply><set>" + content + "</set></zrpConsoleReply>");
}

struct CodeCase {
    const char* what;
    std::string bytes;
    int code;
};

class ParametersScreen : public ScreenTest {
protected:
    void TearDown() override {
        clear_parameter_table();
        ScreenTest::TearDown();
    }
};

TEST_F(ParametersScreen, WithoutAWindowIsOutOfRange) {
    EXPECT_EQ(drawParameterLabels(nullptr), kRange);
}

TEST_F(ParametersScreen, TheListHasAResultForEachStep) {
    const CodeCase cases[] = {
        {"one name", set_reply("<name>A</name>"), kOk},
        {"status", kStatusReply, static_cast<int>(kSomeStatus)},
        {"refusal", kRefusalReply, kRefusalCode},
        {"no set element", reply("<zrpConsoleReply><name>A</name></zrpConsoleReply>"), kInvalid},
        {"no name", set_reply(""), kInvalid},
        {"hidden names only", set_reply("<name>Allow_Utf8</name><name>SHADOW_VOLUME</name>"),
         kInvalid},
    };
    for (const CodeCase& c : cases) {
        const Answering daemon({c.bytes});
        EXPECT_EQ(loadParameterList(), c.code) << c.what;
    }
    const FailingMalloc failing(kRequestSize);
    EXPECT_EQ(loadParameterList(), kNoMemory);
}

// In Turkish "i" and "I" are different letters.
TEST_F(ParametersScreen, ATurkishLocaleHidesTheSameNames) {
    std::string folder = testing::TempDir() + "parameters_XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    const harness::ExitStatus compiled =
        harness::ChildProcess({.arguments = {"localedef", "-i", "tr_TR", "-f", "ISO-8859-9",
                                             folder + "/tr_TR.ISO-8859-9"},
                               .standardErrors = harness::kNull})
            .wait()
            .value_or(harness::ExitStatus{1});
    setenv("LOCPATH", folder.c_str(), 1);
    const bool turkish = setlocale(LC_CTYPE, "tr_TR.ISO-8859-9") != nullptr;
    unsetenv("LOCPATH");
    std::filesystem::remove_all(folder);
    if (compiled != harness::ExitStatus{} || !turkish) {
        GTEST_SKIP() << "localedef cannot make the locale";
    }
    const Answering daemon({set_reply("<name>max_file_descriptor_number</name>"
                                      "<name>Zrp_File_Server_Name</name>")});
    EXPECT_EQ(loadParameterList(), kInvalid);
    setlocale(LC_CTYPE, "C");
}

TEST_F(ParametersScreen, AValueHasAResultForEachStepAndKeepsTheOldOneOnFailure) {
    ParameterItem item = {3, 7, "NAME", "old"};
    const CodeCase cases[] = {
        {"status", kStatusReply, static_cast<int>(kSomeStatus)},
        {"refusal", kRefusalReply, kRefusalCode},
        {"no value", set_reply("<name>NAME</name>"), kInvalid},
        {"good", set_reply("<name>NAME</name><string>new</string>"), kOk},
    };
    for (const CodeCase& c : cases) {
        const Answering daemon({c.bytes});
        EXPECT_EQ(fetchParameterValue(&item), c.code) << c.what;
        EXPECT_STREQ(item.value, c.code == kOk ? "new" : "old") << c.what;
    }
    const FailingMalloc failing(kRequestSize);
    EXPECT_EQ(fetchParameterValue(&item), kNoMemory);
}

TEST_F(ParametersScreen, DrawsItsFrameAndSucceedsWhateverTheServerAnswers) {
    const Answering daemon({kRefusalReply});
    EXPECT_EQ(drawParameterLabels(window), kOk);
    EXPECT_EQ(updateParameterWindow(window), kOk);
    EXPECT_EQ(row(1), "");
    EXPECT_EQ(daemon.connections(), 1U) << "no value is requested";
}

TEST_F(ParametersScreen, AValueFollowsItsLabelAndAFailureLeavesIt) {
    const Answering daemon({set_reply("<name>FIRST</name><name>B</name>"),
                            set_reply("<string>1</string>"), kRefusalReply,
                            set_reply("<string>22</string>"), set_reply("<string>3</string>")});
    EXPECT_EQ(drawParameterLabels(window), kOk);
    EXPECT_EQ(updateParameterWindow(window), kOk);
    EXPECT_EQ(row(1), "FIRST = 1");
    EXPECT_EQ(row(2), "B =");
    EXPECT_EQ(updateParameterWindow(window), kOk);
    EXPECT_EQ(row(1), "FIRST = 22");
    EXPECT_EQ(row(2), "B = 3");
}

} // namespace
} // namespace zrp::parameters_screen_test
