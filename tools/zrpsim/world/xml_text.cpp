#include "tools/zrpsim/world/xml_text.h"

#include <array>
#include <cstdio>

namespace zrp::sim {

void append_escaped(std::string& out, std::string_view text) {
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&apos;";
            break;
        default:
            out += c;
        }
    }
}

void open_element(std::string& out, std::string_view tag) {
    out.append("<").append(tag).append(">");
}

void close_element(std::string& out, std::string_view tag) {
    out.append("</").append(tag).append(">");
}

void text_element(std::string& out, std::string_view tag, std::string_view text) {
    open_element(out, tag);
    append_escaped(out, text);
    close_element(out, tag);
}

void hex_element(std::string& out, std::string_view tag, uint32_t value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08x", value);
    text_element(out, tag, text.data());
}

void attribute_element(std::string& out, std::string_view tag, std::string_view attribute,
                       std::string_view setting, std::string_view text) {
    out.append("<").append(tag).append(" ").append(attribute).append("=\"");
    append_escaped(out, setting);
    out.append("\">");
    append_escaped(out, text);
    close_element(out, tag);
}

void typed_parm(std::string& out, std::string_view name, std::string_view type,
                std::string_view text) {
    open_element(out, "parm");
    text_element(out, "name", name);
    attribute_element(out, "value", "type", type, text);
    close_element(out, "parm");
    out += '\n';
}

} // namespace zrp::sim
