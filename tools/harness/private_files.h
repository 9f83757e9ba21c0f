// Files that only this process and its later children see.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zrp::harness {

struct PrivateFile {
    std::filesystem::path path; // below the directory
    std::string content;
    bool executable = false;
};

// Adds the files to a directory as this process sees it. The machine's own directory is covered and
// stays unchanged. Its entries remain visible and writable, except those with the name of a private
// one, which are hidden, whole folders included.
//
// Call it only with private mounts (private_network.h). Throws std::system_error where the system
// does not permit it; the directory is then uncovered.
void add_private_files(const std::filesystem::path& directory,
                       const std::vector<PrivateFile>& files);

} // namespace zrp::harness
