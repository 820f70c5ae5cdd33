#include "tests/fuzz/worst_seeds.h"

#include "core/base/json.h"
#include "core/base/xml_caps.h"

namespace fuzz {

namespace {

std::string repeated(const std::string &text, size_t times) {
  std::string out;
  for (size_t i = 0; i < times; i++) {
    out += text;
  }
  return out;
}

// As many plugins as attributes are allowed, each with an entry of settings; the entries in reverse order, so that each
// is looked for to the end.
std::string many_plugins() {
  constexpr size_t kPlugins = kelvane::kXmlMaxDocumentAttributes / 5;
  std::string plugins, settings;
  for (size_t i = 0; i < kPlugins; i++) {
    const std::string name = "name=\"P" + std::to_string(i) + "\" version=\"1.2.3.4\"";
    plugins += "<Plugin " + name + "/>";
    settings.insert(0, "<Plugin " + name + "><RuntimeSettings seqNo=\"1\">{}</RuntimeSettings></Plugin>");
  }
  return "<Extensions><Plugins>" + plugins + "</Plugins><PluginSettings>" + settings + "</PluginSettings></Extensions>";
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

std::string many_members() {
  std::string out = "{";
  for (size_t i = 0; i < kelvane::kJsonMaxValues - 2; i++) {
    out += (i != 0 ? ",\"" : "\"") + std::to_string(i) + "\":0";
  }
  return out + "}";
}

}  // namespace

std::map<std::string, std::string> worst_seeds() {
  const std::string line = repeated("A", 64) + "\n";
  const std::string settings = "{\"runtimeSettings\":[{\"handlerSettings\":{\"publicSettings\":\"";
  return {
      {"ovf/many_keys",
       "<a><PublicKeys>" + repeated("<PublicKey><Value>k</Value></PublicKey>", 50000) + "</PublicKeys></a>"},
      {"ovf/many_words", many_words("UserPassword")},
      {"goal_state/many_words", many_words("ContainerId")},
      {"goal_state/many_elements", "<a>" + repeated("<b/>", kelvane::kXmlMaxNodes - 10) + "</a>"},
      {"certificates/long_data", "<a><Data>\n" + repeated(line, 30000) + "</Data></a>"},
      {"ext_config/many_plugins", many_plugins()},
      {"ext_config/many_words", many_words("StatusUploadBlob")},
      {"ext_config/long_settings",
       "<Extensions><Plugins><Plugin name='P' version='1'/></Plugins><PluginSettings><Plugin name='P' "
       "version='1'><RuntimeSettings>" +
           settings + repeated("x", 1900000) + "\"}}]}</RuntimeSettings></Plugin></PluginSettings></Extensions>"},
      {"runtime_settings/long_text", settings + repeated("\\u0041", 1300000) + "\"}}]}"},
      {"runtime_settings/many_members", many_members()},
      {"protected_settings/long_text", "t" + repeated(line, 15000)},
      {"custom_script/many_blanks", repeated(" ", 1000000)},
      {"custom_script/long_settings", "config-eventhub.sh operation\n" + many_members()},
      // Not as many as the caps allow: the registry compares each name with all before it (docs/fuzzing.md).
      {"plugin_status/many_names", many_names(2000)},
      {"headers/long_value", "x-ms-blob-type: " + repeated("x", 100000) + "\r\n"},
      {"metadata_identity/many_members", many_members()},
      {"metadata_handlers/many_names", many_names(kelvane::kJsonMaxValues / 2 - 2)},
      {"metadata_certificates/long_data", "{\"certificateData\":\"" + repeated("QUJD", 1900000) + "\"}"},
      {"platform_texts/long_base64", repeated(line, 15000)},
  };
}

}  // namespace fuzz
