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

// Puts the files into a directory, as the process sees it: the machine's own directory is covered
// and stays as it is. Whatever else it holds shows through, and can be written as before; only its
// entries with the name of a private one are hidden, whole folders included.
//
// Call it with mounts of one's own (private_network.h) only. Throws std::system_error where the
// system does not permit it; then the directory is uncovered.
void add_private_files(const std::filesystem::path& directory,
                       const std::vector<PrivateFile>& files);

} // namespace zrp::harness
