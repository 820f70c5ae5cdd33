// The extension document and the handler records made of it.
#include "protocol/metadata/metadata_handlers.h"

#include "protocol/ext_handler_list.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/metadata/metadata_world.h"

using kelvane::ExtHandler;
using kelvane::ExtHandlerList;

namespace {

constexpr char kComplete[] = R"([{
  "name": "Torvik.Ext",
  "properties": {
    "version": "1.2.3.4",
    "state": "enabled",
    "upgradePolicy": "manual",
    "extensions": [{
      "name": "settings-name",
      "publicSettings": {"a": [1, "x"]},
      "protectedSettings": "MIIB",
      "certificateThumbprint": "AB12",
      "sequenceNumber": 7
    }, {
      "name": "second",
      "sequenceNumber": 8
    }]
  },
  "versionUris": [{"uri": "http://a.test/1"}, {"uri": "http://a.test/2"}],
  "runtimeSettings": "ignored",
  "upgradeGuid": "ignored"
}])";

constexpr char kNoMemory[] = "[kelvane]: no memory for the extensions document, no extension of it is handled\n";

std::string shown(const char *text) {
  return text != nullptr ? text : "(absent)";
}

class MetadataHandlersTest : public MetadataTest {
 protected:
  ~MetadataHandlersTest() override {
    kelvane::ExtHandlerListFree(&list_);
    spies::refuse_calloc_of = 0;
    spies::refuse_malloc = 0;
  }

  // Converts a document that is an array.
  void convert(const std::string &document) { kelvane::metadata_handlers_convert(parsed(document).get(), &list_); }
  // Converts one handler with these members.
  const ExtHandler &handler(const std::string &members) {
    convert("[{" + members + "}]");
    EXPECT_EQ(list_.count, 1);
    return list_.handlers[0];
  }
  const ExtHandler &with_properties(const std::string &members) { return handler("\"properties\":{" + members + "}"); }
  const ExtHandler &with_extension(const std::string &members) {
    return with_properties("\"extensions\":[{" + members + "}]");
  }

  ExtHandlerList list_ = {};
};

TEST_F(MetadataHandlersTest, ACompleteHandlerFillsItsRecord) {
  convert(kComplete);
  ASSERT_EQ(list_.count, 1);
  const ExtHandler &handler = list_.handlers[0];
  EXPECT_STREQ(handler.name, "Torvik.Ext");
  EXPECT_STREQ(handler.version, "1.2.3.4");
  EXPECT_EQ(handler.auto_upgrade, 1u);
  EXPECT_EQ(handler.upgrade_guid, nullptr);
  EXPECT_STREQ(handler.state, "enabled");
  EXPECT_STREQ(handler.settings_name, "settings-name");
  EXPECT_EQ(handler.sequence_number, 7);
  EXPECT_STREQ(handler.public_settings, "{ \"a\": [ 1, \"x\" ] }");
  EXPECT_STREQ(handler.protected_settings, "MIIB");
  EXPECT_STREQ(handler.protected_settings_thumbprint, "AB12");
  EXPECT_EQ(handler.runtime_settings, nullptr);
  EXPECT_EQ(handler.has_runtime_settings, 1u);
  EXPECT_EQ(handler.uri_count, 2);
  EXPECT_STREQ(handler.uris[0], "http://a.test/1");
  EXPECT_STREQ(handler.uris[1], "http://a.test/2");
  EXPECT_EQ(handler.uris[2], nullptr);
}

TEST_F(MetadataHandlersTest, EveryTraceIsLoggedAboveLevelSix) {
  recording::set_debug_level(6);
  convert(kComplete);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  convert(kComplete);
  EXPECT_EQ(recording::messages(),
            (Lines{
                "[kelvane]: __convertJSONtoExtHandler:623: name Torvik.Ext\n",
                "[kelvane]: __convertJSONtoExtHandler:648: extname 'settings-name'\n",
                "[kelvane]: __convertJSONtoExtHandler:650: publicSettings '{ \"a\": [ 1, \"x\" ] }'\n",
                "[kelvane]: __convertJSONtoExtHandler:652: protectedSettings 'MIIB'\n",
                "[kelvane]: __convertJSONtoExtHandler:655: sequenceNumber '7'\n",
            }));
}

TEST_F(MetadataHandlersTest, AHandlerWithoutMembersLogsItsAbsentNameOnly) {
  recording::set_debug_level(7);
  const ExtHandler &empty = handler("");
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: __convertJSONtoExtHandler:623: name \n"});
  EXPECT_EQ(empty.name, nullptr);
  EXPECT_STREQ(empty.version, "");
  EXPECT_EQ(empty.state, nullptr);
  EXPECT_EQ(empty.auto_upgrade, 0u);
  EXPECT_EQ(empty.has_runtime_settings, 0u);
  EXPECT_EQ(empty.uri_count, 0);
  recording::clear_trace();
  with_extension("");
  EXPECT_EQ(recording::messages(), (Lines{
                                       "[kelvane]: __convertJSONtoExtHandler:623: name \n",
                                       "[kelvane]: __convertJSONtoExtHandler:648: extname ''\n",
                                       "[kelvane]: __convertJSONtoExtHandler:650: publicSettings ''\n",
                                       "[kelvane]: __convertJSONtoExtHandler:652: protectedSettings ''\n",
                                       "[kelvane]: __convertJSONtoExtHandler:655: sequenceNumber '0'\n",
                                   }));
}

