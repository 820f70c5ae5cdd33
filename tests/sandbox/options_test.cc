#include "tools/sandbox/options.h"

#include <gtest/gtest.h>

namespace sandbox {
namespace {

Options parse(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "kelvane-sandbox");
  return parse_options(arguments);
}

std::string refusal(const std::vector<std::string> &arguments) {
  try {
    parse(arguments);
  } catch (const OptionError &error) {
    return error.what();
  }
  return "taken";
}

TEST(Options, RootAloneGivesTheDefaults) {
  const Options options = parse({"--root", "/r"});
  EXPECT_EQ(options.root, "/r");
  EXPECT_EQ(options.clock, ClockKind::kReal);
  EXPECT_EQ(options.media_type, "udf");
  EXPECT_FALSE(options.stop_after.has_value());
  EXPECT_TRUE(options.agent_arguments.empty());
}

TEST(Options, TheProxyAndTheHostsWithoutIt) {
  const Options options = parse({"--root", "/r", "--proxy", "http://127.0.0.1:1", "--no-proxy", "a.example,b.example"});
  EXPECT_EQ(options.proxy, "http://127.0.0.1:1");
  EXPECT_EQ(options.no_proxy, "a.example,b.example");
}

TEST(Options, WhatStandsBehindTheDashesIsTheAgents) {
  const Options options = parse({"--root", "/r", "--", "-version", "--root"});
  EXPECT_EQ(options.agent_arguments, (std::vector<std::string>{"-version", "--root"}));
}

TEST(Options, AScaledClockHasItsFactor) {
  const Options options = parse({"--root", "/r", "--clock", "scaled:60"});
  EXPECT_EQ(options.clock, ClockKind::kScaled);
  EXPECT_EQ(options.clock_factor, 60.0);
}

TEST(Options, FaultsAdd) {
  EXPECT_EQ(parse({"--root", "/r", "--fault", "a:b:EIO:1", "--fault", "c:d:EIO:2"}).faults,
            (std::vector<std::string>{"a:b:EIO:1", "c:d:EIO:2"}));
}

TEST(Options, RefusalsSayWhy) {
  EXPECT_EQ(refusal({}), "--root DIR is needed");
  EXPECT_EQ(refusal({"--root"}), "--root needs DIR");
  EXPECT_EQ(refusal({"--rot", "/r"}), "unknown option '--rot' (the agent's own arguments stand behind --)");
  EXPECT_EQ(refusal({"--root", "/r", "--clock", "fast"}), "--clock takes real, virtual or scaled:N, not 'fast'");
  EXPECT_EQ(refusal({"--root", "/r", "--clock", "scaled:0"}), "--clock scaled:N takes a factor of 1 or more");
  EXPECT_EQ(refusal({"--root", "/r", "--stop-after", "1x"}),
            "--stop-after takes a number that is not negative, not '1x'");
  EXPECT_EQ(refusal({"--root", "/r", "--media-type", "ext4"}), "--media-type takes udf, iso9660 or none, not 'ext4'");
}

}  // namespace
}  // namespace sandbox
