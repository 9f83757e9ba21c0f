#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/requests/volume_mounting.h"
#include "common/result.h"
#include "tests/support/patterns.h"

namespace zrp::volume_words_test {
namespace {

// The volumes of a request, each as "NAME=NUMBER"; empty when the text is refused.
std::vector<std::string> volumes_of(const char* text) {
    uint32_t length = 0;
    errno = 0;
    const HeapText document(BuildMountVolumesRequest(text, &length));
    std::vector<std::string> volumes;
    if (document == nullptr) {
        EXPECT_EQ(errno, EINVAL) << text;
        return volumes;
    }
    const std::string request(document.get(), length);
    const char* volume = "<volume><name>([^<]*)</name><volumeNumber>([^<]*)</";
    for (const PatternMatch& match : find_matches(request, volume)) {
        volumes.push_back(match[1] + "=" + match[2]);
    }
    return volumes;
}

TEST(VolumeWords, NamesAreTakenApart) {
    struct Row {
        const char* text;
        std::vector<std::string> names;
    };
    const Row rows[] = {
        {"", {}},
        {" ,;: \t\r\n", {}},
        {"DATA", {"DATA=-1"}},
        {"DATA,HOME;SYS:LAB OTHER\nX",
         {"DATA=-1", "HOME=-1", "SYS=-1", "LAB=-1", "OTHER=-1", "X=-1"}},
        {"  DATA  ,  HOME  ", {"DATA=-1", "HOME=-1"}},
        {"VOLUME DATA", {"DATA=-1"}},
        {"volumes DATA, Volume HOME", {"DATA=-1", "HOME=-1"}},
        {"VOLUME VOLUMES", {}},
        {"VOLUMES1 VOL", {"VOLUMES1=-1", "VOL=-1"}},
        {"DATA=7 HOME=0 X=-1", {"DATA=7", "HOME=0", "X=-1"}},
        {"A=2147483647,B=-2147483648", {"A=2147483647", "B=-2147483648"}},
        {"VOLUME=3", {"VOLUME=3"}},
        {"a>b \xC3\xBC", {"a>b=-1", "\xC3\xBC=-1"}},
        {"ABCDEFGHIJKLMNO=255", {"ABCDEFGHIJKLMNO=255"}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(volumes_of(row.text), row.names) << row.text;
    }
}

TEST(VolumeWords, AMalformedWordRefusesTheWholeText) {
    struct Row {
        const char* text;
        int code;
    };
    const Row rows[] = {
        {"A ABCDEFGHIJKLMNOP", kNameTooLong},
        {"A ABCDEFGHIJKLMNOP=1", kNameTooLong},
        {"A =5", kInvalid},
        {"A B=", kInvalid},
        {"A B=x", kInvalid},
        {"A B=5x", kInvalid},
        {"A B=1=2", kInvalid},
        {"A B=2147483648", kInvalid},
        {"A B= 5", kInvalid},
        {"A R&D", kInvalid},
        {"VOLUMES", kInvalid},
    };
    const auto ignore = [](void*, const MountedVolume&) { return 0; };
    for (const Row& row : rows) {
        EXPECT_EQ(volumes_of(row.text), std::vector<std::string>{}) << row.text;
        EXPECT_EQ(MountVolumes(row.text, ignore, nullptr, nullptr, nullptr), row.code) << row.text;
    }
    EXPECT_EQ(MountVolumes(nullptr, ignore, nullptr, nullptr, nullptr), kInvalid);
}

} // namespace
} // namespace zrp::volume_words_test
