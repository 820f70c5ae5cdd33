// The storage service: block blobs, page blobs, signed addresses, and what goes wrong with them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/fabric/storage_client.h"

namespace kelvane::fabric_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kPageScenario[] = R"({"fabric":{"statusUploadBlob":{"type":"PageBlob"}}})";

// One fabric for the refusals: they change nothing.
class Refusals : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    blocks = new FabricProgram("{}");
    pages = new FabricProgram(kPageScenario);
    create_pages(*pages, "1024");
  }
  static void TearDownTestSuite() {
    delete blocks;
    delete pages;
  }
  static FabricProgram *blocks, *pages;
};
FabricProgram *Refusals::blocks = nullptr;
FabricProgram *Refusals::pages = nullptr;

// The status, the code of the error document, and the judgement's words.
std::string refusal(const Reply &reply) {
  const std::string open = "<?xml version=\"1.0\" encoding=\"utf-8\"?><Error><Code>";
  EXPECT_EQ(reply.body.substr(0, open.size()), open);
  size_t end = reply.body.find("</Code><Message>");
  return std::to_string(reply.status) + " " + reply.body.substr(open.size(), end - open.size());
}

std::string last_violation(const FabricProgram &fabric) {
  auto line = nlohmann::json::parse(fabric.journal().back());
  if (line["judgement"]["held"] == true) return "(none)";
  auto one = line["judgement"]["violations"][0];
  return one["what"].get<std::string>() + ": expected " + one["expected"].get<std::string>() + ", came " +
         one["came"].get<std::string>();
}

TEST(BlockBlob, IsThereFromTheStartWithTheAnnouncedType) {
  FabricProgram fabric("{}");
  Reply head = storage_request(fabric, "HEAD", kStatusUrl, kStorage);
  EXPECT_EQ(head.status, 200);
  EXPECT_THAT(head.head, HasSubstr("\r\nx-ms-blob-type: BlockBlob\r\n"));
  EXPECT_THAT(head.head, HasSubstr("\r\nContent-Length: 0\r\n"));
  EXPECT_THAT(head.head, HasSubstr("\r\nETag: \"0x8D"));
  EXPECT_THAT(head.head, HasSubstr("\r\nLast-Modified: "));
  EXPECT_EQ(nlohmann::json::parse(fabric.journal().back())["service"], "storage");
  FabricProgram pages(kPageScenario);
  EXPECT_THAT(storage_request(pages, "HEAD", kStatusUrl, kStorage).head, HasSubstr("\r\nx-ms-blob-type: PageBlob\r\n"));
}

TEST(BlockBlob, IsReplacedAndReadBack) {
  FabricProgram fabric("{}");
  const std::string before = storage_request(fabric, "HEAD", kStatusUrl, kStorage).head;
  Reply put = put_block(fabric, "{\"version\":\"1.0\"}");
  EXPECT_EQ(put.status, 201);
  EXPECT_EQ(put.body, "");
  Reply head = storage_request(fabric, "HEAD", kStatusUrl, kStorage);
  EXPECT_THAT(head.head, HasSubstr("\r\nContent-Length: 17\r\n"));
  EXPECT_EQ(head.body, "");
  EXPECT_EQ(nlohmann::json::parse(fabric.journal().back())["answer"]["body"], "");
  EXPECT_NE(head.head.substr(head.head.find("ETag")), before.substr(before.find("ETag")));
  EXPECT_EQ(storage_request(fabric, "GET", kStatusUrl, "").body, "{\"version\":\"1.0\"}");
  Reply part = storage_request(fabric, "GET", kStatusUrl, "x-ms-range: bytes=2-8\r\n");
  EXPECT_EQ(part.status, 206);
  EXPECT_EQ(part.body, "version");
  EXPECT_EQ(refusal(storage_request(fabric, "GET", kStatusUrl, "Range: bytes=17-20\r\n")), "416 InvalidRange");
}

