#include "core/base/file.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/refused_memory.h"
#include "tests/support/watched_memory.h"

extern "C" {
ssize_t __real_read(int descriptor, void *bytes, size_t size);
ssize_t __real_write(int descriptor, const void *bytes, size_t size);
ssize_t __wrap_read(int descriptor, void *bytes, size_t size);
ssize_t __wrap_write(int descriptor, const void *bytes, size_t size);
}

namespace {

int interrupts = 0;      // of the next reads and writes, so many are interrupted by a signal
size_t room = SIZE_MAX;  // bytes that the disk still takes
int reads_left = -1;     // until the disk fails; -1: it does not
std::vector<const void *> read_to;

bool interrupted() {
  if (interrupts == 0) {
    return false;
  }
  interrupts--;
  errno = EINTR;
  return true;
}

}  // namespace

ssize_t __wrap_read(int descriptor, void *bytes, size_t size) {
  if (interrupted()) {
    return -1;
  }
  if (reads_left == 0) {
    errno = EIO;
    return -1;
  }
  reads_left -= reads_left > 0 ? 1 : 0;
  read_to.push_back(bytes);
  return __real_read(descriptor, bytes, size);
}

ssize_t __wrap_write(int descriptor, const void *bytes, size_t size) {
  if (interrupted()) {
    return -1;
  }
  if (room == 0) {
    errno = ENOSPC;
    return -1;
  }
  const ssize_t written = __real_write(descriptor, bytes, std::min(size, room));
  room -= room != SIZE_MAX && written > 0 ? static_cast<size_t>(written) : 0;
  return written;
}

