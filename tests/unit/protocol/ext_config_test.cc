#include "protocol/wire/ext_config.h"

#include <climits>
#include <string>

#include "core/base/xml.h"
#include "protocol/ext_handler_list.h"
#include "tests/unit/protocol/allocation_spies.h"
#include "tests/unit/protocol/spies.h"

using kelvane::ExtConfig;
using kelvane::ExtHandler;
using kelvane::XmlOwner;

namespace {

class ExtConfigTest : public WireTest {
 protected:
  ~ExtConfigTest() override { kelvane::ext_config_release(&config_); }

  int32_t parse(const std::string &document) {
    const XmlOwner xml = kelvane::xml_load(document.data(), document.size());
    EXPECT_TRUE(xml.present()) << document.substr(0, 200);
    return xml.present() ? kelvane::ExtConfigParse(xml.get(), &config_) : -100;
  }

  // Parses what stands inside of "Extensions".
  int32_t parse_inside(const std::string &inside) { return parse("<Extensions>" + inside + "</Extensions>"); }

  // One plugin "A" of version "1.0" with these runtime settings elements.
  const ExtHandler &parse_runtime(const std::string &elements) {
    EXPECT_EQ(parse_inside("<Plugins><Plugin name=\"A\" version=\"1.0\"/></Plugins><PluginSettings><Plugin name=\"A\" "
                           "version=\"1.0\">" +
                           elements + "</Plugin></PluginSettings>"),
              0);
    EXPECT_EQ(config_.handlers.count, 1);
    return config_.handlers.handlers[0];
  }

  const ExtHandler &parse_json(const std::string &json) {
    return parse_runtime("<RuntimeSettings seqNo=\"1\">" + json + "</RuntimeSettings>");
  }

  const ExtHandler &handler(int32_t index) const { return config_.handlers.handlers[index]; }

