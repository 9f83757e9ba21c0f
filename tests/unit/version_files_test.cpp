// The result codes of the searches in the product's files.
#include "screens/version_files.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/result.h"
#include "tests/support/needs.h"
#include "tests/support/private_folder.h"
#include "tools/harness/deadline.h"

namespace zrp::version_files_test {
namespace {

constexpr const char* kTool = "/opt/tool";

class VersionFiles : public testing::Test {
protected:
    void SetUp() override {
        ZRP_NEEDS_NAMESPACES();
        opt.emplace("/opt");
        etc.emplace("/etc");
        std::filesystem::create_directories("/opt/velmora/zrpserv/sbin");
    }

    // Searches a file of that text for the marker of most components.
    int probe(const std::string& contents) {
        opt->write("tool", contents);
        return probeVersionString(kTool, 10, "VeRsIoN = ", text);
    }

    std::vector<std::string> release(const std::string& contents) {
        etc->write("velmora-release", contents);
        std::vector<std::string> lines;
        code = getReleaseLines(&text);
        for (const char* at = text; code == kOk && *at != '\0'; at += lines.back().size() + 1) {
            lines.emplace_back(at);
        }
        return lines;
    }

    std::optional<PrivateFolder> opt;
    std::optional<PrivateFolder> etc;
    VersionText text = "left over";
    int code = -1;
};

TEST(VersionMarkers, BeginTheVersionLines) {
    EXPECT_STREQ(version_markers().engine.text, "VeRsIoZrP = ");
    EXPECT_EQ(version_markers().engine.length, 12U);
    EXPECT_STREQ(version_markers().component.text, "VeRsIoN = ");
    EXPECT_EQ(version_markers().component.length, 10U);
}

TEST_F(VersionFiles, GiveTheTextBehindTheMarker) {
    EXPECT_EQ(probe("some text\nVeRsIoN = 1.2-.3\nVeRsIoN = 4\n"), kOk);
    EXPECT_STREQ(text, "1.2-.3\n");
}

TEST_F(VersionFiles, AMarkerFurtherIntoTheLineIsInvalid) {
    EXPECT_EQ(probe("x VeRsIoN = 1.2\nVeRsIoN = 3\n"), kInvalid);
    EXPECT_STREQ(text, "left over");
}

TEST_F(VersionFiles, WithoutAMarkerGiveTheStatusOfTheCommand) {
    const int status = probe("nothing here\n");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    std::filesystem::remove(kTool);
    EXPECT_NE(probeVersionString(kTool, 10, "VeRsIoN = ", text), kOk);
    EXPECT_STREQ(text, "left over");
}

TEST_F(VersionFiles, ALongVersionIsCutToTheBuffer) {
    EXPECT_EQ(probe("VeRsIoN = " + std::string(8000, 'v') + "\n"), kOk);
    EXPECT_EQ(text, std::string(4095, 'v'));
}

TEST_F(VersionFiles, AFileNameTooLongForACommandIsInvalid) {
    EXPECT_EQ(probeVersionString(std::string(9000, 'f').c_str(), 10, "VeRsIoN = ", text), kInvalid);
}

TEST_F(VersionFiles, AFileIsSearchedAgainOnlyAfterAChange) {
    VersionSearch search;
    auto look = [&] {
        return probe_changed_file(&search, kTool, version_markers().component, text);
    };
    opt->write("tool", "VeRsIoN = 1\n");
    const harness::Deadline deadline(harness::kPatience);
    while (!search.isKnown && !deadline.passed()) {
        ASSERT_EQ(look(), kOk);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    // A search removes the file of its output first.
    opt->write("velmora/zrpserv/sbin/v_e_r_s_i_o_n.txt", "");
    EXPECT_EQ(look(), kOk);
    EXPECT_STREQ(text, "1\n");
    EXPECT_TRUE(std::filesystem::exists("/opt/velmora/zrpserv/sbin/v_e_r_s_i_o_n.txt"));

    opt->write("tool", "VeRsIoN = 2\n");
    EXPECT_EQ(look(), kOk);
    EXPECT_STREQ(text, "2\n");
    EXPECT_FALSE(std::filesystem::exists("/opt/velmora/zrpserv/sbin/v_e_r_s_i_o_n.txt"));

    std::filesystem::remove(kTool);
    EXPECT_EQ(WEXITSTATUS(look()), 1);
    opt->write("tool", "VeRsIoN = 3\n");
    EXPECT_EQ(look(), kOk);
    EXPECT_STREQ(text, "3\n");
}

TEST_F(VersionFiles, AMissingFileIsSearchedAgainOnlyWhenItIsThere) {
    VersionSearch search;
    auto look = [&] {
        return probe_changed_file(&search, kTool, version_markers().component, text);
    };
    EXPECT_EQ(WEXITSTATUS(look()), 1);
    std::filesystem::rename("/opt/velmora/zrpserv/sbin", "/opt/velmora/zrpserv/before");
    std::filesystem::create_directory("/opt/velmora/zrpserv/sbin");
    opt->write("velmora/zrpserv/sbin/v_e_r_s_i_o_n.txt", "");
    EXPECT_EQ(WEXITSTATUS(look()), 1);
    EXPECT_TRUE(std::filesystem::exists("/opt/velmora/zrpserv/sbin/v_e_r_s_i_o_n.txt"));

    opt->write("tool", "VeRsIoN = 1\n");
    EXPECT_EQ(look(), kOk);
    EXPECT_STREQ(text, "1\n");
}

TEST_F(VersionFiles, LeaveNoTemporaryFileBehind) {
    probe("VeRsIoN = 1\n");
    getPlatform(&text);
    EXPECT_TRUE(std::filesystem::is_empty("/opt/velmora/zrpserv/sbin"));
    EXPECT_FALSE(std::filesystem::exists("/opt/velmora/p_i_n_f_o.txt"));
}

TEST_F(VersionFiles, ThePlatformIsWhatUnameSays) {
    EXPECT_EQ(getPlatform(nullptr), kInvalid);
    EXPECT_EQ(getPlatform(&text), kOk);
    EXPECT_TRUE(std::string(text).ends_with("\n")) << text;
    std::filesystem::remove_all("/opt/velmora");
    EXPECT_NE(getPlatform(&text), kOk);
}

long pages_of_children() {
    rusage usage = {};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_minflt;
}

TEST_F(VersionFiles, ThePlatformIsAskedForOnce) {
    PlatformAnswer answer;
    EXPECT_EQ(ask_platform(&answer), kOk);
    EXPECT_EQ(getPlatform(&text), kOk);
    EXPECT_STREQ(answer.text, text);
    const long before = pages_of_children();
    EXPECT_EQ(ask_platform(&answer), kOk);
    EXPECT_EQ(pages_of_children(), before);
}

TEST_F(VersionFiles, WithoutAFolderThePlatformIsAskedForOnce) {
    std::filesystem::remove_all("/opt/velmora");
    PlatformAnswer answer;
    EXPECT_NE(ask_platform(&answer), kOk);
    const long before = pages_of_children();
    EXPECT_NE(ask_platform(&answer), kOk);
    EXPECT_EQ(pages_of_children(), before);
    std::filesystem::create_directories("/opt/velmora");
    EXPECT_EQ(ask_platform(&answer), kOk);
    EXPECT_GT(pages_of_children(), before);
}

TEST_F(VersionFiles, ReleaseLinesAreAListOfStrings) {
    EXPECT_EQ(getReleaseLines(nullptr), kInvalid);
    EXPECT_EQ(getReleaseLines(&text), ENOENT);
    EXPECT_EQ(release("one\ntwo\n"), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(release("\n\none\n\ntwo"), (std::vector<std::string>{"one", "two"}));
}

TEST_F(VersionFiles, AReleaseFileOfEmptyLinesHoldsNothing) {
    release("");
    EXPECT_EQ(code, kNoData);
    release("\n\n");
    EXPECT_EQ(code, kNoData);
}

TEST_F(VersionFiles, AReleaseFileTooLargeForTheBufferIsCut) {
    EXPECT_EQ(release(std::string(20000, 'x')), std::vector<std::string>{std::string(4094, 'x')});
    std::string lines;
    for (int i = 0; i < 3000; i++) {
        lines += "ab\n";
    }
    EXPECT_EQ(release(lines), std::vector<std::string>(1365, "ab"));
    for (const size_t length : {4092U, 4093U, 4094U, 4095U, 4096U}) {
        const auto all = release(std::string(length, 'x') + "\nyy\n");
        EXPECT_EQ(all.at(0), std::string(std::min(length, size_t{4094}), 'x')) << length;
    }
}

} // namespace
} // namespace zrp::version_files_test
