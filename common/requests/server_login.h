// Whether users may log in to the server.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zrp {

// The request documents, malloc'ed. Null without memory.
char* BuildEnableLoginRequest(uint32_t* length);
char* BuildDisableLoginRequest(uint32_t* length);

// What may go with the switch.
struct LoginChange {
    bool enable = true;
    const char* volumeName = nullptr; // a volume whose access changes at the same time, or null
    bool readOnly = false;            // whether it becomes read only; else it can be written again
    const char* message = nullptr;    // for those who try to log in, or null
};

// The same with a volume or a message; they share about 300 characters. Null with errno 22 for a
// text that is not sendable, else 12.
char* BuildLoginRequest(const LoginChange& change, uint32_t* length);

inline constexpr size_t kLoginTextSize = 4096; // with its terminator
using LoginText = char[kLoginTextSize];

// The next line of the server's answer to either switch; a longer one is cut. *offset is 0 before
// the first call and is moved behind the line. Returns 0; 22 for an empty reply (also a negative
// length), one to another request, and when no line is left; 34 when the offset is at the end.
int ScanEnableLoginReply(char* reply, int replyLength, int* offset, LoginText& text);
int ScanDisableLoginReply(char* reply, int replyLength, int* offset, LoginText& text);

} // namespace zrp
