#include <cerrno>
#include <linux/capability.h>
#include <sys/syscall.h>

#include "common/config/config_lines.h"
#include "common/config/file_system.h"
#include "common/result.h"
#include "tests/unit/config_test_files.h"
#include "tests/unit/failing_malloc.h"

namespace zrp::config_file_system_test {
namespace {

class FileSystemTest : public test::ConfigTest {
protected:
    void SetUp() override {
        test::ConfigTest::SetUp();
        umask(0);
        test::write_file(in("file"), "x");
    }
};

// A root without capabilities keeps to the mode of a directory.
void drop_capabilities() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    syscall(SYS_capset, &header, none);
}

struct MatchCase {
    const char* a;
    const char* b;
    int match;
};

} // namespace

TEST_F(FileSystemTest, ADirectoryOnAnOrdinaryFileSystemIsAccepted) {
    EXPECT_EQ(CheckDirectoryFileSystem(directory.c_str()), kOk);
    EXPECT_EQ(CheckDirectoryFileSystem("/proc"), kOk);
}

TEST_F(FileSystemTest, AFileIsNotADirectory) {
    EXPECT_EQ(CheckDirectoryFileSystem(in("file").c_str()), kInvalid);
}

TEST_F(FileSystemTest, AMissingDirectoryCannotBeChecked) {
    EXPECT_EQ(CheckDirectoryFileSystem(in("missing").c_str()), -1);
    EXPECT_EQ(CheckDirectoryFileSystem(nullptr), kInvalid);
}

TEST_F(FileSystemTest, OneFileSystemTypeIsRefused) {
    EXPECT_EQ(check_file_system_type(0x12A783C), kInvalid);
    EXPECT_EQ(check_file_system_type(0x12A783D), kOk);
    EXPECT_EQ(check_file_system_type(0), kOk);
}

TEST_F(FileSystemTest, ACanonicalPathIsAccepted) {
    EXPECT_EQ(IsCanonicalPath(directory.c_str()), kOk);
    EXPECT_EQ(IsCanonicalPath(in("file").c_str()), kOk);
    EXPECT_EQ(IsCanonicalPath("/"), kOk);
}

TEST_F(FileSystemTest, APathThatIsNotCanonicalIsRefused) {
    ASSERT_EQ(symlink(directory.c_str(), in("link").c_str()), 0);
    for (const std::string& other :
         {in(""), in("."), in("../"), directory + "//file", in("link"), in("link/file")}) {
        EXPECT_EQ(IsCanonicalPath(other.c_str()), 40) << other;
    }
}

TEST_F(FileSystemTest, AMissingPathReturnsTheErrorOfStat) {
    EXPECT_EQ(IsCanonicalPath(in("missing").c_str()), ENOENT);
    EXPECT_EQ(IsCanonicalPath(in("file/x").c_str()), ENOTDIR);
    EXPECT_EQ(IsCanonicalPath(nullptr), kInvalid);
}

TEST_F(FileSystemTest, EveryMissingDirectoryIsCreatedWithTheMode) {
    EXPECT_EQ(MakeDirPath(in("a/b/c").c_str(), 0750), 0);
    EXPECT_EQ(test::mode_of(in("a")), 0750U);
    EXPECT_EQ(test::mode_of(in("a/b")), 0750U);
    EXPECT_EQ(test::mode_of(in("a/b/c")), 0750U);
}

TEST_F(FileSystemTest, AModeOfZeroMeans0777) {
    EXPECT_EQ(MakeDirPath(in("a").c_str(), 0), 0);
    EXPECT_EQ(test::mode_of(in("a")), 0777U);
}

TEST_F(FileSystemTest, AnExistingDirectoryKeepsItsMode) {
    EXPECT_EQ(MakeDirPath(in("a").c_str(), 0700), 0);
    EXPECT_EQ(MakeDirPath(in("a").c_str(), 0755), 0);
    EXPECT_EQ(test::mode_of(in("a")), 0700U);
}