  ExtConfig config_ = {};
};

std::string text(const char *value) {
  return value != nullptr ? value : "(absent)";
}

// The three settings of the first handler settings.
Lines settings(const ExtHandler &handler) {
  return {text(handler.protected_settings_thumbprint), text(handler.protected_settings), text(handler.public_settings)};
}

Lines names(const ExtConfig &config) {
  Lines all;
  for (int32_t i = 0; i < config.handlers.count; i++) {
    all.push_back(text(config.handlers.handlers[i].name));
  }
  return all;
}

constexpr const char kNoMemory[] =
    "[kelvane]: no memory for the extensions configuration, no extension of it is handled\n";

constexpr const char kWhole[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<Extensions version=\"1.0.0.0\" goalStateIncarnation=\"9\">\n"
    "  <GuestAgentExtension><GAFamilies/></GuestAgentExtension>\n"
    "  <Plugins>\n"
    "    <Plugin name=\"Some.Name.First\" version=\"1.2.3.4\" location=\"http://s/one.xml\" state=\"enabled\" "
    "autoUpgrade=\"true\" failoverlocation=\"http://f/one.xml\" runAsStartupTask=\"false\" isJson=\"true\" "
    "upgradeGuid=\"abc-1\"/>\n"
    "    <Plugin name=\"Some.Name.Second\" version=\"2.0\" state=\"disabled\"/>\n"
    "  </Plugins>\n"
    "  <PluginSettings>\n"
    "    <Plugin name=\"Some.Name.First\" version=\"1.2.3.4\">\n"
    "      <RuntimeSettings seqNo=\"5\">{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": "
    "{\"a\": \"b c\"}, \"protectedSettings\": \"MIIB\", \"protectedSettingsCertThumbprint\": \"ABCD\"}}]}"
    "</RuntimeSettings>\n"
    "    </Plugin>\n"
    "  </PluginSettings>\n"
    "  <StatusUploadBlob statusBlobType=\"BlockBlob\">http://s/status?a=1&amp;amp;b=2</StatusUploadBlob>\n"
    "</Extensions>\n";

// ---- the whole ----

TEST_F(ExtConfigTest, AWholeDocument) {
  EXPECT_EQ(parse(kWhole), 0);
  EXPECT_EQ(config_.page_blob, 0u);
  EXPECT_STREQ(config_.status_upload_url.get(), "http://s/status?a=1&b=2");
  EXPECT_EQ(config_.incarnation, 9);
  ASSERT_EQ(config_.handlers.count, 2);
  const ExtHandler &first = handler(0);
  EXPECT_EQ(text(first.name), "Some.Name.First");
  EXPECT_STREQ(first.version, "1.2.3.4");
  EXPECT_EQ(first.auto_upgrade, 1u);
  EXPECT_EQ(text(first.upgrade_guid), "abc-1");
  EXPECT_EQ(text(first.state), "enabled");
  EXPECT_EQ(text(first.settings_name), "Some.Name.First");
  EXPECT_EQ(first.sequence_number, 5);
  EXPECT_EQ(settings(first), (Lines{"ABCD", "MIIB", "{ \"a\": \"b c\" }"}));
  EXPECT_EQ(text(first.runtime_settings),
            "{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": {\"a\": \"b c\"}, "
            "\"protectedSettings\": \"MIIB\", \"protectedSettingsCertThumbprint\": \"ABCD\"}}]}");
  EXPECT_EQ(first.has_runtime_settings, 1u);
  EXPECT_EQ(first.uri_count, 2);
  EXPECT_EQ(text(first.uris[0]), "http://s/one.xml");
  EXPECT_EQ(text(first.uris[1]), "http://f/one.xml");
  const ExtHandler &second = handler(1);
  EXPECT_EQ(text(second.name), "Some.Name.Second");
  EXPECT_STREQ(second.version, "2.0");
  EXPECT_EQ(second.auto_upgrade, 0u);
  EXPECT_EQ(text(second.state), "disabled");
  for (const char *absent : {second.upgrade_guid, second.settings_name, second.runtime_settings, second.uris[0]}) {
    EXPECT_EQ(text(absent), "(absent)");
  }
  EXPECT_EQ(settings(second), (Lines{"(absent)", "(absent)", "(absent)"}));
  EXPECT_EQ(second.has_runtime_settings, 0u);
  EXPECT_EQ(second.sequence_number, 0);
  EXPECT_EQ(second.uri_count, 0);
}

// ---- Extensions ----

TEST_F(ExtConfigTest, WithoutExtensionsThePreviousConfigurationStays) {
  parse(kWhole);
  config_.page_blob = 1;
  recording::set_debug_level(0);
  EXPECT_EQ(parse("<Other><Plugins/></Other>"), -1);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(1);
  EXPECT_EQ(parse("<?xml version=\"1.0\"?><Other><Plugins/></Other>"), -1);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: No extensions\n"});
  EXPECT_EQ(config_.page_blob, 1u);
  EXPECT_EQ(config_.incarnation, 9);
  EXPECT_STREQ(config_.status_upload_url.get(), "http://s/status?a=1&b=2");
  EXPECT_EQ(names(config_), (Lines{"Some.Name.First", "Some.Name.Second"}));
}

TEST_F(ExtConfigTest, ExtensionsIsFoundAsTheRootAndDeepInside) {
  EXPECT_EQ(parse("<Extensions goalStateIncarnation=\"1\"/>"), 0);
  EXPECT_EQ(config_.incarnation, 1);
  EXPECT_EQ(parse("<?xml version=\"1.0\"?><Extensions goalStateIncarnation=\"2\"/>"), 0);
  EXPECT_EQ(config_.incarnation, 2);
  EXPECT_EQ(parse("<a><b><Extensions goalStateIncarnation=\"3\"/></b></a>"), 0);
  EXPECT_EQ(config_.incarnation, 3);
}

TEST_F(ExtConfigTest, OfSeveralExtensionsTheFirstTellsTheIncarnation) {
  EXPECT_EQ(parse("<All><Extensions goalStateIncarnation=\"4\"/><Extensions goalStateIncarnation=\"5\"/></All>"), 0);
  EXPECT_EQ(config_.incarnation, 4);
}

TEST_F(ExtConfigTest, OfSeveralStatusBlobsTheFirstCounts) {
  EXPECT_EQ(parse_inside("<StatusUploadBlob statusBlobType=\"PageBlob\">http://s/1</StatusUploadBlob>"
                         "<StatusUploadBlob statusBlobType=\"BlockBlob\">http://s/2</StatusUploadBlob>"),
            0);
  EXPECT_EQ(config_.page_blob, 1u);
  EXPECT_STREQ(config_.status_upload_url.get(), "http://s/1");
}

TEST_F(ExtConfigTest, AFirstStatusBlobWithoutAnAddressIsNotMadeUpForByTheSecond) {
  EXPECT_EQ(parse_inside("<StatusUploadBlob/><StatusUploadBlob>http://s/2</StatusUploadBlob>"), 0);
  EXPECT_FALSE(config_.status_upload_url.present());
}

TEST_F(ExtConfigTest, OfSeveralPluginsElementsTheFirstCounts) {
  EXPECT_EQ(parse_inside("<Plugins><Plugin name=\"A\" version=\"1.0\"/></Plugins>"
                         "<Plugins><Plugin name=\"B\" version=\"1.0\"/></Plugins>"),
            0);
  EXPECT_EQ(names(config_), Lines{"A"});
}

TEST_F(ExtConfigTest, OfSeveralPluginSettingsTheFirstCounts) {
  EXPECT_EQ(parse_inside("<Plugins><Plugin name=\"A\" version=\"1.0\"/><Plugin name=\"B\" version=\"1.0\"/></Plugins>"
                         "<PluginSettings><Plugin name=\"A\" version=\"1.0\"><RuntimeSettings seqNo=\"1\"/></Plugin>"
                         "</PluginSettings>"
                         "<PluginSettings><Plugin name=\"A\" version=\"1.0\"><RuntimeSettings seqNo=\"2\"/></Plugin>"
                         "<Plugin name=\"B\" version=\"1.0\"><RuntimeSettings seqNo=\"3\"/></Plugin></PluginSettings>"),
            0);
  EXPECT_EQ(handler(0).sequence_number, 1);
  EXPECT_EQ(handler(1).has_runtime_settings, 0u);
}

TEST_F(ExtConfigTest, AnEmptyConfigurationReleasesUrlAndHandlersButNothingElse) {
  parse(kWhole);
  config_.page_blob = 1;
  EXPECT_EQ(parse("<Extensions/>"), 0);
  EXPECT_FALSE(config_.status_upload_url.present());
  EXPECT_EQ(config_.handlers.handlers, nullptr);
  EXPECT_EQ(config_.handlers.count, 0);
  EXPECT_EQ(config_.incarnation, 9);
  EXPECT_EQ(config_.page_blob, 1u);
}

TEST_F(ExtConfigTest, TheIncarnationIsDecimalAndClamped) {
  const struct {
    const char *written;
    int32_t value;
  } cases[] = {{"0", 0},
               {"12", 12},
               {" 7", 7},
               {"-3", -3},
               {"12abc", 12},
               {"abc", 0},
               {"", 0},
               {"0x10", 0},
               {"2147483647", INT_MAX},
               {"2147483648", INT_MAX},
               {"-2147483649", INT_MIN},
               {"99999999999999999999999", INT_MAX},
               {"-99999999999999999999999", INT_MIN}};
  for (const auto &one : cases) {
    parse("<Extensions goalStateIncarnation=\"" + std::string(one.written) + "\"/>");
    EXPECT_EQ(config_.incarnation, one.value) << one.written;
  }
}

// ---- StatusUploadBlob ----

TEST_F(ExtConfigTest, OnlyPageBlobExactlyIsAPageBlob) {
  const struct {
    const char *type;
    uint32_t flag;
  } cases[] = {{"PageBlob", 1}, {"BlockBlob", 0}, {"pageblob", 0}, {"PageBlob ", 0}, {"PageBlobs", 0}, {"", 0}};
  for (const auto &one : cases) {
    config_.page_blob = 7;
    parse_inside("<StatusUploadBlob statusBlobType=\"" + std::string(one.type) + "\">u</StatusUploadBlob>");
    EXPECT_EQ(config_.page_blob, one.flag) << one.type;
  }
}

TEST_F(ExtConfigTest, AStatusBlobWithoutATypeIsABlockBlob) {
  config_.page_blob = 1;
  parse_inside("<StatusUploadBlob>http://s/x</StatusUploadBlob>");
  EXPECT_EQ(config_.page_blob, 0u);
  EXPECT_STREQ(config_.status_upload_url.get(), "http://s/x");
}

TEST_F(ExtConfigTest, TheBlobTypeIsLoggedAboveLevelSix) {
  recording::set_debug_level(7);
  parse_inside("<StatusUploadBlob statusBlobType=\"PageBlob\">u</StatusUploadBlob>");
  parse_inside("<StatusUploadBlob>u</StatusUploadBlob>");
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: statusBlobType: PageBlob\n", "[kelvane]: No plugins element\n",
                                          "[kelvane]: No plugins element\n"}));
  recording::clear_trace();
  recording::set_debug_level(6);
  parse_inside("<StatusUploadBlob statusBlobType=\"PageBlob\">u</StatusUploadBlob>");
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: No plugins element\n"});
}

