// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "dlt_message.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <new>
#include <string_view>

namespace ara::log::host {

namespace {

using Kind = Argument::Kind;

constexpr std::size_t kMostArguments = UINT8_MAX;   // the message has one byte for their number
constexpr std::size_t kMostBytes = UINT16_MAX - 1;  // libdlt counts in 16 bits, and one more for a zero byte

template <typename Number, typename... Base>
Number NumberOf(std::string_view digits, Base... base) {
  Number number{};
  std::from_chars(digits.data(), digits.data() + digits.size(), number, base...);
  return number;
}

DltReturnValue WriteText(DltContextData& message, std::string_view text) {
  const auto size = static_cast<std::uint16_t>(std::min(text.size(), kMostBytes));
  return dlt_user_log_write_sized_utf8_string(&message, text.data(), size);
}

DltReturnValue WriteBytes(DltContextData& message, std::string_view digits) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(digits.size() / 2);
  for (; !digits.empty(); digits.remove_prefix(2)) {
    bytes.push_back(NumberOf<std::uint8_t>(digits.substr(0, 2), 16));
  }
  if (bytes.size() > kMostBytes) return DLT_RETURN_USER_BUFFER_FULL;
  return dlt_user_log_write_raw(&message, bytes.data(), static_cast<std::uint16_t>(bytes.size()));
}

DltReturnValue WriteArgument(DltContextData& message, Kind kind, std::string_view text) {
  switch (kind) {
    case Kind::kText:
      return WriteText(message, text);
    case Kind::kBool:
      return dlt_user_log_write_bool(&message, text == "true");
    case Kind::kSigned:
      return dlt_user_log_write_int64(&message, NumberOf<std::int64_t>(text));
    case Kind::kUnsigned:
      return dlt_user_log_write_uint64(&message, NumberOf<std::uint64_t>(text));
    case Kind::kFloat:
      return dlt_user_log_write_float32(&message, NumberOf<float>(text));
    case Kind::kDouble:
      return dlt_user_log_write_float64(&message, NumberOf<double>(text));
    case Kind::kBytes:
      return WriteBytes(message, text);
  }
  return DLT_RETURN_ERROR;
}

bool WriteArguments(DltContextData& message, const Record& record) noexcept try {
  if (record.arguments.empty() || record.arguments.size() > kMostArguments) return false;
  std::string_view rest = record.text;
  for (const Argument& argument : record.arguments) {
    if (WriteArgument(message, argument.kind, rest.substr(0, argument.size)) < DLT_RETURN_OK) return false;
    rest.remove_prefix(std::min(rest.size(), argument.size + 1));
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace

void FillMessage(DltContextData& message, const Record& record) noexcept {
  if (WriteArguments(message, record)) return;
  message.size = 0;
  message.args_num = 0;
  WriteText(message, record.text);
}

}  // namespace ara::log::host