TEST_F(FileSystemTest, TrailingAndDoubledSlashesAreSkipped) {
    EXPECT_EQ(MakeDirPath(in("a//b/").c_str(), 0755), 0);
    EXPECT_TRUE(test::exists(in("a/b")));
    EXPECT_EQ(MakeDirPath("/", 0755), 0);
    EXPECT_EQ(MakeDirPath("//", 0755), 0);
}

TEST_F(FileSystemTest, ARelativePathIsCreatedBelowTheWorkingDirectory) {
    const int rc = test::in_child(
        [this] { return chdir(directory.c_str()) == 0 && MakeDirPath("a/b", 0755) == 0 ? 0 : 1; });
    EXPECT_EQ(rc, 0);
    EXPECT_TRUE(test::exists(in("a/b")));
}

TEST_F(FileSystemTest, AFileInPlaceOfADirectoryIsAnError) {
    EXPECT_EQ(MakeDirPath(in("file/a").c_str(), 0755), -1);
    EXPECT_EQ(errno, ENOTDIR) << "within the path";
    EXPECT_EQ(MakeDirPath(in("file").c_str(), 0755), -1);
    EXPECT_EQ(errno, EEXIST) << "at its end";
    EXPECT_EQ(MakeDirPath(in("file/").c_str(), 0755), -1);
    EXPECT_EQ(errno, EEXIST) << "at its end, before a slash";
}

