// Shadow volumes.
#include "common/requests/shadow_volumes.h"
#include "common/tags.h"
#include "ctl/acts.h"
#include "ctl/lookups.h"
#include "ctl/volume_list.h"

namespace zrp::ctl {
namespace {

constexpr const char* kShadowName = "SHADOWNAME";
constexpr const char* kShadowMountPoint = "--mount-point";

constexpr Field kShadowedVolume[] = {{tag::volumeName, Field::kText}};
constexpr Field kRemovedShadow[] = {
    {tag::volumeName, Field::kText},
    {tag::shadowVolName, Field::kText},
};

std::optional<std::string> path_of_shadow(const Session& session, const std::string& volume) {
    return volume_detail(session, volume, tag::shadow);
}

Outcome create_shadow(Session& session, const Arguments& arguments) {
    const std::string& volume = arguments.text(kName);
    const std::string name = sendable(arguments, kName);
    const std::string path = sendable(arguments, "PATH");
    const std::string mountPoint = optional_sendable(arguments, kShadowMountPoint).value_or("");
    const auto attributes = static_cast<int32_t>(attributes_of(arguments, "--attribute"));
    return carry_out(
        {kServer, tag::shadow, tag::createVolume, kShadowedVolume, "shadow volume created"},
        session, request([&](uint32_t* length) {
            return BuildCreateShadowVolumeRequest(name.c_str(), path.c_str(), mountPoint.c_str(),
                                                  attributes, length);
        }),
        [&] { return "Create a shadow of volume " + volume + " at " + arguments.text("PATH"); },
        [&] { return path_of_shadow(session, volume) == arguments.text("PATH"); });
}

Outcome remove_shadow(Session& session, const Arguments& arguments) {
    const std::string& volume = arguments.text(kName);
    const std::string name = sendable(arguments, kName);
    const std::optional<std::string> mountPoint = optional_sendable(arguments, kShadowMountPoint);
    return carry_out(
        {kServer, tag::shadow, tag::removeVolume, kRemovedShadow, "shadow volume removed"}, session,
        request([&](uint32_t* length) {
            return BuildRemoveShadowVolumeRequest(name.c_str(), text_or_null(mountPoint), length);
        }),
        [&] { return "Remove the shadow of volume " + volume; },
        [&] {
            return find_volume(list_volumes(session), volume) != nullptr &&
                   path_of_shadow(session, volume) == "";
        });
}

Outcome forget_shadow(Session& session, const Arguments& arguments) {
    const std::string name = sendable(arguments, kName);
    const std::string shadow = sendable(arguments, kShadowName);
    const std::string mountPoint = optional_sendable(arguments, kShadowMountPoint).value_or("");
    return carry_out(
        {kServer, tag::shadow, tag::removeConf, kShadowedVolume, "shadow volume forgotten"},
        session, request([&](uint32_t* length) {
            return BuildRemoveShadowConfigurationRequest(name.c_str(), mountPoint.c_str(),
                                                         shadow.c_str(), length);
        }),
        [&] {
            return "Forget the shadow " + arguments.text(kShadowName) + " of volume " +
                   arguments.text(kName);
        });
}

constexpr const char* kShadowGroup = "Shadow volumes";

constexpr Argument kMountPointArgument = {kShadowMountPoint, ArgumentKind::kPath, Count::kOptional,
                                          "the mount point that is meant"};
constexpr Argument kCreateShadowArguments[] = {
    kVolumeArgument,
    {"PATH", ArgumentKind::kPath, Count::kOne, "the mount point of the shadow"},
    kMountPointArgument,
    {"--attribute", ArgumentKind::kAttribute, Count::kAny, "an attribute that the volume gets"},
};
constexpr Argument kRemoveShadowArguments[] = {kVolumeArgument, kMountPointArgument};
constexpr Argument kForgetShadowArguments[] = {
    kVolumeArgument,
    {kShadowName, ArgumentKind::kText, Count::kOne, "the name of the shadow volume"},
    kMountPointArgument,
};

constexpr Command kShadowCommands[] = {
    {"shadow create", kShadowGroup, "Give a volume a shadow", Effect::kChanges,
     kCreateShadowArguments, "zrpctl shadow create DATA /srv/data-shadow", create_shadow},
    {"shadow remove", kShadowGroup, "Take the shadow from a volume", Effect::kChanges,
     kRemoveShadowArguments, "zrpctl shadow remove PROJECTS", remove_shadow},
    {"shadow forget", kShadowGroup, "Remove the configuration of a shadow", Effect::kChanges,
     kForgetShadowArguments, "zrpctl shadow forget PROJECTS PROJECTS_S", forget_shadow},
};

} // namespace

std::span<const Command> shadow_commands() {
    return kShadowCommands;
}

} // namespace zrp::ctl
