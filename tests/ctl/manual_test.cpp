// The man page against the table of commands.
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "ctl/command.h"
#include "ctl/failure.h"

namespace zrp::manual_test {
namespace {

std::string manual() {
    std::ifstream file(CTL_MANUAL);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// As the page writes it.
std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        out += c == '-' ? "\\-" : c == '"' ? "\\(dq" : c == '\'' ? "\\(aq" : std::string(1, c);
    }
    return out;
}

TEST(Manual, EachCommandHasAParagraphWithItsArgumentsAndExample) {
    const std::string page = manual();
    for (const ctl::Command& command : ctl::commands()) {
        const size_t start = page.find(".TP\n\\fB" + escaped(command.name) + "\\fP");
        ASSERT_NE(start, page.npos) << command.name;
        const size_t end = page.find(escaped(command.example) + '\n', start);
        ASSERT_NE(end, page.npos) << command.name;
        const std::string paragraph = page.substr(start, end - start);
        for (const ctl::Argument& argument : command.arguments) {
            EXPECT_NE(paragraph.find(escaped(argument.name)), paragraph.npos)
                << command.name << ' ' << argument.name;
        }
    }
}

TEST(Manual, EachOptionAndExitStatusIsThere) {
    const std::string page = manual();
    for (const ctl::CommonOption& option : ctl::common_options()) {
        EXPECT_NE(page.find(escaped(option.name)), page.npos) << option.name;
    }
    for (const ctl::ExitStatus& row : ctl::exit_statuses()) {
        EXPECT_NE(page.find(".TP\n.B " + std::to_string(row.status) + '\n'), page.npos);
    }
}

} // namespace
} // namespace zrp::manual_test
