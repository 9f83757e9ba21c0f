// A simulated server that commands change.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/ctl/run_here.h"
#include "tests/ctl/run_zrpctl.h"
#include "tests/ctl/server_suite.h"

namespace zrp {

using Strings = std::vector<std::string>;

class ActTest : public ServerSuite {
protected:
    // The answer of a command that succeeds.
    static nlohmann::ordered_json done(Strings words) {
        words.insert(words.end(), {"--json", "--yes"});
        const Ran ran = run_zrpctl(words);
        EXPECT_EQ(ran.status, 0) << ran.errors;
        return ran.json();
    }

    // The status of one that does not.
    static int status_of(Strings words) {
        words.emplace_back("--yes");
        const Ran ran = run_here(words);
        EXPECT_NE(ran.errors, "");
        return ran.status;
    }

    static nlohmann::ordered_json volume(const std::string& name) {
        return done({"volume", name})["volume"];
    }

    static size_t connection_count() {
        return done({"connections"})["connections"].size();
    }
};

} // namespace zrp
