#include "exporter/http_server.h"

#include <algorithm>
#include <cerrno>
#include <httplib.h>
#include <sys/socket.h>

#include "exporter/connections.h"

namespace zrp::exporter {
namespace {

constexpr const char* kPlain = "text/plain; charset=utf-8";
constexpr const char* kMetricsType = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* kHtml = "text/html; charset=utf-8";

constexpr const char* kFrontPage = R"(<!DOCTYPE html>
<html lang="en">
<head><title>zrp-exporter</title></head>
<body>
<h1>zrp-exporter</h1>
<p>Figures of a ZRP file server for Prometheus.</p>
<ul>
<li><a href="/metrics">/metrics</a></li>
<li><a href="/-/healthy">/-/healthy</a></li>
</ul>
</body>
</html>
)";

void answer_front(SharedCollection& /*collection*/, httplib::Response& response) {
    response.set_content(kFrontPage, kHtml);
}

void answer_healthy(SharedCollection& /*collection*/, httplib::Response& response) {
    response.set_content("healthy\n", kPlain);
}

void answer_metrics(SharedCollection& collection, httplib::Response& response) {
    response.set_content(*collection.Get(), kMetricsType);
}

struct Page {
    const char* path;
    void (*answer)(SharedCollection& collection, httplib::Response& response);
};

constexpr Page kPages[] = {
    {"/", answer_front},
    {"/-/healthy", answer_healthy},
    {"/metrics", answer_metrics},
};

void answer(SharedCollection& collection, const httplib::Request& request,
            httplib::Response& response) {
    if (request.method != "GET" && request.method != "HEAD") {
        response.status = 405;
        response.set_header("Allow", "GET, HEAD");
        response.set_content("method not allowed\n", kPlain);
        return;
    }
    for (const Page& page : kPages) {
        if (request.path == page.path) {
            response.status = 200;
            page.answer(collection, response);
            return;
        }
    }
    response.status = 404;
    response.set_content("not found\n", kPlain);
}

// Requests that are no HTTP are answered before the library sees them.
std::string short_answer(const char* status) {
    return std::string("HTTP/1.1 ") + status +
           "\r\nConnection: close\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n\r\n";
}

bool has_request_line(const std::string& head) {
    const std::string line = head.substr(0, head.find("\r\n"));
    return line.ends_with(" HTTP/1.1") || line.ends_with(" HTTP/1.0");
}

// A method that the library has no name for; it would answer 400.
bool is_known_method(const std::string& head) {
    constexpr const char* kMethods[] = {"GET ",     "HEAD ",    "POST ",  "PUT ",  "DELETE ",
                                        "OPTIONS ", "CONNECT ", "TRACE ", "PATCH "};
    return std::ranges::any_of(kMethods,
                               [&](const char* method) { return head.starts_with(method); });
}

} // namespace

std::string NameOf(const Address& address) {
    const bool isIpv6 = address.host.find(':') != std::string::npos;
    return (isIpv6 ? "[" + address.host + "]" : address.host) + ":" + std::to_string(address.port);
}

// The library's server with connections of our own: its own thread pool is held by clients that
// send nothing, and its line reader takes lines of any length.
class PageServer : public httplib::Server {
public:
    explicit PageServer(SharedCollection& collection) {
        new_task_queue = [this] { return new ConnectionQueue(threads_); };
        // Not SO_REUSEPORT: a second exporter must not share the port in silence.
        set_socket_options([](socket_t fd) {
            const int yes = 1;
            setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        set_pre_routing_handler(
            [&collection](const httplib::Request& request, httplib::Response& response) {
                answer(collection, request, response);
                return HandlerResponse::Handled;
            });
        set_exception_handler([](const httplib::Request& /*request*/, httplib::Response& response,
                                 const std::exception_ptr& /*thrown*/) {
            response.status = 500;
            response.set_content("the collection failed\n", kPlain);
        });
    }

    // The library's queue of five is full after a burst, and a client then waits a second.
    int Widen() {
        return ::listen(svr_sock_, SOMAXCONN) == 0 ? 0 : errno;
    }

    void EndConnections() {
        threads_.EndAll();
    }

private:
    bool process_and_close_socket(socket_t fd) override {
        const uint64_t open = threads_.Open(fd);
        uint64_t waiting = threads_.Enter(fd);
        std::string head;
        const Head outcome = ReadHead(fd, head);
        threads_.Leave(waiting);
        if (outcome == Head::kWhole || outcome == Head::kTooLong) {
            Serve(fd, outcome, std::move(head), [&] { waiting = threads_.Enter(fd); });
            EndGently(fd);
            threads_.Leave(waiting);
        }
        threads_.Close(open);
        ::close(fd);
        return true;
    }

    void Serve(socket_t fd, Head outcome, std::string head, std::function<void()> begins) {
        const bool isHttp = has_request_line(head);
        const bool isKnown = is_known_method(head);
        BoundedStream stream(fd, std::move(head), std::move(begins));
        if (outcome == Head::kTooLong) {
            stream.httplib::Stream::write(short_answer("431 Request Header Fields Too Large"));
        } else if (!isHttp) {
            stream.httplib::Stream::write(short_answer("400 Bad Request"));
        } else if (!isKnown) {
            stream.httplib::Stream::write(
                short_answer("405 Method Not Allowed\r\nAllow: GET, HEAD"));
        } else {
            bool closed = false;
            process_request(stream, true, closed, nullptr);
        }
    }

    ConnectionThreads threads_;
};

HttpServer::HttpServer(SharedCollection& collection)
    : pages_(std::make_unique<PageServer>(collection)) {}

int HttpServer::Start(Address& address) {
    errno = 0;
    const int port = address.port == 0
                         ? pages_->bind_to_any_port(address.host)
                         : (pages_->bind_to_port(address.host, address.port) ? address.port : -1);
    if (port < 0) {
        return errno != 0 ? errno : EADDRNOTAVAIL;
    }
    address.port = port;
    if (const int rc = pages_->Widen(); rc != 0) {
        return rc;
    }
    acceptor_ = std::thread([this] { pages_->listen_after_bind(); });
    // Before it runs the library ignores that it shall stop.
    while (!pages_->is_running()) {
        std::this_thread::yield();
    }
    return 0;
}

void HttpServer::Stop() {
    pages_->EndConnections();
    pages_->stop();
}

HttpServer::~HttpServer() {
    if (acceptor_.joinable()) {
        Stop();
        acceptor_.join();
    }
}

} // namespace zrp::exporter
