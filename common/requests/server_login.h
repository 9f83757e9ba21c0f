// Whether users may log in to the server.
#pragma once
#include "../cplusplus.h"

#include <cstddef>
#include <cstdint>

#include "../log/log_context.h"
#include "../volume_name.h"
#include "../xml_reader.h"

namespace zrp {

char* BuildEnableLoginRequest(uint32_t* length);
char* BuildDisableLoginRequest(uint32_t* length);

// What may go with the switch.
struct LoginChange {
    bool enable = true;
    const char* volumeName = nullptr; // a volume whose access changes at the same time, or null
    bool readOnly = false;            // it becomes read only; else it can be written again
    const char* message = nullptr;    // for those who try to log in, or null
};

// The same with a volume or a message; they share about 300 bytes.
char* BuildLoginRequest(const LoginChange& change, uint32_t* length);

inline constexpr size_t kLoginTextSize = 4096; // with its terminator
using LoginText = char[kLoginTextSize];

// The next line of the server's answer to either switch; a longer one is cut. *offset is 0 before
// the first call and is moved past the line. Returns kOk; kRange when no line is left; kInvalid for
// a reply to another request.
int ScanEnableLoginReply(char* reply, int replyLength, int* offset, LoginText& text);
int ScanDisableLoginReply(char* reply, int replyLength, int* offset, LoginText& text);

// Called for each line. Returns 0 to go on, anything else to stop.
using LoginTextCallback = int (*)(void* context, const LoginText& text);

// Makes the change and passes the lines of the answer to the callback. Returns kNameTooLong,
// without an exchange, for a volume's name of more than kMaxVolumeName bytes.
int ChangeLogin(const LoginChange& change, LoginTextCallback callback, void* context,
                ErrorText* errorText, const LogContext* log);

} // namespace zrp
