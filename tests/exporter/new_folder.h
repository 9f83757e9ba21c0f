// An empty folder that is removed with all it holds.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace zrp {

class NewFolder {
public:
    NewFolder() : path_(std::filesystem::temp_directory_path() / "exporter_test_XXXXXX") {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        }
    }
    NewFolder(const NewFolder&) = delete;
    NewFolder& operator=(const NewFolder&) = delete;
    ~NewFolder() {
        std::filesystem::remove_all(path_);
    }
    [[nodiscard]] const std::string& path() const {
        return path_;
    }

private:
    std::string path_;
};

} // namespace zrp
