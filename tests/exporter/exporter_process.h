// zrp-exporter as a child process, and HTTP by a socket that the test drives byte by byte.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/harness/child_process.h"
#include "tools/harness/descriptor.h"

namespace zrp {

// A private network has its loopback interface down.
void raise_loopback();

class Exporter {
public:
    // On a free port of 127.0.0.1 unless the arguments say where.
    explicit Exporter(std::vector<std::string> arguments = {});

    [[nodiscard]] int port() const {
        return port_;
    }
    harness::ChildProcess& process() {
        return child_;
    }

    // The next line of standard error, without the program's name.
    std::string log_line();

private:
    harness::ChildProcess child_;
    int port_ = 0;
};

// A connection to the exporter.
harness::Descriptor connect_to(int port, const char* host = "127.0.0.1");
void send_text(const harness::Descriptor& connection, const std::string& text);

// Everything until the other side closes.
std::string read_to_end(const harness::Descriptor& connection);

struct HttpAnswer {
    int status = 0; // 0 when there was no answer
    std::string head;
    std::string body;
};

HttpAnswer ask_http(int port, const std::string& request);
HttpAnswer get_page(int port, const std::string& path);

// The metrics of a scrape: from name and labels as written to the value.
using Scrape = std::map<std::string, double>;

Scrape read_metrics(const std::string& text);
Scrape scrape(int port);

// Those whose name and labels begin with the prefix.
size_t count_series(const Scrape& metrics, const std::string& prefix);

} // namespace zrp
