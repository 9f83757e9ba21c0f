#include "common/tags.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/vocabulary.h"

namespace zrp::tags_test {
namespace {

using Group = std::vector<std::string_view>;

const Group kGroups[] = {
    {std::begin(kValueTypes), std::end(kValueTypes)},
    {std::begin(kElementNames), std::end(kElementNames)},
    {std::begin(kDiagnosticNames), std::end(kDiagnosticNames)},
    {std::begin(kCommandNames), std::end(kCommandNames)},
};

// Expects exactly these names, in this order.
void expect_names(const Group& names, const Group& expected) {
    EXPECT_EQ(names.size(), expected.size());
    for (size_t i = 0; i < std::min(names.size(), expected.size()); i++) {
        EXPECT_EQ(names[i], expected[i]) << i;
    }
}

TEST(Tags, TheGroupsHaveTheirSizes) {
    EXPECT_EQ(kGroups[0].size(), 11U);
    EXPECT_EQ(kGroups[1].size(), 366U);
    EXPECT_EQ(kGroups[2].size(), 7U);
    EXPECT_EQ(kGroups[3].size(), 30U);
}

TEST(Tags, EveryNameHasItsSpellingAndPlace) {
    const auto group = [](const auto& names) { return Group(std::begin(names), std::end(names)); };
    expect_names(kGroups[0], group(vocabulary::kValueTypes));
    expect_names(kGroups[1], group(vocabulary::kElementNames));
    expect_names(kGroups[2], group(vocabulary::kDiagnosticNames));
    expect_names(kGroups[3], group(vocabulary::kCommandNames));
}

TEST(Tags, NoNameIsTwiceInAGroup) {
    for (const Group& group : kGroups) {
        EXPECT_EQ(std::set(group.begin(), group.end()).size(), group.size());
    }
}

TEST(Tags, EveryNameIsAWord) {
    for (const Group& group : kGroups) {
        for (const std::string_view name : group) {
            EXPECT_FALSE(name.empty());
            for (const char c : name) {
                EXPECT_TRUE(isalnum(static_cast<unsigned char>(c)) != 0 || c == '_') << name;
            }
        }
    }
}

TEST(Tags, AConstantIsTheOnlySpellingOfItsName) {
    EXPECT_STREQ(tag::volatile_, "volatile");
    EXPECT_STREQ(tag::taskNuber, "taskNuber");
    EXPECT_STREQ(tag::zrpConsoleRequest, "zrpConsoleRequest");
    EXPECT_STREQ(value_type::diffSeconds, "diffSeconds");
    EXPECT_STREQ(value_type::int_, "int");
    EXPECT_STREQ(command::hara_kiri, "hara_kiri");
    EXPECT_STREQ(diagnostic::zrp2bksValue, "zrp2bksValue");
}

} // namespace
} // namespace zrp::tags_test
