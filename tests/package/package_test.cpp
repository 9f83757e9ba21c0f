// The contents of the installed tree, and the symbols that its libraries export.
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>

#include "tests/package/installed.h"
#include "tests/support/patterns.h"

namespace zrp::package_test {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The paths of all headers below a folder, relative to it.
std::set<std::string> headers_below(const fs::path& folder) {
    std::set<std::string> headers;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".h") {
            headers.insert(fs::relative(entry.path(), folder));
        }
    }
    return headers;
}

// The names that the installed headers declare: every word outside comments after which the name of
// a function or variable can end.
std::set<std::string> declared_names() {
    std::set<std::string> names;
    for (const std::string& header : headers_below(kHeaders)) {
        const std::string text = replace_matches(contents(kHeaders / header), "//[^\n]*", "");
        const char* name = R"((operator\(\)|~?[A-Za-z_]\w*)\s*[(=;{\[])";
        for (const PatternMatch& match : find_matches(text, name)) {
            names.insert(match[1]);
        }
    }
    return names;
}

struct Symbol {
    char kind; // the letter that nm prints
    std::string name;

    // Without arguments and, for an instance of a template, without the result type before the name
    // and "<...>" after it.
    [[nodiscard]] std::string qualified_name() const {
        constexpr std::string_view kCall = "operator()";
        const size_t call = name.find(kCall);
        const size_t end = call != name.npos ? call + kCall.size() : name.find_first_of("(<");
        const std::string front = name.substr(0, end);
        return front.substr(front.rfind(' ') + 1); // the whole text if it has no blank
    }

    // Also without namespace and class.
    [[nodiscard]] std::string own_name() const {
        const std::string qualified = qualified_name();
        const size_t colons = qualified.rfind("::");
        return colons == qualified.npos ? qualified : qualified.substr(colons + 2);
    }
};

// The external symbols that a library defines.
std::vector<Symbol> symbols_of(const fs::path& library, const std::string& table) {
    const Outcome outcome = run({"nm", "-C", "--defined-only", table, library});
    EXPECT_EQ(outcome.status, (harness::ExitStatus{0, 0})) << outcome.output;
    std::vector<Symbol> symbols;
    // Address, kind, name; the name may hold blanks and end with "@@VERSION".
    const char* row = R"([0-9a-f]+ (\w) ([^@\n]+)(@@.*)?\n)";
    for (const PatternMatch& match : find_matches(outcome.output, row)) {
        // Symbols of the address sanitizer and of the version script are not the library's.
        if (match[1] != "A" && !match[2].starts_with("__odr_asan")) {
            symbols.push_back({match[1][0], match[2]});
        }
    }
    EXPECT_GT(symbols.size(), 100U);
    return symbols;
}

std::vector<Symbol> exported_symbols() {
    return symbols_of(kLibraries / "libzrpclient.so", "--dynamic");
}

// The functions and variables of the static library, without instances of inline ones.
std::vector<Symbol> static_symbols() {
    std::vector<Symbol> symbols = symbols_of(kLibraries / "libzrpclient.a", "--extern-only");
    std::erase_if(symbols, [](const Symbol& symbol) {
        return std::string_view("TDBR").find(symbol.kind) == std::string_view::npos;
    });
    return symbols;
}

TEST(Package, ExportsOnlyWhatAnInstalledHeaderDeclares) {
    const std::set<std::string> declared = declared_names();
    for (const Symbol& symbol : exported_symbols()) {
        EXPECT_TRUE(symbol.qualified_name().starts_with("zrp::")) << symbol.name;
        EXPECT_TRUE(declared.contains(symbol.own_name())) << symbol.name;
    }
}

TEST(Package, ExportsAllThatAnInstalledHeaderDeclares) {
    std::set<std::string> exported;
    for (const Symbol& symbol : exported_symbols()) {
        exported.insert(symbol.name);
    }
    const std::set<std::string> declared = declared_names();
    for (const Symbol& symbol : static_symbols()) {
        if (declared.contains(symbol.own_name())) {
            EXPECT_TRUE(exported.contains(symbol.name)) << symbol.name;
        }
    }
}

TEST(Package, TheStaticLibraryDefinesOneNamespace) {
    for (const Symbol& symbol : static_symbols()) {
        EXPECT_TRUE(symbol.qualified_name().starts_with("zrp::")) << symbol.name;
    }
}