namespace {

using kelvane::BufferOwner;
using kelvane::DescriptorOwner;

TEST(File, ExistsAndIsReadable) {
  support::TempDir dir;
  const std::string path = dir.write("file", "");
  EXPECT_TRUE(kelvane::file_exists(path.c_str()));
  EXPECT_TRUE(kelvane::file_readable(path.c_str()));
  EXPECT_FALSE(kelvane::file_exists(dir.file("none").c_str()));
  EXPECT_FALSE(kelvane::file_readable(dir.file("none").c_str()));
}

TEST(File, DanglingLinkDoesNotExist) {
  support::TempDir dir;
  ASSERT_EQ(symlink("nowhere", dir.file("link").c_str()), 0);
  EXPECT_FALSE(kelvane::file_exists(dir.file("link").c_str()));
}

TEST(File, OpensToReadWithoutWaitingForAWriter) {
  support::TempDir dir;
  const DescriptorOwner file(kelvane::file_open_to_read(dir.write("file", "abc").c_str()));
  char bytes[4] = {};
  EXPECT_EQ(kelvane::file_read_full(file.get(), bytes, sizeof bytes), 3);
  EXPECT_EQ(fcntl(file.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(kelvane::file_open_to_read(dir.file("none").c_str()), -1);
  ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
  const DescriptorOwner pipe(kelvane::file_open_to_read(dir.file("pipe").c_str()));
  EXPECT_EQ(kelvane::file_read_full(pipe.get(), bytes, sizeof bytes), 0);
}

TEST(File, OpensToReplaceWithTheModeForANewOneAndNeverWaitsForAReader) {
  support::TempDir dir;
  const DescriptorOwner made(kelvane::file_open_to_replace(dir.file("new").c_str(), 0600));
  EXPECT_EQ(fcntl(made.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(support::mode_of(dir.file("new")), 0600);
  const DescriptorOwner replaced(kelvane::file_open_to_replace(dir.write("old", "abc").c_str(), 0600));
  EXPECT_EQ(kelvane::file_write_full(replaced.get(), "x", 1), 0);
  EXPECT_EQ(dir.read("old"), "x");
  ASSERT_EQ(mkfifo(dir.file("pipe").c_str(), 0600), 0);
  EXPECT_EQ(kelvane::file_open_to_replace(dir.file("pipe").c_str(), 0600), -1);
}

TEST(File, ReadsToTheEndUpToTheCap) {
  support::TempDir dir;
  const std::string bytes = std::string(40000, 'a') + '\0' + "b";
  DescriptorOwner file(open(dir.write("file", bytes).c_str(), O_RDONLY | O_CLOEXEC));
  BufferOwner out;
  EXPECT_EQ(kelvane::file_read_all(file.get(), bytes.size(), out.get()), 0);
  EXPECT_EQ(std::string(out.data(), out.length()), bytes);
  EXPECT_EQ(out.data()[out.length()], '\0');
  lseek(file.get(), 0, SEEK_SET);
  EXPECT_EQ(kelvane::file_read_all(file.get(), bytes.size() - 1, out.get()), kelvane::kFileTooLong);
  EXPECT_EQ(out.data(), nullptr);
}

class FileReadAll : public testing::Test {
 protected:
  FileReadAll() : file_(open(dir_.write("file", kBytes).c_str(), O_RDONLY | O_CLOEXEC)) {
    watched_memory::wiped.clear();
    read_to.clear();
  }
  ~FileReadAll() override { reads_left = -1; }

  int32_t read_all(uint64_t cap) { return kelvane::file_read_all(file_.get(), cap, out_.get()); }

  // 50,000 bytes, no part of which is like another.
  static const std::string kBytes;
  support::TempDir dir_;
  DescriptorOwner file_;
  BufferOwner out_;
};

const std::string FileReadAll::kBytes = [] {
  std::string bytes;
  for (int i = 10000; i < 20000; i++) {
    bytes += std::to_string(i);
  }
  return bytes;
}();

TEST_F(FileReadAll, ReadsStraightToWhereTheBytesStay) {
  dir_.write("file", "short");
  EXPECT_EQ(read_all(100), 0);
  EXPECT_EQ(read_to, (std::vector<const void *>{out_.data(), out_.data() + 5}));
  EXPECT_THAT(watched_memory::wiped, testing::IsEmpty());
}

TEST_F(FileReadAll, WhatIsMovedLeavesNothingBehind) {
  EXPECT_EQ(read_all(50000), 0);
  EXPECT_EQ(std::string(out_.data(), out_.length()), kBytes);
  EXPECT_EQ(watched_memory::wiped, (std::vector<std::string>{kBytes.substr(0, 16384), kBytes.substr(0, 32768)}));
}

TEST_F(FileReadAll, WhatIsTooLongLeavesNothingBehind) {
  EXPECT_EQ(read_all(20000), kelvane::kFileTooLong);
  EXPECT_EQ(out_.data(), nullptr);
  EXPECT_EQ(watched_memory::wiped, (std::vector<std::string>{kBytes.substr(0, 16384), kBytes.substr(0, 20001)}));
}

TEST_F(FileReadAll, WhatCannotBeReadOnLeavesNothingBehind) {
  reads_left = 1;
  EXPECT_EQ(read_all(20000), -1);
  EXPECT_EQ(out_.data(), nullptr);
  EXPECT_EQ(watched_memory::wiped, (std::vector<std::string>{kBytes.substr(0, 16384), kBytes.substr(0, 16384)}));
}

TEST_F(FileReadAll, WhatThereIsNoMoreMemoryForLeavesNothingBehind) {
  const refused_memory::Refusal refusal(32769);
  EXPECT_EQ(read_all(50000), kelvane::kFileNoMemory);
  EXPECT_EQ(out_.data(), nullptr);
  EXPECT_EQ(watched_memory::wiped, std::vector<std::string>{kBytes.substr(0, 16384)});
}

TEST(File, ReadsWhatFillsWholeBlocks) {
  support::TempDir dir;
  DescriptorOwner file(open(dir.write("file", std::string(32768, 'x')).c_str(), O_RDONLY | O_CLOEXEC));
  BufferOwner out;
  EXPECT_EQ(kelvane::file_read_all(file.get(), 32768, out.get()), 0);
  EXPECT_EQ(out.length(), 32768u);
}

TEST(File, EmptyFileAndBadDescriptor) {
  support::TempDir dir;
  DescriptorOwner file(open(dir.write("file", "").c_str(), O_RDONLY | O_CLOEXEC));
  BufferOwner out;
  kelvane::__makeBuffer(out.get(), "old");
  EXPECT_EQ(kelvane::file_read_all(file.get(), 10, out.get()), 0);
  EXPECT_TRUE(out.empty());
  kelvane::__makeBuffer(out.get(), "old");
  EXPECT_EQ(kelvane::file_read_all(-1, 10, out.get()), -1);
  EXPECT_EQ(out.data(), nullptr);
}

TEST(File, ShortReadsAndWritesGoOn) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  DescriptorOwner from(ends[0]);
  const std::string bytes(300000, 'p');
  std::thread writer([&] {
    EXPECT_EQ(kelvane::file_write_full(ends[1], bytes.data(), bytes.size()), 0);
    close(ends[1]);
  });
  std::string got(bytes.size() + 1, '\0');
  EXPECT_EQ(kelvane::file_read_full(from.get(), got.data(), got.size()), static_cast<int64_t>(bytes.size()));
  writer.join();
  got.resize(bytes.size());
  EXPECT_EQ(got, bytes);
}

TEST(File, InterruptedReadsAndWritesGoOn) {
  support::TempDir dir;
  const DescriptorOwner to(open(dir.write("file", "").c_str(), O_WRONLY | O_CLOEXEC));
  interrupts = 2;
  EXPECT_EQ(kelvane::file_write_full(to.get(), "abc", 3), 0);
  EXPECT_EQ(interrupts, 0);
  EXPECT_EQ(dir.read("file"), "abc");
  const DescriptorOwner from(open(dir.file("file").c_str(), O_RDONLY | O_CLOEXEC));
  char bytes[4] = {};
  interrupts = 2;
  EXPECT_EQ(kelvane::file_read_full(from.get(), bytes, sizeof bytes), 3);
  EXPECT_EQ(interrupts, 0);
  EXPECT_STREQ(bytes, "abc");
}

TEST(File, WhatThereIsNoMemoryForIsNotRead) {
  support::TempDir dir;
  const DescriptorOwner file(open(dir.write("file", std::string(1600, 'x')).c_str(), O_RDONLY | O_CLOEXEC));
  BufferOwner out;
  const refused_memory::Refusal refusal(2002);
  EXPECT_EQ(kelvane::file_read_all(file.get(), 2000, out.get()), kelvane::kFileNoMemory);
  EXPECT_EQ(out.data(), nullptr);
}

TEST(File, WriteFailureIsSeen) {
  support::TempDir dir;
  DescriptorOwner file(open(dir.write("file", "").c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(kelvane::file_write_full(file.get(), "x", 1), -1);
  EXPECT_EQ(kelvane::file_read_full(-1, nullptr, 1), -1);
}

TEST(File, CreatedFilesAreNewAndPrivate) {
  support::TempDir dir;
  const std::string path = dir.file("new");
  const mode_t mask = umask(0);
  EXPECT_EQ(kelvane::file_create_with(path.c_str(), "abc", 3), 0);
  umask(mask);
  EXPECT_EQ(dir.read("new"), "abc");
  EXPECT_EQ(support::mode_of(path), 0600);
  EXPECT_EQ(kelvane::file_create_with(path.c_str(), "x", 1), -1);
  EXPECT_EQ(dir.read("new"), "abc") << "an existing file stays";
}

TEST(File, CreationNeverFollowsALink) {
  support::TempDir dir;
  ASSERT_EQ(symlink(dir.file("target").c_str(), dir.file("link").c_str()), 0);
  EXPECT_EQ(kelvane::file_create_with(dir.file("link").c_str(), "x", 1), -1);
  EXPECT_FALSE(support::exists(dir.file("target")));
}

TEST(File, WhatCouldNotBeWrittenWholeIsRemoved) {
  support::TempDir dir;
  room = 2;
  EXPECT_EQ(kelvane::file_create_with(dir.file("new").c_str(), "abcdef", 6), -1);
  room = SIZE_MAX;
  EXPECT_FALSE(support::exists(dir.file("new")));
}

TEST(File, DescriptorsAreClosedOnce) {
  int number = -1;
  {
    DescriptorOwner file(open("/dev/null", O_RDONLY | O_CLOEXEC));
    number = file.get();
    EXPECT_TRUE(file.present());
    file.close_now();
    EXPECT_FALSE(file.present());
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
  }
  EXPECT_FALSE(DescriptorOwner().present());
}

}  // namespace
