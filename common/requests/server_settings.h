// Settings of the main daemon: their list, the value of one, setting one, and the daemon's
// configuration as one record.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "../heap_text.h"
#include "../log/log_context.h"
#include "../xml_reader.h"

namespace zrp {

inline constexpr int kSetVersion = 1;
inline constexpr int kSetAttributes = 1;

// Room for a name or a value with its terminator; a longer one is cut.
inline constexpr size_t kSettingTextSize = 4096;
using SettingText = char[kSettingTextSize];

// Without name and value the request asks for the list of names, with a name for its value, with a
// name and a value that is not empty it sets it. The name may be one from a reply (xml_writer.h). A
// value without a name is refused.
char* BuildSetRequest(uint32_t* length, int versionTag, int attributes, const char* name,
                      const char* value);

// The next text of a reply. *offset is 0 before the first call and is moved past the element.
//  - With a nameBuffer: the next name of a list, and into valueBuffer, when given, the value beside
//    it (empty without one).
//  - Without: the next value into valueBuffer.
// Returns kOk; kInvalid for a reply without a `set` element and when nothing is left; kRange when
// the offset is at the end.
int ScanSetReply(char* reply, int replyLength, int* offset, SettingText* nameBuffer,
                 SettingText* valueBuffer);

// Asks the main daemon for the list of names (a null name) or for the value of one. Returns kOk
// with a reply to scan, kInvalid for a name that is not sendable, kNoMemory for one that does not
// fit, the transport's code or the server's error.
int QuerySettings(const char* name, Reply* reply);

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

// In mode kReadServerConfig name and value are ignored; any other mode sets the setting of that
// name, which is the name of an element of the reply. Name and value may have about 4000 bytes
// each.
char* BuildServerConfigRequest(int mode, int versionTag, const char* name, const char* value,
                               uint32_t* length);

// A longer text is cut. A setting below zrpOSLanguageID that the server did not send keeps its
// value. Returns kOk, or kInvalid when another element is missing.
int ScanServerConfigReply(char* reply, int replyLength, ServerConfig* record);

// Both store the whole configuration, as it is afterwards, as the scanner does.
int GetServerConfig(ServerConfig* record, ErrorText* errorText, const LogContext* log);
int SetServerConfig(const char* name, const char* value, ServerConfig* record, ErrorText* errorText,
                    const LogContext* log);

} // namespace zrp