TEST(BlockBlob, IsMissingWhenTheScenarioMakesNone) {
  FabricProgram fabric(R"({"fabric":{"storage":{"blobs":[]}}})");
  Reply head = storage_request(fabric, "HEAD", kStatusUrl, kStorage);
  EXPECT_EQ(head.status, 404);
  EXPECT_THAT(head.head, HasSubstr("\r\nx-ms-error-code: BlobNotFound\r\n"));
  EXPECT_EQ(refusal(storage_request(fabric, "GET", kStatusUrl, "")), "404 BlobNotFound");
  EXPECT_EQ(last_violation(fabric), "(none)");
  EXPECT_EQ(put_block(fabric, "x").status, 201);
  EXPECT_EQ(storage_request(fabric, "HEAD", kStatusUrl, kStorage).status, 200);
}

TEST(BlockBlob, IsMadeAsTheScenarioTells) {
  FabricProgram fabric(R"({"fabric":{"storage":{"signatures":false,"hosts":["disk.example.invalid"],"blobs":[
    {"name":"status/kelvane.status","host":"storage.example.invalid","type":"PageBlob","size":1024},
    {"name":"c/b","text":"hello"}]}}})");
  Reply head = storage_request(fabric, "HEAD", kStatusUrl, kStorage);
  EXPECT_THAT(head.head, HasSubstr("x-ms-blob-type: PageBlob"));
  EXPECT_THAT(head.head, HasSubstr("Content-Length: 1024"));
  EXPECT_EQ(storage_request(fabric, "GET", "http://disk.example.invalid/c/b", "").body, "hello");
}

TEST(PageBlob, IsCreatedZeroFilledAndWrittenPageByPage) {
  FabricProgram fabric(kPageScenario);
  EXPECT_EQ(create_pages(fabric, "1024").status, 201);
  EXPECT_EQ(storage_request(fabric, "GET", kStatusUrl, "").body, std::string(1024, '\0'));
  EXPECT_EQ(put_pages(fabric, "bytes=512-1023", std::string(512, 'b')).status, 201);
  EXPECT_EQ(storage_request(fabric, "GET", kStatusUrl, "").body, std::string(512, '\0') + std::string(512, 'b'));
  EXPECT_EQ(put_pages(fabric, "bytes=0-511", std::string(512, 'a')).status, 201);
  EXPECT_EQ(storage_request(fabric, "GET", kStatusUrl, "").body, std::string(512, 'a') + std::string(512, 'b'));
  EXPECT_EQ(create_pages(fabric, "0").status, 201);
  EXPECT_THAT(storage_request(fabric, "HEAD", kStatusUrl, kStorage).head, HasSubstr("Content-Length: 0\r\n"));
}

TEST(PageBlob, TakesFourMebibytesInOneWriteAndNoMore) {
  FabricProgram fabric(kPageScenario);
  EXPECT_EQ(create_pages(fabric, "8388608").status, 201);
  EXPECT_EQ(put_pages(fabric, "bytes=0-4194303", std::string(4194304, 'a')).status, 201);
  EXPECT_EQ(refusal(put_pages(fabric, "bytes=0-4194815", std::string(4194816, 'a'))), "413 RequestBodyTooLarge");
}

TEST_F(Refusals, OfPageRanges) {
  const std::string page(512, 'a');
  EXPECT_EQ(refusal(put_pages(*pages, "bytes=1-512", page)), "416 InvalidPageRange");
  EXPECT_EQ(last_violation(*pages), "page range: expected whole pages of 512 bytes, came bytes 1 to 512");
  EXPECT_EQ(refusal(put_pages(*pages, "bytes=0-510", page)), "416 InvalidPageRange");
  EXPECT_EQ(refusal(put_pages(*pages, "bytes=1024-1535", page)), "416 InvalidPageRange");
  EXPECT_EQ(last_violation(*pages), "page range: expected pages of a blob of 1024 bytes, came bytes 1024 to 1535");
  EXPECT_EQ(refusal(put_pages(*pages, "bytes=0-1023", page)), "400 InvalidHeaderValue");
  EXPECT_EQ(last_violation(*pages), "header Content-Length: expected \"1024\", as the range says, came \"512\"");
  EXPECT_EQ(refusal(put_pages(*pages, "bytes 0-511", page)), "400 InvalidHeaderValue");
  EXPECT_EQ(refusal(put_pages(*pages, "bytes=511-0", page)), "400 InvalidHeaderValue");
  EXPECT_EQ(refusal(put_pages(*pages, "bytes=0-", page)), "400 InvalidHeaderValue");
}

