// The second step of an exchange. Internal to the library.
#pragma once

#include "exchange.h"
#include "transport.h"
#include "transport_wait.h"

#pragma GCC visibility push(hidden)

namespace zrp {

// Sends header and text at once, with the results of IPCClient::Send and ETIMEDOUT.
int send_request(const IPCClient& client, const ExchangeRequest& request, const Bounds& bounds);

} // namespace zrp

#pragma GCC visibility pop
