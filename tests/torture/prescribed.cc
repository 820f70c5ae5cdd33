#include "tests/torture/prescribed.h"

#include <fnmatch.h>

#include <algorithm>
#include <sstream>

namespace torture {
namespace {

using Patterns = std::vector<const char *>;

// When a row holds. What first boot leaves undone counts when there is a marker only: without one it is done again.
enum class When {
  kAlways,
  kUnasked,    // before anything was asked for
  kStart,      // in front of the marker
  kGaveUp,     // the same, and there is none
  kFirstBoot,  // the same, and there is one
  kMarked,     // whenever it was, and there is one
  kBehind,     // behind the marker: the last reports and the extensions
  kAccounts,   // for the account that is made then: first boot's with a marker, the extensions' behind it
};

// Shell patterns; those of the strikes are for "CLASS BLOW CALL", with the protocol in front for one that is meant for
// one only: "wire: CLASS BLOW CALL"; those of the places are for "PLACE" or "PLACE = WHAT CAME".
struct Prescribed {
  std::vector<const char *> strikes;
  std::vector<const char *> places;
  const char *why;
  When when = When::kAlways;
};

// ---- places ----

// What comes from the provisioning document alone.
const Patterns kFromTheDocument = {"/tables/100/fields/host_name = \"kelvane\"", "/tables/340/operator/* = nothing",
                                   "/files/hostname = \"absent\"", "/names/etc/hostname = nothing",
                                   "/history/operator = nothing"};
const Patterns kNoFirstKey = {"/tables/340/operator/ssh_keys/1 = \"key 2\"",
                              "/tables/340/operator/ssh_keys/2 = nothing"};
const Patterns kKeysOfAnother = {"/tables/340/auditor/ssh_keys/1 = \"key 1\"",
                                 "/tables/340/auditor/ssh_keys/2 = \"key 2\""};
const Patterns kNoDashboard = {"/tables/340/*/354/* = nothing"};
const Patterns kNoGuiDashboard = {"/tables/340/*/14050/* = nothing"};
// Each in the place of the one before it, down to the last.
const Patterns kEntriesMoveUp = {"/tables/340/*/354/records/0/widget = 27", "/tables/340/*/354/records/1/widget = 12",
                                 "/tables/340/*/354/records/2/widget = 31", "/tables/340/*/354/records/3/widget = 24",
                                 "/tables/340/*/354/records/4/widget = 9",  "/tables/340/*/354/records/5/widget = 40",
                                 "/tables/340/*/354/records/6/widget = 15", "/tables/340/*/354/records/1/column = 2",
                                 "/tables/340/*/354/records/5/column = 1",  "/tables/340/*/354/records/6/column = 2",
                                 "/tables/340/*/354/records/7/* = nothing"};
const Patterns kCertificateHeader = {
    "/requests GET *comp=certificates* header x-ms-guest-agent-public-x509-cert = no such header",
    "/requests GET * header x-ms-vmagent-public-x509-cert = no such header"};
// What the second command of an extension was to change is what the first one made of it.
const Patterns kFirstHub = {"/tables/640/fields/event_hub_name = \"firewall-logs\"",
                            "/tables/640/fields/policy_sas_key = \"kWm3vR8s*\""};
const Patterns kFirstHubsMessage = {"/plugins/*.CustomScriptForLinux/config/message = *Operation ID: op-2201\\\\n*",
                                    "/reports/*.CustomScriptForLinux*/message = *Operation ID: op-2201\\\\n*"};
const Patterns kFirstPassword = {"/tables/340/auditor/password = \"that of Slate-Orchard-77[?]\""};
const Patterns kFirstPasswordRemembered = {"/history/auditor = \"that of Slate-Orchard-77[?]\""};
// All of it: a start that finds none in its final place takes it from the medium anew.
constexpr char kWaitingData[] =
    "/files/tmpdata.conf = \"config system global\\\\nset hostname edge-fw-01\\\\nend\\\\n\"";
const Patterns kCustomData = {"/files/.customdata = \"absent\"", kWaitingData, "/names/data/etc/.customdata = nothing",
                              "/names/etc/tmpdata.conf = \"file*"};
// That the marker is there counts; its text is for people.
const Patterns kMarked = {"/files/.provisioned = \"\"", "/files/.customdata = \"absent\"", kWaitingData,
                          "/names/data/etc/.customdata = nothing", "/names/etc/tmpdata.conf = \"file*"};
// What the platform was told at the beginning of first boot, with nothing behind it.
const Patterns kNotReady = {"/reports/health = *<State>NotReady</State>*",
                            "/reports/role properties = nothing",
                            "/reports/provisioning/status = \"NotReady\"",
                            "/reports/provisioning/subStatus = \"Provisioning\"",
                            "/reports/provisioning/description = \"Starting\"",
                            "/reports/provisioning/properties/certificateThumbprint = \"\""};

// ---- reasons ----

constexpr char kNoDocument[] =
    "a document that cannot be read is no document, and without one the appliance is provisioned all the same";
constexpr char kWithoutKey[] = "an administrator is made with the keys that came, and is not looked at again";
constexpr char kNotShown[] =
    "without its text the certificate is not shown, and what needs it is asked for all the same";
constexpr char kEmptyMarker[] =
    "that the marker is there counts; its text is for people, and a write that fails leaves none";
constexpr char kNoRoom[] =
    "without an address the marker is empty and finds room on a full disc, and whether the account did is not looked "
    "at";
constexpr char kNotMoved[] =
    "custom data is moved after the marker is written, and only by a start that provisions; it waits in "
    "/etc/tmpdata.conf";
constexpr char kNotLookedAt[] =
    "it is done once, with the account or at first boot, and what the platform answers is not looked at";
constexpr char kWithoutResult[] = "the call has no result: that nothing came of it cannot be seen";
constexpr char kToldOnce[] =
    "that the appliance is ready is told once, by the start that provisions, behind the marker";
constexpr char kUsedUp[] = "a command that fails on its way has used up its sequence number, and is not tried again";
constexpr char kFirstAccount[] =
    "keys wait for the account that is made next; a first boot that gave up leaves them to an extension's";

Patterns together(const std::vector<Patterns> &parts) {
  Patterns out;
  for (const Patterns &part : parts) {
    out.insert(out.end(), part.begin(), part.end());
  }
  return out;
}

// The strikes of a row are failures, or kills, as the places that neither needed could not be told otherwise.
const std::vector<Prescribed> &rows() {
  static const std::vector<Prescribed> kRows = {
      {{"*"},
       {"/reports/*VMAccessForLinux*/status = \"success\""},
       "the plugin's status is not saved: it is told until the next start, and then no more"},

      {{"platform EIO conf_init()", "platform EIO nCfg_query(440)",
        "platform EIO cmf_query_do_table_find(440, 0, \"port1\", 2)", "* DEAD *"},
       {"exit = 255"},
       "without the interface's record the agent ends, and is started again",
       When::kUnasked},

      // ---- the provisioning document ----
      {{"file E* open(/cdrom/ovf-env.xml)", "bytes EIO read(/cdrom/ovf-env.xml)"},
       kFromTheDocument,
       kNoDocument,
       When::kFirstBoot},
      {{"memory ENOMEM malloc(GetNodeTextData < * < goal_state_parse < *",
        "memory ENOMEM malloc(* < process_certificate < *",
        "memory ENOMEM malloc(base64_text < *TransportCertMake < main)", "platform EIO generate_RSA_key(*",
        "memory ENOMEM malloc(text_format < metadata_certificate_headers < metadata_certificates_fetch < *",
        "platform EIO get_rnd_bytes(8)", "request fabric:[chew]* request(*comp=certificates*)",
        "request fabric:reset:100 request(*comp=certificates*)",
        "request fabric:[hes]* request(http://169.254.169.254/*/certificates*)",
        "request fabric:wrong-length:-7 request(http://169.254.169.254/*/certificates*)"},
       kNoFirstKey,
       kWithoutKey,
       When::kFirstBoot},
      {{"platform EIO ssh_pubkey_data_set(\"operator\", a key, 1)"},
       {"/tables/340/operator/ssh_keys/1 = nothing"},
       kWithoutKey,
       When::kFirstBoot},
      {{"platform EIO ssh_pubkey_data_set(\"operator\", a key, 2)",
        "database FULL write(* in ssh_pubkey_data_set(\"operator\", a key, 2))"},
       {"/tables/340/operator/ssh_keys/2 = nothing"},
       kWithoutKey,
       When::kFirstBoot},
      {{"database FULL write(* in ssh_pubkey_data_set(\"operator\", a key, 1))"},
       {"/tables/340/operator/ssh_keys/[12] = nothing"},
       kWithoutKey,
       When::kFirstBoot},
      {{"memory E* take_public_key *"}, {"/tables/340/auditor/ssh_keys/1 = \"key 1\""}, kFirstAccount, When::kGaveUp},
      {{"platform EIO check_passwd_policy(\"operator\"*", "platform EIO make_new_passwd(*",
        "platform EIO cmf_query_create(340)", "platform EIO cmf_query_table_append(340, \"operator\"*"},
       kKeysOfAnother,
       kFirstAccount,
       When::kGaveUp},

      // ---- first boot's configuration ----
      {{"platform EIO cmf_query_create(340)", "platform EIO cmf_query_do_table_find(340, 0, \"admin\", 2)",
        "platform EIO make_new_passwd(a password, 0)", "platform EIO cmf_query_commit(340)"},
       {"/tables/340/admin/password = \"no password: *\"", "/history/admin = nothing"},
       "that the factory's account could not be locked stops nothing: first boot goes on",
       When::kFirstBoot},
      {{"platform EIO cmf_query_*(100)"},
       {"/tables/100/fields/host_name = \"kelvane\""},
       kNotLookedAt,
       When::kFirstBoot},
      {{"system E* sethostname(*"},
       {"/files/hostname = \"absent\"", "/names/etc/hostname = nothing"},
       kNotLookedAt,
       When::kFirstBoot},
      {{"platform EIO *(440)", "platform EIO __nCfg_sess_table_change_by_mkey(0, 440, *"},
       {"/tables/440/port[234]/addressing_mode = 0", "/tables/440/port[234]/default_server = 1"},
       kNotLookedAt,
       When::kFirstBoot},
      {{"platform EIO *(330*"}, {"/tables/340/*/354/records/*/widget = 0"}, kNotLookedAt, When::kAccounts},
      {{"platform EIO nCfg_query(340)"}, together({kNoDashboard, kNoGuiDashboard}), kNotLookedAt, When::kAccounts},
      {{"platform EIO cmf_query_create_child_with_key(340, 354, *"}, kNoDashboard, kNotLookedAt, When::kAccounts},
      {{"platform EIO cmf_query_create_child_with_key(340, 14050, *", "platform EIO add_default_gui_dashboard(*"},
       kNoGuiDashboard,
       kNotLookedAt,
       When::kAccounts},
      {{"platform EIO cmf_query_table_append(354 of *"}, kEntriesMoveUp, kNotLookedAt, When::kAccounts},
      {{"platform EIO *(280*"}, {"/tables/340/*/access_profile = 0"}, kNotLookedAt, When::kAccounts},

      {{"metadata: database FULL write(* in cmf_query_table_append(354 of *",
        "metadata: database FULL write(* in add_default_gui_dashboard(*",
        "metadata: database FULL write(* in cmf_write_config(1))"},
       {"/tables/340/operator/* = nothing", "/history/operator = nothing"},
       kNoRoom,
       When::kFirstBoot},

      // ---- custom data ----
      {{"platform EIO ncfg_copyfile(\"/cdrom/CustomData.bin\"*", "file E* access(/cdrom/CustomData.bin)",
        "file E* access(/etc/tmpdata.conf)", "file E* rename(/etc/tmpdata.conf)",
        "inside E* open(/cdrom/CustomData.bin)", "inside E* open(/etc/.kelvane-copy)",
        "inside EIO *(/cdrom/CustomData.bin)", "inside EIO *(/etc/.kelvane-copy)",
        "inside E[!I]* *(/etc/.kelvane-copy)"},
       kCustomData,
       kNotMoved,
       When::kMarked},
      {{"* KILL access(/etc/tmpdata.conf)", "* KILL access(/data/etc/.customdata)", "* KILL rename(/etc/tmpdata.conf)"},
       kCustomData,
       kNotMoved,
       When::kMarked},
      {{"bytes EIO write(/data/etc/.provisioned)", "bytes ENOSPC write(/data/etc/.provisioned)",
        "bytes FULL write(/data/etc/.provisioned)", "database FULL write(* in ssh_pubkey_data_set(*"},
       {"/files/.provisioned = \"\""},
       kEmptyMarker,
       When::kMarked},
      {{"file DEAD access(/etc/tmpdata.conf)", "file DEAD access(/data/etc/.customdata)",
        "file DEAD rename(/etc/tmpdata.conf)"},
       kCustomData,
       kNotMoved,
       When::kMarked},
      {{"bytes DEAD write(/data/etc/.provisioned)"}, kMarked, kNotMoved, When::kMarked},
      {{"bytes KILL write(/data/etc/.provisioned)", "bytes POWER* write(/data/etc/.provisioned)",
        "file POWER* rename(/etc/tmpdata.conf)", "bytes POWER* sync()"},
       kMarked,
       kNotMoved,
       When::kMarked},

      // ---- requests and reports ----
      {{"bytes KILL write(/data/etc/.provisioned)", "bytes POWER* write(/data/etc/.provisioned)",
        "file KILL access(/etc/tmpdata.conf)", "file KILL access(/data/etc/.customdata)",
        "file KILL rename(/etc/tmpdata.conf)", "file POWER* rename(/etc/tmpdata.conf)", "bytes KILL sync()",
        "bytes POWER* sync()", "file KILL open(/data/etc/ssh/*.fp)", "file POWER* open(/data/etc/ssh/*.fp)",
        "bytes KILL read(/data/etc/ssh/*.fp)", "memory KILL * < report < ProvisionAgent_HandlerRun < main)",
        "request KILL request(*comp=health)", "request POWER request(*comp=health)",
        "request KILL request(*comp=roleProperties)", "request POWER request(*comp=roleProperties)",
        "request KILL request(*/provisioningStatus*)", "request POWER request(*/provisioningStatus*)"},
       kNotReady,
       kToldOnce,
       When::kMarked},
      {{"memory ENOMEM* * < report < ProvisionAgent_HandlerRun < main)", "request fabric:[che]* request(*comp=health)",
        "request fabric:reset:100 request(*comp=health)", "request fabric:wrong-length:-7 request(*comp=health)",
        "request fabric:[che]* request(*comp=roleProperties)", "request fabric:reset:100 request(*comp=roleProperties)",
        "request fabric:wrong-length:-7 request(*comp=roleProperties)",
        "request fabric:[ches]* request(*/provisioningStatus*)",
        "request fabric:reset:100 request(*/provisioningStatus*)",
        "request fabric:wrong-length:-7 request(*/provisioningStatus*)"},
       kNotReady,
       "a report that there is no memory for is not sent, an answer of success is believed, and it is told once",
       When::kBehind},
      {{"file E* open(/data/etc/ssh/*.fp)", "bytes EIO read(/data/etc/ssh/*.fp)", "file DEAD open(/data/etc/ssh/*.fp)",
        "bytes DEAD read(/data/etc/ssh/*.fp)", "bytes DEAD write(/data/etc/.provisioned)", "bytes DEAD sync()",
        "file DEAD access(/etc/tmpdata.conf)", "file DEAD access(/data/etc/.customdata)",
        "file DEAD rename(/etc/tmpdata.conf)"},
       {R"(/reports/role properties = *CertificateThumbprint\\" value=\\"\\" />*)",
        "/reports/provisioning/properties/certificateThumbprint = \"\""},
       "a fingerprint that cannot be read is none, and is told once",
       When::kMarked},
      {{"platform EIO passwd_policy_save_info(\"admin\")"},
       {"/history/admin = nothing"},
       kWithoutResult,
       When::kFirstBoot},
      {{"platform EIO passwd_policy_save_info(\"operator\")"},
       {"/history/operator = nothing"},
       kWithoutResult,
       When::kFirstBoot},
      {{"platform EIO passwd_policy_save_info(\"auditor\")"}, kFirstPasswordRemembered, kWithoutResult, When::kBehind},
      {{"memory E* malloc(base64_text < *TransportCertMake < main)", "memory ENOMEM+ * < pluginManager_Init < main)",
        "memory E* malloc(text_format < wire_certificates_headers < *",
        "memory ENOMEM+ malloc(* < goal_state_parse < *", "platform EIO generate_RSA_key(*",
        "platform EIO get_rnd_bytes(8)"},
       kCertificateHeader,
       kNotShown},
      {{"memory ENOMEM malloc(GetNodeTextData < * < goal_state_parse < *",
        "request fabric:[chew]* request(*comp=goalstate)", "request fabric:reset:100 request(*comp=goalstate)"},
       {"/requests POST *comp=health /Health/GoalStateIncarnation", "/requests POST *comp=health /Health/Container/*",
        "/requests POST *comp=roleProperties /RoleProperties/Container/*"},
       "a report is sent with what is known of the goal state, the rest is empty"},
      {{"memory ENOMEM malloc(GetNodeTextData < * < goal_state_parse < *",
        "request fabric:[chew]* request(*comp=goalstate)", "request fabric:reset:100 request(*comp=goalstate)"},
       {"wait"},
       "without what the goal state says the reports are refused, nine times each",
       When::kStart},
      {{"memory ENOMEM malloc(base64_text < *TransportCertMake < main)",
        "memory ENOMEM malloc(text_format < wire_certificates_headers < *", "platform EIO generate_RSA_key(*",
        "platform EIO get_rnd_bytes(8)"},
       {"wait"},
       "without a certificate that is shown the certificates are refused, nine times"},
      {{"request fabric:[che]* request(http://storage.example.invalid/*)",
        "request fabric:reset:100 request(http://storage.example.invalid/*)",
        "request fabric:wrong-length:-7 request(http://storage.example.invalid/*)"},
       {"/requests PUT *comp=page* page range"},
       "an answer of success is believed: pages are written into a blob that was not made"},

      // ---- extensions ----
      {{"memory ENOMEM realloc(add < pluginManager_Add < pluginManager_Init < main)"},
       {"/tables/640/fields/enabled = 0", "/tables/640/fields/* = \"\"",
        "/tables/events/*\"Config eventhub success.\"* = nothing",
        "/plugins/*.CustomScriptForLinux/config/message = \"Plugin enabled\"",
        "/reports/*.CustomScriptForLinux*/message = \"Plugin enabled\""},
       "a plugin for which the registry has no room is not added; its extension is acknowledged as an unknown one, and "
       "keeps the sequence number of that"},
      // Which command a text is decoded for the call does not tell; without the certificates none can be decrypted.
      {{"platform EIO miglib_b64_pton(*", "memory ENOMEM malloc(*CertStoreSlot < *",
        "request fabric:[hes]* request(http://169.254.169.254/*/certificates*)",
        "request fabric:wrong-length:-7 request(http://169.254.169.254/*/certificates*)"},
       together({kFirstHub, kFirstHubsMessage, kFirstPassword, kFirstPasswordRemembered}),
       kUsedUp,
       When::kBehind},
      {{"platform EIO cmf_query_*(640)"}, kFirstHub, kUsedUp, When::kBehind},
      {{"memory ENOMEM malloc(text_format < CustomScript_ConfigEventHub < *"},
       kFirstHubsMessage,
       kUsedUp,
       When::kBehind},
      {{"memory ENOMEM calloc(Secret::allocate < * < custom_script_command < *"},
       together({kFirstHub, kFirstHubsMessage}),
       kUsedUp,
       When::kBehind},
      {{"platform EIO cmf_query_commit(340)", "platform EIO cmf_query_do_table_find(340, 0, \"auditor\", 2)"},
       kFirstPassword,
       kUsedUp,
       When::kBehind},
      {{"platform EIO nCfg_query(340)"},
       together({kFirstPassword,
                 {"/plugins/*.VMAccessForLinux/config/message = \"Enable failed.\"",
                  "/reports/*.VMAccessForLinux*/message = \"Enable failed.\""}}),
       kUsedUp,
       When::kBehind},
      {{"memory ENOMEM calloc(Secret::allocate < * < vm_access_command < *", "platform EIO make_new_passwd(*",
        "platform EIO cmf_get_cur_domain_id()", "platform EIO cmf_write_config(*"},
       together({kFirstPassword, kFirstPasswordRemembered}),
       kUsedUp,
       When::kBehind},
      {{"memory ENOMEM+ * < main_loop_run < main)"},
       together({kFirstHub, kFirstHubsMessage, kFirstPassword, kFirstPasswordRemembered}),
       "a pass that runs out of memory uses up the sequence numbers of all its commands",
       When::kBehind},
      {{"platform EIO cmf_get_cur_domain_id()", "platform EIO cmf_write_config(*"},
       {"/tables/events/*\"Config eventhub fails.\"*"},
       "that it failed is an event, and stays one",
       When::kBehind},
  };
  return kRows;
}

// The first that fits; null for none.
const char *fitting(const Patterns &patterns, const std::string &text) {
  const auto found = std::find_if(patterns.begin(), patterns.end(),
                                  [&](const char *pattern) { return fnmatch(pattern, text.c_str(), 0) == 0; });
  return found != patterns.end() ? *found : nullptr;
}

bool holds(When when, const Circumstances &around, const std::string &place) {
  switch (when) {
    case When::kUnasked:
      return !around.asked;
    case When::kStart:
      return around.first_boot;
    case When::kGaveUp:
      return around.first_boot && !around.marked;
    case When::kFirstBoot:
      return around.first_boot && around.marked;
    case When::kMarked:
      return around.marked;
    case When::kBehind:
      return !around.first_boot;
    case When::kAccounts:
      return around.first_boot ? around.marked && place.rfind("/tables/340/operator/", 0) == 0
                               : place.rfind("/tables/340/auditor/", 0) == 0;
    case When::kAlways:
      break;
  }
  return true;
}

std::string words_of(const Strike &strike) {
  return strike.site.call_class + " " + strike.blow + " " + strike.site.call;
}

// A failure of the database is one of the platform call that it is part of, too: "write(FILE in CALL)". A disc that
// stays full, or is gone, is more than that call.
std::string words_of_platform_call(const Strike &strike) {
  const size_t at = strike.site.call.find(" in ");
  const bool once = strike.blow == "EIO" || strike.blow == "ENOSPC" || strike.blow == "SHORT";
  const bool known = strike.site.call_class == "database" && once && at != std::string::npos;
  return known ? "platform EIO " + strike.site.call.substr(at + 4, strike.site.call.size() - at - 5) : "";
}

const char *fitting(const Patterns &strikes, const Strike &strike) {
  const std::string words = words_of(strike);
  for (const std::string &text : {words, strike.protocol + ": " + words, words_of_platform_call(strike)}) {
    if (const char *pattern = fitting(strikes, text)) {
      return pattern;
    }
  }
  return nullptr;
}

const char *fitting(const Patterns &places, const Difference &difference) {
  const char *pattern = fitting(places, difference.place);
  return pattern != nullptr ? pattern : fitting(places, difference.place + " = " + difference.came);
}

std::string use_of(const char *strike, const char *place) {
  return std::string(strike) + " -> " + place;
}

// Whether a play of kills, or of failures, can come to need the pattern: by its blow.
bool can_be_needed(const std::string &strike, bool kill) {
  std::istringstream words(strike);
  std::string blow;
  words >> blow;
  if (blow.back() == ':') {
    words >> blow;
  }
  if (words >> blow && blow != "*") {
    return kill == (blow == "KILL" || blow.rfind("POWER", 0) == 0);
  }
  return true;
}

}  // namespace

