#include <string>

#include <gtest/gtest.h>

#include "common/requests/volume_information.h"

namespace zrp::volume_status_test {
namespace {

std::string words(uint32_t status) {
    char text[kVolumeStatusTextSize];
    formatVolumeStatus(status, text);
    return text;
}

TEST(FormatVolumeStatus, AStatusOfZeroIsDismountedAlone) {
    EXPECT_EQ(words(0), "dismounted ");
}

TEST(FormatVolumeStatus, OnlineStandsBeforeMounted) {
    EXPECT_EQ(words(0x3), "online mounted ");
}

TEST(FormatVolumeStatus, ActivatingStandsBeforeMountedAndHiddenBeforeBks) {
    EXPECT_EQ(words(0x6), "activating mounted ");
    EXPECT_EQ(words(0xC0000002), "mounted hidden BKS ");
}

struct Word {
    uint32_t bit;
    const char* text;
};

TEST(FormatVolumeStatus, EachBitHasItsWord) {
    const Word cases[] = {
        {0x1, "online dismounted "},
        {0x2, "mounted "},
        {0x4, "activating dismounted "},
        {0x8, "dismounted \"being mounted\" "},
        {0x10000, "dismounted \"read only\" "},
        {0x1000000, "dismounted \"data migration\" "},
        {0x2000000, "dismounted compression "},
        {0x4000000, "dismounted sub-allocation "},
        {0x8000000, "dismounted \"immediate purge\" "},
        {0x80000000, "dismounted hidden "},
        {0x40000000, "dismounted BKS "},
        {0x800000, "dismounted \"cluster resource\" "},
        {0x20000000, "dismounted \"manage volume\" "},
        {0x80000, "dismounted \"user quotas\" "},
        {0x100000, "dismounted \"directory quotas\" "},
        {0x200000, "dismounted salvageable "},
        {0x2000, "dismounted \"posix permissions\" "},
        {0x10, "dismounted "}, // without a word
    };
    for (const Word& c : cases) {
        EXPECT_EQ(words(c.bit), c.text) << std::hex << c.bit;
    }
}

TEST(FormatVolumeStatus, AllBitsFitInTheirOrder) {
    EXPECT_EQ(words(0xFFFFFFFF),
              "online activating mounted \"being mounted\" \"read only\" \"data migration\" "
              "compression sub-allocation \"immediate purge\" hidden BKS \"cluster resource\" "
              "\"manage volume\" \"user quotas\" \"directory quotas\" salvageable "
              "\"posix permissions\" ");
}

} // namespace
} // namespace zrp::volume_status_test
