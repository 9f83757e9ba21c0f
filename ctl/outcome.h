// What a command found: for people as tables, for programs as the members of one JSON object. Only
// the one that is asked for is kept, so that long lists stay small.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ctl/failure.h"

namespace zrp::ctl {

using Json = nlohmann::ordered_json;

struct Column {
    std::string heading; // in capitals
    bool isNumber = false;
};

using Row = std::vector<std::string>; // a cell for each column

struct Table {
    std::vector<Column> columns;
    std::vector<Row> rows; // visible text
};

class Outcome {
public:
    explicit Outcome(bool json) : json_(json) {}

    [[nodiscard]] bool json() const {
        return json_;
    }

    // A member of the object.
    void set(const std::string& key, const Json& value);

    // A list as a member, and items at its end.
    void start_list(const std::string& key);
    void append(const Json& item);

    // The columns of the next rows.
    void start_table(std::vector<Column> columns);
    void add_row(Row cells);

    // Plain lines instead of a table.
    void add_text(std::string_view lines);

    [[nodiscard]] const std::vector<Table>& tables() const {
        return tables_;
    }
    [[nodiscard]] const std::string& text() const {
        return text_;
    }
    // The members as JSON, in their order.
    [[nodiscard]] std::vector<std::pair<std::string, std::string>> members() && {
        return std::move(members_);
    }

    // Refused in part, or a daemon of several: shown beside what came.
    std::optional<Failure> failure;

    std::vector<std::string> warnings; // for standard error

private:
    bool json_;
    std::vector<Table> tables_;
    std::string text_;
    std::vector<std::pair<std::string, std::string>> members_;
    bool isFirst_ = true; // item of the list
};

} // namespace zrp::ctl