TEST_F(ExtConfigTest, EachEscapedAmpersandOfTheUrlBecomesASingleOne) {
  const struct {
    const char *written;
    const char *stored;
  } cases[] = {
      {"http://s/a?x=1&amp;amp;y=2&amp;amp;z=3", "http://s/a?x=1&y=2&z=3"},
      {"http://s/a?x=1&amp;y=2", "http://s/a?x=1&y=2"},
      {"&amp;amp;", "&"},
      {"&amp;amp;&amp;amp;", "&&"},
      {"a&amp;amp;amp;b", "a&amp;b"},  // one pass
      {"a&amp;lt;b&amp;gt;c&amp;quot;", "a&lt;b&gt;c&quot;"},
      {"a&amp;amp", "a&amp"},
      {"a&amp;", "a&"},
      {"a&amp;AMP;b", "a&AMP;b"},
  };
  for (const auto &one : cases) {
    parse_inside("<StatusUploadBlob>" + std::string(one.written) + "</StatusUploadBlob>");
    EXPECT_EQ(text(config_.status_upload_url.get()), one.stored) << one.written;
  }
}

TEST_F(ExtConfigTest, AStatusBlobWithoutTextLeavesNoUrl) {
  parse(kWhole);
  parse_inside("<StatusUploadBlob statusBlobType=\"PageBlob\"/>");
  EXPECT_EQ(text(config_.status_upload_url.get()), "(absent)");
  EXPECT_EQ(config_.page_blob, 1u);
}

