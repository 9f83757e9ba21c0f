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

size_t utf8_length(uint32_t character) {
    constexpr uint32_t kFirstOfTwo = 0x80;
    constexpr uint32_t kFirstOfThree = 0x800;
    constexpr uint32_t kFirstOfFour = 0x10000;
    return size_t{1} + (character >= kFirstOfTwo ? 1 : 0) + (character >= kFirstOfThree ? 1 : 0) +
           (character >= kFirstOfFour ? 1 : 0);
}

} // namespace

Reference reference_at(const char* position, const char* end) {
    if (!starts_with(position, end, "&#")) {
        const Entity* entity = entity_at(position, end);
        return entity == nullptr
                   ? Reference{}
                   : Reference{entity->text.size(), static_cast<uint8_t>(entity->character)};
    }
    constexpr int kDecimal = 10;
    constexpr int kHexadecimal = 16;
    const bool isHexadecimal = starts_with(position, end, "&#x");
    uint32_t number = 0;
    const auto [stop, error] = std::from_chars(position + (isHexadecimal ? 3 : 2), end, number,
                                               isHexadecimal ? kHexadecimal : kDecimal);
    const bool isReference =
        error == std::errc() && stop < end && *stop == ';' && is_text_character(number);
    return isReference ? Reference{static_cast<size_t>(stop + 1 - position), number} : Reference{};
}

size_t resolved_length(std::string_view text) {
    const char* at = text.data();
    const char* end = at + text.size();
    size_t length = 0;
    while (at < end) {
        const Reference reference = *at == '&' ? reference_at(at, end) : Reference{};
        length += reference.size != 0 ? utf8_length(reference.character) : 1;
        at += reference.size != 0 ? reference.size : 1;
    }
    return length;
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
