// What a scenario may expect of status documents and blobs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fabric/storage_client.h"
#include "tools/fabric/json_match.h"

namespace kelvane::fabric_test {
namespace {

using fabric::json_mismatch;
using fabric::Members;
using ::testing::HasSubstr;

std::string expecting(const std::string &expect, const std::string &type = "BlockBlob") {
  return R"({"fabric":{"statusUploadBlob":{"type":")" + type + R"("}},"expect":{)" + expect + "}}";
}

TEST(Status, CountsDocumentsAndLooksAtTheLast) {
  FabricProgram fabric(expecting(R"("status":{"count":2,"last":{"type":"BlockBlob","writes":1,"size":16,
    "blob":"*/status/kelvane.status","text":"{\"version\":\"2\"} "}})"));
  EXPECT_EQ(finding_of(fabric, "status, the last document"), "no document was uploaded");
  put_block(fabric, "{}");
  EXPECT_EQ(finding_of(fabric, "status documents"), "expected 2 to 2, came 1");
  EXPECT_EQ(finding_of(fabric, "status, the last document"), "size: expected 16, came 2");
  put_block(fabric, "{\"version\":\"2\"} ");
  EXPECT_EQ(finding_of(fabric, "status documents"), "held");
  EXPECT_EQ(finding_of(fabric, "status, the last document"), "held");
  put_block(fabric, "{\"version\":\"3\"} ");
  EXPECT_THAT(finding_of(fabric, "status, the last document"), HasSubstr("different from byte 12 on"));
}

TEST(Status, PageDocumentIsThereOnceEveryPageIsWritten) {
  FabricProgram fabric(
      expecting(R"("status":{"atLeast":1,"incomplete":0,"last":{"type":"PageBlob","size":1024,"writes":2,
    "json":{"a":"<n>"}}})",
                "PageBlob"));
  create_pages(fabric, "1024");
  put_pages(fabric, "bytes=0-511", "{\"a\":1}" + std::string(505, '\0'));
  EXPECT_EQ(finding_of(fabric, "status documents"), "expected 1 or more, came 0");
  EXPECT_EQ(finding_of(fabric, "status, incomplete documents"), "incomplete: expected 0, came 1");
  put_pages(fabric, "bytes=512-1023", std::string(512, '\0'));
  EXPECT_EQ(finding_of(fabric, "status documents"), "held");
  EXPECT_EQ(finding_of(fabric, "status, incomplete documents"), "held");
  EXPECT_EQ(finding_of(fabric, "status, the last document"), "held");
}

TEST(Status, AllDocumentsOrSomeInOrder) {
  FabricProgram fabric(expecting(R"("status":{"documents":[{"json":{"a":1}},{"json":{"a":2}},{"json":{"a":3}}],
    "inOrder":[{"includes":{"a":1}},{"json":{"a":3}}]})"));
  put_block(fabric, "{\"a\":1}");
  put_block(fabric, "{\"a\":2}");
  EXPECT_EQ(finding_of(fabric, "status, all documents"), "document 3: expected, but no more came");
  EXPECT_THAT(finding_of(fabric, "status, in order"),
              HasSubstr("expectation 2: no document fits; the first of those left: $.a: expected 3, came 2"));
  put_block(fabric, "{\"a\":3}");
  EXPECT_EQ(finding_of(fabric, "status, all documents"), "held");
  EXPECT_EQ(finding_of(fabric, "status, in order"), "held");
  put_block(fabric, "{\"a\":4}");
  EXPECT_EQ(finding_of(fabric, "status, all documents"), "document 4: came, but no more were expected");
  EXPECT_EQ(finding_of(fabric, "status, in order"), "held");
}

TEST(Status, TheDocumentsAreToldWithTheGoalStateOfTheirTime) {
  FabricProgram fabric(R"({"fabric":{"goalStates":[{"statusUploadBlob":{"type":"BlockBlob"}},
    {"incarnation":"7","statusUploadBlob":{"type":"PageBlob",
     "url":"http://storage.example.invalid/status/pages?sv=1&se=2099-12-31T00%3A00%3A00Z&sp=rw&sig=x"}}]}})");
  const std::string pages = "http://storage.example.invalid/status/pages?sv=1&se=2099-12-31T00%3A00%3A00Z&sp=rw&sig=x";
  EXPECT_EQ(fabric.control("GET", "/_fabric/status").body, "[]\n");
  fabric.get("/machine/?comp=goalstate", kAgent);
  put_block(fabric, "{}");
  fabric.control("POST", "/_fabric/advance");
  put_block(fabric, "{\"a\":1}");  // of the goal state that it knows
  fabric.get("/machine/?comp=goalstate", kAgent);
  create_pages(fabric, "512", pages);
  const std::string told =
      R"([
  {
    "blob": "storage.example.invalid/status/kelvane.status",
    "type": "BlockBlob",
    "size": 2,
    "writes": 1,
    "incarnation": "1",
    "text": "{}"
  },
  {
    "blob": "storage.example.invalid/status/kelvane.status",
    "type": "BlockBlob",
    "size": 7,
    "writes": 1,
    "incarnation": "1",
    "text": "{\"a\":1}"
  })";
  EXPECT_EQ(fabric.control("GET", "/_fabric/status").body, told + "\n]\n") << "the page is not written yet";
  put_pages(fabric, "bytes=0-511", "{\"a\":2}" + std::string(505, '\0'), pages);
  EXPECT_EQ(fabric.control("GET", "/_fabric/status").body, told + R"(,
  {
    "blob": "storage.example.invalid/status/pages",
    "type": "PageBlob",
    "size": 512,
    "writes": 1,
    "incarnation": "7",
    "text": "{\"a\":2}"
  }
]
)");
}

