#include "exporter/label_text.h"

#include <string>

#include <gtest/gtest.h>

namespace zrp::exporter::label_text_test {
namespace {

TEST(LabelText, KeepsCharactersOfEveryLength) {
    EXPECT_EQ(LabelText("DATA \xC3\x9C \xE6\x9D\xB1 \xF0\x9F\x98\x80"),
              "DATA \xC3\x9C \xE6\x9D\xB1 \xF0\x9F\x98\x80");
}

TEST(LabelText, ResolvesEntities) {
    EXPECT_EQ(LabelText("A&amp;B &lt;&quot;"), "A&B <\"");
}

TEST(LabelText, ReplacesEachByteThatIsNoUtf8) {
    const std::string replaced = "\xEF\xBF\xBD";
    EXPECT_EQ(LabelText("a\xFFz"), "a" + replaced + "z");
    EXPECT_EQ(LabelText("a\xC3"), "a" + replaced);                        // cut short
    EXPECT_EQ(LabelText("\xC0\x80"), replaced + replaced);                // longer than needed
    EXPECT_EQ(LabelText("\xED\xA0\x80"), replaced + replaced + replaced); // half of a pair
    EXPECT_EQ(LabelText("\xF4\x90\x80\x80"), replaced + replaced + replaced + replaced);
    EXPECT_EQ(LabelText("\xC3(z"), replaced + "(z");
}

TEST(LabelText, ReplacesWhatCouldBeALine) {
    const std::string replaced = "\xEF\xBF\xBD";
    EXPECT_EQ(LabelText("a\nb\rc"), "a" + replaced + "b" + replaced + "c");
    EXPECT_EQ(LabelText(std::string_view("a\0b\x7F", 4)), "a" + replaced + "b" + replaced);
    EXPECT_EQ(LabelText("a\xE2\x80\xA8"
                        "b\xC2\x85"),
              "a" + replaced + replaced + replaced + "b" + replaced + replaced);
}

TEST(LabelText, CutsWithoutSplittingACharacter) {
    EXPECT_EQ(LabelText(std::string(200, 'x')), std::string(128, 'x'));
    EXPECT_EQ(LabelText(std::string(127, 'x') + "\xC3\x9C"), std::string(127, 'x'));
    EXPECT_EQ(LabelText(std::string(126, 'x') + "\xC3\x9C"), std::string(126, 'x') + "\xC3\x9C");
}

} // namespace
} // namespace zrp::exporter::label_text_test
