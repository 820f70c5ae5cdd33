#include "plugins/custom_script.h"

#include "tests/support/base64.h"
#include "tests/unit/plugins/plugin_world.h"
#include "tests/unit/plugins/sealed.h"

namespace {

using kelvane::Plugin;
using kelvane::PluginSettings;

const char kInvalid[] = "Command is finished.\n---stdout---\n\n---errout---\nERROR: Invalid Command!!\n";

std::string event_hub_command(const std::string &operation = "OPID") {
  return "config-eventhub.sh " + operation + " " +
         support::base64(R"({"Logging":{"ApplianceID":"appliance-7","Connection":{"PolicySASKey":"c2VjcmV0",)"
                         R"("PolicyName":"send","EventHubName":"hub","ServiceBusNamespace":"bus"}}})");
}

std::string transcript(const std::string &operation) {
  return "Command is finished.\n---stdout---\nAzure Security configuration script.\nOperation ID: " + operation +
         "\n\n---errout---\n\n";
}

std::string with_command(const std::string &text) {
  return R"({"commandToExecute":")" + text + R"("})";
}

class CustomScript : public PluginTest {
 protected:
  CustomScript() { recording::seed_event_hub(); }

  // An enable with these settings, the protected ones encrypted.
  void enable(int32_t sequence_number, const std::string &public_text, const std::string &protected_plain) {
    const std::string protected_text = sealed::seal(protected_plain);
    const std::string thumbprint = containers::thumbprint(sealed::certificate());
    const PluginSettings settings = {nullptr, public_text.c_str(), protected_text.c_str(), thumbprint.c_str()};
    command(plugin_, 4, sequence_number, &settings);
  }
  // "state|sequence number|command time|message".
  std::string outcome() const {
    return std::string(plugin_->state != nullptr ? plugin_->state : "absent") + "|" +
           std::to_string(plugin_->data->sequence_number) + "|" + std::to_string(plugin_->data->command_time) + "|" +
           plugin_->data->message;
  }
  Lines event_hub_writes() const { return recording::calls_of("cmf_write_config"); }

  Plugin *plugin_ = kelvane::pluginManager_RegisterCustomScript();
};

TEST_F(CustomScript, HasItsOwnOperations) {
  EXPECT_STREQ(plugin_->short_name, "CustomScript");
  EXPECT_EQ(plugin_->save, &kelvane::CustomScriptSave);
  EXPECT_EQ(plugin_->load, &kelvane::CustomScriptLoad);
}

TEST_F(CustomScript, TheStatusIsTheMessage) {
  command(plugin_, 1);
  EXPECT_EQ(status_of(plugin_), "2023-11-14T22:13:20Z|Daemon|success|-1|0||null|null|0|null|0");
  enable(6, "{}", with_command("ls"));
  EXPECT_EQ(status_of(plugin_),
            std::string("2023-11-14T22:13:20Z|Daemon|success|6|0|") + kInvalid + "|null|null|0|null|0");
  command(plugin_, 5);
  EXPECT_EQ(status_of(plugin_), "null|untouched|null|0|0|null|untouched|null|0|null|0");
}

TEST_F(CustomScript, TheEventHubCommandOfTheProtectedSettingsIsRun) {
  recording::set_debug_level(7);
  enable(6, "{}", with_command(event_hub_command()));
  EXPECT_EQ(outcome(), "enabled|6|1700000000|" + transcript("OPID"));
  const Lines &log = recording::messages();
  ASSERT_EQ(log.size(), 12u);
  EXPECT_EQ(log[0], "[kelvane]: Custom Script: Received enablecmd\n");
  EXPECT_EQ(log[1], "[kelvane]: DECRYPTED: '" + with_command(event_hub_command()) + "'\n");
  EXPECT_EQ(log[2], "[kelvane]: Using protectedSettings\n");
  EXPECT_EQ(log[3], "[kelvane]: Custom commandToExecute " + event_hub_command() + "\n");
  EXPECT_EQ(log[4], "[kelvane]: Valid command\n");
  EXPECT_EQ(recording::event_hub(recording::State::kDurable).enabled, 1u);
}

TEST_F(CustomScript, TheProtectedCommandGoesBeforeThePublicOne) {
  enable(6, with_command(event_hub_command("PUBLIC")), with_command(event_hub_command("PROTECTED")));
  EXPECT_EQ(outcome(), "enabled|6|1700000000|" + transcript("PROTECTED"));
}

TEST_F(CustomScript, ThePublicCommandIsUsedAlthoughTheLogNamesTheProtectedSettings) {
  recording::set_debug_level(7);
  enable(6, with_command(event_hub_command()), R"({"commandToExecute":7})");
  EXPECT_EQ(outcome(), "enabled|6|1700000000|" + transcript("OPID"));
  const Lines &log = recording::messages();
  ASSERT_GE(log.size(), 5u);
  EXPECT_EQ(log[2], "[kelvane]: Using protectedSettings\n");
  EXPECT_EQ(log[3], "[kelvane]: Using publicSettings\n");
  EXPECT_EQ(log[4], "[kelvane]: Custom commandToExecute " + event_hub_command() + "\n");
}

TEST_F(CustomScript, WithoutProtectedSettingsOnlyThePublicOnesAreNamed) {
  recording::set_debug_level(7);
  enable(6, with_command("ls"), "no JSON");
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: Custom Script: Received enablecmd\n", "[kelvane]: DECRYPTED: 'no JSON'\n",
                   // Once more with the transport certificate, which there is none of here.
                   "[kelvane]: Using publicSettings\n", "[kelvane]: Custom commandToExecute ls\n",
                   "[kelvane]: ERROR: invalid command\n"}));
  EXPECT_EQ(outcome(), std::string("enabled|6|1700000000|") + kInvalid);
}