// ---- Plugins ----

TEST_F(ExtConfigTest, WithoutPluginsTheParseEndsWithALine) {
  recording::set_debug_level(4);
  EXPECT_EQ(parse_inside("<PluginSettings/>"), 0);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(5);
  EXPECT_EQ(parse_inside("<PluginSettings/>"), 0);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: No plugins element\n"});
}

TEST_F(ExtConfigTest, WithoutAPluginRuntimeSettingsAreNotRead) {
  recording::set_debug_level(4);
  EXPECT_EQ(parse_inside("<Plugins/>"), 0);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(5);
  EXPECT_EQ(parse_inside("<Plugins> <plugin name=\"a\"/><Plugins/><x><Plugin/></x></Plugins>"), 0);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: No plugins\n"});
  EXPECT_EQ(config_.handlers.handlers, nullptr);
  EXPECT_EQ(config_.handlers.count, 0);
}

TEST_F(ExtConfigTest, OnlyDirectChildrenNamedPluginCountInDocumentOrder) {
  parse_inside(
      "<Plugins>\n<Plugin name=\"c\"/>text<Other><Plugin name=\"x\"/></Other><Plugin name=\"a\"><Plugin "
      "name=\"y\"/></Plugin><!-- --><PLUGIN name=\"z\"/><Plugin name=\"b\"/>\n</Plugins>");
  EXPECT_EQ(names(config_), (Lines{"c", "a", "b"}));
}

TEST_F(ExtConfigTest, APluginWithoutAttributesIsARecordOfAbsentTexts) {
  parse_inside("<Plugins><Plugin/></Plugins>");
  ASSERT_EQ(config_.handlers.count, 1);
  EXPECT_EQ(text(handler(0).name), "(absent)");
  EXPECT_STREQ(handler(0).version, "");
  EXPECT_EQ(text(handler(0).state), "(absent)");
}

TEST_F(ExtConfigTest, TheStateIsKeptAsItIsSent) {
  parse_inside("<Plugins><Plugin name=\"a\" state=\"EnAbLeD \"/></Plugins>");
  EXPECT_EQ(text(handler(0).state), "EnAbLeD ");
}

TEST_F(ExtConfigTest, AutoUpgradeIsTrueInAnyLetterCaseAndNothingElse) {
  const struct {
    const char *written;
    uint32_t flag;
  } cases[] = {{"true", 1}, {"TRUE", 1}, {"True", 1},  {"tRuE", 1}, {"false", 0},
               {"1", 0},    {"yes", 0},  {"true ", 0}, {"", 0},     {"truest", 0}};
  for (const auto &one : cases) {
    parse_inside("<Plugins><Plugin name=\"a\" autoUpgrade=\"" + std::string(one.written) + "\"/></Plugins>");
    EXPECT_EQ(handler(0).auto_upgrade, one.flag) << one.written;
  }
}

TEST_F(ExtConfigTest, AVersionIsCutTo63Characters) {
  const std::string digits = "1234567890123456789012345678901234567890123456789012345678901234567890";
  ASSERT_EQ(digits.size(), 70u);
  parse_inside("<Plugins><Plugin name=\"a\" version=\"" + digits + "\"/><Plugin name=\"b\" version=\"" +
               digits.substr(0, 63) + "\"/><Plugin name=\"c\" version=\"" + digits.substr(0, 64) +
               "\"/></Plugins><PluginSettings><Plugin name=\"a\" version=\"" + digits +
               "\"><RuntimeSettings>x</RuntimeSettings></Plugin></PluginSettings>");
  EXPECT_STREQ(handler(0).version, "123456789012345678901234567890123456789012345678901234567890123");
  EXPECT_STREQ(handler(1).version, handler(0).version);
  EXPECT_STREQ(handler(2).version, handler(0).version);
  EXPECT_EQ(handler(0).has_runtime_settings, 0u) << "the whole version is compared, which the cut one never equals";
}

