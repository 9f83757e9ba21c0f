// Parameters of the main daemon: listing, reading and setting.
#include <algorithm>
#include <array>
#include <strings.h>

#include "tools/zrpsim/world/handler.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

constexpr size_t kLongestValue = 4095;

void browse(const World& world, std::string& out) {
    for (const Parameter& parameter : world.parameters) {
        attribute_element(out, "name", "value", parameter.value, parameter.name);
    }
}

// The letter case of names is ignored.
Parameter* find_parameter(World& world, const std::string& name) {
    auto at =
        std::find_if(world.parameters.begin(), world.parameters.end(), [&](const Parameter& one) {
            return strcasecmp(one.name.c_str(), name.c_str()) == 0;
        });
    return at == world.parameters.end() ? nullptr : &*at;
}

bool is_number(const std::string& text) {
    return !text.empty() && text.size() < 11 &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

Outcome check_value(const Parameter& parameter, const std::string& value) {
    const bool plain = std::none_of(value.begin(), value.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
    });
    if (parameter.kind == ParameterKind::kFixed) {
        return {kForbidden, parameter.name + " cannot be set"};
    }
    if (parameter.kind == ParameterKind::kNumber && !is_number(value)) {
        return {kBadRequest, parameter.name + " takes a number"};
    }
    if (parameter.kind == ParameterKind::kSwitch && value != "0" && value != "1") {
        return {kBadRequest, parameter.name + " takes 0 or 1"};
    }
    if (!plain || value.size() > kLongestValue) {
        return {kBadRequest, parameter.name + " takes a line of text"};
    }
    return {};
}

Outcome set(World& world, pugi::xml_node command, std::string& out) {
    if (!number_inside(command, "versionTag") || !number_inside(command, "attributes")) {
        return {kBadRequest, "set needs versionTag and attributes"};
    }
    const pugi::xml_node nameNode = command.child("name");
    if (!nameNode) {
        if (number_inside(command, "browse") != 1 || command.child("string")) {
            return {kBadRequest, "set needs a name, or browse"};
        }
        browse(world, out);
        return {};
    }
    Parameter* parameter = find_parameter(world, nameNode.text().get());
    if (parameter == nullptr) {
        return {kNoSuchObject, std::string("no such parameter: ") + nameNode.text().get()};
    }
    if (const pugi::xml_node value = command.child("string")) {
        Outcome outcome = check_value(*parameter, value.text().get());
        if (outcome.code != 0) {
            return outcome;
        }
        parameter->value = value.text().get();
    }
    text_element(out, "name", parameter->name);
    text_element(out, "string", parameter->value);
    return {};
}

constexpr std::array kParameterCommands = std::to_array<CommandRow>({
    {"set", "versionTag attributes browse name string", set},
});

} // namespace

std::span<const CommandRow> parameter_commands() {
    return kParameterCommands;
}

} // namespace zrp::sim
