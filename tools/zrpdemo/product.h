// The files of an installed server product that the Version screen reads.
#pragma once

#include <string>

namespace zrp::demo {

// Puts the files where the monitor looks for them, for this process and its later children only. A
// real product on the machine is untouched. Needs a mount namespace. Returns why it failed, or an
// empty text.
std::string install_product();

// The folder of a "uname" that prints the same platform on every machine; that of the real one for
// "-i" differs between systems. Pictures must be the same wherever they are drawn: put this folder
// first in PATH for them.
inline constexpr const char* kFixedPlatformFolder = "/opt/velmora/fixed_platform";

} // namespace zrp::demo
