// The monitor shows what another program changes through the library. Both use one simulated
// server.

#include "common/requests/connection_management.h"
#include "common/requests/volume_management.h"
#include "common/requests/volume_mounting.h"
#include "common/result.h"
#include "tests/terminal/session.h"
#include "tests/terminal/simulator.h"

namespace zrp::management_test {
namespace {

// A small server and the monitor. This process is the other program.
class Management : public testing::Test {
protected:
    void SetUp() override {
        ZRP_NEEDS_ROOT();
        ASSERT_EQ(IPCServInit(kMainDaemonSocket), kOk);
        ASSERT_TRUE(wait_for_windows(terminal));
    }

    ~Management() override {
        IPCServTerm();
    }

    // A dialog requests its list when it opens.
    bool open(Key key, const char* prompt) {
        terminal.press(key);
        return terminal.wait_for(prompt) && terminal.wait_for_rest();
    }

    bool quit(const char* prompt) {
        terminal.type("q\r");
        return terminal.wait_until([&] { return !shows(prompt); });
    }

    [[nodiscard]] bool shows(const std::string& text) const {
        return terminal.screen().find_row(text) != -1;
    }

    // Whether the dialog lists the text. Its first entry never changes and shows that it is filled.
    testing::AssertionResult lists(Key key, const char* prompt, const std::string& first,
                                   const std::string& text) {
        const bool opened = open(key, prompt) && shows(first);
        const bool listed = shows(text);
        const std::string screen = terminal.text();
        if (!opened || !quit(prompt)) {
            ADD_FAILURE() << "no dialog:\n" << screen;
        }
        return (listed ? testing::AssertionSuccess() : testing::AssertionFailure()) << screen;
    }

    testing::AssertionResult lists_volume(const std::string& text) {
        return lists(Key::kF3, kVolumeDialog, "0. SYS", text);
    }

    testing::AssertionResult lists_connection(const std::string& text) {
        return lists(Key::kF4, kConnectionDialog, "1. hmeier", text);
    }

    Simulator server{{"--volumes", "6", "--connections", "6"}};
    Terminal terminal{monitor()};
    ErrorText errorText = {};
};

TEST_F(Management, ACreatedVolumeIsListedAndShownUntilItIsRemoved) {
    char name[kVolumeNameSize] = {};
    EXPECT_FALSE(lists_volume("FRESH"));
    ASSERT_EQ(CreateVolume("FRESH", "/mnt/fresh", 0, 200, name, &errorText, nullptr), kOk);
    EXPECT_STREQ(name, "FRESH");
    EXPECT_TRUE(lists_volume("200. FRESH"));
    ASSERT_TRUE(open(Key::kF3, kVolumeDialog));
    terminal.type("200\r");
    EXPECT_TRUE(terminal.wait_for("Volume: FRESH")) << terminal.text();
    EXPECT_TRUE(terminal.wait_for("/mnt/fresh")) << terminal.text();
    ASSERT_EQ(RemoveVolume("FRESH", name, &errorText, nullptr), kOk);
    EXPECT_FALSE(lists_volume("FRESH"));
    expect_clean_end(terminal);
}

int dismounted(void* names, const DismountedVolume& volume) {
    *static_cast<std::string*>(names) += std::string(volume.name) + " ";
    return volume.dismountFailureCode;
}

int mounted(void* names, const MountedVolume& volume) {
    *static_cast<std::string*>(names) += std::string(volume.name) + " ";
    return volume.mountFailureCode;
}

TEST_F(Management, ADismountedVolumeIsNotListedUntilItIsMountedAgain) {
    std::string names;
    EXPECT_TRUE(lists_volume("DATA"));
    ASSERT_EQ(DismountVolumes("DATA", dismounted, &names, &errorText, nullptr), kOk);
    EXPECT_FALSE(lists_volume("DATA"));
    ASSERT_EQ(MountVolumes("DATA", mounted, &names, &errorText, nullptr), kOk);
    EXPECT_TRUE(lists_volume("DATA"));
    EXPECT_EQ(names, "DATA DATA ");
    expect_clean_end(terminal);
}

TEST_F(Management, AClearedConnectionIsNotListed) {
    EXPECT_TRUE(lists_connection("3. oandersson"));
    const int32_t station = 3;
    ASSERT_EQ(ClearConnection({&station, 1}, &errorText, nullptr), kOk);
    EXPECT_FALSE(lists_connection("3. oandersson"));
    expect_clean_end(terminal);
}

} // namespace
} // namespace zrp::management_test
