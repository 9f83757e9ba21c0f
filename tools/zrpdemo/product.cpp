#include "tools/zrpdemo/product.h"

#include <cerrno>
#include <exception>
#include <sys/mount.h>
#include <system_error>

#include "tools/harness/private_files.h"

namespace zrp::demo {
namespace {

struct Folder {
    const char* path;
    std::vector<harness::PrivateFile> files;
};

// The daemons report their versions themselves, so that their files are not needed.
const Folder kFolders[] = {
    {"/opt",
     {
         {"velmora/zrpserv/sbin/zrpshell", "VeRsIoN = 2026-03-30_14:22:37_x86_64build118-.512\n"},
         {"velmora/zrpserv/sbin/zrpcon", "VeRsIoN = 2026-03-30_14:23:02_x86_64build118-.256\n"},
         {"velmora/fixed_uname", "#!/bin/sh\necho x86_64\n", true},
     }},
    {"/etc",
     {
         {"velmora-release", "Velmora HLX 24.2 (x86_64)\n"},
     }},
};

} // namespace

std::string install_product() {
    try {
        for (const Folder& folder : kFolders) {
            harness::add_private_files(folder.path, folder.files);
        }
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "";
}

void fix_platform() {
    constexpr const char* kRealProgram = "/usr/bin/uname";
    if (mount("/opt/velmora/fixed_uname", kRealProgram, nullptr, MS_BIND, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), kRealProgram);
    }
}

} // namespace zrp::demo
