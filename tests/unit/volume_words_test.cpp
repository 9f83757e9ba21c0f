#include "common/requests/volume_words.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/requests/volume_mounting.h"
#include "common/result.h"

namespace zrp {
namespace {

struct Words {
    std::vector<std::string> found; // "NAME=NUMBER"
    int end;                        // what ended the walk
};

Words words_of(const char* text) {
    Words words = {};
    VolumeWord word;
    while ((words.end = next_volume_word(&text, &word, nullptr)) == kOk) {
        words.found.push_back(std::string(word.name) + "=" + std::to_string(word.number));
    }
    return words;
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
        {"R&D <x> \xC3\xBC", {"R&D=-1", "<x>=-1", "\xC3\xBC=-1"}},
        {"ABCDEFGHIJKLMNO=255", {"ABCDEFGHIJKLMNO=255"}},
    };
    for (const Row& row : rows) {
        const Words words = words_of(row.text);
        EXPECT_EQ(words.found, row.names) << row.text;
        EXPECT_EQ(words.end, kNoData) << row.text;
    }
}

TEST(VolumeWords, WhatIsNoVolumeEndsTheWalk) {
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
    };
    for (const Row& row : rows) {
        const Words words = words_of(row.text);
        EXPECT_EQ(words.found, std::vector<std::string>{"A=-1"}) << row.text;
        EXPECT_EQ(words.end, row.code) << row.text;
    }
}

TEST(VolumeWords, AFailureChangesNothing) {
    const char* text = " B=x";
    const char* const before = text;
    VolumeWord word = {"untouched", 77};
    EXPECT_EQ(next_volume_word(&text, &word, nullptr), kInvalid);
    EXPECT_EQ(text, before);
    EXPECT_STREQ(word.name, "untouched");
    EXPECT_EQ(word.number, 77);
}

TEST(CountVolumeWords, CountsOnlyAWholeList) {
    size_t count = 77;
    EXPECT_EQ(count_volume_words("A, B, volumes C", &count, nullptr), kOk);
    EXPECT_EQ(count, 3U);
    count = 77;
    EXPECT_EQ(count_volume_words(nullptr, &count, nullptr), kInvalid);
    EXPECT_EQ(count_volume_words("", &count, nullptr), kInvalid);
    EXPECT_EQ(count_volume_words("VOLUMES", &count, nullptr), kInvalid);
    EXPECT_EQ(count_volume_words("A B=x", &count, nullptr), kInvalid);
    EXPECT_EQ(count_volume_words("A ABCDEFGHIJKLMNOP", &count, nullptr), kNameTooLong);
    EXPECT_EQ(count, 77U);
}

} // namespace
} // namespace zrp
