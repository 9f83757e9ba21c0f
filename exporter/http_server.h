// The pages that the exporter serves.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include "exporter/shared_collection.h"

namespace zrp::exporter {

struct Address {
    std::string host; // numeric
    int port = 0;     // 0 lets the system choose one
};

// "127.0.0.1:9848", "[::1]:9848"
std::string NameOf(const Address& address);

class PageServer;

// Serves on threads of its own, from Start on and until it is destroyed, which waits for no client.
class HttpServer {
public:
    explicit HttpServer(SharedCollection& collection);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    ~HttpServer();

    // Binds the address and serves. Returns 0 with the port in the address, or an errno value.
    int Start(Address& address);

    // Ends all connections; collections that are under way come to an end by themselves.
    void Stop();

private:
    std::unique_ptr<PageServer> pages_;
    std::thread acceptor_;
};

} // namespace zrp::exporter
