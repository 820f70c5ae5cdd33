#include "tests/torture/bench.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/scenario/run/process.h"
#include "tests/support/files.h"
#include "tests/torture/integrity.h"
#include "tests/torture/places.h"
#include "tests/torture/rows.h"
#include "tools/fabric/made_texts.h"

namespace torture {
namespace {

namespace files = std::filesystem;

constexpr int64_t kStartTime = 1700000000;
constexpr int64_t kPass = 25;       // seconds between two passes
constexpr int64_t kRest = 500;      // from the start of the struck run to that of the quiet one
constexpr int kLimitSeconds = 180;  // of the machine's: a request that is never answered, on a machine that is busy
// The longest that the agent may be away from its loop, in its seconds: four mounts, eleven looks for an endpoint, and
// five requests that are made nine times each, with their pauses.
constexpr int64_t kLongestWait = 900;
constexpr int64_t kPause = 10;  // what one call that fails costs: one of these pauses
constexpr int kAims = 3;        // so often a strike is tried that falls on another call than the planned one
constexpr char kRestart[] = "-restart";
constexpr char kEndless[] = "  the struck run does not end\n", kNoGoingOn[] = "  the struck run does not go on\n";
constexpr char kBoot[] = "boot", kStruck[] = "struck", kSecond[] = "second", kQuiet[] = "quiet";

// Other than the one that a kill sends; 255 is an end that is prescribed for some failures.
bool was_a_signal(int status) {
  return status > 128 && status < 255 && status != 128 + SIGKILL;
}

// Which of the places that an undisturbed run reaches are told of a first boot only.
bool is_of_first_boot(const std::string &place) {
  return place.rfind("/reports/health", 0) == 0 || place.rfind("/reports/provisioning", 0) == 0;
}

std::string in_words(const Waits &some) {
  return std::to_string(some.first) + " before the loop, " + std::to_string(some.later) + " in it";
}

}  // namespace

Bench::Bench(const Programs &programs, const std::string &protocol, const std::string &folder)
    : programs_(programs), protocol_(protocol), folder_(folder) {
  files::remove_all(folder_);
  files::create_directories(folder_ + "/template");
  const size_t suffix = protocol_.rfind(kRestart);
  is_restart_ = suffix != std::string::npos;
  const Json written = Json::parse(
      support::read_if_there(programs_.scenarios + "/" + protocol_.substr(0, suffix) + ".json"), nullptr, true, true);
  scenario_ = kelvane::fabric::with_made_texts(written);
  first_pass_ = scenario_.at("torture").at("first_pass").get<int64_t>();
  std::ofstream(folder_ + "/fabric.json") << Json({{"fabric", scenario_["fabric"]}}).dump();
  cloud_ = scenario::Cloud(programs_.fabric, folder_ + "/fabric.json", folder_ + "/fabric");
  scenario::make_appliance(folder_ + "/template", scenario_["appliance"]);
  if (is_restart_) {
    boot_template();
  }
  make_ready();
  const int struck = struck_run("");
  usual_waits_ = longest_waits(trace_of(kStruck));
  std::string trouble = check_end(kStruck, struck) + check_trouble(kStruck);
  const int quiet = quiet_run();
  trouble += check_quiet(quiet, true);
  if (!trouble.empty() || !refused().empty()) {
    throw std::runtime_error("the undisturbed run, see " + folder_ + ":\n" + trouble);
  }
  if (in_words(usual_waits_) != scenario_["torture"].at("waits").get<std::string>()) {
    throw std::runtime_error("the undisturbed run waits for " + in_words(usual_waits_));
  }
  undisturbed_ = read_sites(folder_ + "/struck.sites");
  name_places(programs_.sandbox, undisturbed_);
  to_strike_ = undisturbed_;
  if (is_restart_) {
    to_strike_.resize(read_sites_of_first_pass(folder_ + "/struck.sites").size());
  }
  // Which of the fabric's keys is where counts, too: they are the same in every play of this bench. The second one of
  // the document is there in words, with its name; the first one is taken out of a certificate, and has none.
  scenario_["torture"]["keys"] = rows_of(root(), "SELECT key FROM ssh_keys ORDER BY key LIKE '% rescue', slot");
  expected_ = outcome_of(root(), scenario_, cloud_, before_quiet_);
  const std::string lacks = missing();
  if (!lacks.empty()) {
    throw std::runtime_error("the undisturbed run does not come to what it is to come to:\n" + lacks);
  }
}

// What the scenario names of the undisturbed run's outcome: without it two runs that do nothing would agree.
std::string Bench::missing() const {
  const Json flat = expected_.flatten();
  std::string report;
  for (const auto &[place, value] : scenario_.at("torture").at("reaches").items()) {
    if (is_restart_ && is_of_first_boot(place)) {
      continue;
    }
    if (!flat.contains(place) || flat[place] != value) {
      report += "  " + place + ": expected " + value.dump() + ", came " +
                (flat.contains(place) ? flat[place].dump() : "nothing") + "\n";
    }
  }
  return report;
}

void Bench::make_ready() {
  files::remove_all(root());
  files::remove(folder_ + "/unsynced");
  files::copy(folder_ + "/template", root(), files::copy_options::recursive | files::copy_options::copy_symlinks);
  tell("/_fabric/reset", "{}");
}

// The template becomes an appliance that was provisioned and has handled the first goal state.
void Bench::boot_template() {
  make_ready();
  const std::string trouble = check_end(kBoot, run(kBoot, 0, first_pass_ + 2, "")) + check_trouble(kBoot);
  if (!trouble.empty()) {
    throw std::runtime_error("the first boot, see " + folder_ + ":\n" + trouble);
  }
  files::remove_all(folder_ + "/template");
  files::rename(root(), folder_ + "/template");
}

void Bench::tell(const std::string &path, const std::string &body) const {
  const std::string answer = cloud_.tell(path, body);
  if (answer.rfind("no answer", 0) == 0) {
    throw std::runtime_error("the fabric, told " + path + ": " + answer);
  }
}

// The next goal state comes between the second and the third pass.
int Bench::run(const std::string &name, int64_t begin, int64_t length, const std::string &fault) const {
  const std::string base = folder_ + "/" + name;
  const double advance = static_cast<double>(first_pass_ + kPass) + 10.3;
  std::vector<std::string> command = {programs_.sandbox, "--trace-times"};
  const auto add = [&](const char *option, const std::string &value) {
    command.insert(command.end(), {option, value});
  };
  add("--root", root());
  add("--trace", base + ".trace");
  add("--log", base + ".log");
  add("--sites", base + ".sites");
  add("--proxy", cloud_.proxy());
  add("--media", cloud_.media());
  add("--key", folder_ + "/key");
  add("--clock", "virtual");
  add("--start-time", std::to_string(kStartTime + begin));
  add("--stop-after", std::to_string(length));
  if (name == kStruck) {
    std::ofstream(base + ".script") << Json::array({{{"at", advance}, {"url", "/_fabric/advance"}}}).dump();
    add("--script", base + ".script");
  }
  if (!fault.empty()) {
    add("--fault", fault);
    add("--unsynced", folder_ + "/unsynced");
  }
  scenario::Process agent(command, base + ".out", base + ".err");
  return agent.wait(kLimitSeconds);
}

int Bench::struck_run(const std::string &fault, int64_t longer) const {
  return run(kStruck, is_restart_ ? kRest / 2 : 0, first_pass_ + 2 * kPass + 2 + longer, fault);
}

int Bench::strike_run(const Strike &strike, int64_t longer) {
  make_ready();
  if (strike.fabric_fault().empty()) {
    return struck_run(strike.fault(), longer);
  }
  tell("/_fabric/fault", strike.fabric_fault());
  const int status = struck_run("", longer);
  tell("/_fabric/fault", R"({"disable": "strike"})");
  return status;
}

// Up to where the fault of a run fell first.
std::vector<Site> Bench::calls_to_strike(const std::string &name) const {
  std::vector<Site> out = read_to_strike(folder_ + "/" + name + ".sites");
  name_places(programs_.sandbox, out);
  return out;
}

std::vector<Site> Bench::calls_to_strike(const Strike &strike) const {
  return strike.fabric_fault().empty() ? calls_to_strike(kStruck) : requests_to_strike(cloud_);
}

// The numbers of calls move a little when the network hands things over in other pieces: what fell on another call is
// aimed anew, as far off as it fell. Trouble counts wherever the strike fell, a signal among it.
int Bench::aimed_run(const Site &planned, Strike &strike, int64_t longer, std::string &report) {
  int status = strike_run(strike, longer);
  std::vector<Site> fallen = calls_to_strike(strike);
  for (int i = 1; i < kAims && !ends_with_call(fallen, undisturbed_, planned); ++i) {
    report += check_trouble(kStruck) + (status == -1 ? kEndless : "");
    report += was_a_signal(status) ? check_end(kStruck, status) : "";
    if (strike.fabric_fault().empty()) {
      std::vector<Site> now = read_sites(folder_ + "/struck.sites");
      name_places(programs_.sandbox, now);
      strike.site.number = aimed_anew(undisturbed_, planned, fallen, now);
    }
    status = strike_run(strike, longer);
    fallen = calls_to_strike(strike);
  }
  if (!ends_with_call(fallen, undisturbed_, planned)) {
    missed_ =
        fallen.empty() ? "nothing" : in_words(fallen, fallen.back()) + ", not on " + in_words(undisturbed_, planned);
  }
  return status;
}

bool Bench::is_marked() const {
  return files::exists(root() + "/data/etc/.provisioned");
}

// The start after a kill is killed, too, unless it has ended before it comes to that.
std::string Bench::second_run(const Strike &strike) {
  const bool was_marked = is_marked();
  const int status = run(kSecond, kRest / 2, first_pass_ + 2 * kPass + 2, strike.second_fault());
  around_second_ = {!was_marked, is_marked(), made_a_request(trace_of(kSecond))};
  const std::vector<Site> fallen = calls_to_strike(kSecond);
  second_ = fallen.empty() ? Site() : fallen.back();
  std::string report = check_trouble(kSecond) + check_database();
  report += status != 128 + SIGKILL ? check_end(kSecond, status) : "";
  return report + (was_marked ? check_not_again(kSecond) : "");
}

std::string Bench::check_database() const {
  const std::string damage = damage_of_database(root(), folder_ + "/database");
  return damage.empty() ? "" : "  the configuration database: " + damage;
}

int Bench::quiet_run() {
  tell("/_fabric/advance", "{}");
  before_quiet_ = told_by_now(cloud_);
  return run(kQuiet, kRest, first_pass_ + kPass + 12, "");
}

std::string Bench::check_trouble(const std::string &name) const {
  std::string report;
  const std::string base = folder_ + "/" + name, errors = support::read_if_there(base + ".err");
  if (complains(errors)) {
    report += "  the " + name + " run says:\n" + errors.substr(0, 6000) + "\n";
  }
  if (finds_database_damaged(support::read_if_there(base + ".log"))) {
    report += "  the " + name + " run finds the configuration database damaged\n";
  }
  std::ifstream sites(base + ".sites");
  for (std::string line; std::getline(sites, line);) {
    if (line.rfind("open ", 0) == 0) {
      report += "  the " + name + " run leaves a file open: " + line.substr(5) + "\n";
    }
  }
  return report;
}

std::string Bench::trace_of(const std::string &name) const {
  return support::read_if_there(folder_ + "/" + name + ".trace");
}

std::string Bench::check_end(const std::string &name, int status) const {
  if (status != 0) {
    return "  the " + name + " run ends with " + std::to_string(status) + "\n";
  }
  return ended_in_time(trace_of(name)) ? "" : "  the " + name + " run ends by itself\n";
}

// Behind a struck run, in front of anything that comes to be meant.
void Bench::look_around(const Site &planned) {
  const char *last = is_restart_ ? "access(/data/etc/.provisioned)" : "open(/data/etc/.provisioned)";
  around_ = {in_front_of(last, undisturbed_, planned), is_marked(), made_a_request(trace_of(kStruck)), is_restart_};
}

// Whatever failed, it is never away from its loop for longer than the longest.
std::string Bench::check_wait(const Strike &strike) {
  const Waits waits = longest_waits(trace_of(kStruck));
  if (!within(waits, {0, 0}, kLongestWait)) {
    return "  the struck run waits for too long, in seconds: " + in_words(waits) + "\n";
  }
  const bool short_enough = !strike.leaves_a_loop() || within(waits, usual_waits_, kPause);
  return short_enough ? "" : not_meant(strike, {{"wait", in_words(usual_waits_) + " and one pause", in_words(waits)}});
}

std::string Bench::check_struck(const Strike &strike, int status) {
  const int expected = strike.kills() ? 128 + SIGKILL : 0;
  std::string report = check_trouble(kStruck);
  report += check_wait(strike);
  if (status == 0 && expected == 0) {
    report += check_end(kStruck, status);
  }
  if (is_restart_ && provisions_in_part(trace_of(kStruck))) {
    report += not_meant(strike, {{"first boot", "none", "once more"}});
  }
  if (status == -1) {
    report += kEndless;
  } else if (status != expected) {
    const std::string came = std::to_string(status);
    meant_["exit"] = prescribed_difference(strike, around_, {"exit", std::to_string(expected), came});
    report += meant_["exit"] != "" ? "" : "  the struck run ends with " + came + "\n";
  }
  return report;
}

// Provisioning is repeated whole when there is no marker, and never when there is one.
std::string Bench::check_quiet(int status, bool was_marked) const {
  std::string report = check_trouble(kQuiet) + check_end(kQuiet, status);
  const Waits waits = longest_waits(trace_of(kQuiet));
  if (!within(waits, usual_waits_, 0)) {
    report += "  the quiet run waits for too long, in seconds: " + in_words(waits) + "\n";
  }
  if (!reports_status(trace_of(kQuiet))) {
    report += "  the quiet run reports no status\n";
  }
  if (!was_marked && !provisions(trace_of(kQuiet))) {
    report += "  the quiet run does not provision\n";
  }
  return report + (was_marked ? check_not_again(kQuiet) : "");
}

std::string Bench::check_not_again(const std::string &name) const {
  return provisions_in_part(trace_of(name)) ? "  the " + name + " run provisions once more\n" : "";
}

std::vector<Difference> Bench::refused() const {
  return violations(Json::parse(cloud_.ask("/_fabric/journal")));
}

std::string Bench::check_outcome(const Strike &strike) {
  std::vector<Difference> all = differences(expected_, outcome_of(root(), scenario_, cloud_, before_quiet_));
  const std::vector<Difference> more = refused();
  all.insert(all.end(), more.begin(), more.end());
  return not_meant(strike, all);
}

std::string Bench::not_meant(const Strike &strike, const std::vector<Difference> &all) {
  std::string report;
  for (const Difference &one : all) {
    const Strike second = {protocol_, second_, strike.second_blow(), ""};
    std::string pattern = prescribed_difference(strike, around_, one);
    pattern = pattern.empty() ? prescribed_difference(second, around_second_, one) : pattern;
    // A restart moves no custom data, and no command runs where it is struck.
    if (pattern.empty() || (!is_restart_ && contradicted(one, all))) {
      report += "  " + one.place + ": expected " + one.expected + ", came " + one.came + "\n";
    } else {
      meant_[one.place + " = " + one.came] = pattern;
    }
  }
  return report;
}

// Whether the struck run asked what the platform wants in every pass behind the one that was struck.
bool Bench::goes_on(const Strike &strike) const {
  const std::string place =
      strike.fabric_fault().empty() ? kStruckLine : "request " + std::to_string(strike.site.number) + " ";
  const GoingOn found = going_on_behind(support::read_if_there(folder_ + "/struck.sites"), place);
  return found.asked && found.turns_without <= kPass + 1 && seconds_since_a_question(trace_of(kStruck)) <= kPass + 1;
}

// Plays the strike once more, for longer, and looks at what can be looked at right behind it.
std::string Bench::check_longer(const Site &planned, Strike &strike, int64_t longer) {
  std::string report;
  const int status = aimed_run(planned, strike, longer, report);
  look_around(planned);
  return report + check_struck(strike, status) + check_database() + not_meant(strike, refused());
}

// Plays a strike that fell in the last pass once more, with passes behind it.
std::string Bench::check_going_on(const Site &planned, Strike &strike) {
  const std::string report = check_longer(planned, strike, 2 * kPass);
  if (stopped_in_a_wait(trace_of(kStruck))) {
    return report + check_waits(planned, strike);
  }
  return goes_on(strike) ? report : report + kNoGoingOn;
}

// The agent must come back to its loop in time, again and again, and when one call failed it must go on there.
std::string Bench::check_waits(const Site &planned, Strike &strike) {
  const std::string report = check_longer(planned, strike, 2 * kLongestWait);
  return goes_on(strike) || !strike.leaves_questions() ? report : report + kNoGoingOn;
}

std::string Bench::play(const Strike &planned) {
  meant_ = Json::object();
  missed_ = "";
  second_ = Site();
  Strike strike = planned;
  std::string report;
  const int status = aimed_run(planned.site, strike, 0, report);
  look_around(planned.site);
  report += check_struck(strike, status) + check_database();
  const bool waits = status == 0 && stopped_in_a_wait(trace_of(kStruck));
  const bool known_to_go_on = status != 0 || !strike.leaves_questions() || goes_on(strike);
  if (!strike.second.empty()) {
    report += second_run(strike);
  }
  const bool was_marked = is_marked();
  report += check_quiet(quiet_run(), was_marked);
  report += check_outcome(strike);
  if (waits) {
    return report + check_waits(planned.site, strike);
  }
  return known_to_go_on ? report : report + check_going_on(planned.site, strike);
}

}  // namespace torture
