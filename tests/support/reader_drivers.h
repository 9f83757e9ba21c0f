// Drives the reply reader with any bytes and checks what must hold whatever they are: a view lies
// inside the reply, a copy inside its buffer, a walk comes to an end. Used by the fuzz targets and
// by the unit tests, which feed every truncated prefix of the sample replies.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zrp {

struct ReaderDriver {
    const char* name;
    void (*drive)(std::string_view input); // aborts with a message when something does not hold
};

// One row for each driver. A scanner of a new request family gets a row here, and its fuzz target
// follows from the name (tests/fuzz/CMakeLists.txt).
const std::vector<ReaderDriver>& reader_drivers();

struct SampleReply {
    std::string name;
    std::string text;
};

// The sample replies that the fuzz targets start from.
const std::vector<SampleReply>& sample_replies();

} // namespace zrp
