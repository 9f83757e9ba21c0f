#include "tools/zrpdemo/pictures.h"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "tools/harness/picture.h"
#include "tools/zrpdemo/product.h"
#include "tools/zrpdemo/walk.h"

namespace zrp::demo {
namespace {

constexpr std::string_view kNeedsProduct = "version"; // the scene

void write_picture(const std::filesystem::path& path, const std::string& svg) {
    std::ofstream file(path, std::ios::binary);
    file << svg;
    file.close();
    if (!file) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

} // namespace

std::vector<std::string> picture_server_arguments() {
    return {"--seed", "1", "--clock", "1053068"}; // 12 days, 4 hours, 31 minutes, 8 seconds
}

harness::ExitStatus draw_pictures(const PictureOptions& options) {
    std::filesystem::create_directories(options.folder);
    if (options.noProduct.empty()) {
        fix_platform();
    }
    const harness::TerminalOptions monitor = walk_terminal(options.monitor);
    const auto status = run_walk(monitor, [&](const Scene& scene, const harness::Snapshot& shown) {
        if (options.noProduct.empty() || scene.name != kNeedsProduct) {
            write_picture(options.folder / (std::string(scene.name) + ".svg"),
                          harness::draw_svg(shown, std::string("zrptop: ") + scene.caption));
        }
    });
    if (!options.noProduct.empty()) {
        throw std::runtime_error("the picture of the Version screen needs namespaces: " +
                                 options.noProduct);
    }
    return status;
}

} // namespace zrp::demo