TEST_F(MetadataHandlersTest, WhatIsNoArrayGivesAnEmptyList) {
  convert(kComplete);
  for (const char *document : {"{}", "{\"0\":{}}", "7", "\"[{}]\"", "true", "[]"}) {
    convert(document);
    EXPECT_EQ(list_.handlers, nullptr) << document;
    EXPECT_EQ(list_.count, 0) << document;
  }
}

TEST_F(MetadataHandlersTest, AnElementThatIsNoObjectLeavesAZeroedRecordAndALine) {
  recording::set_debug_level(1);
  convert(R"([{"name": "first"}, 7, "text", null, [], {"name": "last"}])");
  ASSERT_EQ(list_.count, 6);
  EXPECT_STREQ(list_.handlers[0].name, "first");
  for (int i = 1; i < 5; i++) {
    const ExtHandler zeroed = {};
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&list_.handlers[i]), sizeof zeroed),
              std::string(reinterpret_cast<const char *>(&zeroed), sizeof zeroed))
        << i;
  }
  EXPECT_STREQ(list_.handlers[5].name, "last");
  EXPECT_EQ(recording::messages(), Lines(4, "[kelvane]: __convertJSONtoExtHandler:618: failed\n"));
  recording::clear_trace();
  recording::set_debug_level(0);
  convert("[7]");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(MetadataHandlersTest, TheListBeforeIsReplaced) {
  convert(kComplete);
  convert(R"([{"name":"a"},{"name":"b"}])");
  ASSERT_EQ(list_.count, 2);
  EXPECT_STREQ(list_.handlers[1].name, "b");
}

TEST_F(MetadataHandlersTest, OnlyAutoItselfLeavesTheUpgradeFlagOff) {
  const struct {
    const char *members;
    uint32_t flag;
  } cases[] = {
      {R"("upgradePolicy":"auto")", 0}, {R"("upgradePolicy":"manual")", 1}, {R"("upgradePolicy":"Auto")", 1},
      {R"("upgradePolicy":"AUTO")", 1}, {R"("upgradePolicy":"")", 1},       {R"("upgradePolicy":"auto ")", 1},
      {R"("upgradePolicy":"aut")", 1},  {R"("upgradePolicy":true)", 0},     {R"("upgradePolicy":7)", 0},
      {R"("upgradePolicy":null)", 0},   {R"("upgradePolicy":{})", 0},       {"", 0},
      {R"("upgradePolicy":["a"])", 0},
  };
  for (const auto &one : cases) {
    EXPECT_EQ(with_properties(one.members).auto_upgrade, one.flag) << one.members;
  }
}

TEST_F(MetadataHandlersTest, TheVersionIsAStringOfAtMost63Characters) {
  const std::string digits = std::string(63, '1');
  EXPECT_EQ(with_properties("\"version\":\"" + digits + "\"").version, digits);
  EXPECT_EQ(with_properties("\"version\":\"" + digits + "2\"").version, digits);
  EXPECT_EQ(with_properties("\"version\":\"" + std::string(5000, '3') + "\"").version, std::string(63, '3'));
  for (const char *value : {"1.2", "{}", "[\"1.2.3.4\"]", "null", "true"}) {
    EXPECT_STREQ(with_properties(std::string("\"version\":") + value).version, "") << value;
  }
}

TEST_F(MetadataHandlersTest, TextsOfOtherTypesAreTakenAsTheirJson) {
  const struct {
    const char *value;
    const char *text;
  } cases[] = {
      {"\"text\"", "text"}, {"\"\"", ""},          {"7", "7"},
      {"true", "true"},     {"[1,2]", "[ 1, 2 ]"}, {"{\"a\":null}", "{ \"a\": null }"},
      {"null", "(absent)"},
  };
  for (const auto &one : cases) {
    const std::string value = one.value;
    EXPECT_EQ(shown(handler("\"name\":" + value).name), one.text);
    EXPECT_EQ(shown(with_properties("\"state\":" + value).state), one.text);
    EXPECT_EQ(shown(with_extension("\"name\":" + value).settings_name), one.text);
    EXPECT_EQ(shown(with_extension("\"publicSettings\":" + value).public_settings), one.text);
    EXPECT_EQ(shown(with_extension("\"protectedSettings\":" + value).protected_settings), one.text);
    EXPECT_EQ(shown(with_extension("\"certificateThumbprint\":" + value).protected_settings_thumbprint), one.text);
    EXPECT_EQ(shown(handler("\"versionUris\":[{\"uri\":" + value + "}]").uris[0]), one.text);
  }
}

