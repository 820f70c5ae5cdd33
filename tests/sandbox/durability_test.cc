// What a loss of power takes and what it leaves. The strike is in front of the access to "/end".
#include <map>
#include <set>
#include <vector>

#include "tests/sandbox/layer_fixture.h"

namespace {

namespace files = std::filesystem;

using layer::Layer;
using layer::read;
using Found = std::set<std::string>;

constexpr int kLosses = 16;  // enough for every outcome that a test names

class Durability : public Layer {
 protected:
  // The deeds, then loss of power `number`, on an appliance that has these files already.
  void lose(int number, const std::string &deeds, const std::map<std::string, std::string> &before = {}) {
    clear();
    for (const auto &[name, text] : before) {
      files::create_directories((folder_ / "root" / name).parent_path());
      std::ofstream(folder_ / "root" / name) << text;
    }
    EXPECT_EQ(run(deeds + " access:/end", "--fault access:/end:POWER" + std::to_string(number) + ":1"), 137)
        << read(folder_ / "err");
  }
  // The database may stay: to make it takes longer than everything else.
  void clear() {
    std::vector<files::path> names;
    for (const char *folder : {"data/etc", "etc", "tmp", "run", "var/run"}) {
      std::error_code none;
      for (const auto &entry : files::directory_iterator(folder_ / "root" / folder, none)) {
        names.push_back(entry.path());
      }
    }
    for (const files::path &name : names) {
      if (name.filename().string().rfind("kelvane-config", 0) != 0) {
        files::remove_all(name);
      }
    }
  }
  std::string left(const std::string &name) const {
    const files::path file = folder_ / "root" / name;
    return files::exists(files::symlink_status(file)) ? "'" + read(file) + "'" : "absent";
  }
  // What many losses leave of it.
  Found all_left(const std::string &name, const std::string &deeds, const std::map<std::string, std::string> &before) {
    Found out;
    for (int number = 0; number < kLosses; ++number) {
      lose(number, deeds, before);
      out.insert(left(name));
    }
    return out;
  }
};

TEST_F(Durability, WhatIsNotSyncedIsGone) {
  lose(0, "put:/data/etc/x:text");
  EXPECT_EQ(left("data/etc/x"), "absent");
}

TEST_F(Durability, AnOldFileIsBack) {
  lose(0, "put:/data/etc/x:text unlink:/data/etc/y", {{"data/etc/x", "old"}, {"data/etc/y", "there"}});
  EXPECT_EQ(left("data/etc/x"), "'old'");
  EXPECT_EQ(left("data/etc/y"), "'there'");
}

TEST_F(Durability, ASyncedFileInAFolderThatIsNotIsGone) {
  lose(0, "put:/data/etc/x:text fsync:/data/etc/x");
  EXPECT_EQ(left("data/etc/x"), "absent");
}

TEST_F(Durability, AFileInASyncedFolderThatIsNotSyncedItselfIsEmpty) {
  lose(0, "put:/data/etc/x:text fsync:/data/etc");
  EXPECT_EQ(left("data/etc/x"), "''");
}

TEST_F(Durability, TheFirstLossOfAnotherKindKeepsTheNamesAlone) {
  lose(1, "put:/data/etc/x:text put:/data/etc/y:text rename:/data/etc/z:/data/etc/w",
       {{"data/etc/y", "old"}, {"data/etc/z", "moved"}});
  EXPECT_EQ(left("data/etc/x"), "''");
  EXPECT_EQ(left("data/etc/y"), "''");
  EXPECT_EQ(left("data/etc/z"), "absent");
  EXPECT_EQ(left("data/etc/w"), "'moved'");
}

TEST_F(Durability, WhatIsSyncedStaysInEveryLoss) {
  EXPECT_EQ(all_left("data/etc/x", "put:/data/etc/x:text fsync:/data/etc/x fsync:/data/etc", {}), Found{"'text'"});
  EXPECT_EQ(all_left("data/etc/x", "put:/data/etc/x:text sync", {{"data/etc/x", "old"}}), Found{"'text'"});
  EXPECT_EQ(all_left("data/etc/x", "unlink:/data/etc/x fsync:/data/etc", {{"data/etc/x", "old"}}), Found{"absent"});
}

TEST_F(Durability, AFileThatIsWrittenAnewMayBeOldNewCutOrEmpty) {
  EXPECT_EQ(all_left("data/etc/x", "put:/data/etc/x:text", {{"data/etc/x", "old"}}),
            (Found{"'old'", "'text'", "'te'", "''"}));
}

TEST_F(Durability, AFileThatIsRemovedAndMadeAgainMayBeGone) {
  EXPECT_EQ(all_left("data/etc/x", "unlink:/data/etc/x put:/data/etc/x:text", {{"data/etc/x", "old"}}),
            (Found{"'old'", "'text'", "'te'", "''", "absent"}));
}

TEST_F(Durability, WhatIsWrittenAfterTheSyncIsNotSynced) {
  lose(0, "put-in-two:/data/etc/x:text:more fsync:/data/etc");
  EXPECT_EQ(left("data/etc/x"), "'text'");
}

TEST_F(Durability, ARenameIsUndoneOnBothSidesOrOnNeither) {
  Found pairs;
  for (int number = 0; number < kLosses; ++number) {
    lose(number, "rename:/etc/x:/data/etc/y", {{"etc/x", "text"}});
    pairs.insert(left("etc/x") + " " + left("data/etc/y"));
  }
  EXPECT_EQ(pairs, (Found{"'text' absent", "absent 'text'"}));
}

TEST_F(Durability, ASyncedFolderKeepsARenameOfWhatIsNotSynced) {
  lose(0, "put:/data/etc/x:new rename:/data/etc/x:/data/etc/y fsync:/data/etc", {{"data/etc/y", "old"}});
  EXPECT_EQ(left("data/etc/x"), "absent");
  EXPECT_EQ(left("data/etc/y"), "''");
}

TEST_F(Durability, OfTwoChangesEachMayBeTheOneThatStays) {
  Found pairs;
  for (int number = 0; number < kLosses; ++number) {
    lose(number, "unlink:/data/etc/x unlink:/data/etc/y", {{"data/etc/x", "first"}, {"data/etc/y", "second"}});
    pairs.insert(left("data/etc/x") + " " + left("data/etc/y"));
  }
  EXPECT_EQ(pairs, (Found{"'first' 'second'", "absent 'second'", "'first' absent", "absent absent"}));
}

TEST_F(Durability, AChangeThatFailsIsNone) {
  lose(1, "unlink:/data/etc/x rename:/data/etc/x:/data/etc/y put:/data/none/z:text");
  EXPECT_EQ(left("data/etc/x"), "absent");
  EXPECT_EQ(left("data/etc/y"), "absent");
  EXPECT_EQ(left("data/none/z"), "absent");
}

TEST_F(Durability, ATruncateThatFailsIsNone) {
  lose(1, "truncate:/data/etc/x:4");
  EXPECT_EQ(left("data/etc/x"), "absent");
}

// It is there already.
TEST_F(Durability, AFileThatCannotBeMadeAnewIsNotCut) {
  EXPECT_EQ(all_left("data/etc/x", "put-new:/data/etc/x", {{"data/etc/x", "old"}}), Found{"'old'"});
}

TEST_F(Durability, ASymbolicLinkComesAndGoes) {
  lose(0, "symlink:/etc/zoneinfo/UTC:/etc/localtime");
  EXPECT_EQ(left("etc/localtime"), "absent");
  lose(1, "symlink:/etc/zoneinfo/UTC:/etc/localtime");
  EXPECT_EQ(files::read_symlink(folder_ / "root/etc/localtime").string(), "/etc/zoneinfo/UTC");
}

TEST_F(Durability, WhatIsInMemoryIsAlwaysGone) {
  for (const char *name : {"tmp/x", "run/x", "var/run/x"}) {
    lose(1, "put:/" + std::string(name) + ":text sync");
    EXPECT_EQ(left(name), "absent") << name;
  }
}

TEST_F(Durability, ACopyOfThePlatformsIsThereWholeOrNotAtAll) {
  lose(0, "copy:/etc/x:/data/etc/y", {{"etc/x", "text"}});
  EXPECT_EQ(left("data/etc/y"), "'text'");
  for (int number = 0; number < 4; ++number) {
    int site = 0;
    bool killed = true;
    while (killed) {
      clear();
      std::ofstream(folder_ / "root/etc/x") << "text";
      const std::string fault = "inside::POWER" + std::to_string(number) + ":" + std::to_string(++site);
      killed = run("copy:/etc/x:/data/etc/y", "--fault " + fault) == 137;
      EXPECT_TRUE(left("data/etc/y") == "'text'" || (killed && left("data/etc/y") == "absent"))
          << fault << left("data/etc/y");
    }
    EXPECT_LT(11, site);
  }
}

// ---- the process after a killed one ---------------------------------------------------------------------------------

class AfterAKill : public Durability {
 protected:
  // The deeds and a kill, then other deeds and loss of power `number`.
  void kill_and_lose(const std::string &deeds, int number, const std::string &more) {
    const std::string kept = "--unsynced " + (folder_ / "unsynced").string() + " --fault access:/end:";
    EXPECT_EQ(run(deeds + " access:/end", kept + "KILL:1"), 137) << read(folder_ / "err");
    EXPECT_EQ(run(more + " access:/end", kept + "POWER" + std::to_string(number) + ":1"), 137) << read(folder_ / "err");
  }
};

TEST_F(AfterAKill, WhatTheKilledOneDidNotSyncIsGone) {
  kill_and_lose("put:/data/etc/x:text", 0, "put:/data/etc/y:text");
  EXPECT_EQ(left("data/etc/x"), "absent");
  EXPECT_EQ(left("data/etc/y"), "absent");
  EXPECT_FALSE(files::exists(folder_ / "unsynced")) << "after the loss nothing is unsynced";
}

TEST_F(AfterAKill, WhatTheKilledOneChangedIsAsItWasBefore) {
  files::create_directories(folder_ / "root/data/etc");
  std::ofstream(folder_ / "root/data/etc/x") << "old";
  std::ofstream(folder_ / "root/data/etc/y") << "\xff\x00there";
  const std::string there = left("data/etc/y");
  kill_and_lose("put:/data/etc/x:text unlink:/data/etc/y symlink:/etc/zoneinfo/UTC:/etc/localtime", 0, "");
  EXPECT_EQ(left("data/etc/x"), "'old'");
  EXPECT_EQ(left("data/etc/y"), there);
  EXPECT_EQ(left("etc/localtime"), "absent");
}

TEST_F(AfterAKill, WhatTheNextOneSyncsStays) {
  kill_and_lose("put:/data/etc/x:text put:/data/etc/y:text", 0,
                "fsync:/data/etc/x fsync:/data/etc put:/data/etc/z:text");
  EXPECT_EQ(left("data/etc/x"), "'text'");
  EXPECT_EQ(left("data/etc/y"), "''");
  EXPECT_EQ(left("data/etc/z"), "absent");
}

TEST_F(AfterAKill, TheDatabasesFilesAreAmongIt) {
  const std::string file = "data/etc/kelvane-config.db-other";
  kill_and_lose("unsynced:word", 0, "");
  EXPECT_EQ(left(file), "''");
  files::remove(folder_ / "root" / file);
  kill_and_lose("unsynced:word", 0, "sync");
  EXPECT_NE(left(file).find("word"), std::string::npos);
}

// ---- the database ------------------------------------------------------------------------------------------------

class DatabaseLoss : public Durability {
 protected:
  // An appliance that has a database with the name "before", and the numbers of what is done to it afterwards.
  DatabaseLoss() {
    EXPECT_EQ(run("name:before", ""), 3) << read(folder_ / "err");
    files::rename(folder_ / "root", folder_ / "prepared");
    begin();
    EXPECT_EQ(run("name:after", "--sites " + (folder_ / "sites").string()), 3);
    std::ifstream sites(folder_ / "sites");
    std::string name, call;
    std::vector<int> syncs;  // of the log's head, of what is in it, and so on
    for (int number = 0; sites >> name >> number && std::getline(sites, call);) {
      if (name == "database" && call.rfind(" sync(kelvane-config.db-wal in ", 0) == 0) {
        syncs.push_back(number);
      }
    }
    log_sync_ = syncs.size() > 1 ? syncs[1] : 0;
    EXPECT_GT(log_sync_, 0) << read(folder_ / "sites");
  }
  void begin() {
    files::remove_all(folder_ / "root");
    files::copy(folder_ / "prepared", folder_ / "root", files::copy_options::recursive);
  }
  // Renames the host and loses the power in front of this call.
  void lose_at(int site, int number) {
    begin();
    EXPECT_EQ(run("name:after", "--fault database::POWER" + std::to_string(number) + ":" + std::to_string(site)), 137);
  }
  std::string log() const { return read(folder_ / "root/data/etc/kelvane-config.db-wal"); }
  std::string host() {
    EXPECT_EQ(run("host", ""), 3) << read(folder_ / "err");
    return out_;
  }

