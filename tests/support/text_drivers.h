// Drivers of the configuration files and of the log's keywords; see drivers.h.
#pragma once

#include <string_view>

namespace zrp {

void drive_config_readers(std::string_view input);
void drive_config_removers(std::string_view input);
void drive_log_keywords(std::string_view input);

} // namespace zrp
