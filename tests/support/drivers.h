// Drivers feed a part of the library with any bytes and check what must hold whatever they are: a
// view lies inside the reply, a copy inside its buffer, a walk comes to an end. Used by the fuzz
// targets and by the unit tests, which feed every truncated prefix of the samples.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zrp {

struct Driver {
    const char* name;
    void (*drive)(std::string_view input); // aborts with a message when something does not hold
    const char* corpus = "replies";        // folder of its samples
};

// One row for each driver. A scanner of a new request family gets a row here, and is fuzzed by it.
const std::vector<Driver>& drivers();

struct Sample {
    std::string name;
    std::string text;
};

// Where the samples of a corpus are.
std::string corpus_folder(const std::string& corpus);

// The samples that the drivers of a corpus start from.
std::vector<Sample> samples(const std::string& corpus);

} // namespace zrp
