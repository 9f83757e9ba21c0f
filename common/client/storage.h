// The storage daemon: the volumes that it serves, its event filter and its log.
#pragma once
#include "../cplusplus.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "../requests/storage_control.h"
#include "../requests/storage_daemon.h"
#include "detail.h"

namespace zrp::client {

struct StorageVolume {
    std::string name;
    bool included = false; // in the file service
};

struct Filter {
    std::string name;
    std::string value; // as the daemon writes it
};

namespace detail {

// What the library gives to a callback. No exception may pass through the library.
template <typename Value>
Answer<std::vector<Value>> Listed(int code, std::vector<Value> values) {
    return code == kOk ? Answer<std::vector<Value>>{kOk, {}, std::move(values)}
                       : Failure<std::vector<Value>>(code);
}

} // namespace detail

// The volumes of the chosen lists, the excluded ones first.
inline Answer<std::vector<StorageVolume>> ListStorageVolumes(ControlList which = kBothLists) {
    std::vector<StorageVolume> volumes;
    const auto append = [](const char* name, int32_t kind, void* context) noexcept {
        static_cast<std::vector<StorageVolume>*>(context)->push_back(
            {name, kind == kIncludedVolumes});
    };
    const int rc = IPCBKSControlList(append, &volumes, nullptr, which);
    return detail::Listed(rc, std::move(volumes));
}

// Adds a volume to the file service, and mounts it if asked to.
inline Answer<> IncludeVolume(std::string_view name, bool mount = false) {
    return detail::Done(IPCBKSControlAction(nullptr, kAddToControl | (mount ? kThenMount : 0U),
                                            detail::Text(name)));
}

// Takes a volume out of the file service, and dismounts it if asked to.
inline Answer<> ExcludeVolume(std::string_view name, bool dismount = false) {
    return detail::Done(IPCBKSControlAction(
        nullptr, kRemoveFromControl | (dismount ? kThenDismount : 0U), detail::Text(name)));
}

inline Answer<std::string> GetMountPoint(std::string_view volume) {
    StorageMountPoint mountPoint;
    const int rc = IPCBKSControlActionGetMountPoint(nullptr, detail::Text(volume), mountPoint);
    return {rc, {}, mountPoint}; // empty on failure
}

inline Answer<std::vector<Filter>> ListFilters() {
    std::vector<Filter> filters;
    const auto append = [](const char* name, const char* value, void* context) noexcept {
        static_cast<std::vector<Filter>*>(context)->push_back({name, value});
    };
    const int rc = IPCBKSControlFilterList(append, &filters, nullptr);
    return detail::Listed(rc, std::move(filters));
}

// The library does not look at the replies to these three: a filter that the daemon does not know
// is no failure.
inline Answer<> SetFilter(std::string_view name, uint32_t events) {
    return detail::Done(IPCBKSControlFilterSet(nullptr, detail::Text(name), events));
}

inline Answer<> ResetFilters() {
    return detail::Done(IPCBKSControlFilterReset(nullptr));
}

inline Answer<> TurnOffFilters() {
    return detail::Done(IPCBKSControlFilterOff(nullptr));
}

// The level is a keyword as log files take it: "DEBUG", "LEVELDEBUG".
inline Answer<> SetStorageLogLevel(std::string_view level) {
    return detail::Run(zrp::SetStorageLogLevel, detail::Text(level));
}

} // namespace zrp::client
