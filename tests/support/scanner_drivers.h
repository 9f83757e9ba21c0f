// Drivers of the request families' scanners, one for each; see drivers.h.
#pragma once

#include <string_view>

namespace zrp {

void drive_list_and_fields(std::string_view input);
void drive_server_statistics(std::string_view input);
void drive_volume_list(std::string_view input);
void drive_volume_information(std::string_view input);
void drive_connection_list(std::string_view input);
void drive_connection_information(std::string_view input);
void drive_diagnostics(std::string_view input);
void drive_server_settings(std::string_view input);

} // namespace zrp
