// Watches one counter of the main daemon.
//
//     watch_counter NAME [SECONDS [COUNT]]
//
// Prints its value every SECONDS (1), COUNT times or, without one, until it is interrupted:
//
//     watch_counter "ipcListener requests"
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <utility>

#include <zrp/requests/diagnostics.h>
#include <zrp/result.h>

// One question in the steps of the library: build, exchange, scan. Request and reply free
// themselves.
static int read_counter(const char* wanted, int32_t* value) {
    const zrp::DiagnosticsDaemon& daemon = zrp::kServerDiagnostics;
    uint32_t length = 0;
    zrp::HeapText request = zrp::BuildDiagnosticsMessage(daemon, &length);
    zrp::Reply reply;
    int rc = zrp::send_checked_query(daemon.peer, std::move(request), length, nullptr, &reply);
    zrp::DiagnosticName name;
    int cursor = 0;
    while (rc == zrp::kOk) {
        rc = zrp::ScanDiagnostics(daemon, reply.text.get(), reply.length, &cursor, name, value);
        if (rc == zrp::kOk && std::strcmp(name, wanted) == 0) {
            return zrp::kOk;
        }
    }
    return rc == zrp::kInvalid || rc == zrp::kRange ? zrp::kNotFound : rc; // the list's end
}

int main(int argc, char** argv) {
    if (argc < 2 || argc > 4) {
        std::fprintf(stderr, "usage: watch_counter NAME [SECONDS [COUNT]]\n");
        return 2;
    }
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 1;
    const int count = argc > 3 ? std::atoi(argv[3]) : 0;
    int32_t before = 0;
    for (int i = 0; count == 0 || i < count; i++) {
        if (i > 0) {
            sleep(static_cast<unsigned>(seconds));
        }
        int32_t value = 0;
        const int rc = read_counter(argv[1], &value);
        if (rc != zrp::kOk) {
            std::fprintf(stderr, "watch_counter: %s, code %d\n",
                         rc == zrp::kNotFound ? "no such counter" : "the server cannot be asked",
                         rc);
            return 1;
        }
        std::printf("%d (%+lld)\n", value, i == 0 ? 0LL : static_cast<long long>(value) - before);
        std::fflush(stdout);
        before = value;
    }
    return 0;
}
