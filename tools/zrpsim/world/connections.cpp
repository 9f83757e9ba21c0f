#include "tools/zrpsim/world/connections.h"

#include <algorithm>
#include <utility>

namespace zrp::sim {
namespace {

constexpr int64_t kMsPerSecond = 1000;
constexpr uint64_t kBytesPerRequest = 1500;
constexpr Traffic kLoginTraffic = {0, 0, 12};

Traffic rate_of(const Connection& connection) {
    const uint64_t bytes = uint64_t{connection.readPerSecond} + connection.writtenPerSecond;
    return {connection.readPerSecond, connection.writtenPerSecond,
            (bytes + kBytesPerRequest / 2) / kBytesPerRequest};
}

void subtract_traffic(Traffic& total, const Traffic& less, uint64_t times) {
    add_traffic(total, less, 0 - times);
}

} // namespace

bool logged_in(const Connection& connection) {
    return connection.name != kNotLoggedIn;
}

void add_traffic(Traffic& total, const Traffic& more, uint64_t times) {
    total.bytesRead += more.bytesRead * times;
    total.bytesWritten += more.bytesWritten * times;
    total.requests += more.requests * times;
}

Traffic traffic_until(int64_t upTimeMs, const Connection& connection) {
    if (!logged_in(connection)) {
        return {};
    }
    Traffic traffic = kLoginTraffic;
    const int64_t seconds = std::max<int64_t>(upTimeMs - connection.loginMs, 0) / kMsPerSecond;
    add_traffic(traffic, rate_of(connection), static_cast<uint64_t>(seconds));
    return traffic;
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

Traffic Connections::traffic_until(int64_t upTimeMs) const {
    if (!isCounted_) {
        count_again();
    }
    if (upTimeMs >= lastLoginMs_) {
        Traffic total = offsets_.at(static_cast<size_t>(upTimeMs % kMsPerSecond));
        add_traffic(total, rate_, static_cast<uint64_t>(upTimeMs / kMsPerSecond));
        return total;
    }
    Traffic total{};
    for (const Connection& connection : all_) {
        add_traffic(total, sim::traffic_until(upTimeMs, connection));
    }
    return total;
}

void Connections::count_again() const {
    counts_ = {};
    rate_ = {};
    lastLoginMs_ = 0;
    offsets_.assign(kMsPerSecond, {});
    Traffic offset{};
    for (const Connection& connection : all_) {
        if (!logged_in(connection)) {
            counts_.withoutLogin++;
        } else {
            const Traffic rate = rate_of(connection);
            const int64_t login = connection.loginMs;
            add_traffic(rate_, rate);
            add_traffic(offset, kLoginTraffic);
            subtract_traffic(offset, rate, static_cast<uint64_t>(login / kMsPerSecond));
            add_traffic(offsets_[static_cast<size_t>(login % kMsPerSecond)], rate);
            lastLoginMs_ = std::max(lastLoginMs_, login);
        }
        counts_.openFiles += connection.files.size();
        counts_.locks +=
            static_cast<size_t>(std::count_if(connection.files.begin(), connection.files.end(),
                                              [](const OpenFile& file) { return file.locked; }));
    }
    // A second of a connection ends when the server's has come as far as at the login.
    for (auto at = offsets_.rbegin(); at != offsets_.rend(); ++at) {
        const Traffic rate = std::exchange(*at, offset);
        subtract_traffic(offset, rate, 1);
    }
    isCounted_ = true;
}

} // namespace zrp::sim
