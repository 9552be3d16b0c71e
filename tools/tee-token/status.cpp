// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_slot.h>

#include <iostream>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "shared/shown_text.h"
#include "store/token_record.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Json = nlohmann::ordered_json;

struct PinFlags {
  CK_FLAGS set, low, final_try, locked;
};
constexpr PinFlags kUser = {CKF_USER_PIN_INITIALIZED, CKF_USER_PIN_COUNT_LOW, CKF_USER_PIN_FINAL_TRY,
                            CKF_USER_PIN_LOCKED},
                   kOfficer = {CKF_TOKEN_INITIALIZED, CKF_SO_PIN_COUNT_LOW, CKF_SO_PIN_FINAL_TRY,
                               CKF_SO_PIN_LOCKED};

std::string pin_state(CK_FLAGS flags, const PinFlags& pin) {
  return (flags & pin.set) == 0         ? "not set"
         : (flags & pin.locked) != 0    ? "locked"
         : (flags & pin.final_try) != 0 ? "set, one try left"
         : (flags & pin.low) != 0       ? "set, wrong tries since the last login"
                                        : "set";
}

/// A text of PKCS#11 is padded with blanks.
template <typename Text>
std::string text_of(const Text& padded) {
  const std::string text(std::begin(padded), std::end(padded));
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

sqlite3_int64 number(tee_token::Database& store, const char* sql) {
  tee_token::Query query = store.query(sql);
  query.step();
  return query.number(0);
}

/// What only the platform's token says: more than PKCS#11 does.
void add_store(Json& status, const tee_token::DeviceFolder& folder) {
  tee_token::Database store(folder.file("token.db"));
  status["folder"] = folder.path();
  status["store_version"] = number(store, "PRAGMA user_version");
  status["user_tries_left"] = tee_token::tries_left(folder, tee_token::User::kUser);
  status["officer_tries_left"] = tee_token::tries_left(folder, tee_token::User::kSecurityOfficer);
  status["objects"] = number(store, "SELECT count(*) FROM object");
}

Json status_of(const Target& target) {
  OpenSlot open(target, true);
  const TokenInfo info = open.slot().get_token_info();
  if ((info.flags & CKF_TOKEN_INITIALIZED) == 0) {
    throw PKCS11_ReturnError(ReturnValue::TokenNotRecognized);
  }
  Json status = {{"label", text_of(info.label)},
                 {"serial", text_of(info.serialNumber)},
                 {"model", text_of(info.model)},
                 {"write_protected", (info.flags & CKF_WRITE_PROTECTED) != 0},
                 {"user_pin", pin_state(info.flags, kUser)},
                 {"officer_pin", pin_state(info.flags, kOfficer)}};
  if (is_platforms(target)) {
    add_store(status, tee_token::DeviceFolder::of_environment());
  }
  return status;
}

/// "user PIN" of "user_pin".
std::string name_of(std::string key) {
  for (const auto& [from, to] : {std::pair{"_pin", " PIN"}, {"_", " "}}) {
    for (std::size_t at = 0; (at = key.find(from)) != std::string::npos;) {
      key.replace(at, std::string(from).size(), to);
    }
  }
  return key;
}

}  // namespace

void status(const Target& target, bool json) {
  const Json status = status_of(target);
  if (json) {
    std::cout << status.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    return;
  }
  for (const auto& [key, value] : status.items()) {
    std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    text = text == "true" ? "yes" : text == "false" ? "no" : shown_text::shown(text);
    const std::string name = name_of(key);
    std::cout << name << std::string(20 - name.size(), ' ') << text << "\n";
  }
}

}  // namespace tee_token_admin
