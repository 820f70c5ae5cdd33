// The disc that is full or dead from a moment on.
#include "tools/sandbox/failing_disc.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using sandbox::FailingDisc;

TEST(FailingDisc, IsSoundAtFirst) {
  const FailingDisc disc;
  EXPECT_EQ(disc.error_of("file", "open", "/data/etc/x"), 0);
  EXPECT_EQ(disc.error_of("bytes", "write", "/data/etc/x"), 0);
  EXPECT_EQ(disc.error_of("database", "write", "kelvane-config.db"), 0);
}

TEST(FailingDisc, WhenFullItTakesNoBytesAndNoFolderAndGivesWhatItHas) {
  FailingDisc disc;
  disc.fill();
  EXPECT_EQ(disc.error_of("bytes", "write", "/data/etc/x"), ENOSPC);
  EXPECT_EQ(disc.error_of("inside", "write", "/etc/tmpdata.conf"), ENOSPC);
  EXPECT_EQ(disc.error_of("database", "write", "kelvane-config.db-wal"), ENOSPC);
  EXPECT_EQ(disc.error_of("closing", "write", "kelvane-config.db"), ENOSPC);
  EXPECT_EQ(disc.error_of("file", "mkdir", "/data/etc/folder"), ENOSPC);
  EXPECT_EQ(disc.error_of("file", "open", "/data/etc/x"), 0);
  EXPECT_EQ(disc.error_of("file", "unlink", "/data/etc/x"), 0);
  EXPECT_EQ(disc.error_of("file", "rename", "/data/etc/x"), 0);
  EXPECT_EQ(disc.error_of("bytes", "read", "/data/etc/x"), 0);
  EXPECT_EQ(disc.error_of("database", "sync", "kelvane-config.db"), 0);
}

TEST(FailingDisc, WhenDeadItGivesNothing) {
  FailingDisc disc;
  disc.die();
  for (const char *call : {"open", "access", "unlink", "mkdir", "rename"}) {
    EXPECT_EQ(disc.error_of("file", call, "/data/etc/x"), EIO) << call;
  }
  EXPECT_EQ(disc.error_of("file", "mkdir", "/cdrom"), EIO);
  EXPECT_EQ(disc.error_of("bytes", "read", "/etc/x"), EIO);
  EXPECT_EQ(disc.error_of("inside", "fsync", "/data/etc/x"), EIO);
  EXPECT_EQ(disc.error_of("database", "read", "kelvane-config.db"), EIO);
  EXPECT_EQ(disc.error_of("closing", "sync", "kelvane-config.db"), EIO);
}

TEST(FailingDisc, WhatLiesElsewhereStaysAsItIs) {
  for (void (FailingDisc::*const fail)() : {&FailingDisc::fill, &FailingDisc::die}) {
    FailingDisc disc;
    (disc.*fail)();
    for (const char *path :
         {"/cdrom/ovf-env.xml", "/dev/sr0", "/proc/net/route", "/run/x", "/sys/x", "/tmp/x", "/var/run/kelvane.pid"}) {
      EXPECT_EQ(disc.error_of("bytes", "write", path), 0) << path;
      EXPECT_EQ(disc.error_of("file", "open", path), 0) << path;
    }
    EXPECT_EQ(disc.error_of("memory", "malloc", "17"), 0);
    EXPECT_EQ(disc.error_of("platform", "write", "/data/etc/x"), 0);
    EXPECT_EQ(disc.error_of("system", "mkdir", "/data"), 0);
    EXPECT_EQ(disc.error_of("request", "write", "/data"), 0);
  }
}

}  // namespace
