#include "common/requests/volume_words.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "common/ascii_case.h"
#include "common/bounded_copy.h"
#include "common/result.h"

namespace zrp {
namespace {

constexpr std::string_view kSeparators = " \t\r\n,;:";
constexpr char kNumberSign = '=';

// Words that a user types before the names.
constexpr std::string_view kNoiseWords[] = {"VOLUME", "VOLUMES"};

bool is_noise(std::string_view word) {
    return std::any_of(std::begin(kNoiseWords), std::end(kNoiseWords), [&](std::string_view noise) {
        return word.size() == noise.size() &&
               equal_ignoring_case(word.data(), noise.data(), noise.size());
    });
}

// The next word that is no noise; empty at the end of the text.
std::string_view next_word(std::string_view text) {
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(kSeparators), text.size()));
        const std::string_view word = text.substr(0, text.find_first_of(kSeparators));
        if (!is_noise(word)) {
            return word;
        }
        text.remove_prefix(word.size());
    }
}

int read_number(std::string_view digits, int32_t* number) {
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, *number);
    return error == std::errc() && stop == end ? kOk : kInvalid;
}

} // namespace

int next_volume_word(const char** text, VolumeWord* word, const LogContext* log) {
    const std::string_view found = next_word(*text);
    if (found.empty()) {
        return kNoData;
    }
    const std::string_view name = found.substr(0, found.find(kNumberSign));
    if (name.empty()) {
        return kInvalid;
    }
    if (name.size() > kMaxVolumeName) {
        return check_volume_name(found.data(), log);
    }
    int32_t number = kOwnVolumeNumber;
    if (name.size() < found.size() && read_number(found.substr(name.size() + 1), &number) != kOk) {
        return kInvalid;
    }
    copy_cut(word->name, name.data(), name.size());
    word->number = number;
    *text = found.data() + found.size();
    return kOk;
}

int count_volume_words(const char* text, size_t* count, const LogContext* log) {
    if (text == nullptr) {
        return kInvalid;
    }
    size_t counted = 0;
    VolumeWord word;
    int rc = kOk;
    while ((rc = next_volume_word(&text, &word, log)) == kOk) {
        counted++;
    }
    if (rc != kNoData) {
        return rc;
    }
    if (counted == 0) {
        return kInvalid;
    }
    *count = counted;
    return kOk;
}

} // namespace zrp