TEST_F(Refusals, OfPageWritesWithoutTheirHeaders) {
  const std::string url = kStatusUrl + "&comp=page";
  const std::string page(512, 'a');
  Reply no_range = storage_request(*pages, "PUT", url, kStorage + "x-ms-page-write: update\r\n", page);
  EXPECT_EQ(refusal(no_range), "400 MissingRequiredHeader");
  EXPECT_THAT(no_range.body, HasSubstr("<HeaderName>x-ms-range</HeaderName>"));
  EXPECT_EQ(refusal(storage_request(*pages, "PUT", url, kStorage + "x-ms-range: bytes=0-511\r\n", page)),
            "400 MissingRequiredHeader");
  EXPECT_EQ(last_violation(*pages), "header x-ms-page-write: expected \"update\", came no such header");
  EXPECT_EQ(refusal(storage_request(*pages, "PUT", url,
                                    kStorage + "x-ms-page-write: clear\r\nx-ms-range: bytes=0-511\r\n", page)),
            "400 InvalidHeaderValue");
}

TEST_F(Refusals, OfTheWrongTypeOfBlob) {
  EXPECT_EQ(refusal(put_pages(*blocks, "bytes=0-511", std::string(512, 'a'))), "409 InvalidBlobType");
  EXPECT_EQ(refusal(put_block(*pages, "x")), "409 InvalidBlobType");
  EXPECT_EQ(last_violation(*pages), "blob type: expected PageBlob, which the blob is, came BlockBlob");
  EXPECT_EQ(refusal(create_pages(*blocks, "512")), "409 InvalidBlobType");
  EXPECT_EQ(refusal(storage_request(*blocks, "PUT", kStatusUrl, kStorage, "x")), "400 MissingRequiredHeader");
  EXPECT_EQ(refusal(storage_request(*blocks, "PUT", kStatusUrl, kStorage + "x-ms-blob-type: AppendBlob\r\n", "x")),
            "400 InvalidHeaderValue");
}

TEST_F(Refusals, OfPageBlobLengths) {
  EXPECT_EQ(refusal(create_pages(*pages, "1000")), "400 InvalidHeaderValue");
  EXPECT_EQ(refusal(create_pages(*pages, "-512")), "400 InvalidHeaderValue");
  EXPECT_EQ(refusal(storage_request(*pages, "PUT", kStatusUrl, kStorage + "x-ms-blob-type: PageBlob\r\n")),
            "400 MissingRequiredHeader");
  EXPECT_EQ(refusal(storage_request(*pages, "PUT", kStatusUrl,
                                    kStorage + "x-ms-blob-type: PageBlob\r\nx-ms-blob-content-length: 512\r\n",
                                    std::string(512, 'a'))),
            "400 InvalidHeaderValue");
  EXPECT_EQ(last_violation(*pages),
            "header Content-Length: expected \"0\": a page blob is created without a body, came \"512\"");
}

