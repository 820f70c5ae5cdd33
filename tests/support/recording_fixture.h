// The fixture of tests that run on the recording platform: a fresh world before each test, and afterwards the contract
// must have been kept and every query freed.
#ifndef KELVANE_TESTS_SUPPORT_RECORDING_FIXTURE_H
#define KELVANE_TESTS_SUPPORT_RECORDING_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/lines.h"
#include "tests/support/recording_platform.h"

class RecordingTest : public ::testing::Test {
 protected:
  RecordingTest() { recording::reset(); }
  ~RecordingTest() override {
    EXPECT_EQ(recording::misuses(), Lines{});
    EXPECT_EQ(recording::open_queries(), 0u);
    recording::reset();
  }
};

#endif
