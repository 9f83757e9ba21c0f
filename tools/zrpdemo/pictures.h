// The screens and dialogs as pictures for the documents.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/harness/child_process.h"

namespace zrp::demo {

// Arguments of the simulated server: a world whose figures stand still, so that the same program
// draws the same pictures.
std::vector<std::string> picture_server_arguments();

struct PictureOptions {
    std::string monitor;
    std::filesystem::path folder; // made when it is not there
    std::string noProduct;        // what install_product() returned, or why it was not called
};

// Draws every scene of the walk into an SVG file of its name. Where there is no product the picture
// of the Version screen would lack half of it; it is left alone, and std::runtime_error tells so at
// the end. Throws std::system_error when a file cannot be written, else as run_walk() does.
harness::ExitStatus draw_pictures(const PictureOptions& options);

} // namespace zrp::demo
