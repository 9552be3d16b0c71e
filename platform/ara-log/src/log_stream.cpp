// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <ara/log/log_stream.h>
#include <ara/log/logger.h>

#include <charconv>
#include <cstddef>
#include <utility>

#include "registry.h"

namespace ara::log {

using Kind = host::Argument::Kind;

LogStream::LogStream(LogLevel level, const Logger& logger) noexcept
    : m_logger(&logger), m_level(level), m_state(logger.IsEnabled(level) ? State::kEmpty : State::kSilent) {}

LogStream::~LogStream() { Flush(); }

LogStream::LogStream(LogStream&& other) noexcept
    : m_logger(other.m_logger),
      m_level(other.m_level),
      m_state(std::exchange(other.m_state, State::kSilent)),
      m_text(std::move(other.m_text)),
      m_arguments(std::move(other.m_arguments)) {}

LogStream& LogStream::operator=(LogStream&& other) noexcept {
  if (this == &other) return *this;
  Flush();
  m_logger = other.m_logger;
  m_level = other.m_level;
  m_state = std::exchange(other.m_state, State::kSilent);
  m_text = std::move(other.m_text);
  m_arguments = std::move(other.m_arguments);
  return *this;
}

void LogStream::Flush() noexcept {
  if (m_state == State::kSilent || m_state == State::kEmpty) return;
  host::Dispatcher& dispatcher = host::Registry::Instance().GetDispatcher();
  if (m_state == State::kLost) {
    dispatcher.CountDropped();
  } else {
    dispatcher.Dispatch({{},
                         {},
                         m_logger->m_context,
                         m_logger->m_description,
                         m_level,
                         std::move(m_text),
                         std::move(m_arguments)});
  }
  m_text.clear();
  m_arguments.clear();
  m_state = State::kEmpty;
}

/// The one place where an argument enters the record: `append` writes it to the end of a string.
template <typename AppendTo>
LogStream& LogStream::Put(Kind kind, AppendTo append) noexcept {
  if (m_state == State::kSilent || m_state == State::kLost) return *this;
  try {
    if (m_state == State::kGathered) m_text += ' ';
    const std::size_t begin = m_text.size();
    append(m_text);
    m_arguments.push_back({kind, m_text.size() - begin});
    m_state = State::kGathered;
  } catch (...) {
    m_state = State::kLost;
  }
  return *this;
}

template <typename Number>
LogStream& LogStream::PutNumber(Kind kind, Number value) noexcept {
  return Put(kind, [value](std::string& text) {
    char digits[32];  // the longest double has 24
    text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
  });
}

LogStream& LogStream::operator<<(bool value) noexcept {
  return Put(Kind::kBool, [value](std::string& text) { text += value ? "true" : "false"; });
}

LogStream& LogStream::operator<<(long long n) noexcept { return PutNumber(Kind::kSigned, n); }
LogStream& LogStream::operator<<(unsigned long long n) noexcept { return PutNumber(Kind::kUnsigned, n); }
LogStream& LogStream::operator<<(float value) noexcept { return PutNumber(Kind::kFloat, value); }
LogStream& LogStream::operator<<(double value) noexcept { return PutNumber(Kind::kDouble, value); }

LogStream& LogStream::operator<<(core::StringView text) noexcept {
  return Put(Kind::kText, [text](std::string& all) { all.append(text.data(), text.size()); });
}

LogStream& LogStream::operator<<(const char* text) noexcept {
  return *this << core::StringView(text == nullptr ? "(null)" : text);
}

LogStream& LogStream::operator<<(core::Span<const core::Byte> bytes) noexcept {
  return Put(Kind::kBytes, [bytes](std::string& text) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (const core::Byte byte : bytes) {
      text += kDigits[static_cast<unsigned>(byte) >> 4];
      text += kDigits[static_cast<unsigned>(byte) & 0xf];
    }
  });
}

}  // namespace ara::log
