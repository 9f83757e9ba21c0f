// The elements of an item as a table: what each holds, and how both kinds of output show it.
//
//     constexpr Field kFields[] = {{tag::volumeNumber, Field::kNumber, true, "number"},
//                                  {tag::name, Field::kText}};
//     const Item item = read_item(kFields, node, kServer);
//     add_item(outcome, kFields, item);
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ctl/outcome.h"
#include "ctl/reply.h"
#include "ctl/session.h"

namespace zrp::ctl {

struct Field {
    enum Kind : uint8_t {
        kText,
        kNumber,   // decimal, up to 64 bits
        kMask,     // decimal or hexadecimal; hexadecimal for people
        kBoolean,  // 1 or 0
        kFraction, // with a decimal point
        kTime,     // seconds since 1970
        kSeconds,  // a duration
        kStatus,   // bits of a volume: "mounted" and "status", its words
    };
    const char* tag;
    Kind kind;
    bool isNeeded = true;      // an item without it is incomplete
    const char* key = nullptr; // in JSON and, in capitals, of the column; null for the tag
};

const char* key_of(const Field& field);
std::vector<Column> columns_of(std::span<const Field> fields);

// Whether a text is a value of the kind.
bool is_value(Field::Kind kind, const std::string& text);

// Adds a value of the kind to an object.
void add_json(Json& object, const char* key, Field::Kind kind, const std::string& text);

// For people; "-" for a time of 0.
std::string cell_of(Field::Kind kind, const std::string& text);

// An item that was read: the text of each field, nothing for one that did not come.
using Item = std::vector<std::optional<std::string>>;

// Throws a Failure of kind kReply for an item that is incomplete or has a value of another kind.
Item read_item(std::span<const Field> fields, Node node, const Daemon& daemon);

Json item_json(std::span<const Field> fields, const Item& item);
Row item_row(std::span<const Field> fields, const Item& item);

// A list: a member of the object, or a table.
void start_items(Outcome& outcome, const char* key, std::span<const Field> fields);
void add_item(Outcome& outcome, std::span<const Field> fields, const Item& item);

// A single thing: a table of names and values.
void start_properties(Outcome& outcome);
void add_properties(Outcome& outcome, std::span<const Field> fields, const Item& item);

// The words for status bits, without quotes: {"online", "mounted", "read only"}.
std::vector<std::string> status_words(uint32_t status);

} // namespace zrp::ctl
