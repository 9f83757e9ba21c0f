// Who may log in, settings of the server, and cluster resources.
#include "common/requests/cluster_resource.h"
#include "common/requests/server_login.h"
#include "common/requests/server_settings.h"
#include "common/tags.h"
#include "ctl/acts.h"
#include "ctl/lookups.h"
#include "ctl/numbers.h"
#include "ctl/text.h"
#include "ctl/volume_list.h"

namespace zrp::ctl {
namespace {

constexpr const char* kValue = "VALUE";
constexpr const char* kLoginVolume = "--volume";
constexpr const char* kReadOnly = "--read-only";
constexpr const char* kMessage = "--message";

// The lines that the server answers.
Outcome show_login(const Session& session, Node command, const char* done) {
    Outcome outcome(session.options().json);
    Json lines = Json::array();
    for (const Node line : command.children(tag::string)) {
        lines.push_back(text_of(line));
        outcome.add_text(visible(text_of(line)) + '\n');
    }
    outcome.set("done", true);
    outcome.set(tag::string, lines);
    if (lines.empty()) {
        outcome.add_text(std::string(done) + '\n');
    }
    return outcome;
}

std::string login_question(const Arguments& arguments, bool enable) {
    const std::string change = !arguments.has(kLoginVolume)
                                   ? ""
                                   : " and make volume " + arguments.text(kLoginVolume) +
                                         (arguments.has(kReadOnly) ? " read only" : " writable");
    return std::string(enable ? "Enable" : "Disable") + " logins" + change;
}

Outcome change_login(Session& session, const Arguments& arguments, bool enable) {
    check_needs(arguments, kReadOnly, kLoginVolume);
    const std::optional<std::string> volume = optional_sendable(arguments, kLoginVolume);
    const std::optional<std::string> message = optional_sendable(arguments, kMessage);
    const LoginChange wanted = {enable, text_or_null(volume), arguments.has(kReadOnly),
                                text_or_null(message)};
    const Answer answer = change(
        session, kServer,
        request_with(kMessage, [&](uint32_t* length) { return BuildLoginRequest(wanted, length); }),
        [&] { return login_question(arguments, enable); });
    const char* tag = enable ? tag::enableLogin : tag::disableLogin;
    return show_login(session, command_of(answer, kServer, tag),
                      enable ? "login enabled" : "login disabled");
}

Outcome enable_login(Session& session, const Arguments& arguments) {
    return change_login(session, arguments, true);
}

Outcome disable_login(Session& session, const Arguments& arguments) {
    return change_login(session, arguments, false);
}

std::string set_question(const Arguments& arguments) {
    return "Set " + arguments.text(kName) + " to \"" + arguments.text(kValue) + '"';
}

constexpr Field kSetting[] = {
    {tag::name, Field::kText},
    {tag::string, Field::kText, true, "value"},
};

Outcome set_parameter(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    const std::string value = sendable(arguments, kValue);
    return carry_out({kServer, tag::set, nullptr, kSetting, "set"}, session,
                     request_with(kName,
                                  [&](uint32_t* length) {
                                      return BuildSetRequest(length, kSetVersion, kSetAttributes,
                                                             name.c_str(), value.c_str());
                                  }),
                     [&] { return set_question(arguments); });
}

// The reply holds the whole configuration; only the setting is shown.
Outcome set_configuration(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    const std::string value = sendable(arguments, kValue);
    const std::string& key = arguments.text(kName);
    const Field changed[] = {{key.c_str(), Field::kText, false, "value"}};
    Outcome outcome = carry_out({kServer, tag::serverConfig, nullptr, changed, "set"}, session,
                                request_with(kValue,
                                             [&](uint32_t* length) {
                                                 return BuildServerConfigRequest(
                                                     kSetServerConfig, kServerConfigVersion,
                                                     name.c_str(), value.c_str(), length);
                                             }),
                                [&] { return set_question(arguments); });
    outcome.set("name", key);
    return outcome;
}

constexpr Field kBinding[] = {
    {tag::zrpServerName, Field::kText, false},
    {tag::networkAddress, Field::kText, false},
};

Outcome change_binding(Session& session, const Arguments& arguments, bool bind) {
    const std::string server = sendable(arguments, "SERVER");
    const std::string address = sendable(arguments, "ADDRESS");
    return carry_out(
        {kServer, tag::clusterResource, nullptr, kBinding,
         bind ? "address bound" : "address unbound"},
        session,
        request_with("SERVER or ADDRESS",
                     [&](uint32_t* length) {
                         return BuildClusterBindRequest(server.c_str(), address.c_str(),
                                                        bind ? 1 : 0, length);
                     }),
        [&] {
            return std::string(bind ? "Bind" : "Unbind") + " address " + arguments.text("ADDRESS") +
                   (bind ? " to " : " from ") + arguments.text("SERVER");
        },
        [&] {
            return is_bound(session, arguments.text("SERVER"), arguments.text("ADDRESS")) == bind;
        });
}

Outcome bind(Session& session, const Arguments& arguments) {
    return change_binding(session, arguments, true);
}

Outcome unbind(Session& session, const Arguments& arguments) {
    return change_binding(session, arguments, false);
}

constexpr Field kClusterVolume[] = {
    {tag::volumeName, Field::kText, true, "name"},
    {tag::volumeNumber, Field::kNumber, true, "number"},
    {tag::mountFailureCode, Field::kNumber},
};
constexpr size_t kFailureCode = 2;

Outcome show_cluster_volume(const Session& session, const std::string& name, const Item& item) {
    Outcome outcome(session.options().json);
    start_items(outcome, "volumes", kClusterVolume);
    add_item(outcome, kClusterVolume, item);
    const int64_t code = read_number(*item[kFailureCode]).value_or(0);
    if (code != 0 && !(session.options().ifNeeded && is_volume_mounted(session, name))) {
        outcome.failure = Failure{Kind::kRefused, "not mounted: " + name, kServer.name, code};
    }
    return outcome;
}

Outcome mount_cluster_volume(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    const std::optional<std::string> path = optional_sendable(arguments, "--path");
    const std::optional<std::string> shadowPath = optional_sendable(arguments, "--shadow-path");
    const std::optional<std::string> shadow = optional_sendable(arguments, "--shadow-volume");
    const ClusterVolumeSettings wanted = {
        name.c_str(), arguments.has("--number") ? arguments.number("--number") : kOwnVolumeNumber,
        text_or_null(path), text_or_null(shadowPath), text_or_null(shadow)};
    const Answer answer =
        change(session, kServer,
               request_with(
                   "a path",
                   [&](uint32_t* length) { return BuildOneClusterVolumeRequest(wanted, length); }),
               [&] { return "Mount cluster volume " + arguments.text(kName); });
    const Node volume = command_of(answer, kServer, tag::clusterResource).child(tag::volume);
    if (!volume) {
        fail_reply("the reply does not name the volume", kServer);
    }
    return show_cluster_volume(session, arguments.text(kName),
                               read_item(kClusterVolume, volume, kServer));
}

constexpr const char* kServerActsGroup = "Change the server";
constexpr const char* kClusterGroup = "Change the cluster";

constexpr Argument kLoginArguments[] = {
    {kLoginVolume, ArgumentKind::kVolume, Count::kOptional, "make this volume writable as well"},
    {kReadOnly, ArgumentKind::kFlag, Count::kOptional, "make it read only instead"},
    {kMessage, ArgumentKind::kText, Count::kOptional, "for those who try to log in"},
};
constexpr Argument kSetArguments[] = {
    {kName, ArgumentKind::kSetting, Count::kOne, "the setting, as \"parameters\" shows it"},
    {kValue, ArgumentKind::kText, Count::kOne, "its new value"},
};
constexpr Argument kConfigurationArguments[] = {
    {kName, ArgumentKind::kText, Count::kOne, "the setting, as \"configuration\" shows it"},
    {kValue, ArgumentKind::kText, Count::kOne, "its new value"},
};
constexpr Argument kBindArguments[] = {
    {"SERVER", ArgumentKind::kText, Count::kOne, "the virtual server"},
    {"ADDRESS", ArgumentKind::kText, Count::kOne, "its network address"},
};
constexpr Argument kClusterVolumeArguments[] = {
    {kName, ArgumentKind::kVolume, Count::kOne, "the volume"},
    {"--number", ArgumentKind::kNumber, Count::kOptional, "give the volume this number"},
    {"--path", ArgumentKind::kPath, Count::kOptional, "its mount point"},
    {"--shadow-path", ArgumentKind::kPath, Count::kOptional, "the mount point of its shadow"},
    {"--shadow-volume", ArgumentKind::kText, Count::kOptional, "the name of its shadow volume"},
};

constexpr Command kServerActs[] = {
    {"login enable", kServerActsGroup, "Let users log in", Effect::kChanges, kLoginArguments,
     "zrpctl login enable", enable_login},
    {"login disable", kServerActsGroup, "Let nobody log in", Effect::kChanges, kLoginArguments,
     "zrpctl login disable --message \"Back at noon\"", disable_login},
    {"set", kServerActsGroup, "Change a setting of the server", Effect::kChanges, kSetArguments,
     "zrpctl set FIRST_WATCHDOG_PACKET 1", set_parameter},
    {"configuration set", kServerActsGroup, "Change the server's configuration", Effect::kChanges,
     kConfigurationArguments, "zrpctl configuration set signingLevel 2", set_configuration},
    {"cluster bind", kClusterGroup, "Bind an address to a virtual server", Effect::kChanges,
     kBindArguments, "zrpctl cluster bind VS1 10.0.0.7", bind},
    {"cluster unbind", kClusterGroup, "Unbind an address from a virtual server", Effect::kChanges,
     kBindArguments, "zrpctl cluster unbind VS1 10.0.0.7 --if-needed", unbind},
    {"cluster volume", kClusterGroup, "Mount a volume of a cluster resource", Effect::kChanges,
     kClusterVolumeArguments, "zrpctl cluster volume BACKUP --path /srv/backup --if-needed",
     mount_cluster_volume},
};

} // namespace

std::span<const Command> server_act_commands() {
    return kServerActs;
}

} // namespace zrp::ctl
