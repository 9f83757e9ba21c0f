// Rows of the command table, and what their handlers share.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <pugixml.hpp>

#include "tools/zrpsim/world/world.h"

namespace zrp::sim {

// Codes in the error elements of replies.
enum Refused : int {
    kNoSuchObject = 2,
    kNotMounted = 6,
    kForbidden = 13,
    kExists = 17,
    kBadRequest = 22,
    kNoSpace = 28,
    kUnknownCommand = 38,
    kBadDocument = 74,
    kVolumeNameTooLong = -702,
};

// Outcome of a handler. Code 0 means that the request was carried out.
struct Outcome {
    int code = 0;
    std::string description;
};

// Carries out the command and appends the content of the reply's command element, which is
// discarded when it refuses the command.
using Handler = Outcome (*)(World& world, pugi::xml_node command, std::string& out);

struct CommandRow {
    const char* name;
    const char* elements; // that the command may hold, separated by blanks
    Handler handler;
};

// The commands of each family.
std::span<const CommandRow> status_commands();
std::span<const CommandRow> volume_commands();
std::span<const CommandRow> connection_commands();
std::span<const CommandRow> diagnostics_commands();
std::span<const CommandRow> parameter_commands();
std::span<const CommandRow> volume_management_commands();
std::span<const CommandRow> shadow_commands();
std::span<const CommandRow> connection_management_commands();
std::span<const CommandRow> file_commands();
std::span<const CommandRow> server_management_commands();
std::span<const CommandRow> server_version_commands();
std::span<const CommandRow> storage_commands();
std::span<const CommandRow> storage_version_commands();
std::span<const CommandRow> storage_diagnostics_commands();
std::span<const CommandRow> management_version_commands();

// Readers of the request. They search all descendants of the command in document order, because
// builders nest elements differently.
pugi::xml_node find_inside(pugi::xml_node node, const char* name);
std::string text_inside(pugi::xml_node node, const char* name); // empty when absent

// Returns nothing when the element is absent or is not a decimal number of 32 bits.
std::optional<int> number_inside(pugi::xml_node node, const char* name);

// Reads a number that may be absent. Returns false when it is malformed.
bool optional_number(pugi::xml_node node, const char* name, int absent, int& value);

// The part of a list that a request asks for.
struct Page {
    int startIndex;
    int maxItems;
};

// Reads startIndex and maxItems, which may be absent but not negative. A page is never longer than
// kLongestPage.
inline constexpr int kLongestPage = 1000;
Outcome read_page(pugi::xml_node command, int usualItems, Page& page);

} // namespace zrp::sim
