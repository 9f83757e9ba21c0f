// scripts/version and scripts/release in a small repository: what they refuse, and what they make.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/harness/child_process.h"

namespace zrp::release_test {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void replace(const fs::path& path, const std::string& from, const std::string& to) {
    std::string text = contents(path);
    const size_t at = text.find(from);
    ASSERT_NE(at, text.npos) << path << ": " << from;
    std::ofstream(path) << text.replace(at, from.size(), to);
}

struct Outcome {
    int status = -1;
    std::string errors;
};

// A repository with all that has a version, where checks and packages only leave a word.
class Release : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "release-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        tree_ = name;
        const fs::path sources = ZRP_SOURCES;
        for (const char* folder : {"scripts", "docs", "debian/tests"}) {
            fs::create_directories(tree_ / folder);
        }
        for (const char* file : {"CMakeLists.txt", "CHANGELOG.md", ".gitignore", "scripts/lib.sh",
                                 "scripts/version", "scripts/release"}) {
            fs::copy(sources / file, tree_ / file);
        }
        fs::copy(sources / "debian", tree_ / "debian",
                 fs::copy_options::recursive | fs::copy_options::overwrite_existing);
        for (const auto& entry : fs::directory_iterator(sources / "docs")) {
            if (entry.path().extension().string().size() == 2) {
                fs::copy(entry.path(), tree_ / "docs");
            }
        }
        write_script("test", "echo test >>build/done");
        write_script("packages", "echo \"packages $1\" >>build/done; mkdir build/packages; "
                                 "echo tar >build/packages/zrptop_$(scripts/version).orig.tar.gz; "
                                 "echo deb >build/packages/zrptop.deb");
        run({"git", "init", "-q"});
        commit();
        old_ = version();
    }

    void TearDown() override {
        fs::remove_all(tree_);
    }

    Outcome run(std::vector<std::string> words) const {
        harness::ChildOptions options;
        options.arguments = std::move(words);
        options.directory = tree_;
        options.environment = {"GIT_CONFIG_GLOBAL=/dev/null", "GIT_CONFIG_SYSTEM=/dev/null",
                               "GIT_DIR", "GIT_WORK_TREE", "GIT_INDEX_FILE"};
        options.standardInput = harness::kNull;
        options.standardOutput = harness::kNull;
        options.standardErrors = harness::kPipe;
        harness::ChildProcess child(options);
        Outcome outcome;
        char buffer[4096];
        for (ssize_t count = 0; (count = read(child.errors().get(), buffer, sizeof buffer)) > 0;) {
            outcome.errors.append(buffer, static_cast<size_t>(count));
        }
        outcome.status = child.wait().value_or(harness::ExitStatus{-1, 0}).shell_status();
        return outcome;
    }

    void commit() const {
        run({"git", "add", "-A"});
        run({"git", "-c", "user.name=a", "-c", "user.email=a@example.org", "commit", "-qm", "all"});
    }

    void write_script(const std::string& name, const std::string& commands) const {
        const fs::path path = tree_ / "scripts" / name;
        std::ofstream(path) << "#!/usr/bin/env bash\nset -e\nmkdir -p build\n" << commands << '\n';
        fs::permissions(path, fs::perms::owner_all);
    }

    // As CMakeLists.txt says it.
    [[nodiscard]] std::string version() const {
        const std::string text = contents(tree_ / "CMakeLists.txt");
        const size_t at = text.find("VERSION ", text.find("project(")) + 8;
        return text.substr(at, text.find(' ', at) - at);
    }

    // The release is refused with one line, nothing is run, and the tree stays as it is.
    void expect_refusal(const std::vector<std::string>& arguments, const std::string& line) const {
        SCOPED_TRACE(line);
        std::vector<std::string> words = {"scripts/release"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const std::string before = state();
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, line + "\n");
        EXPECT_EQ(state(), before);
        EXPECT_FALSE(fs::exists(tree_ / "build/done"));
        EXPECT_FALSE(fs::exists(tree_ / "build/release"));
    }

    // Every file but git's own, with its contents.
    [[nodiscard]] std::string state() const {
        std::string text;
        for (const auto& entry : fs::recursive_directory_iterator(tree_)) {
            const std::string path = fs::relative(entry.path(), tree_);
            if (entry.is_regular_file() && !path.starts_with(".git/")) {
                text += path + '\n' + contents(entry.path());
            }
        }
        return text;
    }

    fs::path tree_;
    std::string old_;
};

