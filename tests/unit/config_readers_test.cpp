#include "common/config/config_readers.h"

#include <cstring>

#include "common/config/config_lines.h"
#include "common/result.h"
#include "tests/unit/config_test_files.h"

namespace zrp::config_readers_test {
namespace {

constexpr const char* kUntouched = "untouched";

struct Reading {
    int rc;
    int size;
    std::string text;
};

class GetConfigValueTest : public test::ConfigTest {
protected:
    [[nodiscard]] Reading read(const char* key, int size, const char* defaultText) const {
        char value[1024] = "untouched";
        const int rc = GetConfigValue(path.c_str(), key, value, &size, defaultText);
        return {rc, size, value};
    }

    [[nodiscard]] std::string value_of(const char* key) const {
        const Reading reading = read(key, 1024, nullptr);
        EXPECT_EQ(reading.rc, kOk);
        return reading.text;
    }
};

class GetZrpServerNameTest : public test::ConfigTest {
protected:
    [[nodiscard]] Reading read(int size = 1024) const {
        char name[1024] = "untouched";
        const int rc = read_server_name(path.c_str(), name, &size);
        return {rc, size, name};
    }

    void expect_name(const char* fileContent, const char* name) const {
        SCOPED_TRACE(fileContent);
        write(fileContent);
        const Reading reading = read();
        EXPECT_EQ(reading.rc, kOk);
        EXPECT_EQ(reading.text, name);
    }
};

struct VolumeReading {
    int rc = -1;
    ConfigWord name = "untouched";
    ConfigWord path = "untouched";
    unsigned attributes = ~0U;
};

class GetVolumeEntryTest : public test::ConfigTest {
protected:
    [[nodiscard]] VolumeReading read(unsigned index = 0) const {
        VolumeReading r;
        r.rc = GetVolumeEntry(path.c_str(), index, r.name, &r.path, &r.attributes);
        return r;
    }

