#include "tools/harness/private_files.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <sys/mount.h>
#include <system_error>

#include "tools/harness/descriptor.h"

namespace zrp::harness {
namespace {

namespace fs = std::filesystem;

void check(int rc, const fs::path& path) {
    if (rc != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

// Through the descriptor the machine's directory stays reachable when it is covered.
Descriptor open_directory(const fs::path& directory) {
    Descriptor opened(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    check(opened ? 0 : -1, directory);
    return opened;
}

// An empty directory mounted over another, removed again unless it is to stay.
class Cover {
public:
    explicit Cover(const fs::path& directory) : directory_(directory) {
        check(mount("tmpfs", directory.c_str(), "tmpfs", 0, "mode=0755"), directory);
    }
    Cover(const Cover&) = delete;
    Cover& operator=(const Cover&) = delete;
    ~Cover() {
        if (!stays_) {
            umount2(directory_.c_str(), MNT_DETACH);
        }
    }

    void stay() {
        stays_ = true;
    }

private:
    fs::path directory_;
    bool stays_ = false;
};

void write_file(const fs::path& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    check(file ? 0 : -1, path);
}

void write_private_file(const fs::path& path, const PrivateFile& file) {
    fs::create_directories(path.parent_path());
    write_file(path, file.content);
    if (file.executable) {
        fs::permissions(path, fs::perms{0755});
    }
}

void show_through(const fs::directory_entry& entry, const fs::path& path) {
    if (entry.is_symlink()) {
        fs::copy_symlink(entry.path(), path);
        return;
    }
    if (entry.is_directory()) {
        fs::create_directory(path);
    } else {
        write_file(path, "");
    }
    // With the mounts below it, since one of them may hide something.
    check(mount(entry.path().c_str(), path.c_str(), nullptr, MS_BIND | MS_REC, nullptr), path);
}

} // namespace

// An overlay would need one mount, but not every kernel permits it to an ordinary user, and none
// over a directory with mounts in it, such as a container's /etc.
void add_private_files(const fs::path& directory, const std::vector<PrivateFile>& files) {
    const Descriptor covered = open_directory(directory);
    Cover cover(directory);
    for (const PrivateFile& file : files) {
        write_private_file(directory / file.path, file);
    }
    const fs::path machines = "/proc/self/fd/" + std::to_string(covered.get());
    for (const fs::directory_entry& entry : fs::directory_iterator(machines)) {
        const fs::path path = directory / entry.path().filename();
        if (!fs::exists(fs::symlink_status(path))) {
            show_through(entry, path);
        }
    }
    cover.stay();
}

} // namespace zrp::harness