TEST_F(ExtConfigTest, AVersionIsNotCutInsideACharacter) {
  parse_inside("<Plugins><Plugin name=\"a\" version=\"" + std::string(62, '1') + "\xC3\xA4\"/></Plugins>");
  EXPECT_EQ(std::string(handler(0).version), std::string(62, '1'));
}

TEST_F(ExtConfigTest, TheLocationComesBeforeTheFailoverLocationWhateverTheirOrder) {
  parse_inside(
      "<Plugins><Plugin failoverlocation=\"f\" location=\"l\"/><Plugin failoverlocation=\"only\"/><Plugin "
      "location=\"l2\"/></Plugins>");
  EXPECT_EQ(handler(0).uri_count, 2);
  EXPECT_EQ(text(handler(0).uris[0]), "l");
  EXPECT_EQ(text(handler(0).uris[1]), "f");
  EXPECT_EQ(handler(1).uri_count, 1);
  EXPECT_EQ(text(handler(1).uris[0]), "only");
  EXPECT_EQ(handler(2).uri_count, 1);
  EXPECT_EQ(text(handler(2).uris[0]), "l2");
  EXPECT_EQ(text(handler(2).uris[1]), "(absent)");
}

TEST_F(ExtConfigTest, FourHundredPluginsAndDuplicatesAreAllKept) {
  std::string plugins;
  std::string entries;
  Lines expected;
  for (int i = 0; i < 400; i++) {
    const std::string name = "Plugin" + std::to_string(i / 2);
    plugins += "<Plugin name=\"" + name + "\" version=\"1.0\" state=\"enabled\"/>";
    entries += "<Plugin name=\"" + name + "\" version=\"1.0\"><RuntimeSettings seqNo=\"" + std::to_string(i) +
               "\">{}</RuntimeSettings></Plugin>";
    expected.push_back(name);
  }
  parse_inside("<Plugins>" + plugins + "</Plugins><PluginSettings>" + entries + "</PluginSettings>");
  EXPECT_EQ(names(config_), expected);
  for (int32_t i = 0; i < 400; i += 2) {
    EXPECT_EQ(handler(i).sequence_number, i + 1) << "of two equal handlers the first takes both entries, the last wins";
    EXPECT_EQ(handler(i + 1).has_runtime_settings, 0u);
  }
}

TEST_F(ExtConfigTest, WithoutMemoryForTheRecordsTheListIsEmptyAndRuntimeSettingsAreSkipped) {
  recording::set_debug_level(6);
  spies::refuse_calloc_of = sizeof(ExtHandler);
  EXPECT_EQ(parse_inside("<StatusUploadBlob>u</StatusUploadBlob><Plugins><Plugin name=\"a\"/></Plugins>"), 0);
  spies::refuse_calloc_of = 0;
  EXPECT_EQ(config_.handlers.handlers, nullptr);
  EXPECT_EQ(config_.handlers.count, 0);
  EXPECT_EQ(config_.incomplete, 1u);
  EXPECT_EQ(text(config_.status_upload_url.get()), "u");
  EXPECT_EQ(recording::messages(), Lines{kNoMemory});
}

