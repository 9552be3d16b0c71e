// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <cstdint>
#include <limits>
#include <utility>

#include "capture_test.h"

namespace {

using ara::core::Byte;
using ara::core::StringView;
using ara::log::LogStream;
using testing::ElementsAre;
using testing::IsEmpty;

using StreamTest = CaptureTest;

TEST_F(StreamTest, JoinsArgumentsOfEveryTypeByBlanks) {
  const std::vector<Byte> bytes{Byte{0x00}, Byte{0x0f}, Byte{0xa0}};
  const char* const null = nullptr;
  m_log.LogInfo() << true << false << std::int8_t{-65} << std::uint8_t{200} << std::int16_t{-300}
                  << std::uint16_t{60000} << -70000 << 4000000000U << std::numeric_limits<std::int64_t>::min()
                  << std::numeric_limits<std::uint64_t>::max() << -1LL << 2ULL << 0.1F << -2.5e-300;
  m_log.LogInfo() << "literal" << std::string("text") << StringView("viewed", 4) << bytes << null << ""
                  << "end";
  EXPECT_THAT(m_sink->texts,
              ElementsAre("true false -65 200 -300 60000 -70000 4000000000 -9223372036854775808 "
                          "18446744073709551615 -1 2 0.1 -2.5e-300",
                          "literal text view 000fa0 (null)  end"));
}

TEST_F(StreamTest, WritesOneRecordAFlushAndNoneForNothing) {
  {
    LogStream stream = m_log.LogInfo();
    stream.Flush();
    stream << "first" << 1;
    EXPECT_THAT(m_sink->texts, IsEmpty());
    stream.Flush();
    EXPECT_THAT(m_sink->texts, ElementsAre("first 1"));
    stream << "second";
    stream.Flush();
    m_log.LogInfo() << "";
  }
  EXPECT_THAT(m_sink->texts, ElementsAre("first 1", "second", ""));
}

TEST_F(StreamTest, MovedFromStreamWritesNothingAndTheOtherEverything) {
  {
    LogStream source = m_log.LogInfo();
    source << "a";
    LogStream target = std::move(source);
    source << "lost";
    LogStream replaced(ara::log::LogLevel::kError, m_log);
    replaced << "before";
    replaced = std::move(target);
    replaced << "b";
  }
  EXPECT_THAT(m_sink->texts, ElementsAre("before", "a b"));
  EXPECT_EQ(m_sink->records.back().level, ara::log::LogLevel::kInfo);
}

}  // namespace
