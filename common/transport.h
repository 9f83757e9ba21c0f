// Transport: one request/reply exchange with a local daemon over a fresh stream socket.
//
// The daemons listen in the Linux abstract socket namespace; the names below are not paths and
// nothing appears under /tmp. Both ends are on one machine, so header words are in host byte order.
// The text is opaque here: xml_writer.h makes requests, xml_reader.h reads replies.
//
// Any thread may exchange at any time between IPCServInit and IPCServTerm. Every waiting step ends
// early after IPCServInterrupt.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zrp {

inline constexpr const char* kMainDaemonSocket = "/tmp/.zrpserv";
inline constexpr const char* kStorageDaemonSocket = "/tmp/.zrp2bks";
inline constexpr const char* kManagementSocket = "/tmp/.libomw2zrp";

inline constexpr uint32_t kMainDaemonRequest = 0xDEADBEEF;
inline constexpr uint32_t kStorageDaemonRequest = 0xFADE2BAD;
inline constexpr uint32_t kStorageDiagnosticRequest = 0xFADEBAD0; // this one request alone
inline constexpr uint32_t kManagementRequest = 0xBADDAD00;

inline constexpr int32_t kManagementTimeoutMs = 10000;

inline constexpr uint32_t kMagic = 0xFEDCBA98;

// The request carries its number before its length, the reply its length before its status. The
// asymmetry is part of the protocol.
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

// The longest name that a socket address holds behind the leading zero byte, with its terminator
// left out. A longer name ends the process: it can only be a programming error.
inline constexpr size_t kMaxSocketName = 106;

// Connection of one exchange. Closes its descriptor when destroyed.
struct IPCClient {
    int32_t fd = -1;

    IPCClient() = default;
    IPCClient(const IPCClient&) = delete;
    IPCClient& operator=(const IPCClient&) = delete;
    ~IPCClient();

    // Connects to the abstract name. Returns 0 or the errno of socket() or connect().
    int Connect(const char* name);

    // The same, with a receive time-out of timeoutMs milliseconds for every later Receive step.
    int ConnectTimeout(const char* name, int32_t timeoutMs);

    // Sends the 12-byte header; only the low 32 bits of length reach the wire.
    int SendHeader(uint32_t requestNumber, uint64_t length) const;

    // Sends as one blocking send would, in steps that IPCServInterrupt can end. Fails with 107 only
    // when a step took nothing; any other failure shows itself as a short receive.
    int Send(uint64_t length, const void* data) const;

    // Reads one reply. On success *buffer is malloc'ed with exactly *length bytes, or null when the
    // reply is empty. Bytes that a peer announced but never sent are zero. On failure *buffer is
    // null; *status and *length are the header's all the same once that has come whole.
    // Returns 0, 12 without memory, 53 for a wrong magic, 107 for a short header, ECANCELED after
    // IPCServInterrupt.
    int Receive(uint32_t* status, uint64_t* length, char** buffer) const;
};

// Stores a copy of the name as the default peer; with an earlier one, IPCServTerm comes first.
// Returns 0, 22 for a null or empty name, 12 without memory.
int IPCServInit(const char* name);

// Waits until no exchange is in flight, then forgets the default peer.
void IPCServTerm();

// Brings every exchange in flight, on any thread, to its end and lets later ones fail at once with
// ECANCELED. There is no way back before the next IPCServInit. May be called from a signal handler.
void IPCServInterrupt();

// One exchange with the default peer. On success the caller owns *reply (null when *replyLength is
// 0). Returns 0; 22 without a default peer; 12; 53; 107; the errno of the connection; or the
// reply's status. On failure *reply is null, while *replyLength still tells what the reply's header
// announced, 0 without one.
int IPCServRequest(uint32_t requestNumber, uint64_t requestLength, const char* request,
                   uint64_t* replyLength, char** reply);

// The same with a named peer; a null name means the default one.
int IPCServRequestEx(const char* socketName, uint32_t requestNumber, uint64_t requestLength,
                     const char* request, uint64_t* replyLength, char** reply);

// The same with a receive time-out. When the status is not 0 the caller owns the reply all the
// same.
int IPCServRequestTimeout(const char* socketName, uint32_t requestNumber, uint64_t requestLength,
                          const char* request, uint64_t* replyLength, char** reply,
                          int32_t timeoutMs);

// The default peer with the text given in two pieces. When the status is not 0 the caller owns the
// reply all the same.
int IPCServRequest2(uint32_t requestNumber, uint64_t length1, const char* part1, uint64_t length2,
                    const char* part2, uint64_t* replyLength, char** reply);

// IPCServRequestEx with the main and the storage daemon; note the order of the arguments.
int QueryZRPServer(uint32_t requestNumber, const char* request, uint64_t requestLength,
                   char** reply, uint64_t* replyLength);
int QueryZRP2BKS(uint32_t requestNumber, const char* request, uint64_t requestLength, char** reply,
                 uint64_t* replyLength);

} // namespace zrp
