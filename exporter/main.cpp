// zrp-exporter: the figures of one ZRP file server for Prometheus.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>

#include "exporter/collector.h"
#include "exporter/http_server.h"
#include "exporter/options.h"

namespace {

using namespace zrp;
using namespace zrp::exporter;

// The journal adds the time.
void log_line(const std::string& line) {
    std::fprintf(stderr, "zrp-exporter: %s\n", line.c_str());
}

// Blocked in every thread, so that one place receives them.
sigset_t block_endings() {
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGTERM);
    sigaddset(&endings, SIGINT);
    pthread_sigmask(SIG_BLOCK, &endings, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return endings;
}

int serve(Options& options) {
    const sigset_t endings = block_endings();
    const client::Session session;
    Collector collector(options.limits, log_line);
    SharedCollection collection([&] { return collector.Collect(); });
    HttpServer server(collection);
    if (const int rc = server.Start(options.listen); rc != 0) {
        log_line(NameOf(options.listen) + ": " + std::strerror(rc));
        return 1;
    }
    log_line("listening on " + NameOf(options.listen));
    int signal = 0;
    sigwait(&endings, &signal);
    IPCServInterrupt(); // a collection that is under way ends at once
    server.Stop();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    try {
        const auto status = ReadOptions(argc, argv, options);
        return status ? *status : serve(options);
    } catch (const std::exception& failure) {
        log_line(failure.what());
        return 1;
    }
}
