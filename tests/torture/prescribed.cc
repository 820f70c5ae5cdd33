#include "tests/torture/prescribed.h"

#include <fnmatch.h>

#include <algorithm>
#include <vector>

namespace torture {
namespace {

// Shell patterns; the strike's is for "CLASS BLOW CALL".
struct Row {
  const char *strike;
  std::vector<const char *> places;
  const char *why;
};

// What comes from the provisioning document alone.
const std::vector<const char *> kFromTheDocument = {"/tables/100/fields/host_name", "/tables/340/operator",
                                                    "/tables/340/operator/*", "/files/hostname"};

constexpr char kNoDocument[] =
    "a document that cannot be read is no document, and without one the appliance is provisioned all the same";

const std::vector<const char *> kCustomData = {"/files/.customdata", "/files/tmpdata.conf"};

// That the marker is there counts; its text is for people.
const std::vector<const char *> kMarked = {"/files/.provisioned", "/files/.customdata", "/files/tmpdata.conf"};

constexpr char kNotMoved[] =
    "custom data is moved after the marker is written, and only by a start that provisions; it waits in "
    "/etc/tmpdata.conf";

constexpr char kPorts[] = "the ports are set right by first boot alone, and what the platform answers is not looked at";

const std::vector<Row> &rows() {
  static const std::vector<Row> kRows = {
      {"*",
       {"/reports/*VMAccessForLinux*/status"},
       "the plugin's status is not saved: it is told until the next start, and then no more"},
      {"file * open(/cdrom/ovf-env.xml)", kFromTheDocument, kNoDocument},
      {"bytes E* read(/cdrom/ovf-env.xml)", kFromTheDocument, kNoDocument},
      {"bytes KILL write(/data/etc/.provisioned)", kMarked, kNotMoved},
      {"* KILL access(/etc/tmpdata.conf)", kCustomData, kNotMoved},
      {"* KILL access(/data/etc/.customdata)", kCustomData, kNotMoved},
      {"* KILL rename(/etc/tmpdata.conf)", kCustomData, kNotMoved},
      {"bytes POWER* write(/data/etc/.provisioned)", kMarked, kNotMoved},
      {"file POWER* rename(/etc/tmpdata.conf)", kMarked, kNotMoved},
      {"bytes POWER* sync()", kMarked, kNotMoved},
      {"request * request(http://168.63.129.16/*)",
       {"/tables/340/operator/ssh_keys/*", "/requests *"},
       "what a first boot could not fetch it does without: reports say nothing of it, a key that came with it is "
       "missing"},
      {"database * *", {"/tables/440/*"}, kPorts},
      {"platform * __nCfg_sess_table_change_by_mkey(440*", {"/tables/440/*"}, kPorts},
      {"file E* rename(/etc/tmpdata.conf)", kCustomData, kNotMoved},
  };
  return kRows;
}

bool fits(const char *pattern, const std::string &text) {
  return fnmatch(pattern, text.c_str(), 0) == 0;
}

std::string words_of(const Strike &strike) {
  return strike.site.call_class + " " + strike.blow + " " + strike.site.call;
}

}  // namespace

const char *prescribed_difference(const Strike &strike, const std::string &place) {
  const auto found = std::find_if(rows().begin(), rows().end(), [&](const Row &row) {
    return fits(row.strike, words_of(strike)) &&
           std::any_of(row.places.begin(), row.places.end(), [&](const char *one) { return fits(one, place); });
  });
  return found != rows().end() ? found->why : nullptr;
}

const char *prescribed_exit(const Strike &strike, int status) {
  const bool interface_missing =
      status == 255 && (strike.site.call_class == "platform" || strike.site.call_class == "database");
  return interface_missing ? "without the interface's record the agent ends, and is started again" : nullptr;
}

}  // namespace torture