TEST(Package, HoldsEveryHeaderThatIsNotInternal) {
    const fs::path sources = fs::path(ZRP_SOURCES) / "common";
    std::set<std::string> expected = headers_below(sources);
    std::erase_if(expected, [&](const std::string& header) {
        return contents(sources / header).find("visibility push(hidden)") != std::string::npos;
    });
    EXPECT_EQ(headers_below(kHeaders), expected);
    EXPECT_TRUE(expected.contains("requests/volume_list.h"));
    EXPECT_FALSE(expected.contains("exchange.h"));
}

TEST(Package, HoldsNoHeaderThatCallsItselfInternal) {
    for (const std::string& header : headers_below(kHeaders)) {
        EXPECT_EQ(contents(kHeaders / header).find("Internal to the library"), std::string::npos)
            << header;
    }
}

TEST(Package, EachHeaderCompilesAlone) {
    for (const std::string& header : headers_below(kHeaders)) {
        const Outcome outcome =
            run({ZRP_COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Wconversion",
                 "-Wshadow", "-Werror", "-fsyntax-only", "-I", kPrefix / "include", "-include",
                 "zrp/" + header, "-x", "c++", "/dev/null"});
        EXPECT_EQ(outcome.status, (harness::ExitStatus{0, 0})) << outcome.output;
    }
}

TEST(Package, ACFileGetsOneClearErrorForAnyHeader) {
    const fs::path source = kInstalled / "one_error.c";
    for (const std::string& header : headers_below(kHeaders)) {
        SCOPED_TRACE(header);
        std::ofstream(source) << "#include <zrp/" << header << ">\n"
                              << "static zrp::Result result = zrp::kOk;\n";
        const Outcome outcome =
            run({ZRP_COMPILER, "-x", "c", "-fsyntax-only", "-I", kPrefix / "include", source});
        EXPECT_NE(outcome.status, (harness::ExitStatus{0, 0}));
        const auto errors = find_matches(outcome.output, "(^|\n)[^\n]*error: [^\n]*");
        ASSERT_EQ(errors.size(), 1U) << outcome.output;
        EXPECT_NE(errors[0][0].find("zrpclient is a C++20 library: compile this file as C++"),
                  std::string::npos)
            << outcome.output;
    }
}

TEST(Package, TheSharedLibraryIsVersioned) {
    const std::string version = ZRP_VERSION;
    const std::string interface = version.substr(0, version.rfind('.'));
    const fs::path link = kLibraries / "libzrpclient.so";
    EXPECT_EQ(fs::read_symlink(link), "libzrpclient.so." + interface);
    EXPECT_EQ(fs::canonical(link).filename(), "libzrpclient.so." + version);
    const Outcome outcome = run({"readelf", "--dynamic", link});
    EXPECT_NE(outcome.output.find("soname: [libzrpclient.so." + interface + "]"), std::string::npos)
        << outcome.output;
}

TEST(Package, HoldsTheManPagesOfWhatItInstalls) {
    const fs::path pages = kPrefix / "share/man";
    EXPECT_TRUE(fs::exists(pages / "man3/zrpclient.3"));
    EXPECT_TRUE(fs::exists(pages / "man8/zrptop.8"));
    EXPECT_TRUE(fs::exists(pages / "man3/zrpclient_volumes.3"));
    EXPECT_TRUE(fs::exists(kPrefix / "sbin/zrptop"));
    // Where they were built.
    EXPECT_EQ(fs::exists(pages / "man1/zrpsim.1"), ZRP_HAS_TOOLS);
    EXPECT_EQ(fs::exists(kPrefix / "bin/zrpsim"), ZRP_HAS_TOOLS);
    EXPECT_EQ(fs::exists(pages / "man8/zrp-exporter.8"), ZRP_HAS_EXPORTER);
    EXPECT_EQ(fs::exists(kPrefix / "bin/zrp-exporter"), ZRP_HAS_EXPORTER);
    EXPECT_EQ(fs::exists(kPrefix / "share/zrp-exporter/prometheus/alerts.yml"), ZRP_HAS_EXPORTER);
    EXPECT_TRUE(fs::exists(kPrefix / "bin/zrpctl"));
    EXPECT_TRUE(fs::exists(kPrefix / "share/zrpctl/zrpctl.schema.json"));
    EXPECT_TRUE(fs::exists(pages / "man1/zrpctl.1"));
    // Where the shells of the distribution look.
    EXPECT_TRUE(fs::exists(kPrefix / "share/bash-completion/completions/zrpctl"));
    EXPECT_TRUE(fs::exists(kPrefix / "share/zsh/vendor-completions/_zrpctl"));
    EXPECT_TRUE(fs::exists(kPrefix / "share/fish/vendor_completions.d/zrpctl.fish"));
}

} // namespace
} // namespace zrp::package_test
