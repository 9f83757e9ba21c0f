#include "exporter/textfile.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/exporter/new_folder.h"

namespace zrp::exporter::textfile_test {
namespace {

std::string content_of(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

size_t count_entries(const std::string& folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

TEST(WriteTextfile, ReplacesTheFileAndLeavesNothingElse) {
    const NewFolder folder;
    const std::string path = folder.path() + "/zrp.prom";
    const mode_t before = umask(077);
    EXPECT_EQ(WriteTextfile(path, "one\n"), 0);
    EXPECT_EQ(WriteTextfile(path, "two\n"), 0);
    umask(before);
    EXPECT_EQ(content_of(path), "two\n");
    EXPECT_EQ(count_entries(folder.path()), 1U);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0644});
}

TEST(WriteTextfile, ReplacesALinkAndNotWhatItPointsTo) {
    const NewFolder folder;
    const std::string target = folder.path() + "/target";
    const std::string path = folder.path() + "/zrp.prom";
    std::ofstream(target) << "precious";
    std::filesystem::create_symlink(target, path);
    EXPECT_EQ(WriteTextfile(path, "new\n"), 0);
    EXPECT_EQ(content_of(target), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(path));
}

TEST(WriteTextfile, FailsWithoutTheFolder) {
    const NewFolder folder;
    EXPECT_EQ(WriteTextfile(folder.path() + "/none/zrp.prom", "x"), ENOENT);
}

TEST(WriteTextfile, KeepsTheOldFileWhenTheNewOneDoesNotFit) {
    const NewFolder folder;
    const std::string path = folder.path() + "/zrp.prom";
    ASSERT_EQ(WriteTextfile(path, "old\n"), 0);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {1000, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const int rc = WriteTextfile(path, std::string(5000, 'x'));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(rc, EFBIG);
    EXPECT_EQ(content_of(path), "old\n");
    EXPECT_EQ(count_entries(folder.path()), 1U);
}

} // namespace
} // namespace zrp::exporter::textfile_test
