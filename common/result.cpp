#include "common/result.h"

#include <array>
#include <cerrno>
#include <cstring>

#include "common/bounded_copy.h"

namespace zrp {
namespace {

struct CodeText {
    int code;
    const char* text;
};

// The codes that mean something else here than to the system, or something narrower.
constexpr CodeText kOwnTexts[] = {
    {kOk, "success"},
    {kNotFound, "not found, or cut short"},
    {kNoMemory, "out of memory"},
    {kInvalid, "argument or reply not understood"},
    {kRange, "out of range"},
    {kBadMagic, "not a daemon of this server"},
    {kNoData, "no data"},
    {kTooLong, "text too long"},
    {kBufferTooSmall, "buffer too small"},
    {kWriteError, "write error reported by the server"},
    {kShortHeader, "connection closed before the end of the reply"},
    {kNameTooLong, "volume name too long"},
    {ETIMEDOUT, "no answer in time"},
    {ECANCELED, "interrupted"},
};

constexpr const char* kServerText = "error reported by the server";

// The system's texts with a small first letter, so that they fit into a sentence as the others do.
constexpr size_t kSystemTextSize = 64;
constexpr int kLastSystemCode = EHWPOISON;
using SystemTexts = std::array<char[kSystemTextSize], kLastSystemCode + 1>;

bool is_upper(char c) {
    return c >= 'A' && c <= 'Z';
}

SystemTexts copy_system_texts() {
    SystemTexts texts = {};
    for (int code = 0; code <= kLastSystemCode; code++) {
        const char* text = strerrordesc_np(code);
        char(&copy)[kSystemTextSize] = texts[static_cast<size_t>(code)];
        if (text == nullptr) {
            continue;
        }
        copy_cut(copy, text);
        // An abbreviation keeps its capitals.
        if (is_upper(copy[0]) && !is_upper(copy[1])) {
            copy[0] = static_cast<char>(copy[0] - 'A' + 'a');
        }
    }
    return texts;
}

} // namespace

const char* ResultText(int rc) {
    for (const CodeText& row : kOwnTexts) {
        if (row.code == rc) {
            return row.text;
        }
    }
    static const SystemTexts systemTexts = copy_system_texts();
    if (rc < 0 || rc > kLastSystemCode || systemTexts[static_cast<size_t>(rc)][0] == '\0') {
        return kServerText;
    }
    return systemTexts[static_cast<size_t>(rc)];
}

} // namespace zrp
