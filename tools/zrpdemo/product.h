// The files of an installed server product, as far as the Version screen reads them.
#pragma once

#include <string>

namespace zrp::demo {

// Puts them where the monitor looks, for this process and its later children only: the machine has
// no such product, or a real one that stays untouched. Needs mounts of one's own. Returns why it
// could not be done, or an empty text.
std::string install_product();

// Where a "uname" lies that names the same platform on every machine. What the real one says to
// "-i" differs from system to system; "unknown" is not rare. A demonstration shows what the machine
// says. For pictures, which must be the same wherever they are drawn, put this folder first in
// PATH.
inline constexpr const char* kFixedPlatformFolder = "/opt/velmora/fixed_platform";

} // namespace zrp::demo
