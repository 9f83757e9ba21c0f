#include "common/config/config_appenders.h"

#include <sys/syscall.h>
#include <vector>

#include "common/config/config_readers.h"
#include "common/result.h"
#include "tests/unit/config_test_files.h"

namespace zrp::config_appenders_test {
namespace {

using ConfigAppendersTest = test::ConfigTest;

} // namespace

TEST_F(ConfigAppendersTest, EachWriterJoinsItsWordsWithSingleBlanks) {
    const char* file = path.c_str();
    EXPECT_EQ(AppendConfigPair(file, "LOG_LEVEL", "DEBUG"), kOk);
    EXPECT_EQ(AppendConfigLine3(file, "VOLUME", "A", "/a"), kOk);
    EXPECT_EQ(AppendConfigLine4(file, "VOLUME", "B", "/b", "Enable_Archive_Bit"), kOk);
    EXPECT_EQ(AppendConfigLine5(file, "SHADOW_VOLUME", "C", "/c", "four", "five"), kOk);
    EXPECT_EQ(content(), "LOG_LEVEL DEBUG\n"
                         "VOLUME A /a\n"
                         "VOLUME B /b Enable_Archive_Bit\n"
                         "SHADOW_VOLUME C /c four five\n");
}

TEST_F(ConfigAppendersTest, AValueWithABlankIsWrittenInQuotes) {
    const char* file = path.c_str();
    EXPECT_EQ(AppendConfigLine3(file, "VOLUME", "A", "My Volume"), kOk);
    EXPECT_EQ(AppendConfigLine4(file, "VOLUME", "B", "My\tVolume", "x"), kOk);
    EXPECT_EQ(AppendConfigLine5(file, "VOLUME", "C", " ", "x", "y"), kOk);
    EXPECT_EQ(content(), "VOLUME A \"My Volume\"\nVOLUME B \"My\tVolume\" x\nVOLUME C \" \" x y\n");
}

TEST_F(ConfigAppendersTest, AValueWithoutABlankIsNotQuoted) {
    EXPECT_EQ(AppendConfigLine3(path.c_str(), "VOLUME", "A", "MyVolume"), kOk);
    EXPECT_EQ(content(), "VOLUME A MyVolume\n");
}

TEST_F(ConfigAppendersTest, APairIsNeverQuoted) {
    EXPECT_EQ(AppendConfigPair(path.c_str(), "ZRP FILE SERVER NAME", "My Server"), kOk);
    EXPECT_EQ(content(), "ZRP FILE SERVER NAME My Server\n");
}

TEST_F(ConfigAppendersTest, AQuotedPathIsReadBack) {
    EXPECT_EQ(AppendConfigLine4(path.c_str(), "VOLUME", "A", "/my volume", "Enable_Archive_Bit"),
              kOk);
    ConfigWord name;
    ConfigWord volumePath;
    unsigned attributes = 0;
    EXPECT_EQ(GetVolumeEntry(path.c_str(), 0, name, &volumePath, &attributes), kOk);
    EXPECT_STREQ(volumePath, "/my volume");
    EXPECT_EQ(attributes, kEnableArchiveBit);
}

TEST_F(ConfigAppendersTest, AnExistingKeyIsNotReplaced) {
    EXPECT_EQ(AppendConfigPair(path.c_str(), "KEY", "1"), kOk);
    EXPECT_EQ(AppendConfigPair(path.c_str(), "KEY", "2"), kOk);
    EXPECT_EQ(content(), "KEY 1\nKEY 2\n");
}

TEST_F(ConfigAppendersTest, TheFileGetsItsModeWhateverTheUmask) {
    umask(077);
    EXPECT_EQ(AppendConfigPair(path.c_str(), "KEY", "1"), kOk);
    EXPECT_EQ(test::mode_of(path), 0644U);
    chmod(path.c_str(), 0666);
    EXPECT_EQ(AppendConfigPair(path.c_str(), "KEY", "2"), kOk);
    EXPECT_EQ(test::mode_of(path), 0644U);
}

TEST_F(ConfigAppendersTest, ALastLineWithoutANewlineIsEndedFirst) {
    write("A 1");
    EXPECT_EQ(AppendConfigPair(path.c_str(), "B", "2"), kOk);
    EXPECT_EQ(content(), "A 1\nB 2\n");
}

TEST_F(ConfigAppendersTest, ANullWordIsInvalidAndCreatesNothing) {
    const char* file = path.c_str();
    EXPECT_EQ(AppendConfigPair(file, nullptr, "v"), kInvalid);
    EXPECT_EQ(AppendConfigPair(file, "k", nullptr), kInvalid);
    EXPECT_EQ(AppendConfigPair(nullptr, "k", "v"), kInvalid);
    EXPECT_EQ(AppendConfigLine3(file, nullptr, "b", "v"), kInvalid);
    EXPECT_EQ(AppendConfigLine3(file, "a", nullptr, "v"), kInvalid);
    EXPECT_EQ(AppendConfigLine3(file, "a", "b", nullptr), kInvalid);
    EXPECT_EQ(AppendConfigLine4(file, "a", nullptr, "v", "d"), kInvalid);
    EXPECT_EQ(AppendConfigLine4(file, "a", "b", nullptr, "d"), kInvalid);
    EXPECT_EQ(AppendConfigLine4(file, "a", "b", "v", nullptr), kInvalid);
    EXPECT_EQ(AppendConfigLine5(file, nullptr, "b", "v", "d", "e"), kInvalid);
    EXPECT_EQ(AppendConfigLine5(file, "a", "b", nullptr, "d", "e"), kInvalid);
    EXPECT_EQ(AppendConfigLine5(file, "a", "b", "v", "d", nullptr), kInvalid);
    EXPECT_FALSE(test::exists(path));
}

TEST_F(ConfigAppendersTest, AWordWithANewlineIsInvalid) {
    EXPECT_EQ(AppendConfigPair(path.c_str(), "KEY", "v\nOTHER w"), kInvalid);
    EXPECT_EQ(AppendConfigLine3(path.c_str(), "VOLUME\n", "A", "/a"), kInvalid);
    EXPECT_FALSE(test::exists(path));
}

TEST_F(ConfigAppendersTest, ALineThatReadersWouldReadInPiecesIsInvalid) {
    const char* file = path.c_str();
    const std::string bare(511 - 4, 'x');
    const std::string quoted = " " + std::string(511 - 4 - 3, 'x');
    for (const std::string& value : {bare, quoted}) {
        EXPECT_EQ(AppendConfigLine3(file, "a", "b", value.c_str()), kOk);
        const std::string longer = value + "x";
        EXPECT_EQ(AppendConfigLine3(file, "a", "b", longer.c_str()), kInvalid);
        EXPECT_EQ(AppendConfigLine4(file, "a", "b", value.c_str(), "d"), kInvalid);
        EXPECT_EQ(AppendConfigLine5(file, "a", "b", value.c_str(), "d", "e"), kInvalid);
    }
    const std::string huge(100000, 'x');
    EXPECT_EQ(AppendConfigLine3(file, "a", "b", huge.c_str()), kInvalid);
    EXPECT_EQ(AppendConfigPair(file, huge.c_str(), "v"), kInvalid);
    EXPECT_EQ(content(), "a b " + bare + "\na b \"" + quoted + "\"\n");
}

TEST_F(ConfigAppendersTest, TheLongestPairIsReadBackAndALongerOneIsInvalid) {
    const std::string longest(511 - 4, 'x');
    EXPECT_EQ(AppendConfigPair(path.c_str(), "KEY", longest.c_str()), kOk);
    char value[512];
    int size = sizeof value;
    EXPECT_EQ(GetConfigValue(path.c_str(), "KEY", value, &size, nullptr), kOk);
    EXPECT_EQ(value, longest);
    EXPECT_EQ(AppendConfigPair(path.c_str(), "KEY", (longest + "x").c_str()), kInvalid);
    // The newline that ends the line before does not count.
    write("LAST");
    EXPECT_EQ(AppendConfigPair(path.c_str(), "KEY", longest.c_str()), kOk);
    EXPECT_EQ(content(), "LAST\nKEY " + longest + "\n");
}

TEST_F(ConfigAppendersTest, AnEmptyWordThatWouldLeaveItsPlaceToTheNextIsInvalid) {
    const char* file = path.c_str();
    for (const char* empty : {"", " ", "\t"}) {
        EXPECT_EQ(AppendConfigPair(file, empty, "v"), kInvalid);
        EXPECT_EQ(AppendConfigPair(file, "k", empty), kInvalid);
        EXPECT_EQ(AppendConfigLine3(file, empty, "b", "v"), kInvalid);
        EXPECT_EQ(AppendConfigLine3(file, "a", empty, "v"), kInvalid);
    }
    EXPECT_EQ(AppendConfigLine3(file, "a", "b", ""), kInvalid);
    EXPECT_EQ(AppendConfigLine4(file, "a", "b", "", "d"), kInvalid);
    EXPECT_EQ(AppendConfigLine5(file, "a", "b", "", "d", "e"), kInvalid);
    EXPECT_EQ(AppendConfigLine5(file, "a", "b", "v", "", "e"), kInvalid);
    EXPECT_FALSE(test::exists(path));
    EXPECT_EQ(AppendConfigLine4(file, "a", "b", "v", ""), kOk);
    EXPECT_EQ(AppendConfigLine5(file, "a", "b", "v", "", ""), kOk);
    EXPECT_EQ(AppendConfigLine5(file, "a", "b", "v", "d", ""), kOk);
    EXPECT_EQ(content(), "a b v \na b v  \na b v d \n");
}

TEST_F(ConfigAppendersTest, AQuoteThatReadersWouldTakeForOneOfTheirsIsInvalid) {
    const char* file = path.c_str();
    for (const char* quote : {"\"", "x\"y", "\"x\""}) {
        EXPECT_EQ(AppendConfigLine3(file, "VOLUME", "A", quote), kInvalid);
        EXPECT_EQ(AppendConfigLine4(file, "VOLUME", "A", quote, "d"), kInvalid);
        EXPECT_EQ(AppendConfigLine5(file, "VOLUME", "A", quote, "d", "e"), kInvalid);
        EXPECT_EQ(AppendConfigLine3(file, quote, "A", "/a"), kInvalid);
        EXPECT_EQ(AppendConfigLine3(file, "VOLUME", quote, "/a"), kInvalid);
        EXPECT_EQ(AppendConfigLine4(file, "VOLUME", "A", "/a", quote), kInvalid);
        EXPECT_EQ(AppendConfigLine5(file, "VOLUME", "A", "/a", "d", quote), kInvalid);
    }
    EXPECT_FALSE(test::exists(path));
}

TEST_F(ConfigAppendersTest, AQuoteInAQuotedValueIsReadBack) {
    const char* file = path.c_str();
    const char* const values[] = {"/the \"new\" one", "\" \"", "a b\"", "\"a\rb"};
    ConfigWord name;
    ConfigWord volumePath;
    unsigned index = 0;
    for (const char* value : values) {
        EXPECT_EQ(AppendConfigLine5(file, "SHADOW_VOLUME", "A", value, "four", "five"), kOk);
        ConfigWord fourth = "";
        ConfigWord fifth = "";
        EXPECT_EQ(GetShadowVolumeEntry(file, index++, name, &volumePath, &fourth, &fifth), kOk);
        EXPECT_STREQ(volumePath, value);
        EXPECT_STREQ(fourth, "four");
        EXPECT_STREQ(fifth, "five");
    }
    EXPECT_EQ(AppendConfigPair(file, "KEY", "a\"b"), kOk);
    char value[16];
    int size = sizeof value;
    EXPECT_EQ(GetConfigValue(file, "KEY", value, &size, nullptr), kOk);
    EXPECT_STREQ(value, "a\"b");
}

// All texts of up to so many of the characters.
std::vector<std::string> texts_of(const std::string& characters, size_t length) {
    std::vector<std::string> texts = {""};
    for (size_t i = 0; i < texts.size() && texts[i].size() < length; i++) {
        for (const char c : characters) {
            texts.push_back(texts[i] + c);
        }
    }
    return texts;
}

TEST_F(ConfigAppendersTest, WhatIsAcceptedIsReadBack) {
    const char* file = path.c_str();
    const std::vector<std::string> others = texts_of("a\" ", 2);
    int accepted = 0;
    for (const std::string& value : texts_of("a\" \r", 3)) {
        for (const std::string& other : others) {
            for (const std::string& last : {std::string(), other}) {
                std::filesystem::remove(path);
                if (AppendConfigLine5(file, "SHADOW_VOLUME", "V", value.c_str(), other.c_str(),
                                      last.c_str()) != kOk) {
                    EXPECT_FALSE(test::exists(path));
                    continue;
                }
                ConfigWord name;
                ConfigWord volumePath;
                ConfigWord fourth = "";
                ConfigWord fifth = "";
                EXPECT_EQ(GetShadowVolumeEntry(file, 0, name, &volumePath, &fourth, &fifth), kOk);
                EXPECT_EQ(std::string(name), "V");
                EXPECT_EQ(volumePath, value);
                EXPECT_EQ(fourth, other);
                EXPECT_EQ(fifth, last);
                accepted++;
            }
        }
    }
    EXPECT_GT(accepted, 50);
}

TEST_F(ConfigAppendersTest, AWordOfAnEntryThatReadersWouldSplitIsInvalid) {
    const char* file = path.c_str();
    for (const char* split : {"a b", "a\tb", "a\rb", " a"}) {
        EXPECT_EQ(AppendConfigLine3(file, split, "A", "/a"), kInvalid);
        EXPECT_EQ(AppendConfigLine3(file, "VOLUME", split, "/a"), kInvalid);
        EXPECT_EQ(AppendConfigLine4(file, "VOLUME", "A", "/a", split), kInvalid);
        EXPECT_EQ(AppendConfigLine5(file, "VOLUME", "A", "/a", "d", split), kInvalid);
    }
    EXPECT_FALSE(test::exists(path));
}

TEST_F(ConfigAppendersTest, AFileThatCannotBeOpenedIsNotFound) {
    EXPECT_EQ(AppendConfigPair(directory.c_str(), "KEY", "v"), kNotFound);
    EXPECT_EQ(AppendConfigLine3(in("no/such").c_str(), "a", "b", "v"), kNotFound);
}

TEST_F(ConfigAppendersTest, AFullDiskAtAnyByteLeavesTheFileUnchanged) {
    const std::string before = "A 1\nB 2";
    const std::string after = before + "\nVOLUME V \"/my volume\" x y\n";
    for (size_t size = 0; size <= after.size(); size++) {
        SCOPED_TRACE(size);
        write(before);
        const int rc = test::in_child([this, size] {
            test::limit_file_size(size);
            const int result =
                AppendConfigLine5(path.c_str(), "VOLUME", "V", "/my volume", "x", "y");
            return result == kAppendFailed ? 1 : result;
        });
        const bool fits = size == after.size();
        EXPECT_EQ(rc, fits ? 0 : 1);
        EXPECT_EQ(content(), fits ? after : before);
        EXPECT_EQ(test::mode_of(path), 0644U);
    }
}

// The failed write is undone in the file that was opened, whatever the path names by then.
TEST_F(ConfigAppendersTest, AFailedWriteTruncatesTheFileThatWasOpened) {
    write("A 1\n");
    const std::string link = in("link");
    const std::string other = in("other");
    test::write_file(other, "OTHER 1\nOTHER 2\n");
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    const pid_t child = test::stopped_at(SYS_write, [&] {
        test::limit_file_size(6);
        return AppendConfigPair(link.c_str(), "KEY", "v") == kAppendFailed ? 0 : 1;
    });
    if (child < 0) {
        GTEST_SKIP() << "needs tracing";
    }
    ASSERT_EQ(unlink(link.c_str()), 0);
    ASSERT_EQ(symlink(other.c_str(), link.c_str()), 0);
    EXPECT_EQ(test::end_of_stopped(child), 0);
    EXPECT_EQ(content(), "A 1\n");
    EXPECT_EQ(test::read_file(other), "OTHER 1\nOTHER 2\n");
}

TEST_F(ConfigAppendersTest, ADeviceKeepsItsMode) {
    const std::string full = in("full");
    if (!test::make_device(full, 7)) {
        GTEST_SKIP() << "needs root: no device can be made";
    }
    EXPECT_EQ(AppendConfigPair(full.c_str(), "KEY", "v"), kAppendFailed);
    EXPECT_EQ(test::mode_of(full), 0666U);
}

} // namespace zrp::config_appenders_test
