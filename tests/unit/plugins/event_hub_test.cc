#include "plugins/event_hub_command.h"

#include "tests/support/base64.h"
#include "tests/unit/plugins/plugin_world.h"
#include "tests/unit/plugins/sealed.h"

namespace {

using kelvane::CustomScript_ConfigEventHub;
using kelvane::CustomScript_ParseLogSettings;

const char kDocument[] =
    R"({"Logging":{"ApplianceID":"appliance-7","Connection":{"PolicySASKey":"c2VjcmV0","PolicyName":"send",)"
    R"("EventHubName":"hub","ServiceBusNamespace":"bus"}}})";

std::string transcript(const std::string &operation) {
  return "Command is finished.\n---stdout---\nAzure Security configuration script.\nOperation ID: " + operation +
         "\n\n---errout---\n\n";
}

class EventHub : public PluginTest {
 protected:
  EventHub() { recording::seed_event_hub(); }

  // The message after running the text.
  static std::string run(const std::string &command) {
    char message[256] = "as it was";
    CustomScript_ConfigEventHub(command.c_str(), message, sizeof message);
    return message;
  }
  static std::string token(const std::string &document = kDocument) { return support::base64(document); }
  static ncfg_event_hub parsed(const std::string &document) {
    ncfg_event_hub settings = {};
    CustomScript_ParseLogSettings(token(document).c_str(), &settings);
    return settings;
  }
  static std::vector<uint8_t> record() { return recording::record_bytes(640, "", recording::State::kDurable).value(); }
  static void expect_nothing_written() {
    EXPECT_EQ(recording::calls_of("cmf_query_create"), Lines{});
    EXPECT_EQ(recording::calls_of("cmf_write_config"), Lines{});
    EXPECT_EQ(recording::calls_of("log_system_event"), Lines{});
  }
  // The texts that a level-7 log holds for these settings.
  static Lines settings_lines(const char *id, const char *key, const char *policy, const char *hub, const char *bus) {
    return {"[kelvane]: Event hub configuration\n",
            std::string("[kelvane]: ApplianceID  : ") + id + "\n",
            std::string("[kelvane]: Policy SASKey: ") + key + "\n",
            std::string("[kelvane]: Policy Name  : ") + policy + "\n",
            std::string("[kelvane]: Eventhub Name: ") + hub + "\n",
            std::string("[kelvane]: ServiceBus NS: ") + bus + "\n"};
  }
};

void put(std::vector<uint8_t> *bytes, size_t offset, const std::string &text) {
  memcpy(bytes->data() + offset, text.data(), text.size());
}

// The record of kDocument's settings, by its offsets.
std::vector<uint8_t> expected_record() {
  std::vector<uint8_t> expected(652, 0);
  expected[0] = 1;
  put(&expected, 4, "appliance-7");
  put(&expected, 133, "c2VjcmV0");
  put(&expected, 262, "send");
  put(&expected, 391, "hub");
  put(&expected, 520, "bus");
  return expected;
}

TEST_F(EventHub, WritesTheRecordByteForByte) {
  EXPECT_EQ(run("sh config-eventhub.sh OPID " + token()), transcript("OPID"));
  EXPECT_EQ(record(), expected_record());
}

TEST_F(EventHub, OverwritesEveryByteOfTheOldRecord) {
  ncfg_event_hub old;
  memset(static_cast<void *>(&old), 0xEE, sizeof old);
  recording::seed_event_hub(old);
  run("config-eventhub.sh OPID " + token());
  EXPECT_EQ(record(), expected_record());
}

TEST_F(EventHub, CallsThePlatformInThisOrder) {
  run("config-eventhub.sh OPID " + token());
  Lines expected = {"miglib_b64_pton(\"" + token() + "\", " + std::to_string(token().size()) + ")",
                    "cmf_query_create(640)",
                    "cmf_query_update(640)",
                    "cmf_query_commit(640)",
                    "cmf_query_free(640)",
                    "cmf_get_cur_domain_id()",
                    "cmf_write_config(7)",
                    "log_system_event(11008801, 1, 6, \"daemon\", 1, 1, \"Config eventhub success.\")"};
  EXPECT_EQ(recording::calls(), expected);
}

TEST_F(EventHub, AFailedWriteIsSeenInTheSystemEventLogOnly) {
  recording::fail_always("cmf_write_config", 3);
  EXPECT_EQ(run("config-eventhub.sh OPID " + token()), transcript("OPID"));
  EXPECT_EQ(recording::calls_of("log_system_event"),
            Lines{"log_system_event(11008801, 1, 6, \"daemon\", 1, 2, \"Config eventhub fails.\")"});
}

TEST_F(EventHub, WithoutAQueryTheConfigurationIsWrittenOutAllTheSame) {
  recording::fail_always("cmf_query_create");
  EXPECT_EQ(run("config-eventhub.sh OPID " + token()), transcript("OPID"));
  EXPECT_EQ(recording::calls_of("cmf_write_config"), Lines{"cmf_write_config(7)"});
  EXPECT_EQ(recording::calls_of("cmf_query_free"), Lines{});
  EXPECT_EQ(recording::calls_of("log_system_event"),
            Lines{"log_system_event(11008801, 1, 6, \"daemon\", 1, 1, \"Config eventhub success.\")"});
}

TEST_F(EventHub, WithoutARecordNothingIsCommittedAndTheQueryIsFreed) {
  recording::fail_always("cmf_query_update");
  run("config-eventhub.sh OPID " + token());
  EXPECT_EQ(recording::calls_of("cmf_query_commit"), Lines{});
  EXPECT_EQ(recording::calls_of("cmf_query_free"), Lines{"cmf_query_free(640)"});
  EXPECT_EQ(recording::calls_of("cmf_write_config"), Lines{"cmf_write_config(7)"});
}

TEST_F(EventHub, TheOperationIdentifierIsTheWordBeforeTheSettings) {
  const std::pair<std::string, std::string> cases[] = {
      {"sh config-eventhub.sh OPID ", "OPID"},
      {"config-eventhub.sh OPID   ", "OPID"},
      {"config-eventhub.sh  OPID ", "OPID"},
      {"config-eventhub.sh A B C ", "C"},
      {"config-eventhub.sh ", ""},
      {" config-eventhub.sh ", "config-eventhub.sh"},
      {"sh config-eventhub.sh ", "config-eventhub.sh"},
      {"   ", ""},
      {" ", ""},
      {" a ", "a"},
      {"a ", ""},
      {"ab ", ""},
      {"config-eventhub.sh a\tb ", "a\tb"},
      {"config-eventhub.sh \u00e4\u20ac ", "\u00e4\u20ac"},
  };
  for (const auto &[text, operation] : cases) {
    EXPECT_EQ(run(text + token()), transcript(operation)) << "'" << text << "'";
  }
}

TEST_F(EventHub, AnOperationIdentifierOfAHundredAndTwentyEightCharactersIsNone) {
  for (size_t length = 1; length < 400; length++) {
    const std::string word(length, 'i');
    ASSERT_EQ(run("config-eventhub.sh " + word + " " + token()), transcript(length < 128 ? word : "")) << length;
  }
}

TEST_F(EventHub, WithoutABlankNothingHappens) {
  recording::set_debug_level(7);
  EXPECT_EQ(run("config-eventhub.sh"), "as it was");
  EXPECT_EQ(run(""), "as it was");
  EXPECT_EQ(recording::trace(), Lines{});
}

TEST_F(EventHub, ABlankAtTheEndMeansEmptySettings) {
  recording::set_debug_level(7);
  EXPECT_EQ(run("config-eventhub.sh OPID " + token() + " "), "as it was");
  expect_nothing_written();
  Lines expected = {"[kelvane]: start __parse_log_settings, \n", "[kelvane]: json_tokener_parse err\n"};
  for (const std::string &line : settings_lines("", "", "", "", "")) {
    expected.push_back(line);
  }
  EXPECT_EQ(recording::messages(), expected);
}

TEST_F(EventHub, EverythingIsLoggedAboveSixTheKeyIncluded) {
  recording::set_debug_level(7);
  run("config-eventhub.sh OPID " + token());
  Lines expected = {"[kelvane]: start __parse_log_settings, " + token() + "\n"};
  for (const std::string &line : settings_lines("appliance-7", "c2VjcmV0", "send", "hub", "bus")) {
    expected.push_back(line);
  }
  EXPECT_EQ(recording::messages(), expected);
}

TEST_F(EventHub, NothingIsLoggedAtSix) {
  recording::set_debug_level(6);
  run("config-eventhub.sh OPID " + token());
  run("config-eventhub.sh OPID !!");
  run("config-eventhub.sh OPID " + token("{}"));
  plugin_world::refuse_calloc = 1;
  run("config-eventhub.sh OPID " + token());
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(EventHub, EachLineIsGatedByItself) {
  recording::set_debug_level(7);
  recording::on_call("message", [] {
    if (recording::messages().size() == 3) {
      recording::set_debug_level(6);
    }
  });
  run("config-eventhub.sh OPID " + token());
  EXPECT_EQ(recording::messages().size(), 3u);
}

TEST_F(EventHub, EachOfTheFiveTextsIsNeeded) {
  for (const char *name : {"ApplianceID", "PolicySASKey", "PolicyName", "EventHubName", "ServiceBusNamespace"}) {
    for (const char *other : {"x-absent", "\"\"", "7", "null", "[\"text\"]"}) {
      std::string document = kDocument;
      const std::string key = std::string("\"") + name + "\":";
      const size_t at = document.find(key) + key.size();
      document.replace(at, document.find_first_of(",}", at) - at, other);
      if (std::string(other) == "x-absent") {
        document = kDocument;
        document.replace(document.find(name), 1, "X");
      }
      EXPECT_EQ(run("config-eventhub.sh OPID " + token(document)), "as it was") << document;
    }
  }
  expect_nothing_written();
}

TEST_F(EventHub, TextsAreCutToAHundredAndTwentyEightCharacters) {
  const std::string text(300, 't');
  const ncfg_event_hub settings = parsed(
      R"({"Logging":{"ApplianceID":")" + text + R"(","Connection":{"PolicySASKey":")" + text + R"(","PolicyName":")" +
      text + R"(","EventHubName":")" + text + R"(","ServiceBusNamespace":")" + text + R"("}}})");
  const std::string cut(128, 't');
  EXPECT_EQ(std::string(settings.appliance_id), cut);
  EXPECT_EQ(std::string(settings.policy_sas_key), cut);
  EXPECT_EQ(std::string(settings.policy_name), cut);
  EXPECT_EQ(std::string(settings.event_hub_name), cut);
  EXPECT_EQ(std::string(settings.service_bus_namespace), cut);
  EXPECT_EQ(settings.enabled, 0u);
}

