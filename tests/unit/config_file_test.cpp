#include "common/config/config_file.h"

#include <cstring>
#include <vector>

#include "common/config/config_lines.h"
#include "common/result.h"
#include "tests/unit/config_test_files.h"

namespace zrp::config_file_test {
namespace {

using ConfigFileTest = test::ConfigTest;

std::vector<std::string> lines_of(const std::string& path) {
    const OpenFile file = open_config(path.c_str());
    std::vector<std::string> lines;
    ConfigLine line;
    while (next_line(file.get(), line)) {
        lines.emplace_back(line.text, line.length);
    }
    return lines;
}

} // namespace

TEST_F(ConfigFileTest, LinesIncludeTheirNewline) {
    write("first\n\nlast");
    EXPECT_EQ(lines_of(path), (std::vector<std::string>{"first\n", "\n", "last"}));
}

TEST_F(ConfigFileTest, AnEmptyFileHasNoLine) {
    write("");
    EXPECT_TRUE(lines_of(path).empty());
}

TEST_F(ConfigFileTest, ALongLineIsReadInPiecesOf511Bytes) {
    write(std::string(1200, 'x') + "\nnext\n");
    const std::vector<std::string> lines = lines_of(path);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], std::string(511, 'x'));
    EXPECT_EQ(lines[1], std::string(511, 'x'));
    EXPECT_EQ(lines[2], std::string(178, 'x') + "\n");
    EXPECT_EQ(lines[3], "next\n");
}

TEST_F(ConfigFileTest, ALineOf511BytesLeavesItsNewlineForTheNextPiece) {
    write(std::string(511, 'x') + "\n");
    EXPECT_EQ(lines_of(path), (std::vector<std::string>{std::string(511, 'x'), "\n"}));
}

TEST_F(ConfigFileTest, AZeroByteDoesNotEndALine) {
    const std::string line("a\0b\n", 4);
    write(line + "c\n");
    EXPECT_EQ(lines_of(path), (std::vector<std::string>{line, "c\n"}));
}

TEST(SizeOf, IsUnknownForWhatIsNoFile) {
    EXPECT_EQ(size_of(-1), -1);
}

TEST(SplitWords, StopsAtTheLastWordAndKeepsTheOthers) {
    ConfigWords words = {"", "", "stale"};
    EXPECT_EQ(split_words(" \tone\v\f two\r\n", words, kConfigMaxWords), 2U);
    EXPECT_STREQ(words[0], "one");
    EXPECT_STREQ(words[1], "two");
    EXPECT_STREQ(words[2], "stale");
}

TEST(SplitWords, StopsAtTheRequestedCount) {
    ConfigWords words = {"", "", "stale"};
    EXPECT_EQ(split_words("one two three", words, 2), 2U);
    EXPECT_STREQ(words[2], "stale");
    EXPECT_EQ(split_words("1 2 3 4 5 6", words, kConfigMaxWords), 5U);
    EXPECT_STREQ(words[4], "5");
}

TEST(SplitWords, CutsAWordToItsBuffer) {
    ConfigWords words = {};
    EXPECT_EQ(split_words(std::string(600, 'x').c_str(), words, 1), 1U);
    EXPECT_EQ(strlen(words[0]), 511U);
    EXPECT_STREQ(words[1], "");
}

TEST(SplitWords, BlankTextHasNoWords) {
    ConfigWords words = {};
    EXPECT_EQ(split_words("", words, kConfigMaxWords), 0U);
    EXPECT_EQ(split_words(" \t\n", words, kConfigMaxWords), 0U);
}

TEST_F(ConfigFileTest, ExistsWhenItOpensForReadingAndWriting) {
    write("x");
    int found = -1;
    EXPECT_EQ(ConfigFileExists(path.c_str(), &found), kOk);
    EXPECT_EQ(found, 1);
    EXPECT_EQ(content(), "x");
}

TEST_F(ConfigFileTest, DoesNotExistWhenMissingOrADirectory) {
    for (const std::string& name : {in("missing"), directory}) {
        int found = -1;
        EXPECT_EQ(ConfigFileExists(name.c_str(), &found), kNotFound);
        EXPECT_EQ(found, 0);
    }
    EXPECT_FALSE(test::exists(in("missing"))) << "asking creates nothing";
}

TEST_F(ConfigFileTest, NullArgumentsAreInvalid) {
    int found = -1;
    EXPECT_EQ(ConfigFileExists(nullptr, &found), kInvalid);
    EXPECT_EQ(ConfigFileExists(path.c_str(), nullptr), kInvalid);
    EXPECT_EQ(found, -1);
}

TEST_F(ConfigFileTest, TheModeIsReadableByAllAndWritableByTheOwner) {
    write("x");
    chmod(path.c_str(), 0600);
    SetConfigFileMode(path.c_str());
    EXPECT_EQ(test::mode_of(path), 0644U);
    SetConfigFileMode(nullptr);
}

TEST_F(ConfigFileTest, FixingPermissionsSetsBothFiles) {
    const std::string storage = in("storage.conf");
    write("x");
    test::write_file(storage, "y");
    chmod(path.c_str(), 0666);
    chmod(storage.c_str(), 0600);
    fix_permissions(path.c_str(), storage.c_str());
    EXPECT_EQ(test::mode_of(path), 0644U);
    EXPECT_EQ(test::mode_of(storage), 0644U);
}

TEST_F(ConfigFileTest, FixingPermissionsCreatesNeitherFile) {
    fix_permissions(path.c_str(), in("storage.conf").c_str());
    EXPECT_FALSE(test::exists(path));
    EXPECT_FALSE(test::exists(in("storage.conf")));
}

} // namespace zrp::config_file_test
