#include "ctl/fields.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "common/requests/volume_information.h"
#include "common/requests/volume_list.h"
#include "ctl/failure.h"
#include "ctl/numbers.h"
#include "ctl/printing.h"
#include "ctl/text.h"

namespace zrp::ctl {
namespace {

constexpr const char* kMountedKey = "mounted";
constexpr const char* kStatusKey = "status";

// A number of the kind, or nothing.
std::optional<Json> number_of(Field::Kind kind, const std::string& text) {
    const auto as_json = [](const auto& number) {
        return number ? std::optional<Json>(*number) : std::nullopt;
    };
    switch (kind) {
    case Field::kFraction:
        return as_json(read_fraction(text));
    case Field::kMask:
    case Field::kStatus:
        return as_json(read_mask(text));
    case Field::kBoolean:
        return text == "1" || text == "0" ? std::optional<Json>(text == "1") : std::nullopt;
    default:
        return text.starts_with('-') ? as_json(read_number(text)) : as_json(read_unsigned(text));
    }
}

std::string trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \t\r\n";
    const size_t first = text.find_first_not_of(kBlanks);
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

void add_status(Json& object, uint32_t status) {
    object[kMountedKey] = (status & kVolumeMounted) != 0;
    object[kStatusKey] = status_words(status);
}

void add_time(Json& object, const char* key, const Json& epoch) {
    object[key] = epoch;
    const std::string utc = epoch == 0 ? "" : utc_time(epoch.get<int64_t>());
    if (!utc.empty()) {
        object[std::string(key) + "Utc"] = utc;
    }
}

std::string mask_text(uint64_t mask) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(mask));
    return text;
}

bool is_numeric(Field::Kind kind) {
    return kind == Field::kNumber || kind == Field::kFraction;
}

} // namespace

const char* key_of(const Field& field) {
    return field.key != nullptr ? field.key : field.tag;
}

std::vector<Column> columns_of(std::span<const Field> fields) {
    std::vector<Column> columns;
    for (const Field& field : fields) {
        std::string heading = key_of(field);
        std::transform(heading.begin(), heading.end(), heading.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        columns.push_back({heading, is_numeric(field.kind)});
    }
    return columns;
}

bool is_value(Field::Kind kind, const std::string& text) {
    return kind == Field::kText || number_of(kind, trimmed(text)).has_value();
}

void add_json(Json& object, const char* key, Field::Kind kind, const std::string& text) {
    const std::optional<Json> number =
        kind == Field::kText ? std::nullopt : number_of(kind, trimmed(text));
    if (!number) {
        object[key] = text;
    } else if (kind == Field::kStatus) {
        add_status(object, number->get<uint32_t>());
    } else if (kind == Field::kTime) {
        add_time(object, key, *number);
    } else {
        object[key] = *number;
    }
}

std::string cell_of(Field::Kind kind, const std::string& text) {
    std::string word = kind == Field::kText ? text : trimmed(text);
    switch (kind) {
    case Field::kMask:
        return mask_text(read_mask(word).value_or(0));
    case Field::kBoolean:
        return word == "1" ? "yes" : "no";
    case Field::kTime: {
        const int64_t epoch = read_number(word).value_or(0);
        return epoch == 0 ? "-" : local_time(epoch);
    }
    case Field::kSeconds:
        return duration_words(read_unsigned(word).value_or(0));
    case Field::kStatus:
        return joined(status_words(static_cast<uint32_t>(read_mask(word).value_or(0))));
    default:
        return word;
    }
}

Item read_item(std::span<const Field> fields, Node node, const Daemon& daemon) {
    Item item;
    for (const Field& field : fields) {
        std::optional<std::string> text = text_inside(node, field.tag);
        if (text && field.kind != Field::kText && trimmed(*text).empty()) {
            text.reset();
        }
        if (!text && field.isNeeded) {
            fail_reply(std::string("an item of the reply is incomplete: it has no ") + field.tag,
                       daemon);
        }
        if (text && !is_value(field.kind, *text)) {
            fail_reply(std::string("a value of the reply is malformed: ") + field.tag, daemon);
        }
        item.push_back(std::move(text));
    }
    return item;
}

Json item_json(std::span<const Field> fields, const Item& item) {
    Json object = Json::object();
    for (size_t i = 0; i < fields.size(); i++) {
        if (item[i]) {
            add_json(object, key_of(fields[i]), fields[i].kind, *item[i]);
        }
    }
    return object;
}

Row item_row(std::span<const Field> fields, const Item& item) {
    Row row;
    for (size_t i = 0; i < fields.size(); i++) {
        row.push_back(item[i] ? cell_of(fields[i].kind, *item[i]) : "");
    }
    return row;
}

void start_items(Outcome& outcome, const char* key, std::span<const Field> fields) {
    outcome.start_list(key);
    outcome.start_table(columns_of(fields));
}

void add_item(Outcome& outcome, std::span<const Field> fields, const Item& item) {
    if (outcome.json()) {
        outcome.append(item_json(fields, item));
    } else {
        outcome.add_row(item_row(fields, item));
    }
}

void start_properties(Outcome& outcome) {
    outcome.start_table({{"NAME"}, {"VALUE"}});
}

void add_properties(Outcome& outcome, std::span<const Field> fields, const Item& item) {
    for (size_t i = 0; i < fields.size(); i++) {
        if (item[i]) {
            outcome.add_row({key_of(fields[i]), cell_of(fields[i].kind, *item[i])});
        }
    }
}

std::vector<std::string> status_words(uint32_t status) {
    char text[kVolumeStatusTextSize];
    formatVolumeStatus(status, text);
    std::vector<std::string> words;
    std::string word;
    bool isQuoted = false;
    for (const char* at = text; *at != '\0'; at++) {
        if (*at == '"') {
            isQuoted = !isQuoted;
        } else if (*at != ' ' || isQuoted) {
            word += *at;
        } else {
            words.push_back(std::move(word));
            word.clear();
        }
    }
    return words;
}

} // namespace zrp::ctl
