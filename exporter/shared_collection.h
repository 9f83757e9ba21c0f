// Collections for many scrapes at once: one that comes during a collection gets its result.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace zrp::exporter {

using Text = std::shared_ptr<const std::string>;

class SharedCollection {
public:
    explicit SharedCollection(std::function<std::string()> collect)
        : collect_(std::move(collect)) {}

    // Any thread may ask. Throws what the collection threw.
    Text Get();

private:
    struct Run {
        bool done = false;
        Text text;
        std::exception_ptr thrown;
    };

    std::function<std::string()> collect_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::shared_ptr<Run> current_; // null while no collection is under way
};

} // namespace zrp::exporter