TEST_F(Refusals, OfDatesAndVersions) {
  auto head = [](const std::string &headers) { return storage_request(*blocks, "HEAD", kStatusUrl, headers).status; };
  EXPECT_EQ(head(kDate), 400);
  EXPECT_EQ(last_violation(*blocks), "header x-ms-version: expected \"2014-02-14\", came no such header");
  EXPECT_EQ(head(kDate + "x-ms-version: 2012-11-30\r\n"), 400);
  EXPECT_EQ(head("x-ms-version: 2014-02-14\r\n"), 400);
  EXPECT_EQ(last_violation(*blocks),
            "header x-ms-date: expected a UTC time like \"2026-01-31T12:00:00Z\", came no such header");
  for (const char *bad : {"2026-01-31 12:00:00", "2026-13-31T12:00:00Z", "2026-01-31T24:00:00Z", "now"})
    EXPECT_EQ(head("x-ms-version: 2014-02-14\r\nx-ms-date: " + std::string(bad) + "\r\n"), 400) << bad;
  EXPECT_EQ(head(kStorage), 200);
}

TEST_F(Refusals, OfAddressesThatAreNotSigned) {
  auto get = [](const std::string &from, const std::string &to) {
    return refusal(storage_request(*blocks, "GET", replaced(kStatusUrl, from, to), kStorage));
  };
  EXPECT_EQ(get("sv=2014-02-14&", ""), "403 AuthenticationFailed");
  EXPECT_EQ(get("&sig=ZmFicmlj", ""), "403 AuthenticationFailed");
  EXPECT_THAT(last_violation(*blocks), HasSubstr("query: expected a signed address with \"sig\", came"));
  EXPECT_EQ(get("&sp=rw", ""), "403 AuthenticationFailed");
  EXPECT_EQ(get("&se=2099-12-31T00%3A00%3A00Z", ""), "403 AuthenticationFailed");
  EXPECT_EQ(get("&sp=rw", "&sp=w"), "403 AuthorizationPermissionMismatch");
  // What an agent sends that left the entities of the document as they were.
  EXPECT_EQ(get("&sr=b&sig", "&amp;sr=b&amp;sig"), "403 AuthenticationFailed");
  EXPECT_EQ(get("ZmFicmlj", "b3RoZXI"), "403 AuthenticationFailed");
  EXPECT_THAT(last_violation(*blocks), HasSubstr("query: expected \"sv=2014-02-14&sr=b&sig=ZmFicmlj"));
}

TEST(SignedAddress, RunsOutAtTheAgentsTime) {
  const std::string url = "http://storage.example.invalid/s/b?sv=1&sig=x&sp=rw&se=2026-01-31T12:00:00Z";
  FabricProgram fabric(R"({"fabric":{"statusUploadBlob":{"url":")" + url + "\"}}}");
  const std::string version = "x-ms-version: 2014-02-14\r\n";
  EXPECT_EQ(storage_request(fabric, "HEAD", url, version + "x-ms-date: 2026-01-31T11:59:59Z\r\n").status, 200);
  EXPECT_EQ(storage_request(fabric, "HEAD", url, version + "x-ms-date: 2026-01-31T12:00:00Z\r\n").status, 403);
  EXPECT_EQ(
      last_violation(fabric),
      "query se: expected an address that has not run out at 2026-01-31T12:00:00Z, came \"2026-01-31T12:00:00Z\"");
}

TEST(SignedAddress, NeedNotBeSignedWhenTheScenarioSaysSo) {
  const std::string url = "http://storage.example.invalid/s/b";
  FabricProgram fabric(R"({"fabric":{"storage":{"signatures":false},"statusUploadBlob":{"type":"PageBlob","url":")" +
                       url + "\"}}}");
  EXPECT_EQ(create_pages(fabric, "512", url).status, 201);
  EXPECT_EQ(storage_request(fabric, "PUT", url + "?comp=page",
                            kStorage + "x-ms-page-write: update\r\nx-ms-range: bytes=0-511\r\n", std::string(512, 'a'))
                .status,
            201);
}

