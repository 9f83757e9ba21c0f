// Conversion between markup characters and entities.
#include <algorithm>
#include <charconv>

#include "common/xml_reader.h"
#include "common/xml_scan.h"

namespace zrp {
namespace {

struct Entity {
    char character;
    std::string_view text;
};

constexpr Entity kEntities[] = {
    {'"', "&quot;"}, {'&', "&amp;"}, {'\'', "&apos;"}, {'<', "&lt;"}, {'>', "&gt;"},
};

constexpr int kLongestEntity = 6;

std::string_view escape_of(const char& character) {
    for (const Entity& entity : kEntities) {
        if (entity.character == character) {
            return entity.text;
        }
    }
    return {&character, 1};
}

const Entity* entity_at(const char* position, const char* end) {
    for (const Entity& entity : kEntities) {
        if (starts_with(position, end, entity.text)) {
            return &entity;
        }
    }
    return nullptr;
}

} // namespace

bool begins_reference(const char* position, const char* end) {
    if (!starts_with(position, end, "&#")) {
        return entity_at(position, end) != nullptr;
    }
    constexpr int kDecimal = 10;
    constexpr int kHexadecimal = 16;
    const bool isHexadecimal = starts_with(position, end, "&#x");
    uint32_t number = 0;
    const auto [stop, error] = std::from_chars(position + (isHexadecimal ? 3 : 2), end, number,
                                               isHexadecimal ? kHexadecimal : kDecimal);
    return error == std::errc() && stop < end && *stop == ';' && is_text_character(number);
}

int XmlEscape(const char* text, int length, char* buffer, int* capacity) {
    int written = 0;
    const int64_t last = int64_t{*capacity} - kLongestEntity;
    for (int i = 0; i < length && written <= last; i++) {
        const std::string_view piece = escape_of(text[i]);
        memcpy(buffer + written, piece.data(), piece.size());
        written += static_cast<int>(piece.size());
    }
    *capacity = written;
    return written;
}

int XmlUnescape(const char* text, int length, char* buffer, int* capacity) {
    const char* end = text + std::max(length, 0);
    int written = 0;
    while (text < end && written < *capacity) {
        const Entity* entity = *text == '&' ? entity_at(text, end) : nullptr;
        buffer[written++] = entity != nullptr ? entity->character : *text;
        text += entity != nullptr ? entity->text.size() : 1;
    }
    *capacity = written;
    return written;
}

} // namespace zrp
