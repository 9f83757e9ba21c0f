#include "ctl/text.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cwchar>

namespace zrp::ctl {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Range {
    char32_t first;
    char32_t last;
};

constexpr std::array kUnsafe = {
    Range{0x00, 0x1F},     Range{0x7F, 0x9F},     Range{0x061C, 0x061C},
    Range{0x200E, 0x200F}, Range{0x2028, 0x202E}, Range{0x2066, 0x2069},
};

constexpr unsigned kContinuationBits = 6;
constexpr unsigned kContinuationMask = 0x3F;

// The forms of a first byte, from one to four bytes.
struct Form {
    unsigned mask;
    unsigned lead;
    char32_t least; // below it the form is overlong
};

constexpr std::array kForms = {Form{0x80, 0x00, 0}, Form{0xE0, 0xC0, 0x80}, Form{0xF0, 0xE0, 0x800},
                               Form{0xF8, 0xF0, 0x10000}};

// The character of the first bytes and their number; 0 bytes for what is not UTF-8.
char32_t decode(std::string_view text, size_t* length) {
    const auto first = static_cast<unsigned char>(text.front());
    *length = 0;
    for (size_t i = 0; i < kForms.size(); i++) {
        const Form& form = kForms.at(i);
        if ((first & form.mask) != form.lead) {
            continue;
        }
        char32_t character = first & ~form.mask;
        for (size_t at = 1; at <= i; at++) {
            const unsigned next = at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
            if ((next & ~kContinuationMask) != 0x80) {
                return kReplacement;
            }
            character = character << kContinuationBits | (next & kContinuationMask);
        }
        const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
        if (character < form.least || character > 0x10FFFF || isSurrogate) {
            return kReplacement;
        }
        *length = i + 1;
        return character;
    }
    return kReplacement;
}

template <typename Replaces>
std::string replaced(std::string_view text, Replaces replaces) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const char32_t character = take_character(text);
        append_utf8(out, replaces(character) ? kReplacement : character);
    }
    return out;
}

} // namespace

bool is_unsafe(char32_t character) {
    return std::any_of(kUnsafe.begin(), kUnsafe.end(), [&](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

char32_t take_character(std::string_view& text) {
    size_t length = 0;
    const char32_t character = decode(text, &length);
    text.remove_prefix(std::max<size_t>(length, 1));
    return character;
}

void append_utf8(std::string& text, char32_t character) {
    size_t last = 0;
    while (last + 1 < kForms.size() && character >= kForms.at(last + 1).least) {
        last++;
    }
    const auto shift = static_cast<unsigned>(last) * kContinuationBits;
    text += static_cast<char>(kForms.at(last).lead | character >> shift);
    for (unsigned rest = shift; rest > 0;) {
        rest -= kContinuationBits;
        text += static_cast<char>(0x80 | (character >> rest & kContinuationMask));
    }
}

std::string visible(std::string_view text) {
    return replaced(text, is_unsafe);
}

std::string visible_lines(std::string_view text) {
    return replaced(text, [](char32_t character) {
        return is_unsafe(character) && character != '\n' && character != '\t';
    });
}

std::string valid_utf8(std::string_view text) {
    return replaced(text, [](char32_t) { return false; });
}

size_t display_width(std::string_view visibleText) {
    size_t width = 0;
    while (!visibleText.empty()) {
        const int columns = wcwidth(static_cast<wchar_t>(take_character(visibleText)));
        width += columns < 0 ? 1 : static_cast<size_t>(columns);
    }
    return width;
}

void prepare_widths() {
    // The numbers of the program keep their decimal point: only characters follow the locale.
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
        std::setlocale(LC_CTYPE, "");
    }
}

} // namespace zrp::ctl
