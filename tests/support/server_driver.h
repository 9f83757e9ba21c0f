// Driver of the scanners for replies about the server, its cluster resources and the storage
// daemon; see drivers.h.
#pragma once

#include <string_view>

namespace zrp {

void drive_server_replies(std::string_view input);

} // namespace zrp
