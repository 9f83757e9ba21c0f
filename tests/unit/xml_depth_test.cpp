// The depth of a place, which is counted by steps of many bytes, against a count of one byte at a
// time.
#include "common/xml_depth.h"

#include <cerrno>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "common/result.h"
#include "common/thread_limits.h"
#include "common/transport.h"
#include "common/xml_scan.h"
#include "tests/support/exact_block.h"

namespace zrp::xml_depth_test {
namespace {

int64_t plain_depth(const std::string& text, size_t place) {
    int64_t depth = 0;
    for (size_t at = 0; at < place; at++) {
        if (text[at] != '<') {
            continue;
        }
        if (text[at + 1] == '/') {
            depth--;
            at++;
            continue;
        }
        do {
            at++;
        } while (at < text.size() && !ends_name(text[at]));
        depth += at < text.size() && text[at] == '/' ? 0 : 1;
        at -= at < text.size() && text[at] == '<' ? 1 : 0;
    }
    return depth;
}

// From the start to each place that is inside no name, and on from there to the end of the markup.
void expect_plain_depths(const std::string& text) {
    SCOPED_TRACE(text);
    const ExactBlock block(text);
    for (size_t place = 0; place <= text.size(); place++) {
        const char* const position = block.begin() + place;
        if (is_inside_name(block.begin(), position)) {
            continue;
        }
        Depth depth = {block.begin()};
        ASSERT_EQ(count_depth("tag", position, block.end(), &depth), kOk);
        ASSERT_EQ(depth.open, plain_depth(text, place)) << place;
        if (!is_inside_name(block.begin(), block.end())) {
            ASSERT_EQ(count_depth("tag", block.end(), block.end(), &depth), kOk);
            ASSERT_EQ(depth.open, plain_depth(text, text.size())) << place;
        }
    }
}

TEST(Depth, OfMarkupAtEachPlaceOfAStep) {
    for (const char* markup : {"<a>", "</a>", "<a/>", "<a b=\"/\"/>", "a/b", "<a/b>", "</a/b>", "<",
                               "</", ">", "<a<b>", "<a></a>"}) {
        for (size_t before = 0; before < 70; before++) {
            expect_plain_depths(std::string(before, '.') + markup + std::string(40, '.') + " ");
        }
    }
}

TEST(Depth, ANameAtTheEndOfTheRangeIsOpen) {
    const std::string text = "<a/";
    const char* const end = text.data() + strlen("<a");
    Depth depth = {text.data()};
    EXPECT_EQ(count_depth("tag", end, end, &depth), kOk);
    EXPECT_EQ(depth.open, 1);
}

// The tag is skipped after "</", whatever it holds.
TEST(Depth, MarkupInTheSoughtTagIsNotCounted) {
    const std::string text = "</a><b>" + std::string(80, '.');
    const char* const end = text.data() + text.size();
    Depth depth = {text.data()};
    // Not so near the end that it is counted tag by tag anyway.
    EXPECT_EQ(count_depth("a><b", end - 40, end, &depth), kOk);
    EXPECT_EQ(depth.open, -1);
}

// Markup that has to be counted tag by tag.
TEST(Depth, ACountEndsWithAnInterrupt) {
    std::string text;
    while (text.size() < 2 * size_t{kLookDistance}) {
        text += "<a<b>";
    }
    const ExactBlock block(text);
    IPCServInterrupt();
    Depth depth = {block.begin()};
    EXPECT_EQ(count_depth("tag", block.end(), block.end(), &depth), ECANCELED);
    IPCServInit("reset");
    IPCServTerm();
    depth = {block.begin()};
    EXPECT_EQ(count_depth("tag", block.end(), block.end(), &depth), kOk);
    EXPECT_EQ(depth.open, static_cast<int64_t>(text.size() / strlen("<a<b>")));
}

TEST(Depth, OfRandomMarkup) {
    constexpr const char* kPieces[] = {"<a>", "</a>", "<a/>",    "<a b=\"/\">",
                                       "/",   "<",    ">",       "</",
                                       " ",   "a",    ".......", "<![CDATA[x]]>"};
    std::mt19937 random(1); // NOLINT: the same texts in each run
    for (int i = 0; i < 500; i++) {
        std::string text;
        for (size_t left = random() % 40; left > 0; left--) {
            text += kPieces[random() % std::size(kPieces)];
        }
        expect_plain_depths(text + " ");
    }
}

} // namespace
} // namespace zrp::xml_depth_test
