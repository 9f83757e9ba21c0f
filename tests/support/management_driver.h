// Drives every scanner of the management catalogue's volume, connection and file replies.
#pragma once

#include <string_view>

namespace zrp {

// Aborts with a message when a text is not terminated, a view lies outside the reply or a list does
// not come to its end.
void drive_management_replies(std::string_view input);

} // namespace zrp
