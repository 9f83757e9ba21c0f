// All that the main daemon tells about one connection.
#pragma once

#include <cstdint>
#include <memory>

#include "../engine/query.h"
#include "connection_list.h"

namespace zrp {

inline constexpr int kConnectionInformationVersion = 1;

inline constexpr int kRequestNotBuilt = -1;

// The names that a list of the reply holds. They are as long in all as the reply gives them.
struct NameList {
    char* names;    // NUL-terminated, one behind the other; null when there are none
    uint32_t count; // of names; the reply's own figure may say something else
};

struct ConnectionInformation {
    ConnectionEntry entry; // what lists of connections tell too
    uint64_t loginEpoch;   // seconds since 1970
    char networkAddress[128];
    uint32_t status; // bit set
    uint32_t privileges;
    int32_t authenticationMethod;
    int32_t connectionType;
    uint32_t openFilesCount;
    uint32_t securityEqualsCount;
    NameList openFiles;
    NameList securityEquals;
};

// Frees a record with its lists.
struct FreeConnectionInformation {
    void operator()(ConnectionInformation* record) const;
};
using ConnectionInformationPtr = std::unique_ptr<ConnectionInformation, FreeConnectionInformation>;

// The request document, malloc'ed. Null without memory.
char* BuildConnectionInformationRequest(int station, int versionTag, uint32_t* length);

// Reads a reply into a new record. The elements may stand anywhere inside its `connectionTag`; of
// the names, the one outside both lists is the connection's. Returns 0, 22 when any element but
// the lists themselves is missing, 12 without memory.
int ScanConnectionInformationReply(char* reply, int replyLength, ConnectionInformationPtr* record);

// Asks the default peer. *versionTag is the layout to ask for and becomes that of the reply, when
// it names one. Request and reply go to traceHooks. An error that the server reports shows itself
// as a missing element. Returns 0, -1 when the request could not be built, the transport's code, or
// the scanner's.
int GetConnectionInformation(int station, int* versionTag, ConnectionInformationPtr* record);

} // namespace zrp
