#include "exporter/shared_collection.h"

namespace zrp::exporter {

Text SharedCollection::Get() {
    std::unique_lock lock(mutex_);
    std::shared_ptr<Run> run = current_;
    if (run == nullptr) {
        run = current_ = std::make_shared<Run>();
        lock.unlock();
        try {
            run->text = std::make_shared<const std::string>(collect_());
        } catch (...) {
            run->thrown = std::current_exception();
        }
        lock.lock();
        run->done = true;
        current_ = nullptr;
        changed_.notify_all();
    } else {
        changed_.wait(lock, [&] { return run->done; });
    }
    if (run->thrown != nullptr) {
        std::rethrow_exception(run->thrown);
    }
    return run->text;
}

} // namespace zrp::exporter
