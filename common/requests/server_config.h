// Configuration of the main daemon: names, versions and settings, and changing one setting.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zrp {

inline constexpr int kServerConfigVersion = 1;

enum ServerConfigMode : int {
    kReadServerConfig = 1,
    kSetServerConfig = 2, // also answers with the whole configuration
};

inline constexpr size_t kConfigTextSize = 256; // with its terminator
using ConfigText = char[kConfigTextSize];

struct ServerConfig {
    ConfigText zrpServerName;
    ConfigText zrpServerProductVersion;
    ConfigText zrpServerFileServerVersion;
    ConfigText zrpServerVersion;
    uint32_t zrpAllowUncryptedPasswords; // 1 or 0, as the next one
    uint32_t zrpMixedModePath;
    uint32_t zrpOSLanguageID;

    // Those below are not sent by every server.
    uint32_t zrpBoundaryCheck;
    uint32_t zrpFileCommit;
    uint32_t zrpLocalLoginInfo;
    uint32_t signingLevel;
    uint32_t maximumConnectionSlots;
};

// The request document, malloc'ed. In mode kReadServerConfig name and value are not looked at; any
// other mode sets the setting of that name, which is the name of an element of the reply. Name and
// value may have about 4000 characters each. Null with errno 22 for a text that is not sendable,
// else 12.
char* BuildServerConfigRequest(int mode, int versionTag, const char* name, const char* value,
                               uint32_t* length);

// Reads the configuration of a reply. A longer text is cut. A setting below zrpOSLanguageID that
// the server did not send keeps its value. Returns 0, or 22 for a null record, an empty reply (also
// a negative length) and when another element is missing; the record is then as it was.
int ScanServerConfigReply(char* reply, int replyLength, ServerConfig* record);

} // namespace zrp
