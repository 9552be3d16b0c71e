#include <cstdlib>
#include <new>

#include "capture_test.h"

namespace {

thread_local bool t_memory_is_short = false;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = t_memory_is_short ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using ara::log::CreateLogger;

const char kLongText[] = "a text that is too long for a string to keep it in itself";

using MemoryTest = CaptureTest;

TEST_F(MemoryTest, ShortMemoryDropsAndCountsARecordThatIsWantedAndNoMore) {
  static int round = 0;
  const std::string new_id = "M" + std::to_string(++round);
  ara::log::LogStream stream = m_log.LogInfo();
  stream << "begins";
  t_memory_is_short = true;
  m_log.LogVerbose() << kLongText;  // below the threshold: nothing is stored, so nothing is missed
  stream << kLongText;
  CreateLogger(new_id, "").LogFatal() << "to a logger that writes nothing";
  t_memory_is_short = false;
  stream << "a record without its middle would mislead";
  stream.Flush();
  EXPECT_EQ(ara::log::host::DroppedRecords(), m_dropped_before + 1);
  CreateLogger(new_id, "").LogFatal() << "memory is back";
  EXPECT_THAT(m_sink->texts, testing::ElementsAre("memory is back"));
}

}  // namespace
