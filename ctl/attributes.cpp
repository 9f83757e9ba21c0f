#include "ctl/attributes.h"

#include <algorithm>
#include <strings.h>

#include "common/requests/volume_list.h"
#include "ctl/fields.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

// What a volume is, not what it is doing at the moment.
constexpr uint32_t kAttributeBits = 0xAFB92000;

constexpr unsigned kBits = 32;

// The word of one bit, as it is typed; empty for a bit without one.
std::string word_of(uint32_t bit) {
    const std::vector<std::string> words = status_words(bit | kVolumeMounted);
    if (words.size() < 2) {
        return "";
    }
    std::string word = words.back();
    std::replace(word.begin(), word.end(), ' ', '-');
    return word;
}

template <typename Visit>
void visit_attributes(Visit visit) {
    for (unsigned i = 0; i < kBits; i++) {
        const uint32_t bit = kAttributeBits & 1U << i;
        const std::string word = bit == 0 ? "" : word_of(bit);
        if (!word.empty()) {
            visit(bit, word);
        }
    }
}

} // namespace

uint32_t find_attribute(std::string_view word) {
    const std::string wanted(word);
    uint32_t found = 0;
    visit_attributes([&](uint32_t bit, const std::string& known) {
        found |= strcasecmp(known.c_str(), wanted.c_str()) == 0 ? bit : 0;
    });
    return found;
}

std::vector<std::string> attribute_words() {
    std::vector<std::string> words;
    visit_attributes([&](uint32_t, const std::string& word) { words.push_back(word); });
    return words;
}

std::string attribute_list() {
    return joined(attribute_words());
}

} // namespace zrp::ctl
