#include "tools/zrpsim/world/handler.h"

#include <algorithm>
#include <cstring>

#include "tools/zrpsim/world/whole_number.h"

namespace zrp::sim {

pugi::xml_node find_inside(pugi::xml_node node, const char* name) {
    return node.find_node(
        [&](pugi::xml_node inner) { return std::strcmp(inner.name(), name) == 0; });
}

std::string text_inside(pugi::xml_node node, const char* name) {
    return find_inside(node, name).text().get();
}

std::optional<int> number_inside(pugi::xml_node node, const char* name) {
    return whole_number<int>(text_inside(node, name));
}

bool optional_number(pugi::xml_node node, const char* name, int absent, int& value) {
    if (!find_inside(node, name)) {
        value = absent;
        return true;
    }
    const std::optional<int> number = number_inside(node, name);
    if (number) {
        value = *number;
    }
    return number.has_value();
}

Outcome read_page(pugi::xml_node command, int usualItems, Page& page) {
    Page wanted{};
    if (!optional_number(command, "startIndex", 0, wanted.startIndex) || wanted.startIndex < 0) {
        return {kBadRequest, "startIndex is not a number of 0 or more"};
    }
    if (!optional_number(command, "maxItems", usualItems, wanted.maxItems) || wanted.maxItems < 1) {
        return {kBadRequest, "maxItems is not a number of 1 or more"};
    }
    page = {wanted.startIndex, std::min(wanted.maxItems, kLongestPage)};
    return {};
}

} // namespace zrp::sim
