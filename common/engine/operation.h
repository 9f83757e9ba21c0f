// The walk that all operations of the management catalogue share.
//
// An operation is a builder, a scanner and these few lines:
//
//     int RemoveVolume(const char* volumeName, char (&removed)[kVolumeNameSize],
//                      ErrorText* errorText, const LogContext* log) {
//         int rc = check_volume_name(volumeName, log);
//         if (rc != kOk) {
//             return rc;
//         }
//         uint32_t length = 0;
//         HeapText request(BuildRemoveVolumeRequest(volumeName, nullptr, &length));
//         Reply reply;
//         rc = run_operation(std::move(request), length, errorText, log, &reply);
//         return rc == kOk ? ScanRemoveVolumeReply(reply.text.get(), reply.length, removed) : rc;
//     }
//
// Every operation takes, as its last arguments, the buffer for the server's error text and the log;
// both may be null. The log gets a dump of request and reply and a line for each failure.
#pragma once

#include <cstdint>

#include "../log/log_context.h"
#include "../xml_reader.h"
#include "query.h"

namespace zrp {

// The longest volume name that management operations take.
inline constexpr int kMaxVolumeName = 15;

// The number of a volume to be mounted under the number that it has.
inline constexpr int32_t kOwnVolumeNumber = -1;

// What a request shows the log: dumps of request and reply, and a failed exchange. Nothing without
// a log. Both dumps are LogLDump, since a reply has a length and no NUL, and LogLDump writes its
// text as it stands, to the system log too.
RequestHooks log_hooks(const LogContext* log);

// Why the builder of the calling thread's last document returned null: 22 when it refused an
// argument, else 12.
int reason_for_no_document();

// Returns 0; 22 for null; -702 for a name of more than kMaxVolumeName bytes, which is logged as
// "Supported Volume name max length 15".
int check_volume_name(const char* volumeName, const LogContext* log);

// Sends the document, checks the reply for the server's error and hands the reply over. The
// document must come straight from its builder: a null one is reported by the builder's errno.
//
// Returns 0; 12 without a document, logged as "failed to allocate request buffer ENOMEM"; 22 when
// the builder refused an argument; the transport's code, logged as "IPCServRequest rc=%d"; or the
// code of the server's error, whose text is then in *errorText.
int run_operation(const Peer& peer, HeapText document, uint32_t length, ErrorText* errorText,
                  const LogContext* log, Reply* reply);

// The same with the default peer.
int run_operation(HeapText document, uint32_t length, ErrorText* errorText, const LogContext* log,
                  Reply* reply);

// The command's element inside the envelope of a reply, white space before it skipped. Returns 0,
// or 22 for an empty reply (also a negative length) and when either element is missing.
int find_command(char* reply, int length, const char* outer, const char* command,
                 XmlElement* element);

// The same in the envelope of the main daemon.
int find_command(char* reply, int length, const char* command, XmlElement* element);

} // namespace zrp
