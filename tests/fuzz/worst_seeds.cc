#include "tests/fuzz/worst_seeds.h"

#include <algorithm>

#include "core/base/json.h"
#include "core/base/xml_caps.h"
#include "extensions/handler_settings.h"
#include "tests/support/repeated.h"

namespace fuzz {

namespace {

using support::repeated;

// As many plugins and entries of settings as attributes are allowed, with long names that differ in their last
// characters; no entry has a plugin's version, so that each is looked for to the end.
std::string many_plugins() {
  constexpr size_t kEach = kelvane::kXmlMaxDocumentAttributes / 4;
  constexpr size_t kNameLength = kelvane::kXmlMaxBytes / (2 * kEach) - 50;
  std::string plugins, settings;
  for (size_t i = 0; i < kEach; i++) {
    const std::string name = "<Plugin name=\"" + std::string(kNameLength, 'n') + std::to_string(i) + "\" version=\"1.";
    plugins += name + "2\"/>";
    settings += name + "3\"/>";
  }
  return "<Extensions><Plugins>" + plugins + "</Plugins><PluginSettings>" + settings + "</PluginSettings></Extensions>";
}

// One plugin, whose settings are told as often as elements are allowed.
std::string many_settings(const std::string &settings) {
  return "<Extensions><Plugins><Plugin name='P' version='1'/></Plugins><PluginSettings><Plugin name='P' version='1'>" +
         repeated(
             "<RuntimeSettings>" + settings + "</RuntimeSettings>",
             std::min<size_t>(kelvane::kXmlMaxElements - 10, kelvane::kXmlMaxBytes / (36 + settings.size()) - 10)) +
         "</Plugin></PluginSettings></Extensions>";
}

// Keys within keys, as deep as allowed, and in the innermost as many words as allowed: each key looks through all that
// is in it.
std::string nested_keys() {
  constexpr size_t kDepth = kelvane::kXmlMaxDepth - 2;
  return "<a><PublicKeys>" + repeated("<PublicKey>", kDepth) + repeated("w ", kelvane::kXmlMaxNodes - kDepth - 10) +
         repeated("</PublicKey>", kDepth) + "</PublicKeys></a>";
}

std::string many_words(const std::string &name) {
  return "<a><" + name + ">" + repeated("word ", kelvane::kXmlMaxNodes - 10) + "</" + name + "></a>";
}

// So many elements, each with a name and nothing more.
std::string many_names(size_t count) {
  std::string out = "[";
  for (size_t i = 0; i < count; i++) {
    out += std::string(i != 0 ? "," : "") + "{\"name\":\"Maker.Of.Thing.Number." + std::to_string(i) + "\"}";
  }
  return out + "]";
}

// As many members as allowed, with this value each.
std::string many_members(const std::string &value = "0") {
  return members(value == "{}" ? kelvane::kJsonMaxValues / 2 - 1 : kelvane::kJsonMaxValues - 2, value);
}

// Printed as the agent keeps it, with each value on a line of its own, this has more bytes than a text may have.
std::string longer_when_printed() {
  constexpr size_t kLevels = 29;
  return R"({"vmName":"gate","text":")" + repeated("x", kelvane::kJsonMaxBytes / 2) + R"(","values":)" +
         repeated("[", kLevels) + repeated("1,", kelvane::kJsonMaxValues - 100) + "1" + repeated("]", kLevels) + "}";
}

// Handlers with a level of members each, and long texts in them.
std::string many_handlers() {
  const std::string text = std::string(100, 'x');
  std::string out;
  for (size_t i = 0; i < kelvane::kJsonMaxValues / 17; i++) {
    out += (i != 0 ? "," : "[") + ("{\"name\":\"N" + std::to_string(i)) +
           "\",\"properties\":{\"version\":\"1.2.3.4\",\"state\":\"enabled\",\"upgradePolicy\":\"auto\",\"extensions\":"
           "[{" +
           "\"name\":\"" + text + "\",\"publicSettings\":{\"a\":\"" + text + "\"},\"protectedSettings\":\"" + text +
           "\",\"certificateThumbprint\":\"" + text + "\",\"sequenceNumber\":1}]},\"versionUris\":[{\"uri\":\"u\"}]}";
  }
  return out + "]";
}

// As many references as allowed, and then one word.
std::string references(const std::string &reference, const std::string &name) {
  const std::string begin = "<a><" + name + ">" + repeated(reference, kelvane::kXmlMaxReferences);
  const std::string end = "</" + name + "></a>";
  return begin + std::string(kelvane::kXmlMaxBytes - begin.size() - end.size(), 'x') + end;
}

// As many elements, attributes, words and references as allowed, and then one word.
std::string everything(const std::string &name) {
  constexpr size_t kWithAttributes = kelvane::kXmlMaxDocumentAttributes / 2;
  const std::string begin = "<a>" + repeated("<b c='1' d='2'/>", kWithAttributes) +
                            repeated("<b/>", kelvane::kXmlMaxElements - kWithAttributes - 2) + "<" + name + ">" +
                            repeated("w ", kelvane::kXmlMaxNodes - kelvane::kXmlMaxElements - 2) +
                            repeated("&lt;", kelvane::kXmlMaxReferences);
  const std::string end = "</" + name + "></a>";
  return begin + std::string(kelvane::kXmlMaxBytes - begin.size() - end.size(), 'x') + end;
}

}  // namespace

std::string members(size_t count, const std::string &value) {
  std::string out = "{";
  for (size_t i = 0; i < count; i++) {
    out += (i != 0 ? ",\"" : "\"") + std::to_string(i) + "\":" + value;
  }
  return out + "}";
}

std::map<std::string, std::string> worst_seeds() {
  const std::string line = repeated("A", 64) + "\n";
  const std::string settings = "{\"runtimeSettings\":[{\"handlerSettings\":{\"publicSettings\":\"";
  const std::string handler_settings = R"({"runtimeSettings":[{"handlerSettings":{"publicSettings":{"a":"b"}}}]})";
  constexpr size_t kJsonRoom = kelvane::kJsonMaxBytes - 100;
  constexpr size_t kDecryptedRoom = kelvane::kProtectedMaxText / 4 * 3 - 1000;
  return {
      {"ovf/many_keys", "<a><PublicKeys>" +
                            repeated("<PublicKey><Value>k</Value></PublicKey>", kelvane::kXmlMaxElements / 2 - 2) +
                            "</PublicKeys></a>"},
      {"ovf/nested_keys", nested_keys()},
      {"ovf/many_words", many_words("UserPassword")},
      {"ovf/everything", everything("UserPassword")},
      {"goal_state/many_words", many_words("ContainerId")},
      {"goal_state/everything", everything("Port")},
      {"goal_state/references", references("&lt;", "Port")},
      {"goal_state/long_references", references("&#x41;", "Port")},
      {"certificates/long_data", "<a><Data>\n" + repeated(line, 30000) + "</Data></a>"},
      {"certificates/many_words", many_words("Data")},
      {"ext_config/many_plugins", many_plugins()},
      {"ext_config/many_settings", many_settings(handler_settings)},
      {"ext_config/many_small_settings", many_settings("{}")},
      {"ext_config/many_words", many_words("StatusUploadBlob")},
      {"ext_config/long_settings",
       "<Extensions><Plugins><Plugin name='P' version='1'/></Plugins><PluginSettings><Plugin name='P' "
       "version='1'><RuntimeSettings>" +
           settings + repeated("x", 1900000) + "\"}}]}</RuntimeSettings></Plugin></PluginSettings></Extensions>"},
      {"runtime_settings/long_text", settings + repeated("\\u0041", kJsonRoom / 6) + "\"}}]}"},
      {"runtime_settings/long_number", "[" + std::string(kJsonRoom, '7') + "]"},
      {"runtime_settings/long_fraction", "[0." + std::string(kJsonRoom, '7') + "]"},
      {"runtime_settings/many_members", many_members()},
      {"runtime_settings/many_numbers", many_members("0." + std::string(80, '7'))},
      {"runtime_settings/many_objects", many_members("{}")},
      {"protected_settings/long_text", "t" + repeated(line, kelvane::kProtectedMaxText / line.size())},
      {"custom_script/many_blanks", repeated(" ", 1000000)},
      {"custom_script/long_settings", "config-eventhub.sh operation\n" + many_members()},
      {"vm_access/many_members", many_members()},
      {"vm_access/long_name", R"({"username":")" + std::string(kDecryptedRoom, 'n') + R"(","password":"p"})"},
      {"vm_access/long_password", R"({"username":"n","password":")" + std::string(kDecryptedRoom, 'p') + "\"}"},
      {"vm_access/long_key", R"({"username":"n","ssh_key":"ssh-rsa )" + repeated("QUJD", kDecryptedRoom / 4) + "\"}"},
      {"plugin_status/many_names", many_names(kelvane::kJsonMaxValues / 2 - 2)},
      // With room for what the agent writes beside it: a longer file than the cap is not read again.
      {"plugin_status/long_text", "[{\"name\":\"" + std::string(kJsonRoom - 2000, 'x') + "\"}]"},
      {"headers/long_value", "x-ms-blob-type: " + repeated("x", 100000) + "\r\n"},
      {"metadata_identity/many_members", many_members()},
      {"metadata_identity/longer_when_printed", longer_when_printed()},
      {"metadata_identity/long_text", "{\"vmName\":\"" + repeated("\\u0001", kJsonRoom / 6) + "\"}"},
      {"metadata_handlers/many_names", many_names(kelvane::kJsonMaxValues / 2 - 2)},
      {"metadata_handlers/many_handlers", many_handlers()},
      {"metadata_certificates/long_data", "{\"certificateData\":\"" + repeated("QUJD", kJsonRoom / 4) + "\"}"},
      {"platform_texts/long_base64", repeated(line, 15000)},
  };
}

}  // namespace fuzz
