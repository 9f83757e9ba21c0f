// Transport: one request/reply exchange with a local daemon over a fresh stream socket.
//
// The daemons listen in the Linux abstract socket namespace; the names below are not paths and
// nothing appears under /tmp. Both ends are on one machine, so header words are in host byte order.
// The transport does not look into the text: xml_writer.h writes requests, xml_reader.h reads
// replies.
//
// Any thread may make an exchange at any time between IPCServInit and IPCServTerm.
// IPCServInterrupt ends every step that waits, within a tenth of a second. A thread may set a
// deadline for whole exchanges, and refuse replies that were cut (exchange_limits.h).
//
// Between two exchanges the library has no descriptor open, so that a program may close all that it
// has. A forked child inherits the default peer, but no exchange and no interrupt.
#pragma once
#include "cplusplus.h"

#include <cstddef>
#include <cstdint>

namespace zrp {

inline constexpr const char* kMainDaemonSocket = "/tmp/.zrpserv";
inline constexpr const char* kStorageDaemonSocket = "/tmp/.zrp2bks";
inline constexpr const char* kManagementSocket = "/tmp/.libomw2zrp";

inline constexpr uint32_t kMainDaemonRequest = 0xDEADBEEF;
inline constexpr uint32_t kStorageDaemonRequest = 0xFADE2BAD;
inline constexpr uint32_t kStorageDiagnosticRequest = 0xFADEBAD0; // for that request alone
inline constexpr uint32_t kManagementRequest = 0xBADDAD00;

inline constexpr int32_t kManagementTimeoutMs = 10000;

inline constexpr uint32_t kMagic = 0xFEDCBA98;

// A request header has its number before its length, a reply header its length before its status.
// The asymmetry is part of the protocol.
struct RequestHeader {
    uint32_t magic;
    uint32_t requestNumber;
    uint32_t length; // of the text that follows, without a terminator
};

struct ReplyHeader {
    uint32_t magic;
    uint32_t length; // of the text that follows, without a terminator
    uint32_t status; // "client error": 0 for none
};

static_assert(sizeof(RequestHeader) == 12 && sizeof(ReplyHeader) == 12);

// The longest name that fits into a socket address after the leading zero byte, without its
// terminator. A longer name is a programming error and aborts the process.
inline constexpr size_t kMaxSocketName = 106;

// The connection of one exchange. The destructor closes it.
struct IPCClient {
    int32_t fd = -1;

    IPCClient() = default;
    IPCClient(const IPCClient&) = delete;
    IPCClient& operator=(const IPCClient&) = delete;
    ~IPCClient();

    // Connects to the abstract name, after closing an earlier connection. Returns kOk, the errno of
    // socket() or connect(), or ECANCELED after IPCServInterrupt.
    int Connect(const char* name);

    // The same, with a timeout of timeoutMs milliseconds for each step of a later Receive; 0 is
    // none. Returns kInvalid for a negative one.
    int ConnectTimeout(const char* name, int32_t timeoutMs);

    // Sends the 12-byte header; only the low 32 bits of length reach the wire.
    int SendHeader(uint32_t requestNumber, uint64_t length) const;

    // Sends as one blocking send() would, in steps that IPCServInterrupt can end. Returns kOk,
    // kShortHeader when a step sends nothing, or ECANCELED after IPCServInterrupt. Any other
    // failure, a missing connection among them, is not reported here and shows up in Receive.
    int Send(uint64_t length, const void* data) const;

    // Reads one reply. On success *buffer is malloc'ed with exactly *length bytes, or null when the
    // reply is empty. Bytes that the peer announced but did not send are zero. On failure *buffer
    // is null, and *status and *length are those of the header if a valid one arrived.
    // Returns kOk, kNoMemory, kBadMagic, kShortHeader (also without a connection), or ECANCELED
    // after IPCServInterrupt.
    int Receive(uint32_t* status, uint64_t* length, char** buffer) const;
};

// Makes the name the default peer, after IPCServTerm when there is one already. Keeps a copy.
// Returns kOk, kInvalid for a null or empty name, or kNoMemory.
int IPCServInit(const char* name);

// Waits until no exchange is in flight and forgets the default peer.
void IPCServTerm();

// Ends all exchanges in flight, on any thread, with ECANCELED, and all later ones until the next
// IPCServInit. So does it with scans of long replies (xml_reader.h). May be called from a signal
// handler. A child that is forked later is not interrupted.
void IPCServInterrupt();

// Makes one exchange with the default peer. On success the caller owns *reply (null when
// *replyLength is 0). Returns kOk, kInvalid without a default peer, kNoMemory, kBadMagic,
// kShortHeader, ECANCELED, ETIMEDOUT, kTooLong or kInvalid by the thread's limits
// (exchange_limits.h), the errno of the connection, or the status of the reply. On failure *reply
// is null and *replyLength is what the reply's header announced, 0 without a valid header.
int IPCServRequest(uint32_t requestNumber, uint64_t requestLength, const char* request,
                   uint64_t* replyLength, char** reply);

// The same with a named peer; a null name means the default one.
int IPCServRequestEx(const char* socketName, uint32_t requestNumber, uint64_t requestLength,
                     const char* request, uint64_t* replyLength, char** reply);

// The same with a receive timeout as ConnectTimeout has it. The caller owns the reply even when its
// status is not 0. Returns kInvalid also for a negative timeout.
int IPCServRequestTimeout(const char* socketName, uint32_t requestNumber, uint64_t requestLength,
                          const char* request, uint64_t* replyLength, char** reply,
                          int32_t timeoutMs);

// IPCServRequest with the text in two pieces. The caller owns the reply even when its status is not
// 0.
int IPCServRequest2(uint32_t requestNumber, uint64_t length1, const char* part1, uint64_t length2,
                    const char* part2, uint64_t* replyLength, char** reply);

// IPCServRequestEx with the main daemon and with the storage daemon. Note the order of the
// arguments.
int QueryZRPServer(uint32_t requestNumber, const char* request, uint64_t requestLength,
                   char** reply, uint64_t* replyLength);
int QueryZRP2BKS(uint32_t requestNumber, const char* request, uint64_t requestLength, char** reply,
                 uint64_t* replyLength);

} // namespace zrp
