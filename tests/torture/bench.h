// One protocol on the bench: a fabric that is reset between plays, a template of the appliance, and what an undisturbed
// run ends in. A play is a run that is struck, then one that is not, then the comparison. The run is a first boot, or,
// under the name "PROTOCOL-restart", the start behind one: it finds the marker, its saved status, and a goal state that
// it knows. Blocks for seconds; throws std::runtime_error when it cannot go on.
#ifndef KELVANE_TESTS_TORTURE_BENCH_H
#define KELVANE_TESTS_TORTURE_BENCH_H

#include <string>
#include <vector>

#include "tests/torture/outcome.h"
#include "tests/torture/prescribed.h"
#include "tests/torture/strike.h"
#include "tests/torture/trace.h"

namespace torture {

struct Programs {
  std::string sandbox;
  std::string fabric;
  std::string scenarios;  // the folder of wire.json and metadata.json
};

class Bench {
 public:
  // Plays the undisturbed run.
  Bench(const Programs &programs, const std::string &protocol, const std::string &folder);

  const std::string &protocol() const { return protocol_; }
  // The sites of an undisturbed run: what a plan is made of, and what a strike's place is known by.
  const std::vector<Site> &undisturbed() const { return undisturbed_; }
  // Those of them that are struck: all of a first boot; of a restart what comes in front of the second pass, which is
  // the same then as behind a first boot.
  const std::vector<Site> &to_strike() const { return to_strike_; }
  // Measures strikes by the undisturbed run that they were planned by; the bench's own may differ by a realloc.
  void measure_by(const std::vector<Site> &planned) { undisturbed_ = planned; }

  // Empty when the agent came through, else what went wrong. The files of the play stay until the next one.
  std::string play(const Strike &strike);

  // Empty when the strike of the last play fell where it was planned to fall, each time that it was run; else what it
  // fell on. A second kill may fall anywhere: the start that it ends is another one after every first.
  const std::string &missed() const { return missed_; }

  // The call at which the second kill of the last play fell; empty when it had none, or it did not fall.
  const std::string &second() const { return second_.call; }

  // What differed after the last play and is meant to, each place with the row that says so.
  const Json &meant() const { return meant_; }

 private:
  std::string root() const { return folder_ + "/root"; }
  std::string missing() const;
  void make_ready();
  void boot_template();
  void tell(const std::string &path, const std::string &body) const;
  int run(const std::string &name, int64_t begin, int64_t length, const std::string &fault) const;
  int struck_run(const std::string &fault, int64_t longer = 0) const;
  int strike_run(const Strike &strike, int64_t longer);
  std::vector<Site> calls_to_strike(const std::string &name) const;
  std::vector<Site> calls_to_strike(const Strike &strike) const;
  int aimed_run(const Site &planned, Strike &strike, int64_t longer, std::string &report);
  std::string trace_of(const std::string &name) const;
  std::string check_end(const std::string &name, int status) const;
  bool goes_on(const Strike &strike) const;
  std::string check_longer(const Site &planned, Strike &strike, int64_t longer);
  std::string check_going_on(const Site &planned, Strike &strike);
  std::string check_waits(const Site &planned, Strike &strike);
  bool is_marked() const;
  std::string second_run(const Strike &strike);
  std::string check_database() const;
  int quiet_run();
  void look_around(const Site &planned);
  std::string check_wait(const Strike &strike);
  std::string check_struck(const Strike &strike, int status);
  std::string check_quiet(int status, bool was_marked) const;
  std::string check_not_again(const std::string &name) const;
  std::vector<Difference> refused() const;
  std::string not_meant(const Strike &strike, const std::vector<Difference> &all);
  std::string check_outcome(const Strike &strike);
  std::string check_trouble(const std::string &name) const;

  Programs programs_;
  std::string protocol_;
  bool is_restart_ = false;
  std::string folder_;
  Json scenario_;
  int64_t first_pass_ = 0;
  Waits usual_waits_;  // of the undisturbed run
  scenario::Cloud cloud_;
  std::vector<Site> undisturbed_, to_strike_;
  Circumstances around_;         // of the last struck run
  Circumstances around_second_;  // of the start that the second kill ended
  Site second_;                  // where that was
  Told before_quiet_;
  Json expected_;
  Json meant_;
  std::string missed_;
};

}  // namespace torture

#endif