TEST_F(Refusals, OfOtherPlacesAndOperations) {
  const std::string query = kStatusUrl.substr(kStatusUrl.find('?'));
  const std::string host = "http://storage.example.invalid";
  EXPECT_EQ(refusal(storage_request(*blocks, "GET", host + "/status" + query, kStorage)), "400 InvalidUri");
  EXPECT_EQ(refusal(storage_request(*blocks, "GET", host + "/other/b" + query, kStorage)), "404 ContainerNotFound");
  EXPECT_EQ(refusal(storage_request(*blocks, "DELETE", kStatusUrl, kStorage)), "405 UnsupportedHttpVerb");
  EXPECT_EQ(refusal(storage_request(*blocks, "PUT", kStatusUrl + "&comp=block", kStorage, "x")),
            "400 InvalidQueryParameterValue");
  EXPECT_EQ(storage_request(*blocks, "GET", "http://elsewhere.invalid/a/b", kStorage).status, 502);
  EXPECT_EQ(refusal(blocks->exchange("PUT " + kStatusUrl + " HTTP/1.1\r\n" + kStorage +
                                     "x-ms-blob-type: BlockBlob\r\nConnection: close\r\n\r\n")),
            "411 MissingContentLengthHeader");
}

TEST(StorageFaults, AWriteWhoseAnswerIsLostDidNotHappen) {
  FabricProgram fabric(R"({"fabric":{"faults":[
    {"name":"forbidden","kind":"status","status":403,"method":"PUT","target":"http://storage.example.invalid/*"},
    {"name":"lost","kind":"close","method":"PUT","target":"http://storage.example.invalid/*","occurrence":2}]}})");
  EXPECT_EQ(put_block(fabric, "one").status, 403);
  EXPECT_EQ(put_block(fabric, "two").status, 0);
  EXPECT_EQ(storage_request(fabric, "GET", kStatusUrl, "").body, "");
  EXPECT_EQ(put_block(fabric, "three").status, 201);
  EXPECT_EQ(storage_request(fabric, "GET", kStatusUrl, "").body, "three");
}

TEST(StorageFaults, AHeaderIsReplacedOrLeftOut) {
  FabricProgram fabric(R"({"fabric":{"faults":[
    {"kind":"header","header":"X-MS-Blob-Type","value":"PageBlob","method":"HEAD"},
    {"kind":"header","header":"x-ms-blob-type","method":"HEAD","occurrence":2}]}})");
  Reply wrong = storage_request(fabric, "HEAD", kStatusUrl, kStorage);
  EXPECT_THAT(wrong.head, HasSubstr("\r\nX-MS-Blob-Type: PageBlob\r\n"));
  EXPECT_THAT(wrong.head, Not(HasSubstr("BlockBlob")));
  EXPECT_THAT(storage_request(fabric, "HEAD", kStatusUrl, kStorage).head, Not(HasSubstr("x-ms-blob-type")));
  EXPECT_THAT(storage_request(fabric, "HEAD", kStatusUrl, kStorage).head, HasSubstr("x-ms-blob-type: BlockBlob"));
}

TEST(StorageFaults, DyingBetweenTwoPagesLeavesTheFirst) {
  FabricProgram fabric(R"({"fabric":{"statusUploadBlob":{"type":"PageBlob"},"faults":[
    {"kind":"reset","method":"PUT","target":"*comp=page","occurrence":2}]},
    "expect":{"status":{"count":0,"incomplete":1}}})");
  create_pages(fabric, "1024");
  EXPECT_EQ(put_pages(fabric, "bytes=0-511", std::string(512, 'a')).status, 201);
  EXPECT_EQ(put_pages(fabric, "bytes=512-1023", std::string(512, 'b')).status, 0);
  EXPECT_EQ(storage_request(fabric, "GET", kStatusUrl, "").body, std::string(512, 'a') + std::string(512, '\0'));
  EXPECT_EQ(finding_of(fabric, "status documents"), "held");
  EXPECT_EQ(finding_of(fabric, "status, incomplete documents"), "held");
}

}  // namespace
}  // namespace kelvane::fabric_test
