#include "common/engine/storage_exchange.h"

#include <utility>

#include "common/engine/operation.h"
#include "common/result.h"

namespace zrp {

int exchange_control(const ControlTrace& trace, XmlDocument document, Reply* reply) {
    uint32_t length = 0;
    HeapText request(finish_document(document, &length));
    if (request == nullptr) {
        return reason_for_no_document();
    }
    RequestHooks hooks = log_hooks(trace.log);
    hooks.log = nullptr; // the line is another one here
    if (!trace.dumpsReply && hooks.dump != nullptr) {
        hooks.dump(request.get(), length);
        hooks.dump = nullptr;
    }
    const int rc = send_query(kStorageDaemon, std::move(request), length, &hooks, reply);
    if (rc != kOk && trace.log != nullptr && trace.operation != nullptr) {
        trace.log->operations.LogError("%s: IPCServRequestEx() rc=%d", trace.operation, rc);
    }
    return rc;
}

} // namespace zrp
