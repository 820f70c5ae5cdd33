#include "core/base/buffer.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "tests/support/recording_fixture.h"
#include "tests/support/refused_memory.h"

namespace {

using kelvane::Buffer;
using kelvane::BufferOwner;

TEST(Buffer, IsMadeFromATextWithoutItsTerminator) {
  BufferOwner buffer;
  kelvane::__makeBuffer(buffer.get(), "abc");
  EXPECT_STREQ(buffer.data(), "abc");
  EXPECT_EQ(buffer.length(), 3u);
}

TEST(Buffer, IsAHeapCopy) {
  char text[] = "abc";
  BufferOwner buffer;
  kelvane::__makeBuffer(buffer.get(), text);
  text[0] = 'X';
  EXPECT_STREQ(buffer.data(), "abc");
}

TEST(Buffer, MakingFreesWhatWasThere) {
  BufferOwner buffer;
  kelvane::__makeBuffer(buffer.get(), "a longer text");
  kelvane::__makeBuffer(buffer.get(), "b");
  EXPECT_STREQ(buffer.data(), "b");
  EXPECT_EQ(buffer.length(), 1u);
  kelvane::__makeBuffer(buffer.get(), nullptr);
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.length(), 0u);
}

TEST(Buffer, FreedIsNullAndZero) {
  BufferOwner buffer;
  kelvane::__makeBuffer(buffer.get(), "abc");
  kelvane::__freeBuffer(buffer.get());
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.length(), 0u);
  kelvane::__freeBuffer(buffer.get());
  EXPECT_EQ(buffer.data(), nullptr);
}

TEST(Buffer, IsEmptyWhenThereIsNoMemoryForTheCopy) {
  BufferOwner buffer;
  kelvane::__makeBuffer(buffer.get(), "old");
  const refused_memory::Refusal refusal(1501);
  kelvane::__makeBuffer(buffer.get(), std::string(1500, 'x').c_str());
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.length(), 0u);
}

TEST(Buffer, NoRecordIsNoOperation) {
  kelvane::__makeBuffer(nullptr, "abc");
  kelvane::__freeBuffer(nullptr);
}

TEST(Buffer, EmptyTextIsPresentAndEmpty) {
  BufferOwner buffer;
  kelvane::__makeBuffer(buffer.get(), "");
  ASSERT_NE(buffer.data(), nullptr);
  EXPECT_TRUE(buffer.empty());
}

TEST(ReceiveCallback, AppendsAndKeepsTheZeroBehind) {
  BufferOwner buffer;
  char first[] = {'a', 'b', '\0', 'c'};
  char second[] = {'d', 'e'};
  EXPECT_EQ(kelvane::event_curl_recv_cb(first, 2, 2, buffer.get()), 2u) << "the count, not the bytes";
  EXPECT_EQ(kelvane::event_curl_recv_cb(second, 1, 2, buffer.get()), 2u);
  EXPECT_EQ(buffer.length(), 6u);
  EXPECT_EQ(std::string(buffer.data(), 7), std::string("ab\0cde\0", 7));
}

TEST(ReceiveCallback, NothingIsZero) {
  BufferOwner buffer;
  char data[] = "x";
  EXPECT_EQ(kelvane::event_curl_recv_cb(data, 1, 0, buffer.get()), 0u);
  EXPECT_EQ(buffer.data(), nullptr);
}

TEST(ReceiveCallback, OverflowIsRefusedAndTheBufferStays) {
  BufferOwner buffer;
  kelvane::__makeBuffer(buffer.get(), "abc");
  char data[] = "x";
  EXPECT_EQ(kelvane::event_curl_recv_cb(data, SIZE_MAX / 2, 3, buffer.get()), 0u);
  EXPECT_EQ(kelvane::event_curl_recv_cb(data, 1, SIZE_MAX - 3, buffer.get()), 0u);
  EXPECT_EQ(kelvane::event_curl_recv_cb(data, 1, SIZE_MAX, buffer.get()), 0u);
  EXPECT_STREQ(buffer.data(), "abc");
  EXPECT_EQ(buffer.length(), 3u);
}

class ReceiveCallbackCap : public RecordingTest {};

// 32 MiB, and not a byte more.
TEST_F(ReceiveCallbackCap, AResponseHasABoundAndOneLineTellsOfIt) {
  recording::set_debug_level(1);
  BufferOwner buffer;
  std::string half(16777216, 'x');
  EXPECT_EQ(kelvane::event_curl_recv_cb(half.data(), 1, 16777216, buffer.get()), 16777216u);
  EXPECT_EQ(kelvane::event_curl_recv_cb(half.data(), 4096, 4096, buffer.get()), 4096u);
  EXPECT_EQ(buffer.length(), 33554432u);
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(kelvane::event_curl_recv_cb(half.data(), 1, 1, buffer.get()), 0u);
  EXPECT_EQ(buffer.length(), 33554432u);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: a response is over a cap and is not taken: bytes\n"});
  recording::set_debug_level(0);
  recording::clear_trace();
  BufferOwner empty;
  std::string over(33554433, 'x');
  EXPECT_EQ(kelvane::event_curl_recv_cb(over.data(), 1, 33554433, empty.get()), 0u);
  EXPECT_EQ(empty.data(), nullptr);
  EXPECT_EQ(recording::messages(), Lines{});
}

}  // namespace