TEST_F(FileSystemTest, ADanglingLinkInPlaceOfADirectoryReturnsTheErrorOfStat) {
    ASSERT_EQ(symlink("nowhere", in("link").c_str()), 0);
    EXPECT_EQ(MakeDirPath(in("link/a").c_str(), 0755), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(FileSystemTest, APathThatCannotBeCreatedReturnsTheErrorOfTheSystem) {
    EXPECT_EQ(MakeDirPath("", 0755), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(MakeDirPath(in(std::string(300, 'x')).c_str(), 0755), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(MakeDirPath(nullptr, 0755), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(FileSystemTest, APathThatMayNotBeCreatedGivesTheErrorOfTheCreation) {
    ASSERT_EQ(chmod(directory.c_str(), 0555), 0);
    const int error = test::in_child([this] {
        drop_capabilities();
        return MakeDirPath(in("new").c_str(), 0755) == -1 ? errno : kOk;
    });
    EXPECT_EQ(error, EACCES) << "a missing path would be ENOENT";
}

TEST_F(FileSystemTest, WithoutMemoryForThePathNothingIsCreated) {
    const std::string deep = in("a/b");
    const FailingMalloc failing(deep.size() + 1);
    errno = 0;
    EXPECT_EQ(MakeDirPath(deep.c_str(), 0755), -1);
    EXPECT_EQ(errno, ENOMEM);
    EXPECT_EQ(MakeDirectories(deep.c_str()), ENOMEM);
    EXPECT_FALSE(test::exists(in("a")));
}

TEST_F(FileSystemTest, MakeDirectoriesUsesMode0744) {
    EXPECT_EQ(MakeDirectories(in("a/b").c_str()), kOk);
    EXPECT_EQ(test::mode_of(in("a")), 0744U);
    EXPECT_EQ(test::mode_of(in("a/b")), 0744U);
    EXPECT_EQ(MakeDirectories(in("file/a").c_str()), ENOTDIR);
}

TEST_F(FileSystemTest, AFileAndItsLinkAreCreated) {
    umask(077);
    EXPECT_EQ(CreateFileAndLink(in("a/b").c_str(), in("a/b/target").c_str(), in("link").c_str(),
                                "content\n"),
              kOk);
    EXPECT_EQ(test::read_file(in("link")), "content\n");
    EXPECT_EQ(test::mode_of(in("a/b/target")), 0644U);
    EXPECT_EQ(std::filesystem::read_symlink(in("link")), in("a/b/target"));
}

TEST_F(FileSystemTest, AnExistingFileKeepsItsContentAndMode) {
    chmod(in("file").c_str(), 0600);
    EXPECT_EQ(CreateFileAndLink(directory.c_str(), in("file").c_str(), in("link").c_str(), "new"),
              kOk);
    EXPECT_EQ(test::read_file(in("file")), "x");
    EXPECT_EQ(test::mode_of(in("file")), 0600U);
    EXPECT_TRUE(test::exists(in("link")));
}

TEST_F(FileSystemTest, AnExistingLinkStaysEvenWhenItDangles) {
    ASSERT_EQ(symlink("nowhere", in("link").c_str()), 0);
    EXPECT_EQ(CreateFileAndLink(directory.c_str(), in("new").c_str(), in("link").c_str(), nullptr),
              kOk);
    EXPECT_EQ(std::filesystem::read_symlink(in("link")), "nowhere");
    EXPECT_EQ(test::read_file(in("new")), "");
}

TEST_F(FileSystemTest, ADirectoryThatCannotBeCreatedMakesTheFileFail) {
    EXPECT_EQ(
        CreateFileAndLink(in("file/a").c_str(), in("file/a/t").c_str(), in("link").c_str(), "x"),
        ENOTDIR);
    EXPECT_FALSE(test::exists(in("link")));
}

TEST_F(FileSystemTest, ALinkThatCannotBeCreatedReturnsTheErrorOfTheSystem) {
    EXPECT_EQ(CreateFileAndLink(directory.c_str(), in("file").c_str(), in("no/link").c_str(), "x"),
              ENOENT);
}

TEST_F(FileSystemTest, AFullDiskLeavesAPartialFileAndNoLink) {
    const int rc = test::in_child([this] {
        test::limit_file_size(4);
        return CreateFileAndLink(directory.c_str(), in("new").c_str(), in("link").c_str(),
                                 "content");
    });
    EXPECT_EQ(rc, EFBIG);
    EXPECT_EQ(test::read_file(in("new")), "cont");
    EXPECT_EQ(test::mode_of(in("new")), 0644U);
    EXPECT_FALSE(test::exists(in("link")));
}

TEST_F(FileSystemTest, AFullDiskWithinALongContentLeavesAPartOfTheFileAndNoLink) {
    const int rc = test::in_child([this] {
        test::limit_file_size(5000);
        return CreateFileAndLink(directory.c_str(), in("new").c_str(), in("link").c_str(),
                                 std::string(100'000, 'x').c_str());
    });
    EXPECT_EQ(rc, EFBIG);
    EXPECT_EQ(test::read_file(in("new")), std::string(5000, 'x'));
    EXPECT_FALSE(test::exists(in("link")));
}

TEST_F(FileSystemTest, NullPathsAreInvalid) {
    const char* some = directory.c_str();
    EXPECT_EQ(CreateFileAndLink(nullptr, some, some, "x"), kInvalid);
    EXPECT_EQ(CreateFileAndLink(some, nullptr, some, "x"), kInvalid);
    EXPECT_EQ(CreateFileAndLink(some, some, nullptr, "x"), kInvalid);
}

TEST(PathsMatch, EqualPathsAndAncestorsMatch) {
    const MatchCase cases[] = {
        {"/a/b", "/a/b", 1},    {"/a/b", "/a/b/", 1}, {"/a/b", "/a/b/c", 1}, {"/a/b", "/a/bc", 0},
        {"/a/b", "/a/c", 0},    {"/", "/x", 0},       {"/", "/", 1},         {"a", "A", 0},
        {"/a/b/", "/a/b/c", 0}, {"", "", 1},          {"", "/x", 1},         {"", "x", 0},
    };
    for (const MatchCase& c : cases) {
        EXPECT_EQ(PathsMatch(c.a, c.b), c.match) << c.a << " " << c.b;
        EXPECT_EQ(PathsMatch(c.b, c.a), c.match) << c.b << " " << c.a;
    }
}

TEST(PathsMatch, NullMatchesNothing) {
    EXPECT_EQ(PathsMatch(nullptr, "/a"), 0);
    EXPECT_EQ(PathsMatch("/a", nullptr), 0);
    EXPECT_EQ(PathsMatch(nullptr, nullptr), 0);
}

} // namespace zrp::config_file_system_test
