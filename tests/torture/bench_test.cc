// The judges of a play, each before an agent that does the one thing it is there for: a shell script stands in for the
// sandbox, and writes what a sandbox would have written.
#include "tests/torture/bench.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "tests/support/files.h"

namespace torture {
namespace {

namespace files = std::filesystem;

// A good agent, but for what the files "before" and "after" beside it say: the one is read before it writes anything,
// the other behind that. Its loop looks every 25 seconds; each run has the sites platform 1 to 3.
constexpr char kAgent[] = R"sh(#!/bin/bash
umask 022
here=$(dirname "$0")
while (($# > 0)); do
  case $1 in
    --trace-times) shift ;;
    *) name=${1#--} && declare "${name//-/_}=$2" && shift 2 ;;
  esac
done
run=$(basename "$trace" .trace)
marker=$root/data/etc/.provisioned
call1='conf_init()' call2='nCfg_query(100)' call3='cmf_query_update(100)'
struck=${fault##*:} struck=${struck%+} provisions=$([[ -e $marker ]] || echo yes) marks=yes
first_wait=0 passes=yes questions=yes status=0
[[ ! -e $here/before ]] || source "$here/before"
{
  for ((number = 1; number <= 3; number++)); do
    call=call$number
    echo "platform $number ${!call}"
    [[ $struck != "$number" ]] || echo "struck platform $number ${!call}"
  done
  [[ -z $provisions ]] || echo "file 1 open(/data/etc/.provisioned)"
  requests=0
  for ((second = 0; second < stop_after; second++)); do
    echo "sleep 1"
    if ((second % 25 == 1)) && [[ $passes$questions == yesyes ]]; then
      echo "request $((++requests)) request(http://a/machine/?comp=goalstate)"
    fi
  done
} >"$sites"
{
  [[ -z $provisions ]] || echo "[0] request POST http://a/machine/?comp=health = 0 200"
  for ((second = first_wait; second < stop_after; second++)); do
    echo "[$second] sleep 1"
    if ((second % 25 == 1)) && [[ $passes == yes ]]; then
      [[ $questions != yes ]] || echo "[$second] request GET http://a/machine/?comp=goalstate = 0 200"
      echo "[$second] request PUT http://a/status/blob = 0 201"
    fi
  done
  echo "[$stop_after] stop"
} >"$trace"
: >"$log"
[[ -z $provisions || $marks != yes ]] || echo >"$marker"
[[ ! -e $here/after ]] || source "$here/after"
exit "$status"
)sh";

class Judges : public testing::Test {
 protected:
  Judges() {
    folder_.write("agent", kAgent);
    files::permissions(folder_.file("agent"), files::perms(0700));
    folder_.write("wire.json", R"({
      "fabric": {"tenant": {}, "goalStates": [{}]},
      "appliance": {},
      "torture": {"first_pass": 25, "waits": "0 before the loop, 1 in it", "reaches": {"/files/.provisioned": "\n"}}
    })");
  }

  Bench &bench(const char *name = "wire") {
    if (bench_ == nullptr) {
      const Programs programs = {folder_.file("agent"), KELVANE_FABRIC, folder_.path()};
      bench_ = std::make_unique<Bench>(programs, name, folder_.file("bench"));
    }
    return *bench_;
  }

  // What is told of a play in which the agent does this.
  std::string play(const char *before, const std::string &after, const char *blow = "EIO", const char *second = "") {
    Bench &its = bench();
    folder_.write("before", before);
    folder_.write("after", after);
    const std::string report = its.play({"wire", {"platform", 2, "nCfg_query(100)"}, blow, second});
    folder_.write("before", "");
    folder_.write("after", "");
    return report;
  }

  support::TempDir folder_;
  std::unique_ptr<Bench> bench_;
};

constexpr char kKilled[] = "[[ $run != struck ]] || status=137";

TEST_F(Judges, NothingIsSaidOfAGoodAgent) {
  EXPECT_EQ(play("", ""), "");
  EXPECT_EQ(play("", kKilled, "KILL"), "");
  EXPECT_EQ(bench().missed(), "");
  EXPECT_EQ(bench().meant(), Json::object());
}

TEST_F(Judges, TheStartBehindAKillMayBeKilledToo) {
  constexpr char kBothKilled[] = "[[ $run == quiet ]] || status=137";
  EXPECT_EQ(play("", kBothKilled, "KILL", "platform:1:KILL"), "");
  EXPECT_EQ(bench().second(), "conf_init()");
  EXPECT_EQ(play("[[ $run != second ]] || struck=", kKilled, "KILL", "platform:1:KILL"), "") << "it ends before that";
  EXPECT_EQ(bench().second(), "");
  EXPECT_EQ(play("[[ $run != second ]] || provisions=yes", kBothKilled, "KILL", "platform:1:KILL"),
            "  the second run provisions once more\n");
  EXPECT_EQ(play("", "[[ $run != second ]] || echo 'ERROR: LeakSanitizer' >&2;" + std::string(kBothKilled), "KILL",
                 "platform:1:KILL"),
            "  the second run says:\nERROR: LeakSanitizer\n\n");
}

TEST_F(Judges, EveryRunIsLookedAtForTrouble) {
  EXPECT_EQ(play("", "[[ $run != struck ]] || echo 'ERROR: AddressSanitizer: heap-use-after-free' >&2"),
            "  the struck run says:\nERROR: AddressSanitizer: heap-use-after-free\n\n");
  EXPECT_EQ(play("", "[[ $run != quiet ]] || echo 'ERROR: LeakSanitizer: detected memory leaks' >&2"),
            "  the quiet run says:\nERROR: LeakSanitizer: detected memory leaks\n\n");
  EXPECT_EQ(play("", "[[ $run != struck ]] || echo 'open /tmp/x' >>\"$sites\""),
            "  the struck run leaves a file open: /tmp/x\n");
  EXPECT_EQ(play("", "[[ $run != quiet ]] || echo 'The configuration database is damaged' >>\"$log\""),
            "  the quiet run finds the configuration database damaged\n");
}

TEST_F(Judges, ARunEndsAsItIsToEnd) {
  EXPECT_EQ(play("", "[[ $run != struck ]] || status=134"), "  the struck run ends with 134\n");
  EXPECT_EQ(play("", "[[ $run != quiet ]] || status=1"), "  the quiet run ends with 1\n");
  EXPECT_EQ(play("", "[[ $run != struck ]] || echo '[77] exit 0' >>\"$trace\""), "  the struck run ends by itself\n");
  EXPECT_EQ(play("", "[[ $run != quiet ]] || echo '[62] exit 0' >>\"$trace\""), "  the quiet run ends by itself\n");
  EXPECT_EQ(play("", "", "KILL"), "  the struck run ends with 0\n");
}

TEST_F(Judges, ARunComesToItsLoopInTime) {
  EXPECT_EQ(play("[[ $run != struck ]] || first_wait=10", ""), "");
  EXPECT_EQ(play("[[ $run != struck ]] || first_wait=11", ""),
            "  wait: expected 0 before the loop, 1 in it and one pause, came 11 before the loop, 1 in it\n");
  EXPECT_EQ(play("[[ $run != struck ]] || first_wait=11", "", "FULL"), "") << "the disc stays full";
  EXPECT_EQ(play("[[ $run != struck ]] || first_wait=900", "", "FULL"), "");
  EXPECT_EQ(play("[[ $run != struck ]] || first_wait=901", "", "FULL"),
            "  the struck run waits for too long, in seconds: 901 before the loop, 1 in it\n");
  EXPECT_EQ(play("[[ $run != quiet ]] || first_wait=1", ""),
            "  the quiet run waits for too long, in seconds: 1 before the loop, 1 in it\n");
}

// The second half of the run is struck once more, for longer, before that is said.
TEST_F(Judges, TheStruckRunGoesOnAsking) {
  constexpr char kNoGoingOn[] = "  the struck run does not go on\n";
  EXPECT_EQ(play("[[ $run != struck ]] || questions=no", ""), kNoGoingOn);
  EXPECT_EQ(play("[[ $run != struck ]] || questions=no", "", "FULL"), kNoGoingOn);
  EXPECT_EQ(play("[[ $run != struck ]] || questions=no", "", "ENOMEM+"), "") << "nothing can be asked";
  EXPECT_EQ(bench().missed(), "");
}

TEST_F(Judges, TheQuietRunDoesItsWork) {
  EXPECT_EQ(play("[[ $run != quiet ]] || passes=no", ""), "  the quiet run reports no status\n");
  EXPECT_EQ(
      play("",
           "[[ $run != quiet ]] || echo '[0] system sethostname(\"x\", 1) = 0' | cat - \"$trace\" >\"$trace.new\" &&\n"
           "mv \"$trace.new\" \"$trace\""),
      "  the quiet run provisions once more\n");
  EXPECT_EQ(play("[[ $run != struck ]] || marks=no; [[ $run != quiet ]] || provisions=", ""),
            "  the quiet run does not provision\n"
            "  /names/data/etc/.provisioned: expected \"file 0644\", came nothing\n"
            "  /files/.provisioned: expected \"\\n\", came \"absent\"\n");
}

TEST_F(Judges, TheOutcomeIsThatOfTheUndisturbedRun) {
  EXPECT_EQ(play("", "[[ $run != struck ]] || echo x >\"$root/data/etc/.customdata\""),
            "  /files/.customdata: expected \"absent\", came \"x\\n\"\n"
            "  /names/data/etc/.customdata: expected nothing, came \"file 0644\"\n");
  const std::string report = play("", "[[ $run != struck ]] || echo no database >\"$root/data/etc/kelvane-config.db\"");
  EXPECT_NE(report.find("  the configuration database: it cannot be read: file is not a database\n"), report.npos)
      << report;
}

TEST_F(Judges, AStrikeThatFallsElsewhereIsTold) {
  EXPECT_EQ(play("call2='nCfg_query(440)'", ""), "");
  EXPECT_EQ(bench().missed(),
            "nCfg_query(440) for the time no. 1 behind 0 requests, not on nCfg_query(100) for the time no. 1 behind 0 "
            "requests");
  EXPECT_EQ(play("struck=", ""), "  the struck run does not go on\n") << "behind nothing";
  EXPECT_EQ(bench().missed(), "nothing");
  EXPECT_EQ(play("if [[ $run == struck && ! -e \"$here/once\" ]]; then touch \"$here/once\"; call2='nCfg_query(440)';"
                 "echo 'ERROR: LeakSanitizer' >&2; fi",
                 ""),
            "  the struck run says:\nERROR: LeakSanitizer\n\n")
      << "trouble counts wherever it fell";
  EXPECT_EQ(bench().missed(), "");
}

TEST_F(Judges, AnUndisturbedRunThatIsInTroubleIsNoMeasure) {
  folder_.write("after", "status=1");
  EXPECT_THROW(bench(), std::runtime_error);
  folder_.write("after", "[[ $run != struck ]] || rm \"$marker\"");
  EXPECT_THROW(bench(), std::runtime_error) << "it does not reach what the scenario says";
  folder_.write("after", "");
  folder_.write("before", "first_wait=1");
  EXPECT_THROW(bench(), std::runtime_error) << "it waits longer than the scenario says";
  folder_.write("before", "");
  EXPECT_NO_THROW(bench());
}

TEST_F(Judges, ARestartIsStruckInItsFirstPassAndProvisionsNothing) {
  EXPECT_EQ(bench("wire-restart").undisturbed().size(), 7U) << "three calls and a question in each of four passes";
  EXPECT_EQ(bench().to_strike().size(), 4U);
  EXPECT_EQ(play("", ""), "");
  EXPECT_EQ(play("[[ $run != struck ]] || provisions=yes", ""), "  first boot: expected none, came once more\n");
}

}  // namespace
}  // namespace torture