TEST_F(MetadataHandlersTest, TheSequenceNumberIsAnInteger) {
  const struct {
    const char *value;
    int32_t number;
  } cases[] = {
      {"0", 0},
      {"7", 7},
      {"-3", -3},
      {"2147483647", INT32_MAX},
      {"2147483648", INT32_MAX},
      {"-2147483649", INT32_MIN},
      {"99999999999999999999", INT32_MAX},
      {"\"7\"", 0},
      {"7.5", 0},
      {"true", 0},
      {"null", 0},
      {"[7]", 0},
      {"{}", 0},
  };
  for (const auto &one : cases) {
    EXPECT_EQ(with_extension(std::string("\"sequenceNumber\":") + one.value).sequence_number, one.number) << one.value;
  }
}

TEST_F(MetadataHandlersTest, RuntimeSettingsAreThereWithAnElementZero) {
  const struct {
    const char *members;
    uint32_t flag;
  } cases[] = {
      {R"("extensions":[{}])", 1},   {R"("extensions":[7])", 1},
      {R"("extensions":[null])", 1}, {R"("extensions":[])", 0},
      {R"("extensions":{})", 0},     {R"("extensions":"[{}]")", 0},
      {R"("extensions":null)", 0},   {"", 0},
  };
  for (const auto &one : cases) {
    EXPECT_EQ(with_properties(one.members).has_runtime_settings, one.flag) << one.members;
  }
}

TEST_F(MetadataHandlersTest, PropertiesOfAnotherTypeCountAsMissing) {
  for (const char *value : {"7", "[]", "null", "\"{}\"", "true"}) {
    const ExtHandler &made = handler(std::string("\"name\":\"n\",\"properties\":") + value);
    EXPECT_STREQ(made.name, "n");
    EXPECT_EQ(made.state, nullptr);
    EXPECT_EQ(made.has_runtime_settings, 0u);
  }
}

TEST_F(MetadataHandlersTest, AtMostFiveUrisAreTaken) {
  const ExtHandler &seven =
      handler(R"("versionUris":[{"uri":"1"},{"uri":"2"},{"uri":"3"},{"uri":"4"},{"uri":"5"},{"uri":"6"},{"uri":"7"}])");
  EXPECT_EQ(seven.uri_count, 5);
  EXPECT_STREQ(seven.uris[0], "1");
  EXPECT_STREQ(seven.uris[4], "5");
  std::string uris;
  for (int32_t count = 1; count <= 5; count++) {
    uris += (uris.empty() ? "" : ",") + ("{\"uri\":\"" + std::to_string(count) + "\"}");
    const ExtHandler &made = handler("\"versionUris\":[" + uris + "]");
    EXPECT_EQ(made.uri_count, count);
    EXPECT_EQ(shown(made.uris[count - 1]), std::to_string(count));
  }
}

TEST_F(MetadataHandlersTest, AnUriThatIsMissingLeavesItsPlaceEmpty) {
  const ExtHandler &made = handler(R"("versionUris":[null,{"uri":"2"},{},7,{"uri":null}])");
  EXPECT_EQ(made.uri_count, 5);
  EXPECT_EQ(made.uris[0], nullptr);
  EXPECT_STREQ(made.uris[1], "2");
  EXPECT_EQ(made.uris[2], nullptr);
  EXPECT_EQ(made.uris[3], nullptr);
  EXPECT_EQ(made.uris[4], nullptr);
  EXPECT_EQ(handler(R"("versionUris":{"uri":"1"})").uri_count, 0);
  EXPECT_EQ(handler(R"("versionUris":[])").uri_count, 0);
}

TEST_F(MetadataHandlersTest, WithoutMemoryForTheRecordsTheListIsEmpty) {
  convert(kComplete);
  recording::set_debug_level(8);
  spies::refuse_calloc_of = sizeof(ExtHandler);
  convert(kComplete);
  EXPECT_EQ(list_.handlers, nullptr);
  EXPECT_EQ(list_.count, 0);
  EXPECT_EQ(recording::messages(), Lines{kNoMemory});
}

TEST_F(MetadataHandlersTest, WithoutMemoryForAnyTextThereIsNoHandler) {
  recording::set_debug_level(1);
  const kelvane::JsonOwner document = parsed(kComplete);
  // Name, state, the extension's name, its settings of both kinds, the thumbprint, and two addresses.
  for (int nth = 1; nth <= 8; nth++) {
    recording::clear_trace();
    spies::refuse_malloc = nth;
    EXPECT_EQ(kelvane::metadata_handlers_convert(document.get(), &list_), -1) << nth;
    EXPECT_EQ(spies::refuse_malloc, 0) << nth;
    EXPECT_EQ(list_.handlers, nullptr) << nth;
    EXPECT_EQ(list_.count, 0) << nth;
    EXPECT_EQ(recording::messages(), Lines{kNoMemory}) << nth;
  }
  recording::clear_trace();
  spies::refuse_malloc = 8 + 1;
  EXPECT_EQ(kelvane::metadata_handlers_convert(document.get(), &list_), 0);
  EXPECT_EQ(spies::refuse_malloc, 1) << "none more than these";
  spies::refuse_malloc = 0;
  EXPECT_EQ(list_.count, 1);
  EXPECT_EQ(recording::messages(), Lines{});
}

}  // namespace
