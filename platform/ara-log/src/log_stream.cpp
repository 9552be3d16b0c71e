// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <ara/log/log_stream.h>
#include <ara/log/logger.h>

#include <charconv>
#include <utility>

#include "registry.h"

namespace ara::log {

LogStream::LogStream(LogLevel level, const Logger& logger) noexcept
    : m_logger(&logger), m_level(level), m_state(logger.IsEnabled(level) ? State::kEmpty : State::kSilent) {}

LogStream::~LogStream() { Flush(); }

LogStream::LogStream(LogStream&& other) noexcept
    : m_logger(other.m_logger),
      m_level(other.m_level),
      m_state(std::exchange(other.m_state, State::kSilent)),
      m_text(std::move(other.m_text)) {}

LogStream& LogStream::operator=(LogStream&& other) noexcept {
  if (this == &other) return *this;
  Flush();
  m_logger = other.m_logger;
  m_level = other.m_level;
  m_state = std::exchange(other.m_state, State::kSilent);
  m_text = std::move(other.m_text);
  return *this;
}

void LogStream::Flush() noexcept {
  if (m_state == State::kSilent || m_state == State::kEmpty) return;
  host::Registry& registry = host::Registry::Instance();
  if (m_state == State::kLost) {
    registry.CountDropped();
  } else {
    registry.Write(*m_logger, m_level, std::move(m_text));
  }
  m_text.clear();
  m_state = State::kEmpty;
}

/// Adds one argument to the record: `append` appends it to a string.
template <typename AppendTo>
LogStream& LogStream::Put(AppendTo append) noexcept {
  if (m_state == State::kSilent || m_state == State::kLost) return *this;
  try {
    if (m_state == State::kCollecting) m_text += ' ';
    append(m_text);
    m_state = State::kCollecting;
  } catch (...) {
    m_state = State::kLost;
  }
  return *this;
}

template <typename Number>
LogStream& LogStream::PutNumber(Number value) noexcept {
  return Put([value](std::string& text) {
    char digits[32];  // the longest double has 24
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
  });
}

LogStream& LogStream::operator<<(bool value) noexcept {
  return Put([value](std::string& text) { text += value ? "true" : "false"; });
}

LogStream& LogStream::operator<<(long long n) noexcept { return PutNumber(n); }
LogStream& LogStream::operator<<(unsigned long long n) noexcept { return PutNumber(n); }
LogStream& LogStream::operator<<(float value) noexcept { return PutNumber(value); }
LogStream& LogStream::operator<<(double value) noexcept { return PutNumber(value); }

LogStream& LogStream::operator<<(core::StringView text) noexcept {
  return Put([text](std::string& all) { all.append(text.data(), text.size()); });
}

LogStream& LogStream::operator<<(const char* text) noexcept {
  return *this << core::StringView(text == nullptr ? "(null)" : text);
}

LogStream& LogStream::operator<<(core::Span<const core::Byte> bytes) noexcept {
  return Put([bytes](std::string& text) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (const core::Byte byte : bytes) {
      text += kDigits[static_cast<unsigned>(byte) >> 4];
      text += kDigits[static_cast<unsigned>(byte) & 0xf];
    }
  });
}

}  // namespace ara::log
