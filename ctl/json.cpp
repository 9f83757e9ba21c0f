#include "ctl/json.h"

#include <cstdio>

#include "ctl/text.h"

namespace zrp::ctl {

// An unsafe character of the text can only be in a string.
std::string json_text(const Json& value) {
    const std::string dumped =
        value.dump(-1, ' ', false, nlohmann::detail::error_handler_t::replace);
    std::string text;
    text.reserve(dumped.size());
    for (std::string_view rest = dumped; !rest.empty();) {
        const char32_t character = take_character(rest);
        if (is_unsafe(character)) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
            text += escape;
        } else {
            append_utf8(text, character);
        }
    }
    return text;
}

Json json_error(const Failure& failure) {
    Json error = {{"kind", name_of(failure.kind)}};
    if (failure.kind == Kind::kRefused) {
        error["code"] = failure.code;
    }
    error["message"] = failure.message;
    if (failure.daemon != nullptr) {
        error["daemon"] = failure.daemon;
    }
    return error;
}

std::string json_line(const std::vector<std::pair<std::string, std::string>>& members) {
    std::string line = "{";
    for (const auto& [key, text] : members) {
        line += line.size() > 1 ? ",\"" : "\"";
        line.append(key).append("\":").append(text);
    }
    return line + "}\n";
}

} // namespace zrp::ctl
