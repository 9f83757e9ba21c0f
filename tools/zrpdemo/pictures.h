// Pictures of the screens and dialogs for the documents.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/harness/child_process.h"

namespace zrp::demo {

// Arguments of the simulated server for a world whose figures do not move, so that the same program
// always draws the same pictures.
std::vector<std::string> picture_server_arguments();

struct PictureOptions {
    std::string monitor;
    std::filesystem::path folder; // created if it does not exist
    std::string noProduct;        // what install_product() returned, or why it was not called
};

// Draws every scene of the walk into an SVG file of its name. Without the product files, the
// Version screen would be incomplete; its picture is then left unchanged, and std::runtime_error
// says so after the others are drawn. Throws std::system_error when a file cannot be written, and
// as run_walk().
harness::ExitStatus draw_pictures(const PictureOptions& options);

} // namespace zrp::demo
