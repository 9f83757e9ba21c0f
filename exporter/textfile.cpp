#include "exporter/textfile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace zrp::exporter {
namespace {

constexpr mode_t kMode = 0644;

// Removes the file unless it was renamed.
class Draft {
public:
    explicit Draft(const std::string& path) : name_(path + ".XXXXXX") {
        fd_ = mkostemp(name_.data(), O_CLOEXEC); // O_EXCL: follows no link
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;
    ~Draft() {
        if (fd_ >= 0) {
            close(fd_);
            unlink(name_.c_str());
        }
    }

    int Write(std::string_view text) const {
        if (fd_ < 0) {
            return errno;
        }
        while (!text.empty()) {
            const ssize_t written = write(fd_, text.data(), text.size());
            if (written < 0 && errno != EINTR) {
                return errno;
            }
            text.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
        }
        // A full disk may show itself only now.
        return fchmod(fd_, kMode) == 0 && fsync(fd_) == 0 ? 0 : errno;
    }

    int Rename(const std::string& path) {
        if (rename(name_.c_str(), path.c_str()) != 0) {
            return errno;
        }
        close(fd_);
        fd_ = -1;
        return 0;
    }

private:
    std::string name_;
    int fd_ = -1;
};

} // namespace

int WriteTextfile(const std::string& path, const std::string& text) {
    Draft draft(path);
    const int rc = draft.Write(text);
    return rc == 0 ? draft.Rename(path) : rc;
}

} // namespace zrp::exporter