TEST_F(CustomScript, NothingIsLoggedAtSix) {
  recording::set_debug_level(6);
  enable(6, "{}", with_command(event_hub_command()));
  enable(6, "{}", with_command(event_hub_command()));
  enable(7, with_command("ls"), "{}");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(CustomScript, AnotherCommandIsInvalidAndEnablesAllTheSame) {
  memset(plugin_->data->message, 0x5A, sizeof plugin_->data->message - 1);
  enable(6, "{}", with_command("rm -rf /"));
  EXPECT_EQ(outcome(), std::string("enabled|6|1700000000|") + kInvalid);
  const std::string rest(plugin_->data->message + strlen(kInvalid), sizeof plugin_->data->message - strlen(kInvalid));
  EXPECT_EQ(rest, std::string(rest.size(), '\0'));
  EXPECT_EQ(event_hub_writes(), Lines{});
}

TEST_F(CustomScript, TheScriptNameWithoutABlankBehindItIsInvalid) {
  for (const char *text : {"config-eventhub.sh", "sh config-eventhub.sh", "sh config-eventhub.sh\\t",
                           "config-eventhub.SH x", "config-eventhub.s h", ""}) {
    command(plugin_, 2);
    enable(6, "{}", with_command(text));
    EXPECT_EQ(outcome(), std::string("enabled|6|1700000000|") + kInvalid) << text;
  }
}

TEST_F(CustomScript, TheScriptNameMayStandAnywhere) {
  enable(6, "{}", with_command("/bin/sh /x/y-" + event_hub_command()));
  EXPECT_EQ(outcome(), "enabled|6|1700000000|" + transcript("OPID"));
}

TEST_F(CustomScript, ABlankAtTheEndConfiguresNothingAndKeepsTheMessage) {
  enable(5, "{}", with_command("ls"));
  enable(6, "{}", with_command(event_hub_command() + " "));
  EXPECT_EQ(outcome(), std::string("enabled|6|1700000000|") + kInvalid);
  EXPECT_EQ(event_hub_writes(), Lines{});
}

TEST_F(CustomScript, ASecondEnableWithTheSameNumberOnlyMovesTheTime) {
  enable(6, "{}", with_command("ls"));
  os_.now += 100;
  plugin_->state = kelvane::kPluginStateInstalled;
  recording::clear_trace();
  recording::set_debug_level(7);
  enable(6, "{}", with_command(event_hub_command()));
  EXPECT_EQ(outcome(), std::string("installed|6|1700000100|") + kInvalid);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: Custom Script: Received enablecmd\n",
                                          "[kelvane]: Same seqno 6, not enabling command\n"}));
}