TEST_F(ExtConfigTest, WithoutMemoryForAnyTextOfTheHandlersThereIsNone) {
  recording::set_debug_level(1);
  const XmlOwner xml = kelvane::xml_load(kWhole, sizeof kWhole - 1);
  ASSERT_TRUE(xml.present());
  // After the address of the status blob: the first plugin has a name, a state, an identifier and two addresses, the
  // second a name and a state; then the runtime settings as a whole, the three in them, and the name of their entry.
  for (int nth = 2; nth <= 1 + 5 + 2 + 5; nth++) {
    recording::clear_trace();
    spies::refuse_malloc = nth;
    EXPECT_EQ(kelvane::ExtConfigParse(xml.get(), &config_), 0);
    EXPECT_EQ(spies::refuse_malloc, 0) << nth;
    EXPECT_EQ(config_.handlers.handlers, nullptr) << nth;
    EXPECT_EQ(config_.handlers.count, 0) << nth;
    EXPECT_EQ(config_.incomplete, 1u) << nth;
    EXPECT_EQ(config_.incarnation, 9) << nth;
    EXPECT_EQ(recording::messages(), Lines{kNoMemory}) << nth;
  }
  recording::clear_trace();
  spies::refuse_malloc = 1 + 5 + 2 + 5 + 1;
  EXPECT_EQ(kelvane::ExtConfigParse(xml.get(), &config_), 0);
  EXPECT_EQ(spies::refuse_malloc, 1) << "none more than these";
  spies::refuse_malloc = 0;
  EXPECT_EQ(config_.incomplete, 0u);
  EXPECT_EQ(names(config_), (Lines{"Some.Name.First", "Some.Name.Second"}));
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(ExtConfigTest, WithoutMemoryToReadTheRuntimeSettingsThereIsNoHandler) {
  recording::set_debug_level(1);
  const std::string inside =
      "<Plugins><Plugin name=\"A\" version=\"1.0\"/></Plugins><PluginSettings><Plugin name=\"A\" version=\"1.0\">"
      "<RuntimeSettings seqNo=\"1\">{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": \"one\"}}]}"
      "</RuntimeSettings></Plugin></PluginSettings>";
  spies::spies().refuse_json_parse = 1;
  EXPECT_EQ(parse_inside(inside), 0);
  EXPECT_EQ(spies::spies().refuse_json_parse, 0);
  EXPECT_EQ(config_.handlers.count, 0);
  EXPECT_EQ(config_.incomplete, 1u);
  EXPECT_EQ(recording::messages(), Lines{kNoMemory});
  EXPECT_EQ(parse_inside(inside), 0);
  EXPECT_EQ(settings(handler(0)), (Lines{"(absent)", "(absent)", "one"}));
  EXPECT_EQ(config_.incomplete, 0u);
}

TEST_F(ExtConfigTest, RuntimeSettingsThatAreNullAreComplete) {
  EXPECT_EQ(text(parse_json("null").runtime_settings), "null");
  EXPECT_EQ(config_.incomplete, 0u);
}

TEST_F(ExtConfigTest, WithoutMemoryForTheStatusUploadAddressTheHandlersAreThereAndTheDocumentIsWantedAgain) {
  recording::set_debug_level(1);
  spies::refuse_malloc = 1;
  EXPECT_EQ(parse_inside("<StatusUploadBlob>u</StatusUploadBlob><Plugins><Plugin name=\"a\"/></Plugins>"), 0);
  EXPECT_EQ(spies::refuse_malloc, 0);
  EXPECT_FALSE(config_.status_upload_url.present());
  EXPECT_EQ(names(config_), Lines{"a"});
  EXPECT_EQ(config_.incomplete, 1u);
  EXPECT_EQ(recording::messages(),
            Lines{"[kelvane]: no memory for the status blob's address, no status is uploaded\n"});
  EXPECT_EQ(parse_inside("<StatusUploadBlob/><Plugins><Plugin name=\"a\"/></Plugins>"), 0);
  EXPECT_EQ(config_.incomplete, 0u) << "no address is announced";
}

TEST_F(ExtConfigTest, TheStatusUploadAddressIsLostInSilenceAtLevelZero) {
  spies::refuse_malloc = 1;
  EXPECT_EQ(parse_inside("<StatusUploadBlob>u</StatusUploadBlob><Plugins><Plugin name=\"a\"/></Plugins>"), 0);
  EXPECT_EQ(config_.incomplete, 1u);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(ExtConfigTest, AReleasedConfigurationLacksNothing) {
  config_.incomplete = 1;
  kelvane::ext_config_release(&config_);
  EXPECT_EQ(config_.incomplete, 0u);
}

// ---- PluginSettings ----

TEST_F(ExtConfigTest, WithoutPluginSettingsTheHandlersAreKeptAndALinePrints) {
  recording::set_debug_level(4);
  EXPECT_EQ(parse_inside("<Plugins><Plugin name=\"a\"/></Plugins>"), 0);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(5);
  EXPECT_EQ(parse_inside("<Plugins><Plugin name=\"a\"/></Plugins>"), 0);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: No pluginsettings - probaly uninstall\n"});
  EXPECT_EQ(names(config_), Lines{"a"});
}

TEST_F(ExtConfigTest, AHandlerWithoutANameIsNoEntrys) {
  EXPECT_EQ(parse_inside("<Plugins><Plugin version=\"1.0\"/><Plugin name=\"A\" version=\"1.0\"/></Plugins>"
                         "<PluginSettings><Plugin name=\"A\" version=\"1.0\"><RuntimeSettings seqNo=\"7\">{}"
                         "</RuntimeSettings></Plugin></PluginSettings>"),
            0);
  EXPECT_EQ(names(config_), (Lines{"(absent)", "A"}));
  EXPECT_EQ(handler(0).has_runtime_settings, 0u);
  EXPECT_EQ(handler(1).sequence_number, 7);
}

TEST_F(ExtConfigTest, AnEntryMustMatchNameAndVersionExactly) {
  for (const char *entry :
       {"name=\"A\" version=\"1.1\"", "name=\"a\" version=\"1.0\"", "name=\"A\" version=\"1.0 \"", "name=\"A\"",
        "version=\"1.0\"", "name=\"A.B\" version=\"1.0\"", "name=\"\" version=\"1.0\"", ""}) {
    parse_inside("<Plugins><Plugin name=\"A\" version=\"1.0\"/></Plugins><PluginSettings><Plugin " +
                 std::string(entry) + "><RuntimeSettings seqNo=\"1\">x</RuntimeSettings></Plugin></PluginSettings>");
    EXPECT_EQ(handler(0).has_runtime_settings, 0u) << entry;
    EXPECT_EQ(text(handler(0).runtime_settings), "(absent)") << entry;
  }
}

TEST_F(ExtConfigTest, OnlyDirectChildrenAreEntriesAndRuntimeSettings) {
  parse_inside(
      "<Plugins><Plugin name=\"A\" version=\"1.0\"/></Plugins><PluginSettings><x><Plugin name=\"A\" version=\"1.0\">"
      "<RuntimeSettings>1</RuntimeSettings></Plugin></x><plugin name=\"A\" version=\"1.0\"><RuntimeSettings>2"
      "</RuntimeSettings></plugin><Plugin name=\"A\" version=\"1.0\"><x><RuntimeSettings>3</RuntimeSettings></x>"
      "<runtimeSettings>4</runtimeSettings></Plugin></PluginSettings>");
  EXPECT_EQ(handler(0).has_runtime_settings, 0u);
}

TEST_F(ExtConfigTest, TheLastRuntimeSettingsWin) {
  const ExtHandler &last = parse_runtime(
      "<RuntimeSettings seqNo=\"1\">{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": \"one\", "
      "\"protectedSettings\": \"p\"}}]}</RuntimeSettings>\n<RuntimeSettings seqNo=\"2\">{\"runtimeSettings\": "
      "[{\"handlerSettings\": {\"publicSettings\": \"two\"}}]}</RuntimeSettings>");
  EXPECT_EQ(last.sequence_number, 2);
  EXPECT_EQ(settings(last), (Lines{"(absent)", "(absent)", "two"}));
  EXPECT_EQ(text(last.runtime_settings),
            "{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": \"two\"}}]}");
}

TEST_F(ExtConfigTest, WhatTheLastRuntimeSettingsLackIsKeptFromTheOneBeforeButTheText) {
  const ExtHandler &last = parse_runtime(
      "<RuntimeSettings seqNo=\"4\">{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": \"one\"}}]}"
      "</RuntimeSettings><RuntimeSettings/>");
  EXPECT_EQ(last.sequence_number, 4);
  EXPECT_EQ(text(last.runtime_settings), "(absent)");
  EXPECT_EQ(settings(last), (Lines{"(absent)", "(absent)", "one"}));
  EXPECT_EQ(last.has_runtime_settings, 1u);
  EXPECT_EQ(text(last.settings_name), "A");
}

TEST_F(ExtConfigTest, TheSequenceNumberIsDecimalAndClamped) {
  EXPECT_EQ(parse_runtime("<RuntimeSettings seqNo=\"17\">x</RuntimeSettings>").sequence_number, 17);
  EXPECT_EQ(parse_runtime("<RuntimeSettings>x</RuntimeSettings>").sequence_number, 0);
  EXPECT_EQ(parse_runtime("<RuntimeSettings seqNo=\"99999999999\">x</RuntimeSettings>").sequence_number, INT_MAX);
  EXPECT_EQ(parse_runtime("<RuntimeSettings seqNo=\"-99999999999\">x</RuntimeSettings>").sequence_number, INT_MIN);
  EXPECT_EQ(parse_runtime("<RuntimeSettings seqNo=\"x\">x</RuntimeSettings>").sequence_number, 0);
}

// ---- handler settings ----

TEST_F(ExtConfigTest, AMemberThatIsNoTextIsKeptAsItsJsonText) {
  const ExtHandler &handler = parse_json(
      "{\"runtimeSettings\": [{\"handlerSettings\": {\"protectedSettings\": {\"a\":1,\"b\":[true,null]}, "
      "\"publicSettings\": 42, \"protectedSettingsCertThumbprint\": [\"x\"]}}]}");
  EXPECT_EQ(settings(handler), (Lines{"[ \"x\" ]", "{ \"a\": 1, \"b\": [ true, null ] }", "42"}));
}

TEST_F(ExtConfigTest, AMissingOrNullMemberIsAbsent) {
  EXPECT_EQ(settings(parse_json("{\"runtimeSettings\": [{\"handlerSettings\": {}}]}")),
            (Lines{"(absent)", "(absent)", "(absent)"}));
  EXPECT_EQ(settings(parse_json("{\"runtimeSettings\": [{\"handlerSettings\": {\"protectedSettings\": null, "
                                "\"publicSettings\": \"\"}}]}")),
            (Lines{"(absent)", "(absent)", ""}));
}

TEST_F(ExtConfigTest, OnlyTheFirstElementCounts) {
  EXPECT_EQ(settings(parse_json("{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": \"1\"}}, "
                                "{\"handlerSettings\": {\"publicSettings\": \"2\"}}]}")),
            (Lines{"(absent)", "(absent)", "1"}));
}

TEST_F(ExtConfigTest, ADocumentOfAnotherShapeChangesNothingAndKeepsTheText) {
  const std::string good =
      "<RuntimeSettings>{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": "
      "\"kept\"}}]}</RuntimeSettings>";
  for (const std::string &other : {
           std::string("not JSON"),
           std::string("{"),
           std::string("{\"runtimeSettings\": ["),
           std::string("[]"),
           std::string("[{\"handlerSettings\": {\"publicSettings\": \"x\"}}]"),
           std::string("null"),
           std::string("7"),
           std::string("\"text\""),
           std::string("{}"),
           std::string("{\"runtimeSettings\": {}}"),
           std::string("{\"runtimeSettings\": []}"),
           std::string("{\"runtimeSettings\": null}"),
           std::string("{\"runtimeSettings\": [7]}"),
           std::string("{\"runtimeSettings\": [[]]}"),
           std::string("{\"runtimeSettings\": [null]}"),
           std::string("{\"runtimeSettings\": [{}]}"),
           std::string("{\"runtimeSettings\": [{\"handlerSettings\": []}]}"),
           std::string("{\"runtimeSettings\": [{\"handlerSettings\": \"x\"}]}"),
           std::string("{\"runtimeSettings\": [{\"handlerSettings\": null}]}"),
           std::string("{\"RuntimeSettings\": [{\"handlerSettings\": {\"publicSettings\": \"x\"}}]}"),
           std::string(100000, '['),
           std::string("{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": ") + std::string(40, '[') +
               std::string(40, ']') + "}}]}",
       }) {
    const ExtHandler &handler = parse_runtime(good + "<RuntimeSettings>" + other + "</RuntimeSettings>");
    EXPECT_EQ(settings(handler), (Lines{"(absent)", "(absent)", "kept"})) << other.substr(0, 80);
    EXPECT_EQ(text(handler.runtime_settings), other);
  }
}

TEST_F(ExtConfigTest, AMegabyteOfSettingsIsTaken) {
  const std::string script(1048576, 'c');
  EXPECT_EQ(settings(parse_json("{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": \"" + script +
                                "\"}}]}"))[2],
            script);
}

TEST_F(ExtConfigTest, AMegabyteOfTinyValuesIsNoJson) {
  std::string values = "[";
  while (values.size() < 1048576) {
    values += "{},";
  }
  EXPECT_EQ(
      settings(parse_json("{\"runtimeSettings\": [{\"handlerSettings\": {\"publicSettings\": " + values + "{}]}}]}")),
      (Lines{"(absent)", "(absent)", "(absent)"}));
}

TEST_F(ExtConfigTest, RuntimeSettingsInACharacterDataSectionAreNoText) {
  const ExtHandler &handler = parse_runtime("<RuntimeSettings seqNo=\"3\"><![CDATA[{}]]></RuntimeSettings>");
  EXPECT_EQ(text(handler.runtime_settings), "(absent)");
  EXPECT_EQ(handler.has_runtime_settings, 1u);
  EXPECT_EQ(handler.sequence_number, 3);
}

TEST_F(ExtConfigTest, TheSilentParseLogsNothing) {
  recording::set_debug_level(6);
  parse(kWhole);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(ExtConfigTest, ParsingAgainReplacesEverything) {
  parse(kWhole);
  parse(kWhole);
  EXPECT_EQ(names(config_), (Lines{"Some.Name.First", "Some.Name.Second"}));
  parse_inside("<Plugins><Plugin name=\"other\"/></Plugins>");
  EXPECT_EQ(names(config_), Lines{"other"});
  EXPECT_EQ(text(config_.status_upload_url.get()), "(absent)");
}

TEST_F(ExtConfigTest, ReleaseEmptiesUrlAndHandlers) {
  parse(kWhole);
  kelvane::ext_config_release(&config_);
  EXPECT_FALSE(config_.status_upload_url.present());
  EXPECT_EQ(config_.handlers.handlers, nullptr);
  EXPECT_EQ(config_.handlers.count, 0);
  kelvane::ext_config_release(&config_);
}

}  // namespace
