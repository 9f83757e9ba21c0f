// Result codes of every operation of the client library and of the monitor, and the conventions of
// all headers of the library. A header repeats a convention only to make an exception to it.
//
// Results
//  1. An operation returns an int: kOk, another code below, an errno value from the system, or the
//     server's own code, passed through unchanged. The codes have the values of errno constants
//     (kInvalid is EINVAL), but for kNameTooLong.
//  2. Outputs keep their values on failure.
//  3. In requests/, a null output, offset or callback and a null text for a builder are refused
//     with kInvalid before anything is scanned or sent, unless the header says that the argument
//     may be null.
//  4. Nothing throws. Nothing writes to the terminal except the log, which says on standard error
//     why it has no file, and ScanThreadsReply, which names each field that a reply lacks.
//
// Requests
//  5. A builder returns a malloc'ed, NUL-terminated document and stores its length without the
//     terminator. The caller frees it after the exchange; heap_text.h has a guard for it.
//  6. A builder that fails returns null. errno is then EINVAL when it refused an argument (null,
//  out
//     of range, or a text that is not sendable, see xml_writer.h), and ENOMEM when memory ran out
//     or the document does not fit into its room.
//
// Replies
//  7. The transport returns a malloc'ed reply that is NOT NUL-terminated. The caller frees it after
//     scanning; heap_text.h has a guard for it.
//  8. A reply with a length of 0 or below is empty. (As an int, the length of a reply of 2 GiB or
//     more is negative.) A scanner returns kInvalid for an empty reply, for the reply to another
//     command, and for a reply that lacks an element that the scanner needs.
//  9. A scanner of a list reads one item. *offset is 0 before the first call; each call moves it
//     past the item that it read.
// 10. A text that is copied into an array is NUL-terminated and cut to fit, without splitting a
//     UTF-8 sequence. A pointer with a length is a view into the reply: not terminated, and valid
//     as long as the reply, or during the callback that receives it.
// 11. A range is a pointer to its first character and a pointer one past its last.
//
// Operations
// 12. An operation builds a request, sends it and scans the reply. It returns the first failure of:
//     the builder (kInvalid or kNoMemory; nothing is sent then), the exchange (transport.h), the
//     server (CheckForError in xml_reader.h), the scanner.
// 13. A callback returns 0 to go on. Any other value stops the operation and becomes its result.
// 14. An error text is emptied first, so that it holds nothing unless the server said something.
// 15. A walk over a list fails with kInvalid when the list was cut, is not closed or holds an item
//     that is malformed, unless the header says otherwise.
#pragma once
#include "cplusplus.h"

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
    kShortHeader = 107,   // reply cut in its header, or an empty send
    kNameTooLong = -702,  // volume name too long
};

// A short text for a result, without a capital or a full stop: "connection refused". It is the same
// in every locale, is never freed, and any thread may ask. A code that neither the library nor the
// system has can only be the server's own: "error reported by the server".
const char* ResultText(int rc);

} // namespace zrp