TEST_F(CustomScript, WithoutSettingsTheNumberIsConsumedAndTheStateStays) {
  const PluginSettings no_public = {"runtime", nullptr, "protected", "thumbprint"};
  const PluginSettings no_protected = {"runtime", "{}", nullptr, "thumbprint"};
  int32_t number = 0;
  for (const PluginSettings *settings : {static_cast<const PluginSettings *>(nullptr), &no_public, &no_protected}) {
    recording::clear_trace();
    command(plugin_, 4, ++number, settings);
    EXPECT_EQ(outcome(), "absent|" + std::to_string(number) + "|1700000000|");
    EXPECT_EQ(recording::trace(), Lines{});
  }
}

TEST_F(CustomScript, SettingsWithoutACommandConsumeTheNumberOnly) {
  int32_t number = 0;
  const std::pair<std::string, std::string> cases[] = {
      {"{}", "{}"},
      {"no JSON", "no JSON"},
      {"[]", "[\"commandToExecute\"]"},
      {"null", "null"},
      {"7", "\"text\""},
      {"", ""},
      {R"({"commandToExecute":["a"]})", R"({"commandToExecute":null})"},
      {R"({"CommandToExecute":"a"})", "{}"}};
  for (const auto &[public_text, protected_plain] : cases) {
    number++;
    enable(number, public_text, protected_plain);
    EXPECT_EQ(outcome(), "absent|" + std::to_string(number) + "|1700000000|") << public_text;
  }
  EXPECT_EQ(event_hub_writes(), Lines{});
}

TEST_F(CustomScript, UndecryptableSettingsLeaveThePublicCommand) {
  const PluginSettings settings = {nullptr, R"({"commandToExecute":"ls"})", "no base64!", nullptr};
  command(plugin_, 4, 6, &settings);
  EXPECT_EQ(outcome(), std::string("enabled|6|1700000000|") + kInvalid);
}

TEST_F(CustomScript, TheDecryptedSettingsAreWiped) {
  enable(6, "{}", with_command("ls the-secret"));
  EXPECT_TRUE(plugin_world::was_wiped(with_command("ls the-secret")));
  EXPECT_TRUE(plugin_world::was_wiped("ls the-secret"));
}

// Up to a hundred kilobytes, more than any field and buffer on the way.
TEST_F(CustomScript, CommandsOfEveryLengthAreServed) {
  int32_t number = 0;
  for (size_t length = 0; length <= 100000; length = length < 300 ? length + 1 : length * 5 / 4) {
    const std::string filler(length, 'f');
    number++;
    const PluginSettings settings = {nullptr, nullptr, "QUJD", nullptr};
    PluginSettings given = settings;
    const std::string invalid = with_command(filler);
    given.public_settings = invalid.c_str();
    command(plugin_, 4, number, &given);
    ASSERT_STREQ(plugin_->data->message, kInvalid) << length;
    number++;
    const std::string valid = with_command(filler + event_hub_command());
    given.public_settings = valid.c_str();
    command(plugin_, 4, number, &given);
    ASSERT_EQ(plugin_->data->message, transcript("OPID")) << length;
    number++;
    const std::string identifier = with_command(event_hub_command(filler));
    given.public_settings = identifier.c_str();
    command(plugin_, 4, number, &given);
    ASSERT_EQ(plugin_->data->message, transcript(length < 128 ? filler : "")) << length;
    recording::clear_trace();
  }
}

TEST_F(CustomScript, AResultSurvivesARestart) {
  command(plugin_, 1);
  enable(6, "{}", with_command("ls"));
  const kelvane::JsonOwner saved(plugin_->save(plugin_));
  *plugin_->data = kelvane::PluginData{};
  plugin_->load(plugin_, saved.get());
  EXPECT_STREQ(plugin_->data->message, kInvalid);
  EXPECT_EQ(plugin_->data->sequence_number, 6);
}

}  // namespace