TEST(Blobs, AreComparedInTheEnd) {
  FabricProgram fabric(expecting(R"("blobs":[{"name":"status/kelvane.status","type":"BlockBlob","base64":"AAE="},
    {"name":"status/other","absent":true},{"name":"status/third"}])"));
  EXPECT_THAT(finding_of(fabric, "blob storage.example.invalid/status/kelvane.status"), HasSubstr("bytes: expected"));
  put_block(fabric, std::string("\0\1", 2));
  EXPECT_EQ(finding_of(fabric, "blob storage.example.invalid/status/kelvane.status"), "held");
  EXPECT_EQ(finding_of(fabric, "blob storage.example.invalid/status/other"), "held");
  EXPECT_EQ(finding_of(fabric, "blob storage.example.invalid/status/third"), "there is no such blob");
  EXPECT_EQ(fabric.end(), 1);
}

TEST(JsonMatch, ComparesEverythingAndKeepsTheOrder) {
  EXPECT_EQ(json_mismatch(R"({"a":[1,"x",null,true],"b":{}})", R"({"a":[1,"x",null,true],"b":{}})", Members::kAll), "");
  EXPECT_EQ(json_mismatch(R"({"a":1,"b":2})", R"({"b":2,"a":1})", Members::kAll),
            "$: expected the members [a, b], came [b, a]");
  EXPECT_EQ(json_mismatch(R"({"a":[{"b":1}]})", R"({"a":[{"b":"1"}]})", Members::kAll),
            "$.a[0].b: expected 1, came \"1\"");
  EXPECT_EQ(json_mismatch("[1]", "[1,2]", Members::kAll), "$: expected [1], came [1,2]");
  EXPECT_EQ(json_mismatch("1", "1.0", Members::kAll), "$: expected 1, came 1.0");
  EXPECT_EQ(json_mismatch("{}", "{", Members::kAll), "expected JSON, came \"{\"");
}

TEST(JsonMatch, TakesTheNamedMembersAlone) {
  EXPECT_EQ(json_mismatch(R"({"b":{"c":1}})", R"({"a":0,"b":{"d":0,"c":1}})", Members::kNamed), "");
  EXPECT_EQ(json_mismatch(R"({"c":1})", R"({"a":0})", Members::kNamed), "$.c: expected 1, came nothing");
}

TEST(JsonMatch, KnowsWildcards) {
  const std::string time = R"(["<time>"])";
  EXPECT_EQ(json_mismatch(time, R"(["2026-01-31T12:00:00Z"])", Members::kAll), "");
  EXPECT_NE(json_mismatch(time, R"(["2026-01-31 12:00:00"])", Members::kAll), "");
  EXPECT_EQ(json_mismatch(R"(["<n>","<text>","<any>"])", R"([1,"",{}])", Members::kAll), "");
  EXPECT_NE(json_mismatch(R"("<n>")", R"("1")", Members::kAll), "");
  EXPECT_NE(json_mismatch(R"("<text>")", "1", Members::kAll), "");
  EXPECT_EQ(json_mismatch(R"("<digits>")", R"("0123")", Members::kAll), "");
  for (const char *other : {"123", R"("")", R"("-1")", R"("1a")"})
    EXPECT_NE(json_mismatch(R"("<digits>")", other, Members::kAll), "") << other;
}

TEST(JsonMatch, TakesListsOfAnyLength) {
  for (const char *list : {"[]", "[1]", "[1,2,3]"})
    EXPECT_EQ(json_mismatch(R"(["<each>","<n>"])", list, Members::kAll), "") << list;
  EXPECT_EQ(json_mismatch(R"(["<each>",{"a":"<n>"}])", R"([{"a":1},{"a":"x"}])", Members::kAll),
            "$[1].a: expected \"<n>\", came \"x\"");
  EXPECT_EQ(json_mismatch(R"(["<each>",1])", "{}", Members::kAll), "$: expected [\"<each>\",1], came {}");
}

TEST(JsonMatch, RefusesAMemberThatIsThereTwice) {
  EXPECT_EQ(json_mismatch(R"({"a":2})", R"({"a":1,"a":2})", Members::kAll),
            "expected every member once, came \"a\" twice");
  EXPECT_EQ(json_mismatch(R"([{"a":1},{"a":1}])", R"([{"a":1},{"a":1}])", Members::kAll), "");
  EXPECT_EQ(json_mismatch(R"({"a":{"a":1}})", R"({"a":{"a":1}})", Members::kAll), "");
}

}  // namespace
}  // namespace kelvane::fabric_test
