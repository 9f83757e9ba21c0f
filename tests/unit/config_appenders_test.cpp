#include "common/config/config_appenders.h"

#include "common/config/config_readers.h"
#include "common/result.h"
#include "tests/unit/config_test_files.h"

namespace zrp {
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

TEST_F(ConfigAppendersTest, AValueThatDoesNotFitIsInvalid) {
    const std::string bare(511, 'x');
    const std::string quoted = " " + std::string(508, 'x');
    for (const std::string& value : {bare, quoted}) {
        EXPECT_EQ(AppendConfigLine3(path.c_str(), "a", "b", value.c_str()), kOk);
        const std::string longer = value + "x";
        EXPECT_EQ(AppendConfigLine3(path.c_str(), "a", "b", longer.c_str()), kInvalid);
        EXPECT_EQ(AppendConfigLine4(path.c_str(), "a", "b", longer.c_str(), "d"), kInvalid);
        EXPECT_EQ(AppendConfigLine5(path.c_str(), "a", "b", longer.c_str(), "d", "e"), kInvalid);
    }
    EXPECT_EQ(content(), "a b " + bare + "\na b \"" + quoted + "\"\n");
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

} // namespace zrp