TEST_F(Release, OfTheVersionOfTheTreeIsMadeAfterTheChecks) {
    run({"scripts/version", "7.8.9"});
    commit();
    run({"git", "tag", "v7.8.8"});
    const Outcome outcome = run({"scripts/release", "7.8.9"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(contents(tree_ / "build/done"), "test\npackages --prove\n");
    const fs::path made = tree_ / "build/release/7.8.9";
    EXPECT_EQ(contents(made / "zrptop-7.8.9.tar.gz"), "tar\n");
    EXPECT_TRUE(fs::exists(made / "zrptop.deb"));
    EXPECT_EQ(run({"env", "-C", made, "sha256sum", "--check", "--strict", "SHA256SUMS"}).status, 0);
    // Nothing that is tracked has changed.
    EXPECT_EQ(run({"git", "diff", "--exit-code"}).status, 0);
}

TEST_F(Release, NeedsOneArgumentThatIsAVersion) {
    expect_refusal({}, "release: usage: scripts/release VERSION");
    expect_refusal({"1.0.0", "2.0.0"}, "release: usage: scripts/release VERSION");
    for (const char* word : {"", "1", "1.2", "v1.2.3", "1.2.3-rc1", "1.2.3.4", "1.2.x"}) {
        expect_refusal({word}, std::string("release: not a version such as 1.2.3: ") + word);
    }
}

TEST_F(Release, NeedsATreeWithoutChanges) {
    const std::string refusal = "release: the tree has changes that are not committed";
    std::ofstream(tree_ / "new file") << "text\n";
    expect_refusal({old_}, refusal);
    fs::remove(tree_ / "new file");
    std::ofstream(tree_ / "CHANGELOG.md", std::ios::app) << "text\n";
    expect_refusal({old_}, refusal);
}

TEST_F(Release, NeedsARepository) {
    fs::remove_all(tree_ / ".git");
    expect_refusal({old_}, "release: not a git repository with a commit");
}

TEST_F(Release, IsAboveTheLastTag) {
    for (const char* tag : {"v0.9.0", "v0.10.0", "other"}) {
        run({"git", "tag", tag});
    }
    for (const char* low : {"0.9.9", "0.10.0", "0.9.0"}) {
        expect_refusal({low},
                       std::string("release: ") + low + " is not above the last version, v0.10.0");
    }
    expect_refusal({"0.10.1"},
                   "release: the tree has version " + old_ + "; first run scripts/version 0.10.1");
}

TEST_F(Release, NeedsItsSectionInTheChangelog) {
    expect_refusal({old_}, "release: CHANGELOG.md has no section for " + old_ +
                               "; first run scripts/version " + old_);
    run({"scripts/version", old_});
    replace(tree_ / "CHANGELOG.md", "## [Unreleased]\n",
            "## [Unreleased]\n\n### Added\n\n- More.\n");
    commit();
    expect_refusal({old_}, "release: CHANGELOG.md has changes under Unreleased");
}

TEST_F(Release, NeedsOneVersionEverywhere) {
    const std::vector<std::pair<const char*, std::string>> places = {
        {"docs/zrptop.8", "zrptop " + old_}, {"debian/changelog", "(" + old_ + "-"}};
    for (const auto& [file, text] : places) {
        std::string other = text;
        replace(tree_ / file, text, other.replace(other.find(old_), old_.size(), "9.9.9"));
        commit();
        expect_refusal({old_},
                       std::string("version: ") + file + " says 9.9.9, CMakeLists.txt " + old_);
        replace(tree_ / file, other, text);
    }
}

TEST_F(Release, IsNotMadeWhenACheckFails) {
    run({"scripts/version", old_});
    write_script("test", "exit 1");
    commit();
    Outcome outcome = run({"scripts/release", old_});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "release: not released: scripts/test fails\n");
    write_script("test", "true");
    write_script("packages", "exit 1");
    commit();
    outcome = run({"scripts/release", old_});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "release: not released: scripts/packages --prove fails\n");
    EXPECT_FALSE(fs::exists(tree_ / "build/release"));
}

TEST_F(Release, TheTreeHasOneVersion) {
    const Outcome outcome = run({"scripts/version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(Release, AVersionIsWrittenEverywhereAtOnce) {
    EXPECT_EQ(run({"scripts/version", "7.8.9"}).status, 0);
    EXPECT_EQ(run({"scripts/version"}).status, 0);
    EXPECT_EQ(version(), "7.8.9");
    EXPECT_NE(contents(tree_ / "CHANGELOG.md").find("## [7.8.9] - "), std::string::npos);
    EXPECT_TRUE(contents(tree_ / "debian/changelog").starts_with("zrptop (7.8.9-1) unstable; "));
    // With it the names of the library's package and soname.
    const std::string symbols = contents(tree_ / "debian/libzrpclient7.8.symbols");
    EXPECT_TRUE(symbols.starts_with("libzrpclient.so.7.8 libzrpclient7.8 #MINVER#\n"));
    const std::string interface = old_.substr(0, old_.rfind('.'));
    EXPECT_EQ(symbols.find("@ZRPCLIENT_" + interface), std::string::npos);
    EXPECT_EQ(run({"grep", "-rF", "libzrpclient" + interface, "debian"}).status, 1);
    EXPECT_EQ(run({"dpkg-parsechangelog", "-l", "debian/changelog"}).errors, "");
}

TEST_F(Release, AVersionThatIsNoneIsNotWritten) {
    const std::string before = state();
    const Outcome outcome = run({"scripts/version", "seven"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "version: not a version such as 1.2.3: seven\n");
    EXPECT_EQ(state(), before);
}

// scripts/packages refuses before it builds or installs anything.
TEST_F(Release, PackagesAreOfACommit) {
    fs::copy(fs::path(ZRP_SOURCES) / "scripts/packages", tree_ / "scripts/packages",
             fs::copy_options::overwrite_existing);
    Outcome outcome = run({"scripts/packages"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "packages: the tree has changes that are not committed\n");
    outcome = run({"scripts/packages", "--fast"});
    EXPECT_EQ(outcome.errors, "packages: usage: scripts/packages [--twice | --prove]\n");
    fs::remove_all(tree_ / ".git");
    outcome = run({"scripts/packages"});
    EXPECT_EQ(outcome.errors, "packages: not a git repository with a commit\n");
    EXPECT_FALSE(fs::exists(tree_ / "build/packages"));
}

} // namespace
} // namespace zrp::release_test
