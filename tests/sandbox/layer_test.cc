// The wrapped calls, driven end to end.
#include <features.h>

#include <cstdio>
#include <regex>
#include <vector>

#include "tests/sandbox/layer_fixture.h"

namespace {

namespace files = std::filesystem;

using layer::Layer;
using layer::read;

TEST_F(Layer, FilesLieBelowTheRootAndTheTraceNamesThemAsTheyWereNamed) {
  EXPECT_EQ(run("files", ""), 3) << read(folder_ / "err");
  EXPECT_EQ(out_,
            "write 5\naccess 0\nstat 0\nsize 5\nrename 0\nsymlink 0\nmkdir 0\nfopen 1\nunlink 0\nmissing -1\nerrno "
            "1\n");
  EXPECT_EQ(trace_,
            "platform conf_init() = 0\n"
            "system open(\"/data/etc/x\", \"w\") = ok\n"
            "system close(\"/data/etc/x\") a second time\n"
            "system access(\"/data/etc/x\", F_OK) = 0\n"
            "system stat(\"/data/etc/x\") = 0\n"
            "system rename(\"/data/etc/x\", \"/data/etc/y\") = 0\n"
            "system symlink(\"/etc/zoneinfo/UTC\", \"/etc/localtime\") = 0\n"
            "system mkdir(\"/cdrom\", 0700) = 0\n"
            "system open(\"/data/etc/y\", \"r\") = ok\n"
            "system unlink(\"/data/etc/y\") = 0\n"
            "system open(\"/data/etc/y\", \"r\") = -1 ENOENT\n"
            "platform conf_end()\n"
            "exit 3\n");
  EXPECT_EQ(files::read_symlink(folder_ / "root/etc/localtime").string(), "/etc/zoneinfo/UTC");
  EXPECT_TRUE(files::is_directory(folder_ / "root/cdrom"));
}

TEST_F(Layer, PlannedFailuresHappenAndAreTraced) {
  run("files", "--fault 'open:/data/etc/y:EMFILE:1' --fault 'mkdir::EROFS:*'");
  EXPECT_EQ(out_,
            "write 5\naccess 0\nstat 0\nsize 5\nrename 0\nsymlink 0\nmkdir -1\nfopen 0\nunlink 0\nmissing -1\nerrno "
            "1\n");
  EXPECT_NE(trace_.find("system mkdir(\"/cdrom\", 0700) = -1 EROFS\n"), std::string::npos) << trace_;
  EXPECT_NE(trace_.find("system open(\"/data/etc/y\", \"r\") = -1 EMFILE\n"), std::string::npos) << trace_;
}

TEST_F(Layer, AFullDiscTakesNothingFromTheCallOn) {
  run("files", "--fault 'file:/data/etc/x:FULL:1'");
  EXPECT_EQ(out_,
            "write -1\naccess 0\nstat 0\nsize 0\nrename 0\nsymlink 0\nmkdir -1\nfopen 1\nunlink 0\nmissing "
            "-1\nerrno 1\n");
  EXPECT_NE(trace_.find("system mkdir(\"/cdrom\", 0700) = -1 ENOSPC\n"), std::string::npos) << trace_;
}

TEST_F(Layer, ADeadDiscGivesNothingFromTheCallOn) {
  run("files", "--fault 'file::DEAD:2'");
  EXPECT_EQ(out_,
            "write 5\naccess -1\nstat -1\nsize 0\nrename -1\nsymlink -1\nmkdir -1\nfopen 0\nunlink -1\nmissing "
            "-1\nerrno 0\n");
  EXPECT_NE(trace_.find("system rename(\"/data/etc/x\", \"/data/etc/y\") = -1 EIO\n"), std::string::npos) << trace_;
}

TEST_F(Layer, WhatThePlatformDoesOnAFullOrDeadDiscFailsToo) {
  for (const char *fault : {"FULL", "DEAD"}) {
    run("disc", disc() + " --media-type iso9660 --fault 'system:iso9660:" + fault + ":1'");
    EXPECT_NE(out_.find("\nfile 0\ncopy -1\n"), std::string::npos) << fault << out_;
  }
}

TEST_F(Layer, TheDiscIsAFolder) {
  run("disc", disc() + " --media-type iso9660");
  EXPECT_EQ(out_, "device 1\nudf -1\niso9660 0\nfile 0\ncopy 0\numount 0\nfile -1\ncopied 0\n");
  EXPECT_EQ(read(folder_ / "root/data/etc/copy"), "on the disc");
}

TEST_F(Layer, WithoutADiscTheDeviceDoesNotOpen) {
  run("disc", "");
  EXPECT_EQ(out_, "device 0\nudf -1\niso9660 -1\nfile -1\ncopy -1\numount -1\nfile -1\ncopied -1\n");
}

TEST_F(Layer, SleepsMoveTheVirtualClock) {
  run("clock", "--trace-times");
  EXPECT_EQ(out_, "time 1000\nsleep 0\ntime 1100\n");
  EXPECT_EQ(trace_, "[0] platform conf_init() = 0\n[0] sleep 100\n[100] platform conf_end()\n[100] exit 3\n");
}

TEST_F(Layer, AScaledClockRunsFaster) {
  run("clock", "--clock scaled:1000");
  long before = 0;
  long rest = -1;
  long after = 0;
  ASSERT_EQ(sscanf(out_.c_str(), "time %ld\nsleep %ld\ntime %ld\n", &before, &rest, &after), 3) << out_;
  EXPECT_GE(before, 1000);
  EXPECT_EQ(rest, 0);
  EXPECT_GE(after, before + 100);
}

TEST_F(Layer, TheRunStopsAtTheSleepThatReachesTheTime) {
  EXPECT_EQ(run("loop", "--stop-after 3"), 0) << read(folder_ / "err");
  EXPECT_EQ(trace_, "platform conf_init() = 0\nsleep 1\nsleep 1\nsleep 1\nstop\n");
}

TEST_F(Layer, ExitIsTraced) {
  EXPECT_EQ(run("exit", ""), 7);
  EXPECT_EQ(trace_, "platform conf_init() = 0\nexit 7\n");
}

TEST_F(Layer, ATestCommandOfTheScriptRaisesTheSignal) {
  run("signals", script(R"([{"at": 3, "command": 4}, {"at": 5, "command": 4}])"));
  EXPECT_EQ(out_, "signals 2\nother 0\n");
  EXPECT_EQ(trace_,
            "platform conf_init() = 0\nsystem sigaction(SIGUSR2, SA_RESTART) = 0\nsleep 10\n"
            "system kill(1, SIGTERM) = 0\nplatform conf_end()\nexit 3\n");
}

TEST_F(Layer, TheScriptChangesTheConfigurationWithoutATrace) {
  run("platform", script(R"([{"at": 0, "endpoint": "10.0.0.1"},
      {"at": 5, "set": {"table": 440, "key": "port1", "fields": {"AzureEndpoint": "168.63.129.16"}}}])"));
  EXPECT_EQ(out_, "endpoint 16777226\nendpoint 276905896\nwrite 0\n");
  EXPECT_EQ(trace_,
            "platform conf_init() = 0\n"
            "platform cmf_query_create(440) = query\n"
            "platform cmf_query_do_table_find(440, 0, \"port1\", 2) = record 1\n"
            "platform cmf_query_free(440)\n"
            "sleep 10\n"
            "platform cmf_query_create(440) = query\n"
            "platform cmf_query_do_table_find(440, 0, \"port1\", 2) = record 1\n"
            "platform cmf_query_free(440)\n"
            "platform cmf_get_cur_domain_id() = 1\n"
            "platform cmf_write_config(1) = 0\n"
            "log [kelvane]: a line\\nand \"another\"\\n\n"
            "platform conf_end()\n"
            "exit 3\n");
  EXPECT_EQ(read(folder_ / "log"), "[kelvane]: a line\nand \"another\"\n");
}

TEST_F(Layer, PlatformCallsFailByName) {
  run("platform", "--fault 'cmf_query_do_table_find:440,*:1:2' --fault 'cmf_write_config::1:*'");
  EXPECT_EQ(out_, "endpoint 0\nendpoint -1\nwrite -1\n");
}

TEST_F(Layer, AnEventThatCannotHappenEndsTheRunWithStatus3) {
  EXPECT_EQ(run("loop", "--stop-after 9" + script(R"([{"at": 1, "url": "http://127.0.0.1:1/"}])")), 3);
}

TEST_F(Layer, FilesOfTheScriptLieBelowTheRoot) {
  run("loop", "--stop-after 2" + script(R"([{"at": 1, "write": "/data/etc/z", "text": "new"}])"));
  EXPECT_EQ(read(folder_ / "root/data/etc/z"), "new");
}

TEST_F(Layer, AKillOfTheScriptIsReal) {
  run("loop", script(R"([{"at": 2, "kill": 9}])"));
  EXPECT_EQ(trace_, "platform conf_init() = 0\nsleep 1\nsleep 1\n");
}

TEST_F(Layer, TheMachineIsTheSameEverywhere) {
  run("machine", "--memory 512 --processors 4");
  EXPECT_EQ(out_, "MiB 512\nprocessors 4\nsethostname 0\ngate\n");
  EXPECT_EQ(read(folder_ / "root/etc/hostname"), "gate\n");
}

TEST_F(Layer, BadOptionsEndWithStatus2) {
  EXPECT_EQ(run("", "--clock never"), 2);
}

TEST_F(Layer, EverySiteIsToldWithItsClassAndNumber) {
  run("files", "--sites " + (folder_ / "sites").string());
  const std::string sites = read(folder_ / "sites");
  const size_t begin = sites.find("file 1 ");
  ASSERT_NE(begin, std::string::npos) << sites;
  EXPECT_EQ(sites.substr(0, sites.find('\n')), "platform 1 conf_init()");
  // What SQLite does when the database is closed is its own affair.
  EXPECT_EQ(std::regex_replace(sites.substr(begin), std::regex("database [^\n]*\n"), ""),
            "file 1 open(/data/etc/x)\n"
            "bytes 1 write(/data/etc/x)\n"
            "file 2 access(/data/etc/x)\n"
            "file 3 stat(/data/etc/x)\n"
            "file 4 rename(/data/etc/x)\n"
            "file 5 symlink(/etc/zoneinfo/UTC)\n"
            "file 6 mkdir(/cdrom)\n"
            "file 7 open(/data/etc/y)\n"
            "file 8 unlink(/data/etc/y)\n"
            "file 9 open(/data/etc/y)\n"
            "platform 2 conf_end()\n"
            "end 3\n");
}

TEST_F(Layer, TheSitesTellWhereItSlept) {
  run("clock", "--sites " + (folder_ / "sites").string());
  EXPECT_NE(read(folder_ / "sites").find("platform 1 conf_init()\n"), std::string::npos);
  EXPECT_NE(read(folder_ / "sites").find("sleep 100\nplatform 2 conf_end()\n"), std::string::npos)
      << read(folder_ / "sites");
}

TEST_F(Layer, WhateverIsLeftOpenIsTold) {
  run("open:/data/etc/x copy-of-stderr socket", "--sites " + (folder_ / "sites").string());
  const std::string sites = read(folder_ / "sites");
  const std::string end = sites.substr(sites.find("open "));
  EXPECT_TRUE(std::regex_match(end, std::regex("open /data/etc/x\nopen /[^\n]*/err\nopen socket:[^\n]*\nend 3\n")))
      << sites;
}

TEST_F(Layer, TheDatabaseMayStayOpen) {
  run("host exit", "--sites " + (folder_ / "sites").string());
  const std::string sites = read(folder_ / "sites");
  EXPECT_EQ(sites.find("\nopen "), std::string::npos) << sites;
  EXPECT_NE(sites.find("\nend 7\n"), std::string::npos) << sites;
}

TEST_F(Layer, AWriteCanBeShort) {
  run("files", "--fault bytes::SHORT:1");
  EXPECT_EQ(out_.substr(0, out_.find('\n')), "write 3");
}

TEST_F(Layer, AReadCanGiveHalfOfWhatThereIs) {
  run("put:/data/etc/x:abcdef print:/data/etc/x", "");
  EXPECT_EQ(out_, "put 6\nread 6 abcdef..\nread 0 ........\n");
  run("put:/data/etc/x:abcdef print:/data/etc/x", "--fault bytes::SHORT:2");
  EXPECT_EQ(out_, "put 6\nread 3 abc.....\nread 3 def.....\nread 0 ........\n");
}

TEST_F(Layer, ANumberThatCannotBeHeldIsASite) {
  const std::string sites = " --sites " + (folder_ / "sites").string();
  run("hold:/data/etc/x", sites);
  EXPECT_EQ(out_, "dup2 0\nEMFILE 0\n");
  EXPECT_NE(read(folder_ / "sites").find("\nsystem 1 dup2(/data/etc/x)\n"), std::string::npos)
      << read(folder_ / "sites");
  EXPECT_EQ(trace_.find("dup2"), std::string::npos) << trace_;
  run("hold:/data/etc/x", "--fault system::EMFILE:1");
  EXPECT_EQ(out_, "dup2 -1\nEMFILE 1\n");
  EXPECT_NE(trace_.find("system dup2(\"/data/etc/x\") fails as planned = EMFILE\n"), std::string::npos) << trace_;
}

TEST_F(Layer, WhatThePlatformDoesToFilesIsStruckWhereverTheyLie) {
  run("disc", disc() + " --sites " + (folder_ / "sites").string());
  const std::string sites = read(folder_ / "sites");
  EXPECT_NE(sites.find("open(/cdrom/file)\n"), std::string::npos) << sites;
  std::vector<const char *> calls = {"read(/cdrom/file)",
                                     "open(/data/etc/.kelvane-copy)",
                                     "lstat(/data/etc/.kelvane-copy)",
                                     "fchmod(/data/etc/.kelvane-copy)",
                                     "write(/data/etc/.kelvane-copy)",
                                     "fsync(/data/etc/.kelvane-copy)",
                                     "rename(/data/etc/.kelvane-copy)"};
#if __GLIBC_PREREQ(2, 33)
  calls.push_back("fstat(/cdrom/file)");  // no call of its own before
#endif
  for (const char *call : calls) {
    EXPECT_NE(sites.find(std::string(" ") + call + "\n"), std::string::npos) << call << "\n" << sites;
    const std::string rest = sites.substr(0, sites.find(std::string(" ") + call + "\n"));
    const std::string number = rest.substr(rest.rfind(' ') + 1);
    files::remove_all(folder_ / "root");
    run("disc", disc() + " --fault inside::EIO:" + number);
    EXPECT_NE(out_.find("copy -1\n"), std::string::npos) << call << "\n" << out_;
    EXPECT_FALSE(files::exists(folder_ / "root/data/etc/copy")) << call;
  }
}

TEST_F(Layer, AKillIsInFrontOfTheCall) {
  EXPECT_EQ(run("files", "--fault file::KILL:4"), 137);
  EXPECT_EQ(read(folder_ / "root/data/etc/x"), "hello");
  EXPECT_FALSE(files::exists(folder_ / "root/data/etc/y"));
}

TEST_F(Layer, ALossOfPowerTakesWhatWasNotSynced) {
  EXPECT_EQ(run("files", "--fault file::POWER:4"), 137);
  EXPECT_FALSE(files::exists(folder_ / "root/data/etc/x"));
}

TEST_F(Layer, ALossOfPowerLeavesWhatWasThereBefore) {
  files::create_directories(folder_ / "root/data/etc");
  std::ofstream(folder_ / "root/data/etc/x") << "from before";
  EXPECT_EQ(run("files", "--fault file::POWER:5"), 137);
  EXPECT_EQ(read(folder_ / "root/data/etc/x"), "from before");
  EXPECT_FALSE(files::exists(folder_ / "root/data/etc/y")) << "a rename is undone on both sides";
}

}  // namespace
