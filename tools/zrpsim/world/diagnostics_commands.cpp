// The counters of both daemons.
#include <algorithm>
#include <array>

#include "tools/zrpsim/world/counters.h"
#include "tools/zrpsim/world/handler.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

constexpr int kMostWords = 10;

// Reads what both requests have: a level, and optionally whether to restart the counters at 0.
Outcome read_level(pugi::xml_node command, const char* levelTag, int& level, int& reset) {
    const std::optional<int> wanted = number_inside(command, levelTag);
    if (!wanted) {
        return {kBadRequest, std::string(levelTag) + " is not a number"};
    }
    if (!optional_number(command, "resetAll", 0, reset)) {
        return {kBadRequest, "resetAll is not a number"};
    }
    level = *wanted;
    return {};
}

void append_counter(std::string& out, const char* tag, const char* name, int32_t value) {
    attribute_element(out, tag, "value", std::to_string(value), name);
}

Outcome diagnostics(World& world, pugi::xml_node command, std::string& out) {
    int level = 0;
    int reset = 0;
    Outcome outcome = read_level(command, "diagLevel", level, reset);
    if (outcome.code != 0) {
        return outcome;
    }
    const auto rows = server_counters();
    if (reset != 0) {
        reset_counters(world, rows, world.serverOffsets);
    }
    number_element(out, "diagLevel", level);
    for (size_t i = 0; i < rows.size(); ++i) {
        append_counter(out, "diagValue", rows[i].name,
                       counter_value(world, rows[i], world.serverOffsets[i]));
    }
    return {};
}

// Matches every counter when there are no words, else those with one of the words in their name.
bool is_meant(std::string_view name, const std::vector<std::string>& words) {
    return words.empty() || std::any_of(words.begin(), words.end(), [&](const std::string& word) {
               return name.find(word) != std::string_view::npos;
           });
}

void append_words(const std::vector<std::string>& words, std::string& out) {
    if (words.empty()) {
        return;
    }
    open_element(out, "parms");
    for (const std::string& word : words) {
        text_element(out, "parm", word);
    }
    close_element(out, "parms");
}

Outcome storage_diagnostics(World& world, pugi::xml_node command, std::string& out) {
    int level = 0;
    int reset = 0;
    Outcome outcome = read_level(command, "level", level, reset);
    if (outcome.code != 0) {
        return outcome;
    }
    std::vector<std::string> words;
    for (const pugi::xml_node parm : command.child("parms").children("parm")) {
        words.emplace_back(parm.text().get());
    }
    if (words.size() > kMostWords) {
        return {kBadRequest, "more than ten parm elements"};
    }
    const auto rows = storage_counters();
    if (reset != 0) {
        reset_counters(world, rows, world.storageOffsets);
    }
    number_element(out, "level", level);
    if (reset != 0) {
        number_element(out, "resetAll", reset);
    }
    append_words(words, out);
    for (size_t i = 0; i < rows.size(); ++i) {
        if (is_meant(rows[i].name, words)) {
            append_counter(out, "zrp2bksValue", rows[i].name,
                           counter_value(world, rows[i], world.storageOffsets[i]));
        }
    }
    return {};
}

constexpr std::array kServerCommands = std::to_array<CommandRow>({
    {"diagnostics", "diagLevel resetAll", diagnostics},
});

constexpr std::array kDiagnosticsCommands = std::to_array<CommandRow>({
    {"zrp2bksDiagnosticRequest", "level resetAll parms parm", storage_diagnostics},
});

} // namespace

std::span<const CommandRow> diagnostics_commands() {
    return kServerCommands;
}

std::span<const CommandRow> storage_diagnostics_commands() {
    return kDiagnosticsCommands;
}

} // namespace zrp::sim
