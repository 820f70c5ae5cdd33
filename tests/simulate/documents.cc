#include "tests/simulate/documents.h"

#include "tests/simulate/secrets.h"
#include "tests/simulate/wanted.h"
#include "tests/support/base64.h"

namespace simulate {

namespace {

// For somebody else: what it holds cannot be read.
constexpr char kForeignContainer[] =
    "MIIBVAYJKoZIhvcNAQcDoIIBRTCCAUECAQAx\n"
    "ggEwMIIBLAIBADAUMA8xDTALBgNVBAMMBHdpcmUCAQEwDQYJKoZIhvcNAQEBBQAE\n";

std::string render_goal_state(const Revision &revision) {
  const std::string number = std::to_string(revision.incarnation);
  const std::string base = "http://168.63.129.16/machine/c0ffee-17/i-0?comp=";
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GoalState><Version>2012-11-30</Version><Incarnation>" + number +
         "</Incarnation><Machine><ExpectedState>Started</ExpectedState><LBProbePorts><Port>16001</Port></LBProbePorts>"
         "</Machine><Container><ContainerId>c0ffee-17</ContainerId><RoleInstanceList><RoleInstance>"
         "<InstanceId>i-0</InstanceId><State>Started</State><Configuration><HostingEnvironmentConfig>" +
         base + "config</HostingEnvironmentConfig><SharedConfig>" + base + "shared</SharedConfig><ExtensionsConfig>" +
         base + "extensions&amp;incarnation=" + number + "</ExtensionsConfig><Certificates>" + base +
         "certificates</Certificates><ConfigName>c." + number +
         "</ConfigName></Configuration></RoleInstance></RoleInstanceList></Container></GoalState>";
}

// JSON in XML: the texts hold nothing that either would have to escape but quotation marks inside JSON texts.
std::string settings_text(const Wanted &wanted) {
  if (wanted.settings == Settings::kNoJson) {
    return "settings: { not json";
  }
  const std::string command = command_of(wanted);
  const std::string open = command.empty() ? "{\"note\": \"no command\"" : "{\"commandToExecute\": \"" + command + "\"";
  const std::string secret = wanted.settings == Settings::kPublicOnly
                                 ? ""
                                 : "\"protectedSettingsCertThumbprint\": \"" + secrets_thumbprint() +
                                       "\", \"protectedSettings\": \"" + protected_text(wanted) + "\", ";
  return "{\"runtimeSettings\": [{\"handlerSettings\": {" + secret + "\"publicSettings\": " + open + "}}}]}";
}

std::string render_extensions(const Revision &revision) {
  std::string plugins;
  std::string settings;
  for (int i = 0; i < revision.count; i++) {
    const Wanted &each = revision.wanted[i];
    const std::string head =
        "<Plugin name=\"" + std::string(kNameTexts[each.name]) + "\" version=\"" + each.version + "\"";
    plugins += head + " location=\"http://example.net/a.xml\" failoverlocation=\"http://example.net/b.xml\" state=\"" +
               asked_text(each) + "\" autoUpgrade=\"true\" />";
    if (each.settings != Settings::kNoEntry) {
      settings += head + "><RuntimeSettings seqNo=\"" + std::to_string(each.sequence_number) + "\">" +
                  settings_text(each) + "</RuntimeSettings></Plugin>";
    }
  }
  return "<Extensions version=\"1.0.0.0\" goalStateIncarnation=\"" + std::to_string(revision.incarnation) +
         "\"><StatusUploadBlob statusBlobType=\"" + (revision.page_blob ? "PageBlob" : "BlockBlob") +
         "\">http://storage.example.net/status?sr=b&amp;sig=1</StatusUploadBlob><Plugins>" + plugins + "</Plugins>" +
         (settings.empty() ? "" : "<PluginSettings>" + settings + "</PluginSettings>") + "</Extensions>";
}

}  // namespace

const std::string &goal_state_document(const Revision &revision) {
  static Rendered slots[2];
  return kept(slots, revision, render_goal_state);
}

const std::string &extensions_document(const Revision &revision) {
  static Rendered slots[2];
  return kept(slots, revision, render_extensions);
}

const std::string &certificates_document(const Revision &revision) {
  static const std::string head = "<?xml version=\"1.0\"?><CertificateFile><Version>2010-12-15</Version><Data>";
  static const std::string tail = "</Data></CertificateFile>";
  static const std::string foreign = head + kForeignContainer + tail;
  static const std::string readable = head + support::in_lines(secrets_container()) + tail;
  return revision.readable ? readable : foreign;
}

const std::string &versions_document() {
  static const std::string text =
      "<?xml version=\"1.0\"?><Versions><Preferred><Version>2012-11-30</Version></Preferred><Supported>"
      "<Version>2012-11-30</Version></Supported></Versions>";
  return text;
}

std::string protected_text(const Wanted &wanted) {
  return wanted.settings >= Settings::kSecret ? secrets_settings(wanted.secret) : "bm8gbWVzc2FnZQ==";
}

const char *asked_text(const Wanted &wanted) {
  static const char *const kLower[] = {"enabled", "disabled", "uninstall", "enable"};
  static const char *const kUpper[] = {"Enabled", "DISABLED", "Uninstall", "ENABLE"};
  return (wanted.other_case ? kUpper : kLower)[static_cast<int>(wanted.asked)];
}

}  // namespace simulate
