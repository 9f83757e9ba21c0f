// Settings, configuration and threads of the main daemon.
#include "common/client/session.h"
#include "common/requests/server_settings.h"
#include "common/requests/server_threads.h"
#include "common/tags.h"
#include "ctl/command.h"
#include "ctl/fields.h"

namespace zrp::ctl {
namespace {

Request setting_request(const char* name) {
    return request([&](uint32_t* length) {
        return BuildSetRequest(length, kSetVersion, kSetAttributes, name, nullptr);
    });
}

struct Setting {
    std::string name;
    std::string value;
};

std::string ask_value(const Session& session, const std::string& name) {
    const Answer answer = session.ask(kServer, setting_request(client::Escaped(name).c_str()));
    const auto value = text_inside(command_of(answer, kServer, tag::set), tag::string);
    if (!value) {
        fail_reply("the reply holds no value of " + name, kServer);
    }
    return *value;
}

// The list has the value with the name, or it is asked for.
Setting read_setting(const Session& session, Node node) {
    const std::string name = text_of(node);
    if (name.empty()) {
        fail_reply("a setting of the reply has no name", kServer);
    }
    const auto beside = node.attribute(tag::value);
    if (!beside) {
        return {name, ask_value(session, name)};
    }
    return {name, beside.value()};
}

void add_setting(const Setting& setting, Outcome& outcome) {
    outcome.append({{"name", setting.name}, {"value", setting.value}});
    outcome.add_row({setting.name, setting.value});
}

void add_named(const Session& session, const std::vector<std::string>& names, Outcome& outcome) {
    bool isAny = false;
    for (const std::string& name : names) {
        try {
            add_setting({name, ask_value(session, name)}, outcome);
            isAny = true;
        } catch (const Failure& failure) {
            if (failure.kind != Kind::kRefused) {
                throw;
            }
            outcome.failure = outcome.failure ? outcome.failure : failure;
        }
    }
    if (outcome.failure && !isAny) {
        throw Failure(*outcome.failure);
    }
}

Outcome show_parameters(Session& session, const Arguments& arguments) {
    Outcome outcome(session.options().json);
    outcome.start_list("parameters");
    outcome.start_table({{"NAME"}, {"VALUE"}});
    if (arguments.has("NAME")) {
        add_named(session, arguments.list("NAME"), outcome);
        return outcome;
    }
    const Answer answer = session.ask(kServer, setting_request(nullptr));
    for (const Node node : command_of(answer, kServer, tag::set).children(tag::name)) {
        add_setting(read_setting(session, node), outcome);
    }
    return outcome;
}

constexpr Field kConfiguration[] = {
    {tag::zrpServerName, Field::kText},
    {tag::zrpServerProductVersion, Field::kText},
    {tag::zrpServerFileServerVersion, Field::kText},
    {tag::zrpServerVersion, Field::kText},
    {tag::zrpAllowUncryptedPasswords, Field::kNumber},
    {tag::zrpMixedModePath, Field::kNumber},
    {tag::zrpOSLanguageID, Field::kNumber},
    {tag::zrpBoundaryCheck, Field::kNumber, false},
    {tag::zrpFileCommit, Field::kNumber, false},
    {tag::zrpLocalLoginInfo, Field::kNumber, false},
    {tag::signingLevel, Field::kNumber, false},
    {tag::maximumConnectionSlots, Field::kNumber, false},
};

// A single thing whose fields are all there is of it.
Outcome show_record(Session& session, const char* key, std::span<const Field> fields, Node node) {
    const Item item = read_item(fields, node, kServer);
    Outcome outcome(session.options().json);
    outcome.set(key, item_json(fields, item));
    start_properties(outcome);
    add_properties(outcome, fields, item);
    return outcome;
}

Outcome show_configuration(Session& session, const Arguments&) {
    const Answer answer =
        session.ask(kServer, request([](uint32_t* length) {
                        return BuildServerConfigRequest(kReadServerConfig, kServerConfigVersion,
                                                        nullptr, nullptr, length);
                    }));
    return show_record(session, "configuration", kConfiguration,
                       command_of(answer, kServer, tag::serverConfig));
}

// A server may lack some of them, but not the first.
constexpr Field kThreads[] = {
    {tag::currAsynceDirThreads, Field::kNumber},
    {tag::maxAsynceDirThreads, Field::kNumber, false},
    {tag::peakAsynceDirThreads, Field::kNumber, false},
    {tag::currQueuedeDirRequests, Field::kNumber, false},
    {tag::peakQueuedeDirRequests, Field::kNumber, false},
    {tag::activeSSGThreads, Field::kNumber, false},
    {tag::addlSSGThreads, Field::kNumber, false},
    {tag::totalZRPStreams, Field::kNumber, false},
    {tag::averageSSGThreadLoad, Field::kFraction, false},
    {tag::peakSSGThreads, Field::kNumber, false},
    {tag::peakZRPStreams, Field::kNumber, false},
    {tag::peakAverageSSGThreadLoad, Field::kFraction, false},
};

Outcome show_threads(Session& session, const Arguments&) {
    const Answer answer = session.ask(kServer, request(BuildThreadsRequest));
    return show_record(session, "threads", kThreads, command_of(answer, kServer, tag::threads));
}

constexpr const char* kSettingsGroup = "Settings";

constexpr Argument kParametersArguments[] = {
    {"NAME", ArgumentKind::kSetting, Count::kAny, "a setting; all without a name"},
};

constexpr Command kSettingsCommands[] = {
    {"parameters", kSettingsGroup, "Show the settings of the server", Effect::kReadOnly,
     kParametersArguments, "zrpctl parameters", show_parameters},
    {"configuration",
     kSettingsGroup,
     "Show the configuration of the server",
     Effect::kReadOnly,
     {},
     "zrpctl configuration",
     show_configuration},
    {"threads",
     kSettingsGroup,
     "Show how busy the threads of the server are",
     Effect::kReadOnly,
     {},
     "zrpctl threads",
     show_threads},
};

} // namespace

std::span<const Command> settings_commands() {
    return kSettingsCommands;
}

} // namespace zrp::ctl
