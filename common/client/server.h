// The server as a whole: versions of its components, logging in, cluster resources.
#pragma once

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

inline constexpr List kEnableLogin = {tag::enableLogin, tag::string};
inline constexpr List kDisableLogin = {tag::disableLogin, tag::string};
inline constexpr List kClusterVolumes = {tag::clusterResource, tag::volume};

struct LineItem {
    LoginText text;
};

inline Answer<std::string> GetVersion(int (*ask)(VersionText& text)) {
    VersionText text = "";
    const int rc = ask(text);
    return {rc, {}, text};
}

inline Answer<std::vector<std::string>> SwitchLogin(bool enable, const LoginOptions& options) {
    const Text volume(options.volume);
    const Text message(options.message);
    const LoginChange change = {enable, volume.OrNull(), options.readOnly, message.OrNull()};
    return ListItems<std::string, LineItem>(
        enable ? kEnableLogin : kDisableLogin, Request(BuildLoginRequest, change),
        [&](char* reply, int length, int* offset, LineItem* item) {
            return enable ? ScanEnableLoginReply(reply, length, offset, item->text)
                          : ScanDisableLoginReply(reply, length, offset, item->text);
        },
        [](const LineItem& item) { return std::string(item.text); });
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
    return detail::Tell(
        detail::Request(BuildClusterBindRequest, detail::Text(server), detail::Text(address), true),
        ScanClusterBindReply);
}

inline Answer<> UnbindAddress(std::string_view server, std::string_view address) {
    return detail::Tell(detail::Request(BuildClusterBindRequest, detail::Text(server),
                                        detail::Text(address), false),
                        ScanClusterBindReply);
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
    return detail::ListRecords<ClusterVolumeResult>(
        detail::kClusterVolumes, detail::Request(BuildClusterVolumeRequest, volumes),
        ScanClusterVolumeReply);
}

} // namespace zrp::client
