#include "tests/torture/prescribed.h"

#include <fnmatch.h>

#include <algorithm>
#include <sstream>

namespace torture {
namespace {

using Patterns = std::vector<const char *>;

// When a row holds; in a start that finds the marker only the first four do. What first boot leaves undone counts when
// there is a marker only: without one it is done again.
enum class When {
  kAlways,
  kUnasked,    // before anything was asked for
  kStart,      // in front of the marker, or in a start that finds it
  kUnseen,     // in a start that finds the marker, in front of its last look at it
  kGaveUp,     // in front of the marker, and there is none
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
constexpr char kNotLocked[] = "/tables/340/admin/password = \"no password: *\"";
const Patterns kNoDashboard = {"/tables/340/*/354/* = nothing"};
const Patterns kNoGuiDashboard = {"/tables/340/*/14050/* = nothing"};
// Each in the place of the one before it, down to the last.
const Patterns kEntriesMoveUp = {"/tables/340/*/354/records/0/widget = 27", "/tables/340/*/354/records/1/widget = 12",
                                 "/tables/340/*/354/records/2/widget = 31", "/tables/340/*/354/records/3/widget = 24",
                                 "/tables/340/*/354/records/4/widget = 9",  "/tables/340/*/354/records/5/widget = 40",
                                 "/tables/340/*/354/records/6/widget = 15", "/tables/340/*/354/records/1/column = 2",
                                 "/tables/340/*/354/records/5/column = 1",  "/tables/340/*/354/records/6/column = 2",
                                 "/tables/340/*/354/records/7/* = nothing"};
// Of a report that was made without the goal state.
const Patterns kNoIncarnation = {"/requests POST *comp=health /Health/GoalStateIncarnation = \"\""};
const Patterns kNoContainer = {"/requests POST *comp=health /Health/Container/* = \"\"",
                               "/requests POST *comp=roleProperties /RoleProperties/Container/* = \"\""};
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
                              "/names/etc/tmpdata.conf = \"file 0600\""};
constexpr char kReady[] = "/reports/health = \"<State>Ready</State>\"";
const Patterns kStatusReady = {"/reports/provisioning/status = \"Ready\"", "/reports/provisioning/subStatus = \"\"",
                               "/reports/provisioning/description = \"\""};
const Patterns kCopiedAnew = {kWaitingData, "/names/etc/tmpdata.conf = \"file 0600\""};
const Patterns kNoPrivateData = {
    "/plugins/*.DiskScanner/config/installed = 0", "/plugins/*.DiskScanner/config/seqno = nothing",
    "/plugins/*.DiskScanner/config/cmdtime = nothing", "/plugins/*.DiskScanner/config/extname = nothing",
    "/plugins/*.DiskScanner/config/message = nothing"};
const Patterns kMarkerIsEmpty = {"/files/.provisioned = \"\""};
// What the platform was told at the beginning of first boot, with nothing behind it: over the wire in two reports, at
// the metadata service in one.
const Patterns kHealthNotReady = {"/reports/health = *<State>NotReady</State>*"};
const Patterns kNoRoleProperties = {"/reports/role properties = nothing"};
const Patterns kStatusNotReady = {"/reports/provisioning/status = \"NotReady\"",
                                  "/reports/provisioning/subStatus = \"Provisioning\"",
                                  "/reports/provisioning/description = \"Starting\"",
                                  "/reports/provisioning/properties/certificateThumbprint = \"\""};
constexpr char kEmptyProperty[] = R"(/reports/role properties = *CertificateThumbprint\\" value=\\"\\" />*)";
constexpr char kHubFails[] = "/tables/events/*\"Config eventhub fails.\"* = true";
// The run was over before the agent came to its loop; it is played again for longer, which is the other wait of a row.
constexpr char kEndsInWait[] = "wait = 77 before the loop, 0 in it";

// ---- reasons ----

constexpr char kNoDocument[] =
    "a document that cannot be read is no document, and without one the appliance is provisioned all the same";
constexpr char kWithoutKey[] = "an administrator is made with the keys that came, and is not looked at again";
constexpr char kGoesOn[] = "that the factory's account could not be locked stops nothing: first boot goes on";
constexpr char kNotShown[] =
    "without its text the certificate is not shown, and what needs it is asked for all the same";
constexpr char kRefused[] = "without what the goal state says the reports are refused, nine times each";
constexpr char kCertificatesRefused[] = "without a certificate that is shown the certificates are refused, nine times";
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
constexpr char kTakenForSent[] =
    "a report that there is no memory for is not sent, an answer of success is believed, and it is told once";
constexpr char kNoFingerprint[] = "a fingerprint that cannot be read is none, and is told once";
constexpr char kUsedUp[] = "a command that fails on its way has used up its sequence number, and is not tried again";
constexpr char kOutOfMemory[] =
    "a pass that runs out of memory uses up the sequence numbers of all its commands that are left";
constexpr char kNotSeen[] =
    "a marker that cannot be looked at is none: the appliance is provisioned once more, with what it was given then";
constexpr char kNoPrivateDataToTell[] = "what is not installed has no status, and no name of its own, to tell";
constexpr char kFirstAccount[] =
    "keys wait for the account that is made next; a first boot that gave up leaves them to an extension's";

Patterns together(const std::vector<Patterns> &parts) {
  Patterns out;
  for (const Patterns &part : parts) {
    out.insert(out.end(), part.begin(), part.end());
  }
  return out;
}

// Every strike of a row is for every place of it: a pair that no play came to need is told.
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
        "memory ENOMEM malloc(* < makeSSHKey < process_certificate < *",
        "metadata: memory ENOMEM malloc(base64_text < *TransportCertMake < main)",
        "metadata: platform EIO generate_RSA_key(*", "metadata: platform EIO get_rnd_bytes(8)",
        "memory ENOMEM malloc(text_format < metadata_certificate_headers < metadata_certificates_fetch < *",
        "request fabric:[chew]* request(*comp=certificates*)", "request fabric:reset:100 request(*comp=certificates*)",
        "request fabric:[hes]* request(http://169.254.169.254/*/certificates/1*)",
        "request fabric:wrong-length:-7 request(http://169.254.169.254/*/certificates/1*)"},
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
      {{"memory ENOMEM malloc(* < take_public_key < *"},
       {"/tables/340/auditor/ssh_keys/1 = \"key 1\""},
       kFirstAccount,
       When::kGaveUp},
      {{"platform EIO check_passwd_policy(\"operator\"*", "platform EIO make_new_passwd(*",
        "platform EIO cmf_query_create(340)", "platform EIO cmf_query_table_append(340, \"operator\"*"},
       kKeysOfAnother,
       kFirstAccount,
       When::kGaveUp},

      // ---- first boot's configuration ----
      {{"platform EIO cmf_query_create(340)", "platform EIO cmf_query_do_table_find(340, 0, \"admin\", 2)",
        "platform EIO make_new_passwd(a password, 0)"},
       {kNotLocked, "/history/admin = nothing"},
       kGoesOn,
       When::kFirstBoot},
      {{"platform EIO cmf_query_commit(340)"}, {kNotLocked}, kGoesOn, When::kFirstBoot},
      {{"platform EIO cmf_query_*(100)"},
       {"/tables/100/fields/host_name = \"kelvane\""},
       kNotLookedAt,
       When::kFirstBoot},
      {{"system E* sethostname(*"},
       {"/files/hostname = \"absent\"", "/names/etc/hostname = nothing"},
       kNotLookedAt,
       When::kFirstBoot},
      {{"platform EIO *(440)", "platform EIO __nCfg_sess_table_change_by_mkey(0, 440, \"port[234]\" *"},
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
        "inside E[!I]* *(/etc/.kelvane-copy)", "file DEAD access(/etc/tmpdata.conf)",
        "file DEAD access(/data/etc/.customdata)", "file DEAD rename(/etc/tmpdata.conf)",
        "file KILL access(/etc/tmpdata.conf)", "file KILL access(/data/etc/.customdata)",
        "file KILL rename(/etc/tmpdata.conf)"},
       kCustomData,
       kNotMoved,
       When::kMarked},
      {{"bytes EIO write(/data/etc/.provisioned)", "bytes ENOSPC write(/data/etc/.provisioned)",
        "bytes FULL write(/data/etc/.provisioned)", "wire: database FULL write(* in ssh_pubkey_data_set(*"},
       kMarkerIsEmpty,
       kEmptyMarker,
       When::kMarked},
      {{"bytes DEAD write(/data/etc/.provisioned)", "bytes KILL write(/data/etc/.provisioned)",
        "bytes POWER* write(/data/etc/.provisioned)", "file POWER* rename(/etc/tmpdata.conf)"},
       together({kMarkerIsEmpty, kCustomData}),
       kNotMoved,
       When::kMarked},
      {{"bytes POWER* sync()"},
       kMarkerIsEmpty,
       "that the marker is there counts; its text is for people, and is not on the disc yet",
       When::kMarked},

      // ---- requests and reports ----
      {{"file KILL access(/etc/tmpdata.conf)", "file KILL access(/data/etc/.customdata)",
        "file KILL rename(/etc/tmpdata.conf)", "file POWER* rename(/etc/tmpdata.conf)", "bytes KILL sync()",
        "bytes POWER* sync()", "file KILL open(/data/etc/ssh/*.fp)", "file POWER* open(/data/etc/ssh/*.fp)",
        "bytes KILL read(/data/etc/ssh/*.fp)"},
       together({kHealthNotReady, kNoRoleProperties, kStatusNotReady}),
       kToldOnce,
       When::kMarked},
      // With the address that is written into it: at the metadata service there is none, and no such write.
      {{"bytes KILL write(/data/etc/.provisioned)", "bytes POWER* write(/data/etc/.provisioned)",
        "memory KILL * < report < ProvisionAgent_HandlerRun < main)", "request KILL request(*comp=health)",
        "request POWER request(*comp=health)"},
       together({kHealthNotReady, kNoRoleProperties}),
       kToldOnce,
       When::kMarked},
      {{"request KILL request(*comp=roleProperties)", "request POWER request(*comp=roleProperties)"},
       kNoRoleProperties,
       kToldOnce,
       When::kMarked},
      {{"request KILL request(*/provisioningStatus*)", "request POWER request(*/provisioningStatus*)"},
       kStatusNotReady,
       kToldOnce,
       When::kMarked},
      {{"memory ENOMEM* * < report < ProvisionAgent_HandlerRun < main)"},
       together({kHealthNotReady, kNoRoleProperties}),
       kTakenForSent,
       When::kBehind},
      {{"request fabric:[che]* request(*comp=health)", "request fabric:reset:100 request(*comp=health)",
        "request fabric:wrong-length:-7 request(*comp=health)"},
       kHealthNotReady,
       kTakenForSent,
       When::kBehind},
      {{"request fabric:[che]* request(*comp=roleProperties)", "request fabric:reset:100 request(*comp=roleProperties)",
        "request fabric:wrong-length:-7 request(*comp=roleProperties)"},
       kNoRoleProperties,
       kTakenForSent,
       When::kBehind},
      {{"request fabric:[ches]* request(*/provisioningStatus*)",
        "request fabric:reset:100 request(*/provisioningStatus*)",
        "request fabric:wrong-length:-7 request(*/provisioningStatus*)"},
       kStatusNotReady,
       kTakenForSent,
       When::kBehind},
      {{"file E* open(/data/etc/ssh/*.fp)", "bytes EIO read(/data/etc/ssh/*.fp)", "file DEAD open(/data/etc/ssh/*.fp)",
        "bytes DEAD read(/data/etc/ssh/*.fp)", "bytes DEAD sync()", "file DEAD access(/etc/tmpdata.conf)",
        "file DEAD access(/data/etc/.customdata)", "file DEAD rename(/etc/tmpdata.conf)"},
       {kEmptyProperty, "/reports/provisioning/properties/certificateThumbprint = \"\""},
       kNoFingerprint,
       When::kMarked},
      {{"bytes DEAD write(/data/etc/.provisioned)"}, {kEmptyProperty}, kNoFingerprint, When::kMarked},
      {{"platform EIO passwd_policy_save_info(\"admin\")"},
       {"/history/admin = nothing"},
       kWithoutResult,
       When::kFirstBoot},
      {{"platform EIO passwd_policy_save_info(\"operator\")"},
       {"/history/operator = nothing"},
       kWithoutResult,
       When::kFirstBoot},
      {{"platform EIO passwd_policy_save_info(\"auditor\")"}, kFirstPasswordRemembered, kWithoutResult, When::kBehind},
      // The certificate is made once, at the start, and shown with each of these requests, the extensions' too.
      {{"memory ENOMEM malloc(base64_text < *TransportCertMake < main)", "platform EIO generate_RSA_key(*",
        "platform EIO get_rnd_bytes(8)"},
       {"/requests GET *comp=certificates* header x-ms-guest-agent-public-x509-cert = no such header"},
       kNotShown},
      {{"memory ENOMEM* malloc(base64_text < *TransportCertMake < main)",
        "memory ENOMEM+ * < pluginManager_Init < main)", "platform EIO generate_RSA_key(*",
        "platform EIO get_rnd_bytes(8)"},
       {"/requests GET * header x-ms-vmagent-public-x509-cert = no such header"},
       kNotShown},
      {{"memory ENOMEM* malloc(text_format < wire_certificates_headers < *",
        "memory ENOMEM+ malloc(* < goal_state_parse < *"},
       {"/requests GET *comp=certificates*=1 header x-ms-guest-agent-public-x509-cert = no such header"},
       kNotShown,
       When::kStart},
      {{"memory ENOMEM* malloc(text_format < wire_certificates_headers < *"},
       {"/requests GET *comp=certificates*=2 header x-ms-guest-agent-public-x509-cert = no such header"},
       kNotShown,
       When::kBehind},
      {{"memory ENOMEM malloc(GetNodeTextData < * < goal_state_parse < *",
        "request fabric:[chew]* request(*comp=goalstate)", "request fabric:reset:100 request(*comp=goalstate)"},
       together({kNoIncarnation, kNoContainer}),
       "a report is sent with what is known of the goal state, the rest is empty",
       When::kStart},
      {{"memory ENOMEM malloc(GetNodeTextData < * < goal_state_parse < *"},
       {kEndsInWait, "wait = 180 before the loop, 1 in it", "wait = 270 before the loop, 1 in it"},
       kRefused,
       When::kStart},
      {{"request fabric:[he]* request(*comp=goalstate)", "request fabric:wrong-length:-7 request(*comp=goalstate)"},
       {kEndsInWait, "wait = 270 before the loop, 1 in it"},
       kRefused,
       When::kStart},
      {{"request fabric:cut request(*comp=goalstate)", "request fabric:reset:100 request(*comp=goalstate)",
        "request fabric:wrong-length:7 request(*comp=goalstate)"},
       {kEndsInWait, "wait = 280 before the loop, 1 in it"},
       kRefused,
       When::kStart},
      {{"wire*: memory ENOMEM malloc(base64_text < *TransportCertMake < main)",
        "wire*: platform EIO generate_RSA_key(*", "wire*: platform EIO get_rnd_bytes(8)"},
       {kEndsInWait, "wait = 90 before the loop, 91 in it"},
       kCertificatesRefused,
       When::kStart},
      {{"memory ENOMEM malloc(text_format < wire_certificates_headers < *"},
       {kEndsInWait, "wait = 90 before the loop, 1 in it"},
       kCertificatesRefused,
       When::kStart},
      {{"memory ENOMEM malloc(text_format < wire_certificates_headers < *"},
       {"wait = 0 before the loop, 91 in it"},
       kCertificatesRefused,
       When::kBehind},
      {{"request fabric:[che]* request(http://storage.example.invalid/status/kelvane-pages.*)",
        "request fabric:reset:100 request(http://storage.example.invalid/status/kelvane-pages.*)",
        "request fabric:wrong-length:-7 request(http://storage.example.invalid/status/kelvane-pages.*)"},
       {"/requests PUT *comp=page* page range = bytes 0 to 2559"},
       "an answer of success is believed: pages are written into a blob that was not made",
       When::kBehind},

      // ---- extensions ----
      {{"memory ENOMEM realloc(add < pluginManager_Add < pluginManager_Init < main)"},
       {"/tables/640/fields/enabled = 0", "/tables/640/fields/* = \"\"",
        "/tables/events/*\"Config eventhub success.\"* = nothing",
        "/plugins/*.CustomScriptForLinux/config/message = \"Plugin enabled\"",
        "/reports/*.CustomScriptForLinux*/message = \"Plugin enabled\""},
       "a plugin for which the registry has no room is not added; its extension is acknowledged as an unknown one, and "
       "keeps the sequence number of that",
       When::kMarked},
      // Which command a text is decoded for the call does not tell; without the certificates none can be decrypted.
      {{"platform EIO miglib_b64_pton(*", "memory ENOMEM malloc(*CertStoreSlot < *",
        "request fabric:[hes]* request(http://169.254.169.254/*/certificates/2*)",
        "request fabric:wrong-length:-7 request(http://169.254.169.254/*/certificates/2*)"},
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
      {{"wire: memory ENOMEM+ malloc(* < WireProtocol_get_ext_handlers < *",
        "memory ENOMEM+ * < custom_script_command < *"},
       together({kFirstHub, kFirstHubsMessage, kFirstPassword, kFirstPasswordRemembered}),
       kOutOfMemory,
       When::kBehind},
      // Behind the event hub's command.
      {{"memory ENOMEM+ * < AddExtensionEvent < pluginManager_LaunchCommand < *",
        "memory ENOMEM+ * < vm_access_command < *"},
       together({kFirstPassword, kFirstPasswordRemembered}),
       kOutOfMemory,
       When::kBehind},
      // These two are called by both commands; what came besides tells which of them it was: contradicted().
      {{"platform EIO cmf_get_cur_domain_id()", "platform EIO cmf_write_config(*"},
       {kHubFails},
       "that it failed is an event, and stays one",
       When::kBehind},

      // ---- a start that finds the marker ----
      {{"*-restart: file E* access(/data/etc/.provisioned)", "*-restart: file DEAD *", "*-restart: bytes DEAD *"},
       {"first boot = once more"},
       kNotSeen,
       When::kUnseen},
      {{"wire-restart: file E* access(/data/etc/.provisioned)"},
       {kReady, "/reports/role properties = *value=\\\\\"123456789abcdef0123456789abcdef0\\\\\" />*"},
       kNotSeen,
       When::kUnseen},
      {{"metadata-restart: file E* access(/data/etc/.provisioned)"},
       together({kStatusReady,
                 {"/reports/provisioning/properties/certificateThumbprint = \"123456789abcdef0123456789abcdef0\""}}),
       kNotSeen,
       When::kUnseen},
      {{"wire-restart: file DEAD *", "wire-restart: bytes DEAD *"}, {kReady, kEmptyProperty}, kNotSeen, When::kUnseen},
      {{"metadata-restart: file DEAD *", "metadata-restart: bytes DEAD *"},
       together({kStatusReady, {"/reports/provisioning/properties/certificateThumbprint = \"\""}}),
       kNotSeen,
       When::kUnseen},
      {{"*-restart: file E* access(/data/etc/.customdata)"},
       kCopiedAnew,
       "custom data that cannot be seen in its place is copied from the medium, and a marked start moves none"},
      {{"*-restart: memory ENOMEM realloc(add < pluginManager_Add < pluginManager_Init < main)"},
       together({kFirstHub,
                 {"/plugins/*.CustomScriptForLinux/config/message = \"Plugin enabled\"",
                  "/reports/*.CustomScriptForLinux*/message = \"Plugin enabled\""}}),
       "what is saved of the plugin is another one's then, that has taken the command for good"},
      {{"*-restart: memory ENOMEM calloc(pluginManager_RegisterUnSupported < * < load_element < *"},
       kNoPrivateData,
       "without memory for its private data a plugin is loaded without any: it is enabled, was never installed, and is "
       "neither again before it is uninstalled"},
      {{"wire-restart: memory ENOMEM calloc(pluginManager_RegisterUnSupported < * < load_element < *"},
       {"/reports/*DiskScanner/status = \"NotReady\"", "/reports/*DiskScanner/*/configurationAppliedTime = null",
        "/reports/*DiskScanner/*/operation = null", "/reports/*DiskScanner/*/status = null",
        "/reports/*DiskScanner/*/message = null"},
       kNoPrivateDataToTell},
      {{"metadata-restart: memory ENOMEM calloc(pluginManager_RegisterUnSupported < * < load_element < *"},
       {"/reports/*DiskScanner/status = \"NotReady\"", "/reports/*DiskScanner[?]*/configurationAppliedTime = \"\"",
        "/reports/*DiskScanner[?]*/operation = \"\"", "/reports/*DiskScanner[?]*/status = \"\"",
        "/reports/*DiskScanner[?]*/message = \"\"",
        "/requests PUT http://169.254.169.254/Microsoft.Compute/status/extensions/[?]* target = *"},
       kNoPrivateDataToTell},
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
  if (around.restart && when > When::kUnseen) {
    return false;
  }
  switch (when) {
    case When::kUnasked:
      return !around.asked;
    case When::kStart:
      return around.first_boot || around.restart;
    case When::kUnseen:
      return around.restart && around.first_boot;
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

bool contradicted(const Difference &one, const std::vector<Difference> &all) {
  const auto came = [&](const char *pattern) {
    return std::any_of(all.begin(), all.end(),
                       [&](const Difference &other) { return fitting(Patterns{pattern}, other) != nullptr; });
  };
  if (fitting(kCustomData, one) != nullptr) {
    return !std::all_of(kCustomData.begin(), kCustomData.end(), came);
  }
  const bool is_password = fitting(together({kFirstPassword, kFirstPasswordRemembered}), one) != nullptr;
  return is_password && came(kHubFails);
}

std::vector<std::string> unused_pairs(const std::set<std::string> &used, bool kill) {
  std::vector<std::string> out;
  for (const Prescribed &row : rows()) {
    for (const char *strike : row.strikes) {
      for (const char *place : row.places) {
        if (can_be_needed(strike, kill) && used.count(use_of(strike, place)) == 0) {
          out.push_back(use_of(strike, place));
        }
      }
    }
  }
  return out;
}

}  // namespace torture
