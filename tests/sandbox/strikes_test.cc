// Where a planned failure falls, and what it leaves undone.
#include <string>

#include "tests/sandbox/layer_fixture.h"

namespace layer {
namespace {

class Strikes : public Layer {
 protected:
  std::string sites_after(const std::string &deeds, const std::string &faults) {
    run(deeds, faults + " --sites " + (folder_ / "sites").string());
    return read(folder_ / "sites");
  }
};

size_t count(const std::string &text, const std::string &part) {
  size_t out = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++out;
  }
  return out;
}

TEST_F(Strikes, TheSitesTellWhereTheFirstOneFell) {
  const std::string once = sites_after("files", "--fault file::EIO:2");
  EXPECT_EQ(count(once, "file 2 access(/data/etc/x)\nstruck file 2 access(/data/etc/x)\n"), 1U) << once;
  const std::string again = sites_after("files", "--fault file::EIO:2+");
  EXPECT_EQ(count(again, "struck "), 1U) << again;
}

TEST_F(Strikes, AKillIsToldToo) {
  const std::string sites = sites_after("files", "--fault file::KILL:2");
  EXPECT_EQ(count(sites, "\nstruck file 2 access(/data/etc/x)\n"), 1U) << sites;
}

TEST_F(Strikes, WhatNeverFellIsNotTold) {
  EXPECT_EQ(count(sites_after("files", "--fault file::EIO:4000"), "struck"), 0U);
  EXPECT_EQ(count(sites_after("files", ""), "struck"), 0U);
}

TEST_F(Strikes, AnEventThatIsMadeToFailIsNotLogged) {
  EXPECT_NE(count(sites_after("event", ""), " in log_system_event("), 0U);
  const std::string sites = sites_after("event", "--fault platform::EIO:2");
  EXPECT_EQ(count(sites, "struck platform 2 log_system_event("), 1U) << sites;
  EXPECT_EQ(count(sites, " in log_system_event("), 0U) << sites;
}

// The rest follows with one call more.
TEST_F(Strikes, WhatThePlatformReadsAndWritesCanBeShort) {
  for (const std::string call : {" read(/cdrom/file)\n", " write(/data/etc/.kelvane-copy)\n"}) {
    files::remove_all(folder_ / "root");
    const std::string before = sites_after("disc", disc());
    const std::string to_call = before.substr(0, before.find(call));
    files::remove_all(folder_ / "root");
    const std::string fault = " --fault inside::SHORT:" + to_call.substr(to_call.rfind(' ') + 1);
    const std::string now = sites_after("disc", disc() + fault);
    EXPECT_EQ(count(now, call), count(before, call) + 2) << "it, and where it was struck\n" << now;
    EXPECT_EQ(read(folder_ / "root/data/etc/copy"), "on the disc");
  }
}

TEST_F(Strikes, AStartThatIsKilledWhileItMakesTheDebugRecordLeavesNoOtherFile) {
  int site = 0;
  bool struck = true;
  while (struck) {
    files::remove_all(folder_ / "root");
    struck = count(sites_after("exit", "--fault inside::KILL:" + std::to_string(++site)), "\nstruck ") == 1;
    EXPECT_EQ(run("exit", ""), 7);
    const files::directory_iterator names(folder_ / "root/run");
    EXPECT_EQ(std::distance(names, files::directory_iterator()), 1) << site;
  }
  EXPECT_LT(2, site);
}

}  // namespace
}  // namespace layer
