// Result codes of every operation of the client library and of the monitor.
//
// Conventions, for all headers of the library:
//  1. An operation returns an int: 0 for success, else one of the codes below, an errno value that
//     the system gave, or a code that the server sent, passed through unchanged.
//  2. Outputs stay untouched on failure unless the header says otherwise.
//  3. A builder returns a malloc'ed, NUL-terminated document; the caller frees it after the
//     exchange. The transport returns a malloc'ed reply that is NOT NUL-terminated; the caller
//     frees it after scanning. heap_text.h has the guard for both.
//  4. A range is a start pointer and an end pointer one past its last character.
//  5. Nothing throws, and nothing writes to the terminal but the log, which tells on standard error
//     why it has no file, and ScanThreadsReply, which tells each field that a reply lacks.
//  6. In requests/, null in the place of an output, an offset or a callback is refused before
//     anything is scanned or sent, unless the header says that it may be null: a scanner and an
//     operation return kInvalid, a builder returns null with errno EINVAL. So it is with a null
//     text for a builder.
#pragma once

namespace zrp {

enum Result : int {
    kOk = 0,
    kNotFound = 2,        // element not found, malformed or truncated; file not opened
    kNoMemory = 12,       // allocation failed
    kInvalid = 22,        // bad or missing argument or element; aborted input
    kRange = 34,          // null window, output full, end of data, number out of range
    kBadMagic = 53,       // the reply header does not begin with the magic number
    kNoData = 61,         // nothing to read
    kTooLong = 75,        // value longer than the caller's buffer
    kBufferTooSmall = 90, // caller's buffer too small
    kWriteError = 95,     // the server reported a write error
    kShortHeader = 107,   // reply header shorter than 12 bytes, or an empty send
    kNameTooLong = -702,  // volume name too long
};

} // namespace zrp