TEST_F(EventHub, TextsAreCutBetweenCharacters) {
  const std::string text = std::string(127, 't');
  EXPECT_EQ(std::string(parsed(R"({"Logging":{"ApplianceID":")" + text + "\u00e4\"}}").appliance_id), text);
}

TEST_F(EventHub, AMissingConnectionLeavesItsTextsEmpty) {
  for (const char *connection : {"", R"(,"Connection":null)", R"(,"Connection":"text")", R"(,"Connection":[])"}) {
    const ncfg_event_hub settings =
        parsed(std::string(R"({"Logging":{"ApplianceID":"appliance-7")") + connection + "}}");
    EXPECT_STREQ(settings.appliance_id, "appliance-7");
    EXPECT_STREQ(settings.policy_sas_key, "");
  }
}

TEST_F(EventHub, SettingsThatAreNoJsonAreNamedInTheLog) {
  recording::set_debug_level(7);
  parsed("no JSON");
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: start __parse_log_settings, bm8gSlNPTg==\n", "[kelvane]: json_tokener_parse err\n"}));
}

TEST_F(EventHub, SettingsWithoutLoggingAreNamedInTheLog) {
  for (const char *document : {"{}", "[]", "7", R"({"Logging":null})", R"({"Logging":"text"})", R"({"logging":{}})"}) {
    recording::clear_trace();
    recording::set_debug_level(7);
    parsed(document);
    EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: start __parse_log_settings, " + token(document) + "\n",
                                            "[kelvane]: json_object_object_get err\n"}))
        << document;
  }
}

