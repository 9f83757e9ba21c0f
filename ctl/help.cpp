#include "ctl/help.h"

#include <string_view>

#include "ctl/failure.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

constexpr size_t kSummaryColumn = 28;

void append_entry(std::string& out, const std::string& name, const std::string& summary) {
    std::string line = "  " + name;
    if (line.size() + 2 > kSummaryColumn) {
        out += line + '\n';
        line.clear();
    }
    line.resize(kSummaryColumn, ' ');
    out += line + summary + '\n';
}

// The placeholder of an option's value in the synopsis.
const char* value_name(ArgumentKind kind) {
    switch (kind) {
    case ArgumentKind::kFlag:
        return "";
    case ArgumentKind::kVolume:
    case ArgumentKind::kAskedVolume:
    case ArgumentKind::kSetting:
        return " NAME";
    case ArgumentKind::kStation:
    case ArgumentKind::kNumber:
    case ArgumentKind::kMask:
        return " N";
    case ArgumentKind::kWord:
    case ArgumentKind::kAttribute:
        return " WORD";
    case ArgumentKind::kText:
        return " TEXT";
    case ArgumentKind::kPath:
    case ArgumentKind::kFile:
        return " PATH";
    }
    return "";
}

std::string shown(const Argument& argument) {
    return std::string(argument.name) + (is_option(argument) ? value_name(argument.kind) : "");
}

void append_common_options(std::string& out) {
    out += "\nOptions:\n";
    for (const CommonOption& option : common_options()) {
        const std::string value = option.value == nullptr ? "" : option.value;
        const char* gap = value.empty() || value.starts_with('[') ? "" : " ";
        append_entry(out, option.name + (gap + value), option.summary);
    }
}

} // namespace

std::string synopsis(const Command& command) {
    std::string text = std::string("zrpctl ") + command.name;
    for (const Argument& argument : command.arguments) {
        const bool isOptional = argument.count == Count::kOptional || argument.count == Count::kAny;
        const bool isMany = argument.count == Count::kSome || argument.count == Count::kAny;
        text += isOptional ? " [" : " ";
        text += shown(argument);
        text += isOptional ? "]" : "";
        text += isMany ? "..." : "";
    }
    return text;
}

std::string general_help() {
    std::string out = "Usage: zrpctl [OPTIONS] COMMAND [ARGUMENTS]\n"
                      "\nLook at a ZRP file server and manage it.\n";
    std::string_view group;
    for (const Command& command : commands()) {
        if (group != command.group) {
            group = command.group;
            out += '\n' + std::string(group) + ":\n";
        }
        append_entry(out, command.name, command.summary);
    }
    append_common_options(out);
    out += "\nExit status:\n";
    for (const ExitStatus& row : exit_statuses()) {
        append_entry(out, std::to_string(row.status), row.meaning);
    }
    return out + "\n\"zrpctl help COMMAND\" explains a command.\n";
}

std::string command_help(const Command& command) {
    std::string out = "Usage: " + synopsis(command) + "\n\n" + command.summary + ".\n";
    if (!command.arguments.empty()) {
        out += "\nArguments:\n";
    }
    for (const Argument& argument : command.arguments) {
        const std::string words = argument.words.empty() ? "" : ": " + joined(argument.words);
        append_entry(out, shown(argument), argument.summary + words);
    }
    append_common_options(out);
    return out + "\nExample:\n  " + command.example + '\n';
}

} // namespace zrp::ctl
