// Files under fixed names of the system, seen by this process and its children only.
//
//     PrivateFolder etc("/etc");
//     etc.write("velmora-release", "HLX 2026\n");
//
// The folder is covered by one in memory that links to all its old entries, so that they stay
// reachable. Needs a mount namespace (ZRP_NEEDS_NAMESPACES). Destroy folders in the reverse order
// of their construction. Failures of the system throw.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <system_error>

namespace zrp {

class PrivateFolder {
public:
    explicit PrivateFolder(std::string_view path) : path_(path) {
        std::string name = std::filesystem::temp_directory_path() / "private_folder_XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            fail("mkdtemp");
        }
        old_ = name;
        if (mount(path_.c_str(), old_.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0 ||
            mount("tmpfs", path_.c_str(), "tmpfs", 0, "mode=755") != 0) {
            fail("mount");
        }
        for (const auto& entry : std::filesystem::directory_iterator(old_)) {
            std::filesystem::create_symlink(entry.path(), path_ / entry.path().filename());
        }
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder() {
        umount2(path_.c_str(), MNT_DETACH);
        umount2(old_.c_str(), MNT_DETACH);
        std::error_code ignored;
        std::filesystem::remove(old_, ignored);
    }

    // A path inside, with its folders created.
    [[nodiscard]] std::filesystem::path place(const std::string& name) const {
        const std::filesystem::path path = path_ / name;
        std::filesystem::create_directories(path.parent_path());
        return path;
    }

    void write(const std::string& name, std::string_view contents) const {
        std::ofstream(place(name)) << contents;
    }

private:
    [[noreturn]] static void fail(const char* step) {
        throw std::system_error(errno, std::generic_category(), step);
    }

    std::filesystem::path path_; // the covered folder
    std::filesystem::path old_;  // where it is mounted meanwhile
};

} // namespace zrp
