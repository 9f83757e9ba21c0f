// What acts find out beside the change: what hangs on it, and whether it is needed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ctl/session.h"

namespace zrp::ctl {

// The text of an element of the server's information on a volume, empty if it did not come; nothing
// if the server refuses, as it does when it knows no such volume.
std::optional<std::string> volume_detail(const Session& session, const std::string& name,
                                         const char* tag);

// " (12 open files)" of a volume, or of all for an empty name; "more than 12" if there are further
// pages. Empty if the server does not say.
std::string open_files_note(const Session& session, const std::string& volume);

// Whether a connection has the file open.
bool is_open(const Session& session, const std::string& file);

// A count of the server's connections, by its element; nothing if the server does not say.
std::optional<int64_t> connection_count(const Session& session, const char* tag);

// " (ALICE, 3 open files)" of a connection; empty if the server does not say.
std::string connection_note(const Session& session, int32_t station);

// Whether the server knows the connection.
bool is_connected(const Session& session, int32_t station);

// Whether the server lists the address of a virtual server.
bool is_bound(const Session& session, const std::string& server, const std::string& address);

// Whether the storage daemon lists the volume as excluded, or as included.
bool is_in_list(const Session& session, const std::string& volume, const char* list);

} // namespace zrp::ctl