std::string prescribed_difference(const Strike &strike, const Circumstances &around, const Difference &difference) {
  for (const Prescribed &row : rows()) {
    const char *by = holds(row.when, around, difference.place) ? fitting(row.strikes, strike) : nullptr;
    const char *at = by != nullptr ? fitting(row.places, difference) : nullptr;
    if (at != nullptr) {
      return use_of(by, at);
    }
  }
  return "";
}

std::vector<std::string> unused_patterns(const std::set<std::string> &used, bool kill) {
  std::vector<std::string> out;
  const auto none_of = [&](const Patterns &some, const Patterns &others, bool places) {
    for (const char *one : some) {
      const bool needed = std::any_of(others.begin(), others.end(), [&](const char *other) {
        return used.count(places ? use_of(other, one) : use_of(one, other)) != 0;
      });
      if (!needed && (places || can_be_needed(one, kill))) {
        out.emplace_back(one);
      }
    }
  };
  for (const Prescribed &row : rows()) {
    none_of(row.strikes, row.places, false);
    const bool of_this_kind =
        std::all_of(row.strikes.begin(), row.strikes.end(), [&](const char *one) { return can_be_needed(one, kill); });
    if (of_this_kind) {
      none_of(row.places, row.strikes, true);
    }
  }
  return out;
}

}  // namespace torture
