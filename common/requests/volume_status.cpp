#include "common/requests/volume_status.h"

#include <string_view>

#include "common/bounded_copy.h"

namespace zrp {
namespace {

struct StatusWord {
    uint32_t bit;
    std::string_view set;
    std::string_view clear = {};
};

// In the order of the text.
constexpr StatusWord kStatusWords[] = {
    {0x1, "online "},
    {0x4, "activating "},
    {0x2, "mounted ", "dismounted "},
    {0x8, "\"being mounted\" "},
    {0x10000, "\"read only\" "},
    {0x1000000, "\"data migration\" "},
    {0x2000000, "compression "},
    {0x4000000, "sub-allocation "},
    {0x8000000, "\"immediate purge\" "},
    {0x80000000, "hidden "},
    {0x40000000, "BKS "},
    {0x800000, "\"cluster resource\" "},
    {0x20000000, "\"manage volume\" "},
    {0x80000, "\"user quotas\" "},
    {0x100000, "\"directory quotas\" "},
    {0x200000, "salvageable "},
    {0x2000, "\"posix permissions\" "},
};

constexpr size_t longest_text() {
    size_t length = 0;
    for (const StatusWord& word : kStatusWords) {
        length += word.set.size() > word.clear.size() ? word.set.size() : word.clear.size();
    }
    return length;
}

static_assert(longest_text() < kVolumeStatusTextSize);

} // namespace

void formatVolumeStatus(uint32_t status, char (&text)[kVolumeStatusTextSize]) {
    size_t length = 0;
    for (const StatusWord& word : kStatusWords) {
        const std::string_view chosen = (status & word.bit) != 0 ? word.set : word.clear;
        copy_cut(text + length, sizeof text - length, chosen.data(), chosen.size());
        length += chosen.size();
    }
}

} // namespace zrp
