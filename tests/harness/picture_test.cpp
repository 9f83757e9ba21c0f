#include "tools/harness/picture.h"

#include <gtest/gtest.h>

namespace zrp::harness::picture_test {
namespace {

// What is drawn of a small screen that received these bytes, without the first three lines, which
// are always the same.
std::string drawn(std::string_view bytes, int rows = 2, int columns = 8) {
    TerminalScreen screen(rows, columns);
    screen.feed(bytes);
    const std::string svg = draw_svg(screen.snapshot(), "title");
    size_t at = 0;
    for (int line = 0; line < 3; line++) {
        at = svg.find('\n', at) + 1;
    }
    return svg.substr(at);
}

TEST(Picture, ABlankScreenIsItsBackground) {
    EXPECT_EQ(
        draw_svg(TerminalScreen(2, 8).snapshot(), "a < b"),
        R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="-10 -10 116 68" font-family="monospace" font-size="20">
<title>a &lt; b</title>
<rect x="-10" y="-10" width="116" height="68" fill="#000000"/>
</svg>
)");
}

TEST(Picture, TextIsDrawnInItsCells) {
    EXPECT_EQ(drawn("\x1b[2;3Hab c"),
              "<text x=\"24\" y=\"42\" textLength=\"48\" fill=\"#e5e5e5\">ab c</text>\n</svg>\n");
}

TEST(Picture, TwoBlanksSeparateTexts) {
    EXPECT_EQ(drawn("a  b"),
              "<text x=\"0\" y=\"18\" textLength=\"12\" fill=\"#e5e5e5\">a</text>\n"
              "<text x=\"36\" y=\"18\" textLength=\"12\" fill=\"#e5e5e5\">b</text>\n</svg>\n");
}

TEST(Picture, AnotherLookSeparatesTexts) {
    EXPECT_EQ(drawn("a\x1b[31mb\x1b[1mc\x1b[0;4md"),
              "<text x=\"0\" y=\"18\" textLength=\"12\" fill=\"#e5e5e5\">a</text>\n"
              "<text x=\"12\" y=\"18\" textLength=\"12\" fill=\"#cd0000\">b</text>\n"
              "<text x=\"24\" y=\"18\" textLength=\"12\" fill=\"#cd0000\" "
              "font-weight=\"bold\">c</text>\n"
              "<text x=\"36\" y=\"18\" textLength=\"12\" fill=\"#e5e5e5\" "
              "text-decoration=\"underline\">d</text>\n</svg>\n");
}

TEST(Picture, MarkupIsEscaped) {
    EXPECT_EQ(drawn("<&>"), "<text x=\"0\" y=\"18\" textLength=\"36\" fill=\"#e5e5e5\">"
                            "&lt;&amp;&gt;</text>\n</svg>\n");
}

TEST(Picture, AWideCharacterLeavesTheOthersInPlace) {
    EXPECT_EQ(drawn("a\u6771b"),
              "<text x=\"0\" y=\"18\" textLength=\"12\" fill=\"#e5e5e5\">a</text>\n"
              "<text x=\"12\" y=\"18\" textLength=\"24\" fill=\"#e5e5e5\">\u6771</text>\n"
              "<text x=\"36\" y=\"18\" textLength=\"12\" fill=\"#e5e5e5\">b</text>\n</svg>\n");
}

TEST(Picture, EqualBackgroundsAreOneRectangle) {
    EXPECT_EQ(drawn("\x1b[44m\x1b[1;2H   \x1b[2;2H   "),
              "<rect x=\"12\" y=\"0\" width=\"36\" height=\"48\" fill=\"#0000ee\"/>\n</svg>\n");
}

TEST(Picture, DifferentBackgroundsAreSeparateRectangles) {
    EXPECT_EQ(drawn("\x1b[44m  \x1b[46m \x1b[44m\x1b[2;1H "),
              "<rect x=\"0\" y=\"0\" width=\"24\" height=\"24\" fill=\"#0000ee\"/>\n"
              "<rect x=\"24\" y=\"0\" width=\"12\" height=\"24\" fill=\"#00cdcd\"/>\n"
              "<rect x=\"0\" y=\"24\" width=\"12\" height=\"24\" fill=\"#0000ee\"/>\n</svg>\n");
}

TEST(Picture, ReverseSwapsTheColours) {
    EXPECT_EQ(drawn("\x1b[7ma"),
              "<rect x=\"0\" y=\"0\" width=\"12\" height=\"24\" fill=\"#e5e5e5\"/>\n"
              "<text x=\"0\" y=\"18\" textLength=\"12\" fill=\"#000000\">a</text>\n</svg>\n");
}

TEST(Picture, KnowsTheColoursBeyondThePalette) {
    EXPECT_NE(drawn("\x1b[38;5;208ma").find("#ff8700"), std::string::npos);
    EXPECT_NE(drawn("\x1b[38;5;255ma").find("#eeeeee"), std::string::npos);
    EXPECT_NE(drawn("\x1b[38;2;1;2;3ma").find("#010203"), std::string::npos);
}

TEST(Picture, FramesAreLinesThatJoin) {
    EXPECT_EQ(drawn("\u250c\u2500\u2510\r\n\u2502 \u2502\r\n\u2514\u2500\u2518", 3),
              "<path stroke=\"#e5e5e5\" stroke-width=\"2\" stroke-linecap=\"square\" "
              "d=\"M6 12H30M6 60H30M6 12V60M30 12V60\"/>\n</svg>\n");
}

TEST(Picture, AFrameOfAnotherColourIsASeparateLine) {
    EXPECT_EQ(drawn("\u2500\x1b[31m\u2500"),
              "<path stroke=\"#cd0000\" stroke-width=\"2\" stroke-linecap=\"square\" "
              "d=\"M12 12H24\"/>\n"
              "<path stroke=\"#e5e5e5\" stroke-width=\"2\" stroke-linecap=\"square\" "
              "d=\"M0 12H12\"/>\n</svg>\n");
}

TEST(Picture, TextBesideAFrameIsNotPartOfIt) {
    EXPECT_EQ(drawn("\u2502a \u2502"),
              "<path stroke=\"#e5e5e5\" stroke-width=\"2\" stroke-linecap=\"square\" "
              "d=\"M6 0V24M42 0V24\"/>\n"
              "<text x=\"12\" y=\"18\" textLength=\"12\" fill=\"#e5e5e5\">a</text>\n</svg>\n");
}

} // namespace
} // namespace zrp::harness::picture_test
