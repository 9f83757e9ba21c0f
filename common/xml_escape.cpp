// Markup characters and their entities.

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

int XmlEscape(const char* text, int length, char* buffer, int* capacity) {
    int written = 0;
    const int last = *capacity >= kLongestEntity ? *capacity - kLongestEntity : -1;
    for (int i = 0; i < length && written <= last; i++) {
        const std::string_view piece = escape_of(text[i]);
        memcpy(buffer + written, piece.data(), piece.size());
        written += static_cast<int>(piece.size());
    }
    *capacity = written;
    return written;
}

int XmlUnescape(const char* text, int length, char* buffer, int* capacity) {
    const char* end = length > 0 ? text + length : text;
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
