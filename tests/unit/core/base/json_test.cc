#include "core/base/json.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "core/base/text.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/refused_memory.h"
#include "tests/support/watched_memory.h"

extern "C" {
const char *__real_json_object_get_string(json_object *value);
const char *__wrap_json_object_get_string(json_object *value);
json_object *__real_json_tokener_parse_verbose(const char *text, json_tokener_error *error);
json_object *__wrap_json_tokener_parse_verbose(const char *text, json_tokener_error *error);
}

static bool gsNoJsonText = false;

const char *__wrap_json_object_get_string(json_object *value) {
  return gsNoJsonText ? nullptr : __real_json_object_get_string(value);
}

static bool gsNoJsonValue = false;

// As the library does it when one of its allocations fails: no value, and no error.
json_object *__wrap_json_tokener_parse_verbose(const char *text, json_tokener_error *error) {
  return gsNoJsonValue ? nullptr : __real_json_tokener_parse_verbose(text, error);
}

namespace {

using kelvane::json_load;
using kelvane::json_member;
using kelvane::json_member_text;
using kelvane::JsonOwner;

bool loads(const std::string &text) {
  return json_load(text.c_str()).present();
}

TEST(Json, LoadsEveryKindOfValue) {
  for (const char *text : {"{}", "[]", "7", "1.5", "\"text\"", "true", " {\"a\":[1,{}]} "}) {
    EXPECT_TRUE(loads(text)) << text;
  }
}

TEST(Json, WhatIsNoValueIsAbsent) {
  EXPECT_FALSE(json_load(nullptr).present());
  for (const char *text : {"", " ", "no JSON", "{", "[1", "\"text", "null", "{\"a\":}", "\xff"}) {
    EXPECT_FALSE(loads(text)) << text;
  }
}

bool lacks_memory(const char *text) {
  bool no_memory = true;
  EXPECT_FALSE(json_load(text, &no_memory).present()) << text;
  return no_memory;
}

TEST(Json, AValueThatThereIsNoMemoryForIsToldApartFromNone) {
  for (const char *text : {"", " ", "no JSON", "{", "[1", "\"text", "null", " \t\r\nnull", "nUlL", "Null and more",
                           "/* none */ null", "{\"a\":}", "\xff"}) {
    EXPECT_FALSE(lacks_memory(text)) << text;
  }
  EXPECT_FALSE(lacks_memory(nullptr));
  gsNoJsonValue = true;
  for (const char *text : {"{}", " \t\v\f\r\n{}", "[]", "7", "-1.5", "\"null\"", "true"}) {
    EXPECT_TRUE(lacks_memory(text)) << text;
    EXPECT_FALSE(loads(text)) << text;
  }
  EXPECT_FALSE(lacks_memory("null"));
  gsNoJsonValue = false;
  bool no_memory = true;
  EXPECT_TRUE(json_load("{}", &no_memory).present());
  EXPECT_FALSE(no_memory);
}

TEST(Json, WhatIsNotUtf8IsAbsent) {
  EXPECT_TRUE(loads("{\"a\":\"\xc3\xa9\"}"));
  for (const char *text :
       {"{\"a\":\"\xe9\"}", "{\"\xe9\":1}", "\"\xc3\"", "\"\xc0\x80\"", "\"\xed\xa0\x80\"", "7\xff"}) {
    EXPECT_FALSE(loads(text)) << text;
  }
}

TEST(Json, ATextOfTwoMegabytesIsTheLargest) {
  const std::string largest = "\"" + std::string(2097150, 'x') + "\"";
  EXPECT_TRUE(loads(largest));
  EXPECT_FALSE(loads(largest + " "));
}

TEST(Json, TwentyThousandValuesAreTheMost) {
  std::string text = "[0";
  for (int i = 1; i < 19998; i++) {
    text += ",0";
  }
  EXPECT_TRUE(loads(text + ",0]"));
  EXPECT_FALSE(loads(text + ",0,0]"));
}

TEST(Json, ObjectsAndArraysCountAsValuesToo) {
  std::string text = "[[]";
  for (int i = 1; i < 10000; i++) {
    text += i % 2 == 0 ? ",[]" : ",{}";
  }
  EXPECT_FALSE(loads(text + "]"));
}

TEST(Json, WhatStandsInAStringDoesNotCount) {
  EXPECT_TRUE(loads("\"" + std::string(200000, ',') + "\""));
  EXPECT_TRUE(loads(R"("\"[[")"));
  EXPECT_TRUE(loads("\"\\\"" + std::string(200000, '[') + "\""));
  EXPECT_FALSE(loads("\"\\\\\"" + std::string(200000, ',')));
  EXPECT_FALSE(loads("\"\\"));
}

TEST(Json, NestingEndsAtThirtyTwoLevels) {
  EXPECT_TRUE(loads(std::string(32, '[') + std::string(32, ']')));
  EXPECT_FALSE(loads(std::string(33, '[') + std::string(33, ']')));
}

// ---- what is over a cap ----

class JsonCaps : public RecordingTest {
 protected:
  // The lines that a text that is refused leaves in the log.
  static Lines refusal(const std::string &text) {
    recording::clear_trace();
    EXPECT_FALSE(loads(text));
    return recording::messages();
  }
};

TEST_F(JsonCaps, WhichOneItWasIsLogged) {
  recording::set_debug_level(1);
  const std::string line = "[kelvane]: a JSON text is over a cap and is not read: ";
  EXPECT_EQ(refusal("\"" + std::string(2097151, 'x') + "\""), Lines{line + "bytes\n"});
  EXPECT_EQ(refusal("[" + std::string(20000, ',') + "]"), Lines{line + "values\n"});
  EXPECT_EQ(refusal(std::string(40, '[') + std::string(40, ']')), Lines{line + "levels\n"});
  recording::set_debug_level(0);
  EXPECT_EQ(refusal(std::string(40, '[') + std::string(40, ']')), Lines{});
}

TEST_F(JsonCaps, WhatIsNoJsonIsRefusedWithoutAWord) {
  recording::set_debug_level(100);
  for (const char *text : {"", "no JSON", "{", "[1", "null", "\xff"}) {
    EXPECT_EQ(refusal(text), Lines{}) << text;
  }
  EXPECT_TRUE(loads(std::string(31, '[') + std::string(31, ']')));
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST(Json, AMemberIsFoundByNameAndType) {
  const JsonOwner object = json_load(R"({"text":"value","number":7,"none":null})");
  ASSERT_NE(json_member(object.get(), "text", json_type_string), nullptr);
  EXPECT_EQ(json_object_get_int(json_member(object.get(), "number", json_type_int)), 7);
  EXPECT_EQ(json_member(object.get(), "number", json_type_string), nullptr);
  EXPECT_EQ(json_member(object.get(), "missing", json_type_string), nullptr);
  EXPECT_EQ(json_member(object.get(), "Text", json_type_string), nullptr);
  EXPECT_EQ(json_member(object.get(), "none", json_type_string), nullptr);
}

TEST(Json, OtherValuesThanObjectsHaveNoMembers) {
  EXPECT_EQ(json_member(nullptr, "a", json_type_string), nullptr);
  for (const char *text : {"[\"a\"]", "\"a\"", "7", "true"}) {
    const JsonOwner value = json_load(text);
    EXPECT_EQ(json_member(value.get(), "a", json_type_string), nullptr) << text;
  }
}

TEST(Json, AMembersTextIsThatOfAStringOnly) {
  const JsonOwner object = json_load(R"({"text":"value","number":7,"none":null})");
  EXPECT_STREQ(json_member_text(object.get(), "text"), "value");
  EXPECT_EQ(json_member_text(object.get(), "number"), nullptr);
  EXPECT_EQ(json_member_text(object.get(), "none"), nullptr);
  EXPECT_EQ(json_member_text(object.get(), "missing"), nullptr);
  EXPECT_EQ(json_member_text(nullptr, "text"), nullptr);
}

std::string text_of_member(json_object *value, const char *name) {
  char *slot = strdup("before");
  EXPECT_EQ(kelvane::json_replace_text(&slot, value, name), 0);
  const std::string text = kelvane::text_or(slot, "(absent)");
  free(slot);
  return text;
}

TEST(Json, AMemberOfAnyTypeHasATextButNullHasNone) {
  const JsonOwner object = json_load(R"({"text":"a\"b","number":7,"flag":true,"object":{"x":[1]},"none":null})");
  EXPECT_EQ(text_of_member(object.get(), "text"), "a\"b");
  EXPECT_EQ(text_of_member(object.get(), "number"), "7");
  EXPECT_EQ(text_of_member(object.get(), "flag"), "true");
  EXPECT_EQ(text_of_member(object.get(), "object"), "{ \"x\": [ 1 ] }");
  EXPECT_EQ(text_of_member(object.get(), "none"), "(absent)");
  EXPECT_EQ(text_of_member(object.get(), "missing"), "(absent)");
  EXPECT_EQ(text_of_member(nullptr, "text"), "(absent)");
  const JsonOwner list = json_load("[1]");
  EXPECT_EQ(text_of_member(list.get(), "text"), "(absent)");
}

TEST(Json, AMemberThatThereIsNoMemoryForIsToldApartFromNone) {
  const JsonOwner object = json_load(("{\"text\":\"" + std::string(1800, 'x') + "\",\"object\":{}}").c_str());
  char *slot = strdup("before");
  {
    const refused_memory::Refusal refusal(1801);
    EXPECT_EQ(kelvane::json_replace_text(&slot, object.get(), "text"), -1);
    EXPECT_EQ(slot, nullptr);
  }
  gsNoJsonText = true;
  EXPECT_EQ(kelvane::json_replace_text(&slot, object.get(), "object"), -1);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(kelvane::json_replace_text(&slot, object.get(), "missing"), 0);
  gsNoJsonText = false;
}

TEST(Json, ASecretValuesTextsAreWipedWhenItEnds) {
  watched_memory::wiped.clear();
  {
    const kelvane::JsonSecretOwner value(json_load(R"({"a":"one","b":["two",{"c":"three"},4,null],"d":""})").release());
  }
  EXPECT_EQ(watched_memory::wiped, (std::vector<std::string>{"one", "two", "three", ""}));
}

TEST(Json, OtherValuesAreNotWiped) {
  watched_memory::wiped.clear();
  { const JsonOwner value = json_load(R"({"a":"one"})"); }
  { const kelvane::JsonSecretOwner none; }
  EXPECT_EQ(watched_memory::wiped, std::vector<std::string>{});
}

}  // namespace
