// The pages that tools/header_pages.py makes of headers.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/harness/child_process.h"

namespace zrp::header_pages_test {
namespace {

namespace fs = std::filesystem;

class HeaderPages : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "pages-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
        fs::copy(fs::path(ZRP_SOURCES) / "docs/zrpclient.3", folder_);
    }

    void TearDown() override {
        fs::remove_all(folder_);
    }

    // Makes the pages of one header. Returns standard error.
    std::string make(const std::string& header, const std::string& text) {
        fs::create_directories((folder_ / header).parent_path());
        std::ofstream(folder_ / header) << text;
        harness::ChildOptions options;
        options.arguments = {"python3",         ZRP_SOURCES "/tools/header_pages.py",
                             folder_ / "pages", folder_ / "zrpclient.3",
                             folder_,           header};
        options.standardErrors = harness::kPipe;
        harness::ChildProcess child(options);
        std::string errors;
        char buffer[4096];
        for (ssize_t count = 0; (count = read(child.errors().get(), buffer, sizeof buffer)) > 0;) {
            errors.append(buffer, static_cast<size_t>(count));
        }
        EXPECT_EQ(child.wait().value_or(harness::ExitStatus{-1, 0}).code, errors.empty() ? 0 : 1);
        return errors;
    }

    // What the page says of its header.
    [[nodiscard]] std::string page(const std::string& name) const {
        std::ifstream file(folder_ / "pages" / name);
        const std::string text = {std::istreambuf_iterator<char>(file), {}};
        const size_t start = text.find(".SS ");
        return start == text.npos ? "" : text.substr(start, text.find(".SH SEE ALSO") - start);
    }

    fs::path folder_;
};

TEST_F(HeaderPages, HaveDeclarationsAndComments) {
    EXPECT_EQ(make("volume_name.h", "// Names.\n"
                                    "//\n"
                                    "//  1. One\n"
                                    "//     item.\n"
                                    "#pragma once\n"
                                    "#include <cstddef>\n"
                                    "\n"
                                    "namespace zrp {\n"
                                    "\n"
                                    "// Returns -1 for a 'bad' name.\n"
                                    "int Count(const char* name,\n"
                                    "          int length); // of it\n"
                                    "\n"
                                    "} // namespace zrp\n"),
              "");
    EXPECT_EQ(page("zrpclient_volumes.3"), ".SS \"<zrp/volume_name.h>\"\n"
                                           "Names.\n"
                                           ".IP \"1.\" 4\n"
                                           "One item.\n"
                                           ".PP\n"
                                           ".nf\n"
                                           "int Count(const char* name, int length); // of it\n"
                                           ".fi\n"
                                           ".RS 4\n"
                                           "Returns \\-1 for a \\(aqbad\\(aq name.\n"
                                           ".RE\n");
}

TEST_F(HeaderPages, LeaveOutBodiesAndWhatIsPrivate) {
    EXPECT_EQ(make("transport.h", "// Top.\n"
                                  "#pragma once\n"
                                  "namespace zrp {\n"
                                  "namespace detail {\n"
                                  "int Hidden();\n"
                                  "}\n"
                                  "\n"
                                  "class Guard {\n"
                                  "public:\n"
                                  "    explicit Guard(int value = 1)\n"
                                  "        : value_(value) {}\n"
                                  "    Guard(const Guard&) = delete;\n"
                                  "\n"
                                  "    // What was\n"
                                  "    // given.\n"
                                  "    [[nodiscard]] int Value() const {\n"
                                  "        return value_;\n"
                                  "    }\n"
                                  "\n"
                                  "private:\n"
                                  "    int value_;\n"
                                  "};\n"
                                  "\n"
                                  "inline int Twice(int value) {\n"
                                  "    return 2 * value;\n"
                                  "}\n"
                                  "} // namespace zrp\n"),
              "");
    EXPECT_EQ(page("zrpclient_transport.3"), ".SS \"<zrp/transport.h>\"\n"
                                             "Top.\n"
                                             ".PP\n"
                                             ".nf\n"
                                             "class Guard {\n"
                                             "public:\n"
                                             "    explicit Guard(int value = 1);\n"
                                             "\n"
                                             "    // What was given.\n"
                                             "    int Value() const;\n"
                                             "};\n"
                                             ".fi\n"
                                             ".PP\n"
                                             ".nf\n"
                                             "int Twice(int value);\n"
                                             ".fi\n");
}

TEST_F(HeaderPages, AreRefusedForAHeaderInNoFamily) {
    EXPECT_EQ(make("new.h", "#pragma once\n"), "header_pages.py: new.h is in no family\n");
}

TEST_F(HeaderPages, AreRefusedWhenTheOverviewDoesNotNameThem) {
    std::ofstream(folder_ / "zrpclient.3") << ".TH ZRPCLIENT 3 2026-01-02 \"zrptop 0.1.0\" x\n";
    EXPECT_EQ(make("result.h", "#pragma once\n"),
              "header_pages.py: " + (folder_ / "zrpclient.3").string() +
                  " does not name zrpclient_client(3)\n");
}

} // namespace
} // namespace zrp::header_pages_test
