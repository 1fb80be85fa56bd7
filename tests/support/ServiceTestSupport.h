// The fixture of the service's tests, and what the harness shares with the
// stress program and the fuzz targets.
#pragma once

#include <Harness.h>
#include <gtest/gtest.h>

namespace c2info_test {

// Every test runs in a process of its own (ctest runs each one alone), so
// each starts with a service that has never been used.
class ServiceTest : public ::testing::Test {
protected:
    void SetUp() override;

    sp<Codec2InfoService> mService;
};

}  // namespace c2info_test