  int log_sync_ = 0;
};

TEST_F(DatabaseLoss, WhatIsNotSyncedIsGone) {
  lose_at(log_sync_, 0);
  EXPECT_EQ(log().size(), 32U) << "its head was synced before";
  EXPECT_EQ(host(), "host before\n");
}

TEST_F(DatabaseLoss, WhatIsSyncedStays) {
  for (int number = 0; number < 4; ++number) {
    begin();
    EXPECT_EQ(run("name:after access:/end", "--fault access:/end:POWER" + std::to_string(number) + ":1"), 137);
    EXPECT_EQ(host(), "host after\n") << number;
  }
}

TEST_F(DatabaseLoss, ASyncOfEverythingSyncsItToo) {
  const std::string file = "data/etc/kelvane-config.db-other";
  begin();
  EXPECT_EQ(run("unsynced:word access:/end", "--fault access:/end:POWER:1"), 137) << read(folder_ / "err");
  EXPECT_EQ(left(file), "''");
  begin();
  EXPECT_EQ(run("unsynced:word sync access:/end", "--fault access:/end:POWER:1"), 137);
  EXPECT_NE(left(file).find("word"), std::string::npos);
}

// A write-ahead log: a head of 32 bytes, then frames of 24 bytes and a page.
constexpr size_t kPage = 4096;
TEST_F(DatabaseLoss, LaterWritesMayStayWithoutEarlierOnesAndInPart) {
  begin();
  EXPECT_EQ(run("name:after", "--fault database::KILL:" + std::to_string(log_sync_)), 137);
  const std::string whole = log();
  ASSERT_GT(whole.size(), 32U + 24U);
  bool reordered = false, torn = false;
  for (int number = 1; number < kLosses; ++number) {
    lose_at(log_sync_, number);
    const std::string there = log();
    reordered = reordered || (there.size() > 56 && there.substr(32, 24) == std::string(24, '\0'));
    torn = torn || there.size() == whole.size() - kPage / 2;
    const std::string name = host();
    EXPECT_TRUE(name == "host before\n" || name == "host after\n") << number << " " << name;
  }
  EXPECT_TRUE(reordered);
  EXPECT_TRUE(torn);
}

// In a run of the agent's the log is put into the database only at the end; after months of it, in between.
TEST_F(DatabaseLoss, WhatWasWrittenStaysWhereverACheckpointIsCutOff) {
  const std::string deeds = "checkpoints names:12";
  begin();
  EXPECT_EQ(run(deeds, "--sites " + (folder_ / "sites").string()), 3) << read(folder_ / "err");
  std::vector<int> written;  // the calls that change the database's files
  std::ifstream sites(folder_ / "sites");
  std::string name, call;
  bool in_between = false;
  for (int number = 0; sites >> name >> number && std::getline(sites, call);) {
    if (name == "database" && call.rfind(" read", 0) != 0) {
      written.push_back(number);
      in_between = in_between || call.rfind(" write(kelvane-config.db in ", 0) == 0;
    }
  }
  EXPECT_TRUE(in_between) << "no checkpoint";
  for (size_t at = 0; at < written.size(); ++at) {
    begin();
    const std::string fault = "database::POWER" + std::to_string(at % 4) + ":" + std::to_string(written[at]);
    ASSERT_EQ(run(deeds, "--fault " + fault), 137) << fault;
    const std::string done = "cmf_write_config(1) = 0";
    int names = 0;
    for (size_t found = trace_.find(done); found != std::string::npos; found = trace_.find(done, found + 1)) {
      ++names;
    }
    const std::string before = names == 0 ? "before" : "n" + std::to_string(names);
    const std::string came = host();
    EXPECT_TRUE(came == "host " + before + "\n" || came == "host n" + std::to_string(names + 1) + "\n")
        << fault << ": after " << names << " names came " << came;
  }
}

TEST_F(DatabaseLoss, ItsEndIsAPlaceToBeKilledAtToo) {
  begin();
  run("name:after exit", "--sites " + (folder_ / "sites").string());
  EXPECT_NE(read(folder_ / "sites").find("\nclosing 1 "), std::string::npos) << read(folder_ / "sites");
  for (int number = 0; number < 4; ++number) {
    for (const int site : {1, 3, 5}) {
      begin();
      const std::string fault = "closing::POWER" + std::to_string(number) + ":" + std::to_string(site);
      EXPECT_EQ(run("name:after exit", "--fault " + fault), 137) << fault;
      EXPECT_EQ(host(), "host after\n") << fault;
    }
  }
}

}  // namespace
