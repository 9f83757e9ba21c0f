#include "ctl/completion.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <strings.h>
#include <vector>

#include "common/requests/server_settings.h"
#include "common/tags.h"
#include "ctl/argument_kinds.h"
#include "ctl/attributes.h"
#include "ctl/command.h"
#include "ctl/failure.h"
#include "ctl/text.h"
#include "ctl/volume_list.h"

namespace zrp::ctl {
namespace {

constexpr milliseconds kPatience{900}; // leaves room for the rest of a second

using Words = std::vector<std::string>;

Words volume_names(const Session& session) {
    Words names;
    for (const VolumeEntry& volume : list_volumes(session)) {
        names.push_back(volume.name);
    }
    return names;
}

Words setting_names(const Session& session) {
    const Answer answer = session.ask(kServer, request([](uint32_t* length) {
                                          return BuildSetRequest(length, kSetVersion,
                                                                 kSetAttributes, nullptr, nullptr);
                                      }));
    Words names;
    for (const Node name : command_of(answer, kServer, tag::set).children(tag::name)) {
        names.push_back(text_of(name));
    }
    return names;
}

struct SourceRow {
    const char* name;
    Words (*list)(const Session& session);
};

constexpr SourceRow kSources[] = {{"volumes", volume_names}, {"settings", setting_names}};

Words live_names(const char* source) {
    Options options;
    options.timeout = kPatience;
    for (const SourceRow& row : kSources) {
        if (strcmp(row.name, source) == 0) {
            try {
                return row.list(Session(options));
            } catch (const Failure&) {
                return {};
            }
        }
    }
    return {};
}

Words values_of(const Argument& argument) {
    if (argument.kind == ArgumentKind::kAttribute) {
        return attribute_words();
    }
    Words words(argument.words.begin(), argument.words.end());
    return words.empty() ? live_names(completion_source(argument.kind)) : words;
}

bool is_typed_option(std::string_view word) {
    return word.size() > 1 && word.starts_with('-');
}

bool takes_value(const Argument& argument) {
    return argument.kind != ArgumentKind::kFlag;
}

// Whether a common option takes the next word.
bool is_common_with_value(const std::string& word) {
    const auto options = common_options();
    return std::any_of(options.begin(), options.end(), [&](const CommonOption& option) {
        return word == option.name && option.value != nullptr && *option.value != '[';
    });
}

const Argument* find_option(const Command* command, const std::string& word) {
    if (command == nullptr) {
        return nullptr;
    }
    for (const Argument& argument : command->arguments) {
        if (word == argument.name) {
            return &argument;
        }
    }
    return nullptr;
}

// How far the line has come.
struct Line {
    std::string group; // the first word of a command with two
    const Command* command = nullptr;
    size_t values = 0;              // that are no options
    const Argument* open = nullptr; // the option that takes the last word
    bool opensCommon = false;       // the same for an option of all commands
};

void take_word(Line& line, const std::string& word) {
    if (line.open != nullptr || line.opensCommon) {
        line.open = nullptr;
        line.opensCommon = false;
    } else if (is_typed_option(word)) {
        const Argument* option = find_option(line.command, word);
        line.open = option != nullptr && takes_value(*option) ? option : nullptr;
        line.opensCommon = is_common_with_value(word);
    } else {
        const std::string name = line.group.empty() ? word : line.group + ' ' + word;
        const Command* longer = line.values == 0 ? find_command(name) : nullptr;
        const bool isWord = longer != nullptr || line.command == nullptr;
        line.command = longer != nullptr ? longer : line.command;
        line.values += isWord ? 0 : 1;
        line.group = isWord ? name : line.group;
    }
}

// The next words of commands.
Words command_words(const Line& line) {
    Words words;
    const std::string before = line.group.empty() ? "" : line.group + ' ';
    for (const Command& command : commands()) {
        const std::string_view name = command.name;
        if (line.values == 0 && name.starts_with(before)) {
            const std::string_view rest = name.substr(before.size());
            words.emplace_back(rest.substr(0, rest.find(' ')));
        }
    }
    return words;
}

Words option_words(const Line& line) {
    Words words;
    for (const CommonOption& option : common_options()) {
        words.emplace_back(option.name);
    }
    if (line.command != nullptr) {
        for (const Argument& argument : line.command->arguments) {
            if (is_option(argument)) {
                words.emplace_back(argument.name);
            }
        }
    }
    return words;
}

// The argument that the next value is for; null if there is none.
const Argument* next_argument(const Line& line) {
    size_t left = line.values;
    for (const Argument& argument : line.command->arguments) {
        const bool isMany = argument.count == Count::kSome || argument.count == Count::kAny;
        if (!is_option(argument) && (left-- == 0 || isMany)) {
            return &argument;
        }
    }
    return nullptr;
}

Words candidates(const Line& line, const std::string& last) {
    if (line.opensCommon) {
        return {};
    }
    if (line.open != nullptr) {
        return values_of(*line.open);
    }
    if (is_typed_option(last) || last == "-") {
        return option_words(line);
    }
    Words words = command_words(line);
    const Argument* argument = line.command == nullptr ? nullptr : next_argument(line);
    if (argument != nullptr) {
        const Words values = values_of(*argument);
        words.insert(words.end(), values.begin(), values.end());
    }
    return words;
}

} // namespace

std::string completions(std::span<const char* const> words) {
    Line line;
    const std::string last = words.empty() ? "" : words.back();
    for (size_t i = 0; i + 1 < words.size(); i++) {
        take_word(line, words[i]);
    }
    Words found = candidates(line, last);
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    std::string text;
    for (const std::string& word : found) {
        if (strncasecmp(word.c_str(), last.c_str(), last.size()) == 0 && visible(word) == word) {
            text += word + '\n';
        }
    }
    return text;
}

} // namespace zrp::ctl
