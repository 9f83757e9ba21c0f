// The debug trace as a text.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/monitor.h"

namespace zrp {

// What is traced while the object lives.
class TraceText {
public:
    TraceText() {
        monitorState.traceFile = open_memstream(&text_, &length_);
        monitorState.traceEnabled = 1;
    }
    ~TraceText() {
        monitorState.traceEnabled = 0;
        fclose(monitorState.traceFile);
        monitorState.traceFile = nullptr;
        free(text_);
    }
    TraceText(const TraceText&) = delete;
    TraceText& operator=(const TraceText&) = delete;

    [[nodiscard]] std::string get() const {
        return {text_, length_};
    }

private:
    char* text_ = nullptr;
    size_t length_ = 0;
};

} // namespace zrp
