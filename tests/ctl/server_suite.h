// One simulated server for all tests of a suite, since a start takes longer than most of them.
#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/simulated_server.h"

namespace zrp {

// Each test begins with the same world, in which nothing moves, and without faults.
class ServerSuite : public testing::Test {
protected:
    static void SetUpTestSuite() {
        server_ = std::make_unique<SimulatedServer>(std::vector<std::string>{"--clock", "100000"});
    }

    static void TearDownTestSuite() {
        server_.reset();
    }

    void SetUp() override {
        ASSERT_TRUE(server_->ready());
        ASSERT_TRUE(begin("none"));
    }

    // Undoes all changes and replaces the faults. False if that fails.
    [[nodiscard]] static bool begin(const std::string& faults) {
        return server_->control("restore") && server_->control("fault " + faults);
    }

private:
    inline static std::unique_ptr<SimulatedServer> server_;
};

} // namespace zrp
