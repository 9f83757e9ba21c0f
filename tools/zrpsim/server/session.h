// One connection: one request, one reply.
#pragma once

#include "tools/zrpsim/server/server.h"

namespace zrp::sim {

// Reads the request, replies and closes. The server must outlive the work of its io context.
void start_session(Server& server, Peer peer, LocalSocket::socket socket);

} // namespace zrp::sim
