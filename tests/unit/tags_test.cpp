#include "common/tags.h"

#include <cctype>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace zrp {
namespace {

using Group = std::vector<std::string_view>;

const Group kGroups[] = {
    {std::begin(kValueTypes), std::end(kValueTypes)},
    {std::begin(kElementNames), std::end(kElementNames)},
    {std::begin(kDiagnosticNames), std::end(kDiagnosticNames)},
    {std::begin(kCommandNames), std::end(kCommandNames)},
};

TEST(Tags, TheGroupsHaveTheirSizes) {
    EXPECT_EQ(kGroups[0].size(), 11U);
    EXPECT_EQ(kGroups[1].size(), 366U);
    EXPECT_EQ(kGroups[2].size(), 7U);
    EXPECT_EQ(kGroups[3].size(), 30U);
}

TEST(Tags, NoNameStandsTwiceInAGroup) {
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

TEST(Tags, ElementNamesStandInTheOrderOfTheVocabulary) {
    const struct {
        size_t index;
        std::string_view name;
    } kPlaces[] = {{0, "accessControl"}, {50, "dcNormalOpenCount"},
                   {100, "getPoolInfo"}, {154, "mountVolumes"},
                   {155, "name"},        {200, "parentFullPath"},
                   {230, "resource"},    {231, "result"},
                   {250, "server"},      {290, "usedSize"},
                   {300, "versionTag"},  {330, "peakAverageSSGThreadLoad"},
                   {365, "IP"}};
    for (const auto& place : kPlaces) {
        EXPECT_EQ(kElementNames[place.index], place.name);
    }
}

TEST(Tags, AConstantIsItsNamesOnlySpelling) {
    EXPECT_STREQ(tag::volatile_, "volatile");
    EXPECT_STREQ(tag::taskNuber, "taskNuber");
    EXPECT_STREQ(tag::zrpConsoleRequest, "zrpConsoleRequest");
    EXPECT_STREQ(value_type::diffSeconds, "diffSeconds");
    EXPECT_STREQ(value_type::int_, "int");
    EXPECT_STREQ(command::hara_kiri, "hara_kiri");
    EXPECT_STREQ(diagnostic::zrp2bksValue, "zrp2bksValue");
}

} // namespace
} // namespace zrp
