// JSON as zrpctl writes it: one line, without characters that a terminal or a line reader obeys.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ctl/failure.h"
#include "ctl/outcome.h"

namespace zrp::ctl {

// Invalid UTF-8 becomes U+FFFD; characters that is_unsafe (text.h) become \u escapes.
std::string json_text(const Json& value);

// {"kind":...,"code":...,"message":...,"daemon":...}
Json json_error(const Failure& failure);

// One object and a newline.
std::string json_line(const std::vector<std::pair<std::string, std::string>>& members);

} // namespace zrp::ctl
