#include "exporter/label_text.h"

#include <cstdint>

#include "common/client.h"

namespace zrp::exporter {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Form {
    uint8_t lead; // the bits that its first byte has, under the mask
    uint8_t mask;
    uint32_t least; // a smaller number has a shorter form
    size_t length;
};

constexpr Form kForms[] = {
    {0x00, 0x80, 0x0, 1},
    {0xC0, 0xE0, 0x80, 2},
    {0xE0, 0xF0, 0x800, 3},
    {0xF0, 0xF8, 0x10000, 4},
};

bool is_character(uint32_t number, uint32_t least) {
    const bool isSurrogate = number >= 0xD800 && number <= 0xDFFF;
    const bool isControl = number < 0x20 || (number >= 0x7F && number < 0xA0);
    const bool isSeparator = number == 0x2028 || number == 0x2029;
    return number >= least && number <= 0x10FFFF && !isSurrogate && !isControl && !isSeparator;
}

// The length of the character at the start of the text, or 0 when there is none that may stay.
size_t character_length(std::string_view text) {
    const auto first = static_cast<uint8_t>(text.front());
    for (const Form& form : kForms) {
        if ((first & form.mask) != form.lead || text.size() < form.length) {
            continue;
        }
        uint32_t number = first & static_cast<uint8_t>(~form.mask);
        for (const char next : text.substr(1, form.length - 1)) {
            if ((static_cast<uint8_t>(next) & 0xC0) != 0x80) {
                return 0;
            }
            number = number << 6 | (static_cast<uint8_t>(next) & 0x3F);
        }
        return is_character(number, form.least) ? form.length : 0;
    }
    return 0;
}

} // namespace

std::string LabelText(std::string_view text) {
    const std::string plain = client::Unescaped(text);
    std::string label;
    for (std::string_view rest = plain; !rest.empty();) {
        const size_t length = character_length(rest);
        const std::string_view next = length == 0 ? kReplacement : rest.substr(0, length);
        if (label.size() + next.size() > kLongestLabel) {
            break;
        }
        label += next;
        rest.remove_prefix(length == 0 ? 1 : length);
    }
    return label;
}

} // namespace zrp::exporter
