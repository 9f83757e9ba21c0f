// What the installed tree holds, and what the libraries in it export.
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string_view>

#include "tests/package/installed.h"

namespace zrp {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Paths of all headers below a folder, from there on.
std::set<std::string> headers_below(const fs::path& folder) {
    std::set<std::string> headers;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.path().extension() == ".h") {
            headers.insert(fs::relative(entry.path(), folder));
        }
    }
    return headers;
}

// What the installed headers declare: every word outside comments that stands where the name of a
// function or of a variable ends.
std::set<std::string> declared_names() {
    static const std::regex kComment("//[^\n]*");
    static const std::regex kName(R"((operator\(\)|~?[A-Za-z_]\w*)\s*[(=;{\[])");
    std::set<std::string> names;
    for (const std::string& header : headers_below(kHeaders)) {
        const std::string text = std::regex_replace(contents(kHeaders / header), kComment, "");
        for (auto match = std::sregex_iterator(text.begin(), text.end(), kName);
             match != std::sregex_iterator(); match++) {
            names.insert((*match)[1]);
        }
    }
    return names;
}

struct Symbol {
    char kind; // as nm tells it
    std::string name;

    // Without arguments, and without what an instance of a template has more: a result before the
    // name and "<...>" behind it.
    [[nodiscard]] std::string qualified_name() const {
        constexpr std::string_view kCall = "operator()";
        const size_t call = name.find(kCall);
        const size_t end = call != name.npos ? call + kCall.size() : name.find_first_of("(<");
        const std::string front = name.substr(0, end);
        return front.substr(front.rfind(' ') + 1); // the whole of it without a blank
    }

    // Without namespace and class, too.
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
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);) {
        // Address, kind, name; the name may hold blanks and end with "@@VERSION".
        static const std::regex kRow(R"([0-9a-f]+ (\w) ([^@]+)(@@.*)?)");
        std::smatch match;
        // What the address sanitizer and a version add is not the library's own.
        if (std::regex_match(line, match, kRow) && match[1] != "A" &&
            !match[2].str().starts_with("__odr_asan")) {
            symbols.push_back({match[1].str()[0], match[2]});
        }
    }
    EXPECT_GT(symbols.size(), 100U);
    return symbols;
}

std::vector<Symbol> exported_symbols() {
    return symbols_of(kLibraries / "libzrpclient.so", "--dynamic");
}

// Functions and variables of the static library, instances of inline ones left out.
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

TEST(Package, TheStaticLibraryStandsInOneNamespace) {
    for (const Symbol& symbol : static_symbols()) {
        EXPECT_TRUE(symbol.qualified_name().starts_with("zrp::")) << symbol.name;
    }
}

TEST(Package, HoldsEveryHeaderButThoseThatAreInternal) {
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
    EXPECT_FALSE(fs::exists(pages / "man1/zrpsim.1"));
    EXPECT_TRUE(fs::exists(kPrefix / "sbin/zrptop"));
}

} // namespace
} // namespace zrp