    void expect_volume(unsigned index, const char* name, const char* volumePath,
                       unsigned attributes) const {
        const VolumeReading r = read(index);
        EXPECT_EQ(r.rc, kOk);
        EXPECT_STREQ(r.name, name);
        EXPECT_STREQ(r.path, volumePath);
        EXPECT_EQ(r.attributes, attributes);
    }
};

struct ShadowReading {
    int rc = -1;
    ConfigWord name = "untouched";
    ConfigWord path = "untouched";
    ConfigWord word4 = "untouched";
    ConfigWord word5 = "untouched";
};

class GetShadowVolumeEntryTest : public test::ConfigTest {
protected:
    [[nodiscard]] ShadowReading read(unsigned index = 0) const {
        ShadowReading r;
        r.rc = GetShadowVolumeEntry(path.c_str(), index, r.name, &r.path, &r.word4, &r.word5);
        return r;
    }
};

} // namespace

TEST_F(GetConfigValueTest, AMissingFileIsCreatedEmptyAndReadsAsTheDefault) {
    const Reading reading = read("LOG_LEVEL", 64, "WARNING");
    EXPECT_EQ(reading.rc, kOk);
    EXPECT_EQ(reading.text, "WARNING");
    EXPECT_TRUE(test::exists(path));
    EXPECT_EQ(content(), "");
}

TEST_F(GetConfigValueTest, AMissingFileIsCreatedEmptyAndHasNoDataWithoutADefault) {
    const Reading reading = read("LOG_LEVEL", 64, nullptr);
    EXPECT_EQ(reading.rc, kNoData);
    EXPECT_EQ(reading.text, kUntouched);
    EXPECT_EQ(reading.size, 64);
    EXPECT_TRUE(test::exists(path));
}

TEST_F(GetConfigValueTest, AFileThatCannotBeOpenedIsNotFound) {
    int size = 8;
    char value[8] = "";
    EXPECT_EQ(GetConfigValue(directory.c_str(), "KEY", value, &size, "x"), kNotFound);
    EXPECT_EQ(GetConfigValue(in("no/such").c_str(), "KEY", value, &size, "x"), kNotFound);
    EXPECT_STREQ(value, "");
}

TEST_F(GetConfigValueTest, ABufferOfTheValuesLengthIsTooSmallByOne) {
    write("LOG_LEVEL DEBUG\n");
    Reading reading = read("LOG_LEVEL", 5, nullptr);
    EXPECT_EQ(reading.rc, kBufferTooSmall);
    EXPECT_EQ(reading.size, 6);
    EXPECT_EQ(reading.text, kUntouched);

    reading = read("LOG_LEVEL", 6, nullptr);
    EXPECT_EQ(reading.rc, kOk);
    EXPECT_EQ(reading.text, "DEBUG");
}

TEST_F(GetConfigValueTest, ANegativeSizeIsTooSmall) {
    write("KEY v\n");
    const Reading reading = read("KEY", -1, nullptr);
    EXPECT_EQ(reading.rc, kBufferTooSmall);
    EXPECT_EQ(reading.size, 2);
}

TEST_F(GetConfigValueTest, ADefaultThatDoesNotFitIsTooLargeToo) {
    const Reading reading = read("KEY", 7, "WARNING");
    EXPECT_EQ(reading.rc, kBufferTooSmall);
    EXPECT_EQ(reading.size, 8);
    EXPECT_EQ(reading.text, kUntouched);
}

TEST_F(GetConfigValueTest, TheKeyIsCaseSensitive) {
    write("LOG_LEVEL DEBUG\n");
    EXPECT_EQ(read("log_level", 64, nullptr).rc, kNoData);
    EXPECT_EQ(value_of("LOG_LEVEL"), "DEBUG");
}

TEST_F(GetConfigValueTest, TheKeyMustMatchWhole) {
    write("LOG_LEVELS a\nLOG b\nLOG_LEVEL c\n");
    EXPECT_EQ(value_of("LOG_LEVEL"), "c");
}

TEST_F(GetConfigValueTest, TheFirstMatchingLineWins) {
    write("KEY first\nKEY second\n");
    EXPECT_EQ(value_of("KEY"), "first");
}

TEST_F(GetConfigValueTest, ALineOfOneWordIsSkipped) {
    write("KEY\n\n  \nKEY value\n");
    EXPECT_EQ(value_of("KEY"), "value");
}

TEST_F(GetConfigValueTest, TheValueIsTheSecondWordOnly) {
    write(" \tKEY\t\"two words\" more\n");
    EXPECT_EQ(value_of("KEY"), "\"two");
}

TEST_F(GetConfigValueTest, CommentsAreSkippedEvenForAKeyThatLooksLikeOne) {
    write("#KEY a\n;KEY b\n  # KEY c\nKEY d\n");
    EXPECT_EQ(value_of("KEY"), "d");
    EXPECT_EQ(read("#KEY", 64, nullptr).rc, kNoData);
    EXPECT_EQ(read(";KEY", 64, nullptr).rc, kNoData);
}

TEST_F(GetConfigValueTest, ALastLineWithoutANewlineCounts) {
    write("A 1\nKEY value");
    EXPECT_EQ(value_of("KEY"), "value");
}

TEST_F(GetConfigValueTest, TheRestOfALongLineIsALineOfItsOwn) {
    write("# " + std::string(509, 'x') + "KEY hidden\n");
    EXPECT_EQ(value_of("KEY"), "hidden");
}

TEST_F(GetConfigValueTest, NullArgumentsAreInvalid) {
    write("KEY value\n");
    char value[8] = "";
    int size = sizeof value;
    EXPECT_EQ(GetConfigValue(path.c_str(), nullptr, value, &size, nullptr), kInvalid);
    EXPECT_EQ(GetConfigValue(nullptr, "KEY", value, &size, nullptr), kInvalid);
    EXPECT_EQ(GetConfigValue(path.c_str(), "KEY", nullptr, &size, nullptr), kInvalid);
    EXPECT_EQ(GetConfigValue(path.c_str(), "KEY", value, nullptr, nullptr), kInvalid);
}

TEST_F(GetZrpServerNameTest, TheKeyWordsMayBeInAnyCase) {
    expect_name("zrp file server name MyServer\n", "MyServer");
    expect_name("# c\nOTHER x\n ZRP\tFile  SERVER Name MyServer more\n", "MyServer");
}

TEST_F(GetZrpServerNameTest, TheFirstSuchLineWins) {
    expect_name("ZRP FILE SERVER NAME a\nZRP FILE SERVER NAME b\n", "a");
}

TEST_F(GetZrpServerNameTest, OtherLinesAndCommentsDoNotCount) {
    for (const char* line :
         {"# ZRP FILE SERVER NAME x\n", "#ZRP FILE SERVER NAME x\n", ";ZRP FILE SERVER NAME x\n",
          "ZRP FILE SERVER\n", "ZRPFILESERVERNAME x\n", "ZRP FILE SERVER NAMES x\n", ""}) {
        SCOPED_TRACE(line);
        write(line);
        const Reading reading = read();
        EXPECT_EQ(reading.rc, kNoData);
        EXPECT_EQ(reading.text, kUntouched);
    }
}

TEST_F(GetZrpServerNameTest, AShortLineHasTheFifthWordOfAnEarlierLine) {
    expect_name("a b c d Earlier\nx y\nZRP FILE SERVER NAME\n", "Earlier");
    expect_name("# b c d Comment\nZRP FILE SERVER NAME\n", "Comment");
}

TEST_F(GetZrpServerNameTest, AShortLineWithoutAnEarlierFifthWordHasAnEmptyName) {
    expect_name("ZRP FILE SERVER NAME\n", "");
}

TEST_F(GetZrpServerNameTest, ABufferOfTheNamesLengthIsTooSmallByOne) {
    write("ZRP FILE SERVER NAME MyServer\n");
    Reading reading = read(8);
    EXPECT_EQ(reading.rc, kBufferTooSmall);
    EXPECT_EQ(reading.size, 9);
    EXPECT_EQ(reading.text, kUntouched);
    reading = read(9);
    EXPECT_EQ(reading.rc, kOk);
    EXPECT_EQ(reading.text, "MyServer");
}

TEST_F(GetZrpServerNameTest, AFileThatCannotBeOpenedIsNotFound) {
    char name[8] = "";
    int size = sizeof name;
    EXPECT_EQ(read_server_name(directory.c_str(), name, &size), kNotFound);
}

TEST_F(GetZrpServerNameTest, NullArgumentsAreInvalid) {
    char name[8] = "";
    int size = sizeof name;
    EXPECT_EQ(read_server_name(nullptr, name, &size), kInvalid);
    EXPECT_EQ(GetZrpServerName(nullptr, &size), kInvalid);
    EXPECT_EQ(GetZrpServerName(name, nullptr), kInvalid);
}

TEST_F(GetVolumeEntryTest, EntriesAreCountedFromZero) {
    write("VOLUME A /a\n# VOLUME C /c\nvolume B /b\nVOLUME D\nVOLUMES E /e\nVolume F /f\n");
    expect_volume(0, "A", "/a", 0);
    expect_volume(1, "B", "/b", 0);
    expect_volume(2, "F", "/f", 0);
}

TEST_F(GetVolumeEntryTest, AfterTheLastEntryThereIsNoData) {
    write("VOLUME A /a\n");
    const VolumeReading r = read(1);
    EXPECT_EQ(r.rc, kNoData);
    EXPECT_STREQ(r.name, kUntouched);
    EXPECT_STREQ(r.path, kUntouched);
    EXPECT_EQ(r.attributes, 0U) << "cleared before anything else";
}

TEST_F(GetVolumeEntryTest, OptionWordsSetTheirBitsInAnyOrderAndCase) {
    write("VOLUME A /a Enable_Archive_Bit\n"
          "VOLUME B /b enable_archive_bit INHERIT_POSIX_PERMISSIONS\n"
          "VOLUME C /c Inherit_POSIX_Permissions other\n");
    expect_volume(0, "A", "/a", kEnableArchiveBit);
    expect_volume(1, "B", "/b", kEnableArchiveBit | kInheritPosixPermissions);
    expect_volume(2, "C", "/c", kInheritPosixPermissions);
}

TEST_F(GetVolumeEntryTest, AnUnquotedOptionMustMatchWhole) {
    write("VOLUME A /enable_archive_bit xEnable_Archive_Bit Enable_Archive_Bits\n");
    expect_volume(0, "A", "/enable_archive_bit", 0);
}

TEST_F(GetVolumeEntryTest, AQuotedPathMayHoldBlanks) {
    write("VOLUME A \"/my volume\" Inherit_POSIX_Permissions\n");
    expect_volume(0, "A", "/my volume", kInheritPosixPermissions);
}

TEST_F(GetVolumeEntryTest, TheTextBetweenTheFirstAndTheLastQuoteIsThePath) {
    write("VOLUME A \"/my \"own\" volume\" x\n");
    expect_volume(0, "A", "/my \"own\" volume", 0);
}

TEST_F(GetVolumeEntryTest, ASingleQuoteMeansAnEmptyPath) {
    write("VOLUME A \"/open\n");
    expect_volume(0, "A", "", 0);
}

TEST_F(GetVolumeEntryTest, AQuotedPathClearsTheWholeBuffer) {
    write("VOLUME A \"/p\"\n");
    VolumeReading r;
    memset(r.path, '#', sizeof r.path);
    EXPECT_EQ(GetVolumeEntry(path.c_str(), 0, r.name, &r.path, nullptr), kOk);
    const ConfigWord expected = "/p";
    EXPECT_EQ(memcmp(r.path, expected, sizeof expected), 0);
}

TEST_F(GetVolumeEntryTest, AnOptionWithinAQuotedPathSetsItsBit) {
    write("VOLUME A \"/data/enable_archive_bit here\"\n");
    expect_volume(0, "A", "/data/enable_archive_bit here", kEnableArchiveBit);
}

TEST_F(GetVolumeEntryTest, AShortLineHasTheOptionWordsOfAnEarlierLine) {
    write("VOLUME A /a x Enable_Archive_Bit\nVOLUME B /b\n");
    expect_volume(1, "B", "/b", kEnableArchiveBit);
    write("# a b Inherit_POSIX_Permissions\nVOLUME B /b\n");
    expect_volume(0, "B", "/b", kInheritPosixPermissions);
}

TEST_F(GetVolumeEntryTest, WithoutAPathBufferQuotesHaveNoMeaning) {
    write("VOLUME A \"/a b\" Enable_Archive_Bit\nVOLUME B \"/b\" Enable_Archive_Bit\n"
          "VOLUME C \"/enable_archive_bit\"\n");
    ConfigWord name;
    unsigned attributes = 0;
    EXPECT_EQ(GetVolumeEntry(path.c_str(), 0, name, nullptr, &attributes), kOk);
    EXPECT_EQ(attributes, kEnableArchiveBit) << "the fifth word";
    EXPECT_EQ(GetVolumeEntry(path.c_str(), 1, name, nullptr, &attributes), kOk);
    EXPECT_EQ(attributes, kEnableArchiveBit) << "the fourth word";
    EXPECT_STREQ(name, "B");
}

TEST_F(GetVolumeEntryTest, NullAttributesAreSkipped) {
    write("VOLUME A /a Enable_Archive_Bit\nVOLUME B \"/b\"\n");
    ConfigWord name;
    ConfigWord volumePath;
    EXPECT_EQ(GetVolumeEntry(path.c_str(), 0, name, &volumePath, nullptr), kOk);
    EXPECT_STREQ(volumePath, "/a");
    EXPECT_EQ(GetVolumeEntry(path.c_str(), 1, name, &volumePath, nullptr), kOk);
    EXPECT_STREQ(volumePath, "/b");
    EXPECT_EQ(GetVolumeEntry(path.c_str(), 2, name, nullptr, nullptr), kNoData);
}

TEST_F(GetVolumeEntryTest, AFileThatCannotBeOpenedIsNotFound) {
    ConfigWord name = "untouched";
    unsigned attributes = 7;
    EXPECT_EQ(GetVolumeEntry(directory.c_str(), 0, name, nullptr, &attributes), kNotFound);
    EXPECT_EQ(attributes, 0U);
    EXPECT_EQ(GetVolumeEntry(nullptr, 0, name, nullptr, nullptr), kInvalid);
    EXPECT_STREQ(name, kUntouched);
}

TEST_F(GetVolumeEntryTest, TheLongestWordFitsItsBuffer) {
    const std::string longest(511 - strlen("VOLUME N "), 'p');
    write("VOLUME N " + longest + "\n");
    expect_volume(0, "N", longest.c_str(), 0);
}

TEST_F(GetShadowVolumeEntryTest, ReadsAllFiveWords) {
    write("VOLUME A /a\nshadow_volume S /s four five six\n");
    const ShadowReading r = read();
    EXPECT_EQ(r.rc, kOk);
    EXPECT_STREQ(r.name, "S");
    EXPECT_STREQ(r.path, "/s");
    EXPECT_STREQ(r.word4, "four");
    EXPECT_STREQ(r.word5, "five");
}

TEST_F(GetShadowVolumeEntryTest, AWordMayBeOneCharacter) {
    write("SHADOW_VOLUME S /s 4 5\n");
    const ShadowReading r = read();
    EXPECT_STREQ(r.word4, "4");
    EXPECT_STREQ(r.word5, "5");
}

TEST_F(GetShadowVolumeEntryTest, WordsAreClearedBetweenLines) {
    write("SHADOW_VOLUME S /s four five\nSHADOW_VOLUME T /t\n");
    const ShadowReading r = read(1);
    EXPECT_EQ(r.rc, kOk);
    EXPECT_STREQ(r.name, "T");
    EXPECT_STREQ(r.word4, kUntouched);
    EXPECT_STREQ(r.word5, kUntouched);
}

TEST_F(GetShadowVolumeEntryTest, AWordMayFollowTheQuoteDirectly) {
    write("SHADOW_VOLUME S \"/s\"four five\n");
    const ShadowReading r = read();
    EXPECT_STREQ(r.path, "/s");
    EXPECT_STREQ(r.word4, "four");
    EXPECT_STREQ(r.word5, "five");
}

TEST_F(GetShadowVolumeEntryTest, TheWordsAfterAQuotedPathAreReadAgain) {
    write("SHADOW_VOLUME S \"/my shadow path\" four five\n");
    const ShadowReading r = read();
    EXPECT_STREQ(r.path, "/my shadow path");
    EXPECT_STREQ(r.word4, "four");
    EXPECT_STREQ(r.word5, "five");
}

TEST_F(GetShadowVolumeEntryTest, PartsOfAQuotedPathAreNotWords) {
    write("SHADOW_VOLUME S \"/my shadow path\"\nSHADOW_VOLUME T \"/my shadow path\" four\n");
    ShadowReading r = read(0);
    EXPECT_STREQ(r.word4, kUntouched);
    EXPECT_STREQ(r.word5, kUntouched);
    r = read(1);
    EXPECT_STREQ(r.word4, "four");
    EXPECT_STREQ(r.word5, kUntouched);
}

TEST_F(GetShadowVolumeEntryTest, WithoutAPathBufferPartsOfAQuotedPathAreWords) {
    write("SHADOW_VOLUME S \"/a b\" five\n");
    ShadowReading r;
    EXPECT_EQ(GetShadowVolumeEntry(path.c_str(), 0, r.name, nullptr, &r.word4, &r.word5), kOk);
    EXPECT_STREQ(r.word4, "b\"");
    EXPECT_STREQ(r.word5, "five");
}

TEST_F(GetShadowVolumeEntryTest, OutputsMayBeNull) {
    write("SHADOW_VOLUME S \"/a b\" four five\n");
    ConfigWord name;
    EXPECT_EQ(GetShadowVolumeEntry(path.c_str(), 0, name, nullptr, nullptr, nullptr), kOk);
    EXPECT_STREQ(name, "S");
}

TEST_F(GetShadowVolumeEntryTest, OtherLinesDoNotCount) {
    write("VOLUME A /a\n#SHADOW_VOLUME B /b\nSHADOW_VOLUME C\nSHADOW_VOLUMES D /d\n");
    const ShadowReading r = read();
    EXPECT_EQ(r.rc, kNoData);
    EXPECT_STREQ(r.name, kUntouched);
    EXPECT_STREQ(r.path, kUntouched);
}

TEST_F(GetShadowVolumeEntryTest, AFileThatCannotBeOpenedIsNotFound) {
    ConfigWord name;
    EXPECT_EQ(GetShadowVolumeEntry(directory.c_str(), 0, name, nullptr, nullptr, nullptr),
              kNotFound);
    EXPECT_EQ(GetShadowVolumeEntry(nullptr, 0, name, nullptr, nullptr, nullptr), kInvalid);
}

} // namespace zrp::config_readers_test
