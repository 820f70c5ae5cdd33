#include "core/base/json_maker.h"

#include <gtest/gtest.h>

#include <string>

using kelvane::JsonMaker;
using kelvane::JsonOwner;

namespace {

std::string text_of(const JsonOwner &document) {
  return json_object_to_json_string(document.get());
}

TEST(JsonMaker, WritesTextsNumbersNullsAndLists) {
  JsonMaker maker;
  const JsonOwner top(kelvane::json_make_object(&maker));
  kelvane::json_add_text(&maker, top.get(), "text", "a\"b");
  kelvane::json_add_text(&maker, top.get(), "none", nullptr);
  kelvane::json_add_number(&maker, top.get(), "number", -7);
  kelvane::json_add(&maker, top.get(), "null", nullptr);
  json_object *list = kelvane::json_make_array(&maker);
  kelvane::json_append(&maker, list, kelvane::json_make_text(&maker, "one"));
  kelvane::json_append(&maker, list, kelvane::json_make_number(&maker, 2));
  kelvane::json_add(&maker, top.get(), "list", list);
  EXPECT_TRUE(maker.complete);
  EXPECT_EQ(text_of(top), R"({ "text": "a\"b", "none": "", "number": -7, "null": null, "list": [ "one", 2 ] })");
}

TEST(JsonMaker, WhatFindsNoPlaceIsGivenBackAndTheDocumentIsIncomplete) {
  JsonMaker maker;
  kelvane::json_add_text(&maker, nullptr, "key", "value");
  EXPECT_FALSE(maker.complete);
  maker.complete = true;
  kelvane::json_add_number(&maker, nullptr, "key", 1);
  EXPECT_FALSE(maker.complete);
  maker.complete = true;
  kelvane::json_append(&maker, nullptr, kelvane::json_make_object(&maker));
  EXPECT_FALSE(maker.complete);
}

TEST(JsonMaker, StaysIncompleteWhateverFollows) {
  JsonMaker maker;
  maker.complete = false;
  const JsonOwner top(kelvane::json_make_object(&maker));
  kelvane::json_add_text(&maker, top.get(), "key", "value");
  EXPECT_FALSE(maker.complete);
}

}  // namespace
