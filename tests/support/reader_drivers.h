// Drivers of the reply reader's routines; see drivers.h.
#pragma once

#include <string_view>

namespace zrp {

void drive_finder(std::string_view input);
void drive_next_element(std::string_view input);
void drive_plain_tags(std::string_view input);
void drive_strings_and_numbers(std::string_view input);
void drive_range_numbers(std::string_view input);
void drive_attribute(std::string_view input);
void drive_name_value_parm(std::string_view input);
void drive_error_check(std::string_view input);
void drive_escapes(std::string_view input);

} // namespace zrp
