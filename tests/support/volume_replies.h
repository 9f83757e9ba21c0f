// Replies about volumes.
#pragma once

#include <cstdint>
#include <string>

namespace zrp {

inline std::string element(const std::string& tag, const std::string& content) {
    return "<" + tag + ">" + content + "</" + tag + ">";
}

inline std::string listed(int64_t number, const std::string& name,
                          const std::string& status = "0x3") {
    return element("volume", element("name", name) + element("status", status) +
                                 element("volumeNumber", std::to_string(number)));
}

// So many mounted volumes V0, V1, ..., or with a step V0, V3, ...
inline std::string listed_volumes(int count, int step = 1) {
    std::string all;
    for (int i = 0; i < count; i++) {
        all += listed(i * step, "V" + std::to_string(i * step));
    }
    return all;
}

// A page of the list; `next` is the index of the next page, if there is one.
inline std::string volume_list(const std::string& volumes, const std::string& next = "") {
    return element(
        "zrpConsoleReply",
        element("listVolumes", (next.empty() ? "" : element("startIndex", next)) + volumes));
}

inline std::string server_error(int code) {
    return "<zrpConsoleReply><result value=\"" + std::to_string(code) +
           "\"><description>refused</description></result></zrpConsoleReply>";
}

struct VolumeFacts {
    int version = 5;
    std::string name = "SYS";
    std::string status = "0x3";
    std::string mountPoint = "<mountPoint>/mnt/sys</mountPoint>"; // the whole element, or empty
    std::string shadow = "";                                      // the same
    std::string clusters = "2048";                                // of 8 sectors of 512 bytes
    std::string files = "111";
    std::string folders = "222";
    std::string trustees = "333";
};

inline std::string volume_information(const VolumeFacts& facts) {
    std::string all =
        element("versionTag", std::to_string(facts.version)) + element("name", facts.name) +
        element("status", facts.status) + element("sectorSize", "512") +
        element("sectorPerCluster", "8") + element("clustersPerVolume", facts.clusters) +
        element("dcCacheFiles", facts.files) + element("dcCachedSubdirs", facts.folders) +
        element("dcTrusteeCount", facts.trustees) + facts.mountPoint + facts.shadow;
    for (const char* tag : {"volumeNumber",
                            "volumeType",
                            "statusFlags",
                            "freeClusters",
                            "purgeableBlocks",
                            "notYetPurgeableBlocks",
                            "directoryEntries",
                            "unusedDirectoryEntries",
                            "lastModifiedDateAndTime",
                            "dcGetEntryCount",
                            "dcLockEntryCount",
                            "dcEvictedFiles",
                            "dcEvictedSubdirs",
                            "dcNormalOpenCount",
                            "dcLazyOpenCount",
                            "dcLazyCloseCount",
                            "dcBackgroundCloseCount",
                            "dcSecurityNodeCount",
                            "dcOverflowEntriesFound",
                            "enforcedFlag",
                            "connectionCount",
                            "mountPointType",
                            "shadowFlags"}) {
        all += element(tag, "0");
    }
    return element("zrpConsoleReply", element("volumeInformation", element("volume", all)));
}

} // namespace zrp
