// What concerns the trees of volumes: the control flags of one, and writing all of them out.
#pragma once

#include <cstdint>

#include "../log/log_context.h"
#include "../xml_reader.h"

namespace zrp {

inline constexpr int kVolumeTreeVersion = 1;

// The request document, malloc'ed. The name may have about 3900 characters. Null with errno 22 for
// a name that is not sendable, else 12.
char* BuildVolumeTreeControlRequest(int versionTag, const char* volumeName, uint32_t controlFlags,
                                    uint32_t* length);

// Sets the control flags of a volume's tree. Asks the default peer; of the reply only a failure is
// looked at. Results and log lines as in operation.h, and -702 for a name of more than 15 bytes.
int VolumeTreeControl(const char* volumeName, uint32_t controlFlags, ErrorText* errorText,
                      const LogContext* log);

// The request that lets the server write out what it holds back for all volumes, malloc'ed. Null
// without memory.
char* BuildFlushVolumesRequest(uint32_t* length);

// Returns 0, or 22 for an empty reply (also a negative length) and one to another request.
int ScanFlushVolumesReply(char* reply, int replyLength);

} // namespace zrp
