// The files of an installed server product that the Version screen reads.
#pragma once

#include <string>

namespace zrp::demo {

// Puts the files where the monitor looks for them, for this process and its later children only. A
// real product on the machine is untouched. Needs a mount namespace. Returns why it failed, or an
// empty text.
std::string install_product();

// Puts a "uname" in the place of the real one, for this process and its later children only, that
// prints the same platform on every machine: pictures must be the same wherever they are drawn.
// Comes after install_product. Throws std::system_error.
void fix_platform();

} // namespace zrp::demo
