#include "ctl/named_values.h"

#include <algorithm>

#include "common/tags.h"
#include "ctl/failure.h"

namespace zrp::ctl {
namespace {

struct TypeRow {
    const char* type;
    Field::Kind kind;
};

// Every other type is text.
constexpr TypeRow kTypes[] = {
    {value_type::diffSeconds, Field::kSeconds}, {value_type::time, Field::kTime},
    {value_type::float_, Field::kFraction},     {value_type::boolean, Field::kBoolean},
    {value_type::unsignedLong, Field::kNumber}, {value_type::long_, Field::kNumber},
    {value_type::unsignedInt, Field::kNumber},  {value_type::int_, Field::kNumber},
};

Field::Kind kind_of(std::string_view type) {
    const auto* const row = std::find_if(std::begin(kTypes), std::end(kTypes),
                                         [&](const TypeRow& one) { return one.type == type; });
    return row == std::end(kTypes) ? Field::kText : row->kind;
}

NamedValue read_one(Node parm, const Daemon& daemon) {
    const std::optional<std::string> name = text_inside(parm, tag::name);
    if (!name || name->empty()) {
        fail_reply("a value of the reply has no name", daemon);
    }
    const Node value = parm.child(tag::value);
    NamedValue read = {*name, kind_of(value.attribute(tag::type).value()), {}};
    const std::string text = text_of(value);
    if (value && (read.kind == Field::kText || !text.empty())) {
        read.text = text;
    }
    if (read.text && !is_value(read.kind, *read.text)) {
        fail_reply("a value of the reply is malformed: " + *name, daemon);
    }
    return read;
}

} // namespace

std::vector<NamedValue> read_named_values(Node list, const Daemon& daemon) {
    std::vector<NamedValue> values;
    for (const Node parm : list.children(tag::parm)) {
        values.push_back(read_one(parm, daemon));
    }
    return values;
}

const NamedValue* find_value(const std::vector<NamedValue>& values, std::string_view name) {
    const auto at = std::find_if(values.begin(), values.end(),
                                 [&](const NamedValue& value) { return value.name == name; });
    return at == values.end() ? nullptr : &*at;
}

Json named_json(const NamedValue& value) {
    Json item = {{"name", value.name}};
    if (value.text) {
        add_json(item, "value", value.kind, *value.text);
    }
    return item;
}

Row named_row(const NamedValue& value) {
    return {value.name, value.text ? cell_of(value.kind, *value.text) : ""};
}

} // namespace zrp::ctl
