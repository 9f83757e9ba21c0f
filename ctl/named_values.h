// Lists of <parm><name>N</name><value type="T">V</value></parm>.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ctl/fields.h"
#include "ctl/outcome.h"
#include "ctl/reply.h"

namespace zrp::ctl {

struct NamedValue {
    std::string name;
    Field::Kind kind = Field::kText; // by the type of the value
    std::optional<std::string> text; // nothing if no value came
};

// Throws a Failure of kind kReply for one without a name or with a value that is not of its type.
std::vector<NamedValue> read_named_values(Node list, const Daemon& daemon);

const NamedValue* find_value(const std::vector<NamedValue>& values, std::string_view name);

// {"name":...,"value":...}
Json named_json(const NamedValue& value);
Row named_row(const NamedValue& value);

} // namespace zrp::ctl
