#include "tools/harness/private_files.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/mount.h>
#include <sys/stat.h>
#include <system_error>

#include "tests/support/needs.h"
#include "tools/harness/descriptor.h"

namespace zrp::private_files_test {
namespace {

namespace fs = std::filesystem;

void write(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << content;
}

std::string content_of(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A folder of "the machine", with a descriptor that reaches it when it is covered.
struct Machine {
    Machine() {
        std::string name = fs::temp_directory_path() / "private_files.XXXXXX";
        folder = mkdtemp(name.data());
        write(folder / "old", "machine's");
        write(folder / "product/inner", "machine's");
        write(folder / "other/inner", "machine's");
        fs::create_symlink("old", folder / "link");
        uncovered.reset(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
    ~Machine() {
        umount2(folder.c_str(), MNT_DETACH);
        fs::remove_all(folder);
    }

    [[nodiscard]] fs::path real(const fs::path& name) const {
        return fs::path("/proc/self/fd") / std::to_string(uncovered.get()) / name;
    }

    fs::path folder;
    harness::Descriptor uncovered;
};

TEST(PrivateFiles, AppearBesideTheMachinesFiles) {
    ZRP_NEEDS_NAMESPACES();
    const Machine machine;
    harness::add_private_files(machine.folder, {{"new", "private"}, {"a/b/tool", "#!", true}});
    EXPECT_EQ(content_of(machine.folder / "new"), "private");
    EXPECT_EQ(access((machine.folder / "a/b/tool").c_str(), X_OK), 0);
    EXPECT_EQ(content_of(machine.folder / "old"), "machine's");
    EXPECT_EQ(content_of(machine.folder / "other/inner"), "machine's");
    EXPECT_EQ(fs::read_symlink(machine.folder / "link"), "old");
}

TEST(PrivateFiles, HideTheMachinesFilesOfTheSameName) {
    ZRP_NEEDS_NAMESPACES();
    const Machine machine;
    harness::add_private_files(machine.folder, {{"old", "private"}, {"product/new", "private"}});
    EXPECT_EQ(content_of(machine.folder / "old"), "private");
    EXPECT_EQ(content_of(machine.folder / "product/new"), "private");
    EXPECT_FALSE(fs::exists(machine.folder / "product/inner"));
}

TEST(PrivateFiles, LeaveTheMachinesFolderUnchanged) {
    ZRP_NEEDS_NAMESPACES();
    const Machine machine;
    harness::add_private_files(machine.folder, {{"old", "private"}, {"product/new", "private"}});
    write(machine.folder / "product/temporary", "private");
    EXPECT_EQ(content_of(machine.real("old")), "machine's");
    EXPECT_EQ(content_of(machine.real("product/inner")), "machine's");
    EXPECT_FALSE(fs::exists(machine.real("product/new")));
    EXPECT_FALSE(fs::exists(machine.real("product/temporary")));
}

TEST(PrivateFiles, AFailureUncoversTheFolder) {
    ZRP_NEEDS_NAMESPACES();
    const Machine machine;
    // A file is where the other one's folder should be.
    EXPECT_THROW(harness::add_private_files(machine.folder, {{"a", "x"}, {"a/b", "x"}}),
                 std::system_error);
    EXPECT_EQ(content_of(machine.folder / "old"), "machine's");
    EXPECT_FALSE(fs::exists(machine.folder / "a"));
}

TEST(PrivateFiles, AMissingFolderIsAFailure) {
    ZRP_NEEDS_NAMESPACES();
    EXPECT_THROW(harness::add_private_files("/no/such/folder", {{"a", "x"}}), std::system_error);
}

} // namespace
} // namespace zrp::private_files_test