TEST_F(EventHub, WithoutMemoryForTheTokenItsLengthIsLogged) {
  recording::set_debug_level(7);
  ncfg_event_hub settings = {};
  plugin_world::refuse_calloc = 1;
  CustomScript_ParseLogSettings("QUJD", &settings);
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: start __parse_log_settings, QUJD\n", "[kelvane]: miglib_b64_pton err, len:4\n"}));
}

// What the decoder says of itself is not looked at: what it left in the buffer is.
TEST_F(EventHub, ABadCharacterBehindTheDocumentDoesNoHarm) {
  EXPECT_EQ(run("config-eventhub.sh OPID " + support::base64(std::string(kDocument) + "  ") + "!"), transcript("OPID"));
}

TEST_F(EventHub, SettingsOfNoBase64AreNone) {
  for (const char *text : {"!", "====", "A", "\xff\xfe", "%s%n", "QUJD*"}) {
    EXPECT_EQ(run(std::string("config-eventhub.sh OPID ") + text), "as it was") << text;
  }
  expect_nothing_written();
}

TEST_F(EventHub, TheDecodedSettingsAreWiped) {
  run("config-eventhub.sh OPID " + token());
  bool document = false;
  bool key = false;
  bool record = false;
  for (const std::string &each : plugin_world::wiped) {
    document = document || each.compare(0, strlen(kDocument), kDocument) == 0;
    key = key || each == "c2VjcmV0";
    record = record || (each.size() == 652 && each.compare(133, 8, "c2VjcmV0") == 0);
  }
  EXPECT_TRUE(document);
  EXPECT_TRUE(key);
  EXPECT_TRUE(record);
}

TEST_F(EventHub, IncompleteSettingsAreWipedToo) {
  run("config-eventhub.sh OPID " + token(R"({"Logging":{"Connection":{"PolicySASKey":"c2VjcmV0"}}})"));
  EXPECT_TRUE(plugin_world::was_wiped(std::string(129, '\0') + "c2VjcmV0"));
}

TEST_F(EventHub, TextsOfEveryLengthDoNoHarm) {
  const std::string settings = token();
  for (size_t length = 0; length <= settings.size(); length++) {
    // Padding may be missing: the document is whole without it.
    const std::string expected = length * 3 / 4 >= strlen(kDocument) ? transcript("OPID") : "as it was";
    ASSERT_EQ(run("config-eventhub.sh OPID " + settings.substr(0, length)), expected) << length;
  }
}

TEST_F(EventHub, TheMessageIsCutToItsField) {
  char message[40];
  CustomScript_ConfigEventHub(("config-eventhub.sh OPID " + token()).c_str(), message, sizeof message);
  EXPECT_STREQ(message, transcript("OPID").substr(0, 39).c_str());
}

}  // namespace
