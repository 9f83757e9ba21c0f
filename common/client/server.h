// The server as a whole: versions of its components, logging in, cluster resources.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "../requests/cluster_resource.h"
#include "../requests/component_versions.h"
#include "../requests/server_login.h"
#include "detail.h"

namespace zrp::client {

// What may go with a change of the login.
struct LoginOptions {
    std::string_view volume = {};  // whose access changes at the same time
    bool readOnly = false;         // whether it becomes read only; else it can be written again
    std::string_view message = {}; // for those who try to log in
};

// A volume of a cluster resource. settings are words as cluster_resource.h has them:
// "PATH=/mnt/a SHADOWPATH=/mnt/b".
struct ClusterMount {
    std::string_view volume;
    int32_t number = kOwnVolumeNumber;
    std::string_view settings = {};
};

namespace detail {

inline Answer<std::string> GetVersion(int (*ask)(VersionText& text)) {
    VersionText text = "";
    const int rc = ask(text);
    return {rc, {}, text};
}

inline Answer<std::vector<std::string>> SwitchLogin(bool enable, const LoginOptions& options) {
    const Text volume(options.volume);
    const Text message(options.message);
    const LoginChange change = {enable, volume.OrNull(), options.readOnly, message.OrNull()};
    return RunForTexts<LoginText>(ChangeLogin, change);
}

} // namespace detail

// Empty when the component gives no version.
inline Answer<std::string> GetEngineVersion() {
    return detail::GetVersion(getServerVersion);
}

inline Answer<std::string> GetStorageVersion() {
    return detail::GetVersion(getBksVersion);
}

inline Answer<std::string> GetManagementVersion() {
    return detail::GetVersion(getOmwVersion);
}

// Both give the lines that the server answers.
inline Answer<std::vector<std::string>> EnableLogin(const LoginOptions& options = {}) {
    return detail::SwitchLogin(true, options);
}

inline Answer<std::vector<std::string>> DisableLogin(const LoginOptions& options = {}) {
    return detail::SwitchLogin(false, options);
}

// The address of a virtual server.
inline Answer<> BindAddress(std::string_view server, std::string_view address) {
    return detail::Run(zrp::BindAddress, detail::Text(server), detail::Text(address));
}

inline Answer<> UnbindAddress(std::string_view server, std::string_view address) {
    return detail::Run(zrp::UnbindAddress, detail::Text(server), detail::Text(address));
}

// That some could not be mounted is no failure: each result has its code.
inline Answer<std::vector<ClusterVolumeResult>>
MountClusterVolumes(std::span<const ClusterMount> mounts) {
    std::vector<detail::Text> texts;
    for (const ClusterMount& mount : mounts) {
        texts.emplace_back(mount.volume);
        texts.emplace_back(mount.settings);
    }
    std::vector<ClusterVolume> volumes;
    for (size_t i = 0; i < mounts.size(); i++) {
        volumes.push_back({texts[2 * i], mounts[i].number, texts[2 * i + 1].OrNull()});
    }
    return detail::RunForRecords<ClusterVolumeResult>(zrp::MountClusterVolumes, volumes);
}

} // namespace zrp::client
