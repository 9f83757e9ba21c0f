#include "ctl/outcome.h"

#include "ctl/json.h"
#include "ctl/text.h"

namespace zrp::ctl {

void Outcome::set(const std::string& key, const Json& value) {
    if (json_) {
        members_.emplace_back(key, json_text(value));
    }
}

void Outcome::start_list(const std::string& key) {
    if (json_) {
        members_.emplace_back(key, "[]");
        isFirst_ = true;
    }
}

void Outcome::append(const Json& item) {
    if (!json_) {
        return;
    }
    std::string& list = members_.back().second;
    list.pop_back();
    list += isFirst_ ? "" : ",";
    list += json_text(item);
    list += ']';
    isFirst_ = false;
}

void Outcome::start_table(std::vector<Column> columns) {
    tables_.push_back({std::move(columns), {}});
}

void Outcome::add_row(Row cells) {
    if (json_) {
        return;
    }
    for (std::string& cell : cells) {
        cell = cell.empty() ? "-" : visible(cell);
    }
    tables_.back().rows.push_back(std::move(cells));
}

void Outcome::add_text(std::string_view lines) {
    text_ += lines;
}

} // namespace zrp::ctl
