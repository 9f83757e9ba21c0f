// One connection: one request, one reply.
#pragma once

#include "tools/zrpsim/server/server.h"

namespace zrp::sim {

// Reads the request, answers it and closes. The server must outlive its io context's work.
void start_session(Server& server, Peer peer, LocalSocket::socket socket);

} // namespace zrp::sim
