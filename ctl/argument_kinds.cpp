#include "ctl/argument_kinds.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <strings.h>

#include "common/client/session.h"
#include "common/requests/volume_information.h"
#include "common/volume_name.h"
#include "common/xml_writer.h"
#include "ctl/attributes.h"
#include "ctl/failure.h"
#include "ctl/numbers.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

constexpr uint64_t kMostNumber = std::numeric_limits<int32_t>::max();
constexpr uint64_t kMostMask = std::numeric_limits<uint32_t>::max();

// Each returns what is wrong, or an empty text.

std::string check_text(const Argument&, const std::string& value) {
    if (value.empty()) {
        return "is empty";
    }
    return IsSendable(client::Escaped(value).c_str())
               ? ""
               : "holds a character that no request may hold";
}

std::string check_length(const Argument& argument, const std::string& value, size_t most) {
    return value.size() <= most ? check_text(argument, value)
                                : "is longer than " + std::to_string(most) + " bytes";
}

std::string check_volume(const Argument& argument, const std::string& value) {
    return check_length(argument, value, kMaxVolumeName);
}

std::string check_asked_volume(const Argument& argument, const std::string& value) {
    return check_length(argument, value, kMaxAskedVolumeName);
}

std::string check_file(const Argument&, const std::string& value) {
    return value.empty() ? "is empty" : "";
}

std::string check_range(std::optional<uint64_t> number, uint64_t least, uint64_t most) {
    return number && *number >= least && *number <= most
               ? ""
               : "is not a number from " + std::to_string(least) + " to " + std::to_string(most);
}

std::string check_station(const Argument&, const std::string& value) {
    return check_range(read_unsigned(value), 1, kMostNumber);
}

std::string check_number(const Argument&, const std::string& value) {
    return check_range(read_unsigned(value), 0, kMostNumber);
}

std::string check_mask(const Argument&, const std::string& value) {
    return check_range(read_mask(value), 0, kMostMask);
}

std::string check_word(const Argument& argument, const std::string& value) {
    const bool isKnown =
        std::any_of(argument.words.begin(), argument.words.end(),
                    [&](const char* word) { return strcasecmp(word, value.c_str()) == 0; });
    return isKnown ? "" : "is none of: " + joined(argument.words);
}

std::string check_attribute(const Argument&, const std::string& value) {
    return find_attribute(value) != 0 ? "" : "is none of: " + attribute_list();
}

std::string check_flag(const Argument&, const std::string&) {
    return "";
}

struct ArgumentKindRow {
    ArgumentKind kind;
    std::string (*check)(const Argument& argument, const std::string& value);
    const char* source;
};

constexpr ArgumentKindRow kArgumentKinds[] = {
    {ArgumentKind::kFlag, check_flag, ""},
    {ArgumentKind::kVolume, check_volume, "volumes"},
    {ArgumentKind::kAskedVolume, check_asked_volume, "volumes"},
    {ArgumentKind::kSetting, check_text, "settings"},
    {ArgumentKind::kStation, check_station, ""},
    {ArgumentKind::kNumber, check_number, ""},
    {ArgumentKind::kMask, check_mask, ""},
    {ArgumentKind::kWord, check_word, ""},
    {ArgumentKind::kAttribute, check_attribute, ""},
    {ArgumentKind::kText, check_text, ""},
    {ArgumentKind::kPath, check_text, "files"},
    {ArgumentKind::kFile, check_file, "files"},
};

const ArgumentKindRow& argument_row(ArgumentKind kind) {
    return *std::find_if(std::begin(kArgumentKinds), std::end(kArgumentKinds),
                         [&](const ArgumentKindRow& row) { return row.kind == kind; });
}

} // namespace

void check_argument(const Argument& argument, const std::string& value) {
    const std::string wrong = argument_row(argument.kind).check(argument, value);
    if (!wrong.empty()) {
        const std::string shown = value.empty() ? "" : " \"" + value + "\"";
        throw Failure{Kind::kUsage, argument.name + shown + ' ' + wrong};
    }
}

const char* completion_source(ArgumentKind kind) {
    return argument_row(kind).source;
}

} // namespace zrp::ctl
