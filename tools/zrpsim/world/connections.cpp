#include "tools/zrpsim/world/connections.h"

#include <algorithm>

namespace zrp::sim {
namespace {

Traffic traffic_at(int64_t ms, uint64_t readPerSecond, uint64_t writtenPerSecond) {
    const auto passed = static_cast<uint64_t>(std::max<int64_t>(ms, 0));
    const uint64_t bytesRead = readPerSecond * passed / 1000;
    const uint64_t bytesWritten = writtenPerSecond * passed / 1000;
    return {bytesRead, bytesWritten, (bytesRead + bytesWritten) / 1500 + 12};
}

} // namespace

bool logged_in(const Connection& connection) {
    return connection.name != kNotLoggedIn;
}

void add_traffic(Traffic& total, const Traffic& more) {
    total.bytesRead += more.bytesRead;
    total.bytesWritten += more.bytesWritten;
    total.requests += more.requests;
}

Traffic traffic_until(int64_t upTimeMs, const Connection& connection) {
    if (!logged_in(connection)) {
        return {};
    }
    return traffic_at(upTimeMs - connection.loginMs, connection.readPerSecond,
                      connection.writtenPerSecond);
}

std::vector<Connection>& Connections::change() {
    isCounted_ = false;
    return all_;
}

const ConnectionCounts& Connections::counts() const {
    if (!isCounted_) {
        count_again();
    }
    return counts_;
}

const Traffic& Connections::traffic_until(int64_t upTimeMs) const {
    if (!isCounted_) {
        count_again();
    }
    if (trafficMs_ != upTimeMs) {
        Traffic total{};
        for (const Rate& rate : rates_) {
            add_traffic(total, traffic_at(upTimeMs - rate.loginMs, rate.readPerSecond,
                                          rate.writtenPerSecond));
        }
        traffic_ = total;
        trafficMs_ = upTimeMs;
    }
    return traffic_;
}

void Connections::count_again() const {
    counts_ = {};
    rates_.clear();
    for (const Connection& connection : all_) {
        if (logged_in(connection)) {
            rates_.push_back(
                {connection.loginMs, connection.readPerSecond, connection.writtenPerSecond});
        } else {
            counts_.withoutLogin++;
        }
        counts_.openFiles += connection.files.size();
        counts_.locks +=
            static_cast<size_t>(std::count_if(connection.files.begin(), connection.files.end(),
                                              [](const OpenFile& file) { return file.locked; }));
    }
    trafficMs_.reset();
    isCounted_ = true;
}

} // namespace zrp::sim
