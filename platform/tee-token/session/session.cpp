// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "session/session.h"

namespace tee_token {
namespace {

/// The first characters of a label. Bytes that are not printable ASCII are written as \xNN.
std::string printable(const Bytes& label) {
  constexpr char kDigits[] = "0123456789abcdef";
  constexpr std::size_t kLongest = 64;
  std::string text;
  for (const std::uint8_t byte : label) {
    if (text.size() >= kLongest) {
      return text + "...";
    }
    if (byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\') {
      text += static_cast<char>(byte);
    } else {
      text += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return text;
}

/// Most labels are a group and an index of four bytes, little-endian: 10_101. Others are text.
std::string shown_label(const Bytes& label) {
  if (label.size() != 5 || label[0] >= 0x20) {
    return '"' + printable(label) + '"';
  }
  const CK_ULONG index =
      label[1] | CK_ULONG{label[2]} << 8 | CK_ULONG{label[3]} << 16 | CK_ULONG{label[4]} << 24;
  return std::to_string(label[0]) + "_" + std::to_string(index);
}

}  // namespace

CK_SESSION_INFO Session::info() const {
  const CK_STATE state = m_token.is_logged_in(User::kSecurityOfficer) ? CKS_RW_SO_FUNCTIONS
                         : m_token.is_logged_in(User::kUser)
                             ? (m_read_write ? CKS_RW_USER_FUNCTIONS : CKS_RO_USER_FUNCTIONS)
                         : m_read_write ? CKS_RW_PUBLIC_SESSION
                                        : CKS_RO_PUBLIC_SESSION;
  return {0, state, CKF_SERIAL_SESSION | (m_read_write ? CKF_RW_SESSION : 0UL), 0};
}

std::string Session::description_of(CK_OBJECT_HANDLE object, CK_RV code) {
  const std::string number = "object " + std::to_string(object);
  if (code == CKR_DEVICE_ERROR || code == CKR_DEVICE_REMOVED) {
    return number;
  }
  try {
    const Attributes found = m_token.require(object);
    return std::string(name_of_class(found.number(CKA_CLASS))) + " " + shown_label(found.at(CKA_LABEL)) +
           " (" + number + ")";
  } catch (const std::exception&) {
    return number;
  }
}

void Session::require_idle() const {
  if (!std::holds_alternative<std::monostate>(m_operation)) {
    throw Error(CKR_OPERATION_ACTIVE, "another operation is active in this session");
  }
}

void Session::require_may_write(Place place) const {
  if (place == Place::kToken && !m_read_write) {
    throw Error(CKR_SESSION_READ_ONLY, "a read-only session cannot change objects of the token");
  }
}

void Session::require_may_change(const Attributes& object) const {
  if (creator() != Creator::kSecurityOfficer && belongs_to_officer(object)) {
    throw Error(CKR_ACTION_PROHIBITED,
                "only the security officer can change or destroy trusted objects and trust store groups");
  }
}

Creator Session::creator() const {
  return m_token.is_logged_in(User::kSecurityOfficer) ? Creator::kSecurityOfficer : Creator::kAnyone;
}

}  // namespace tee_token
