#include "core/base/json_maker.h"

#include <gtest/gtest.h>

#include <string>

extern "C" {
int __real_json_object_object_add(json_object *object, const char *key, json_object *value);
int __real_json_object_array_add(json_object *array, json_object *value);
int __wrap_json_object_object_add(json_object *object, const char *key, json_object *value);
int __wrap_json_object_array_add(json_object *array, json_object *value);
}

using kelvane::JsonMaker;
using kelvane::JsonOwner;

namespace {

bool no_place = false;

}  // namespace

int __wrap_json_object_object_add(json_object *object, const char *key, json_object *value) {
  return no_place ? -1 : __real_json_object_object_add(object, key, value);
}

int __wrap_json_object_array_add(json_object *array, json_object *value) {
  return no_place ? -1 : __real_json_object_array_add(array, value);
}

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

TEST(JsonMaker, WhatTheLibraryFindsNoPlaceForIsGivenBackToo) {
  JsonMaker maker;
  const JsonOwner object(kelvane::json_make_object(&maker));
  const JsonOwner array(kelvane::json_make_array(&maker));
  no_place = true;
  kelvane::json_add_text(&maker, object.get(), "key", "value");
  const bool with_member = maker.complete;
  maker.complete = true;
  kelvane::json_append(&maker, array.get(), kelvane::json_make_text(&maker, "value"));
  no_place = false;
  EXPECT_FALSE(with_member);
  EXPECT_FALSE(maker.complete);
  EXPECT_EQ(text_of(object), "{ }");
  EXPECT_EQ(text_of(array), "[ ]");
}

TEST(JsonMaker, StaysIncompleteWhateverFollows) {
  JsonMaker maker;
  maker.complete = false;
  const JsonOwner top(kelvane::json_make_object(&maker));
  kelvane::json_add_text(&maker, top.get(), "key", "value");
  EXPECT_FALSE(maker.complete);
}

}  // namespace
