#include "tests/torture/places.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "tests/support/files.h"

extern "C" const char __executable_start;

namespace torture {

// Functions to be named.
__attribute__((noinline)) void inner_place() {
  std::puts("inner");
}
__attribute__((noinline)) void outer_place() {
  std::puts("outer");
}

namespace {

// As the sandbox tells where a call returns to.
std::string place_in(void (*function)()) {
  const auto address = reinterpret_cast<uintptr_t>(function) - reinterpret_cast<uintptr_t>(&__executable_start);
  char text[32];
  std::snprintf(text, sizeof text, "0x%zx", static_cast<size_t>(address) + 1);
  return text;
}

std::vector<Site> sites() {
  return {{"memory", 1, "malloc(240 at " + place_in(inner_place) + " < " + place_in(outer_place) + ")"},
          {"file", 1, "open(/data/0x12)"}};
}

TEST(Places, AnAllocationIsNamedByTheFunctionsThatLedToIt) {
  std::vector<Site> named = sites();
  name_places(std::filesystem::canonical("/proc/self/exe").string(), named);
  EXPECT_EQ(named[0].call, "malloc(torture::inner_place < torture::outer_place)");
  EXPECT_EQ(named[1].call, "open(/data/0x12)");
}

TEST(Places, WhatWasNamedOnceIsNotAskedForAgain) {
  const support::TempDir folder;
  const std::string program = folder.file("program");
  std::filesystem::copy_file("/proc/self/exe", program);
  std::vector<Site> first = sites(), second = sites();
  name_places(program, first);
  std::filesystem::remove(program);
  name_places(program, second);
  EXPECT_EQ(second[0].call, "malloc(torture::inner_place < torture::outer_place)");
}

}  // namespace
}  // namespace torture
