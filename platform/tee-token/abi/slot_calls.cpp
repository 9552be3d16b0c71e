// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "abi/entry_point.h"

using namespace tee_token;

namespace {

struct TryFlags {
  CK_FLAGS low, final_try, locked;
};

CK_FLAGS flags_of_tries(std::uint8_t left, const TryFlags& flags) {
  return left == 0 ? flags.locked : left == 1 ? flags.final_try | flags.low : left == kTries ? 0 : flags.low;
}

CK_FLAGS token_flags(const Token& token, const TokenRecord& record) {
  const CK_FLAGS of_user =
      !record.user
          ? 0
          : CKF_USER_PIN_INITIALIZED |
                flags_of_tries(tries_left(token.folder(), User::kUser),
                               {CKF_USER_PIN_COUNT_LOW, CKF_USER_PIN_FINAL_TRY, CKF_USER_PIN_LOCKED});
  return CKF_TOKEN_INITIALIZED | of_user |
         flags_of_tries(tries_left(token.folder(), User::kSecurityOfficer),
                        {CKF_SO_PIN_COUNT_LOW, CKF_SO_PIN_FINAL_TRY, CKF_SO_PIN_LOCKED});
}

CK_TOKEN_INFO token_info(Module& module, Token& token) {
  CK_TOKEN_INFO info{};
  put_text(info.label, "");
  put_text(info.serialNumber, "");
  put_text(info.manufacturerID, "TEE token");
  put_text(info.model, "software");
  info.flags = CKF_RNG | CKF_LOGIN_REQUIRED | (token.folder().is_writable() ? 0UL : CKF_WRITE_PROTECTED);
  if (token.is_initialised()) {
    const TokenRecord record = token.record();
    std::copy_n(record.label.begin(), std::min(record.label.size(), sizeof info.label), info.label);
    std::copy_n(record.serial.begin(), std::min(record.serial.size(), sizeof info.serialNumber),
                info.serialNumber);
    info.flags |= token_flags(token, record);
    put_text(info.model, token.folder().device()->model());
  }
  info.ulMaxSessionCount = info.ulMaxRwSessionCount = CK_EFFECTIVELY_INFINITE;
  info.ulSessionCount = module.session_count(false);
  info.ulRwSessionCount = module.session_count(true);
  info.ulMaxPinLen = kMaxPinLength;
  info.ulMinPinLen = kMinPinLength;
  info.ulTotalPublicMemory = info.ulTotalPrivateMemory = CK_UNAVAILABLE_INFORMATION;
  info.ulFreePublicMemory = info.ulFreePrivateMemory = token.folder().free_bytes();
  info.hardwareVersion = info.firmwareVersion = {1, 0};
  return info;
}

}  // namespace

CK_RV C_GetSlotList(unsigned char token_present, CK_SLOT_ID* list, CK_ULONG* count) {
  return entry_point("C_GetSlotList", [&](Module& module) {
    const bool listed = token_present == CK_FALSE || module.token().is_present();
    give_list(std::vector<CK_SLOT_ID>(listed ? 1 : 0, kSlot), list, count);
  });
}

CK_RV C_GetSlotInfo(CK_SLOT_ID slot, CK_SLOT_INFO* info) {
  return entry_point("C_GetSlotInfo", [&](Module& module) {
    Module::require_slot(slot);
    *required(info) = CK_SLOT_INFO{};
    put_text(info->slotDescription, module.token().folder().path().c_str());
    put_text(info->manufacturerID, "TEE token");
    info->flags = CKF_REMOVABLE_DEVICE | (module.token().is_present() ? CKF_TOKEN_PRESENT : 0UL);
    info->hardwareVersion = info->firmwareVersion = {1, 0};
  });
}

CK_RV C_GetTokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
  return entry_point("C_GetTokenInfo",
                     [&](Module& module) { *required(info) = token_info(module, module.token_in(slot)); });
}

CK_RV C_GetMechanismList(CK_SLOT_ID slot, CK_MECHANISM_TYPE* list, CK_ULONG* count) {
  return entry_point("C_GetMechanismList", [&](Module& module) {
    module.token_in(slot);
    std::vector<CK_MECHANISM_TYPE> types;
    for (const Mechanism& mechanism : Mechanisms()) {
      types.push_back(mechanism.type);
    }
    give_list(types, list, count);
  });
}

CK_RV C_GetMechanismInfo(CK_SLOT_ID slot, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO* info) {
  return entry_point("C_GetMechanismInfo", [&](Module& module) {
    Token& token = module.token_in(slot);
    required(info);
    *info = info_of(mechanism_of(type));
    if (info->flags & CKF_GENERATE_KEY_PAIR && token.is_initialised()) {
      info->ulMaxKeySize = token.folder().device()->most_bits();
    }
  });
}

CK_RV C_WaitForSlotEvent(CK_FLAGS flags, CK_SLOT_ID* slot, void* reserved) {
  return entry_point("C_WaitForSlotEvent", [&](Module& module) {
    required(slot);
    if (reserved != nullptr) {
      throw Error(CKR_ARGUMENTS_BAD, "the last argument must be null");
    }
    if ((flags & CKF_DONT_BLOCK) == 0) {
      throw Error(CKR_FUNCTION_NOT_SUPPORTED, "the token cannot wait for a slot event: set CKF_DONT_BLOCK");
    }
    if (!module.take_slot_event()) {
      throw Error(CKR_NO_EVENT, "no token was inserted or removed");
    }
    *slot = kSlot;
  });
}

CK_RV C_InitToken(CK_SLOT_ID slot, unsigned char* pin, CK_ULONG pin_length, unsigned char* label) {
  return entry_point("C_InitToken", [&](Module& module) {
    Module::require_slot(slot);
    required(label);
    if (module.session_count(false) != 0) {
      throw Error(CKR_SESSION_EXISTS, "close all sessions first");
    }
    module.token().initialise(input(pin, pin_length), ByteView(label, sizeof CK_TOKEN_INFO::label));
  });
}

CK_RV C_InitPIN(CK_SESSION_HANDLE session, unsigned char* pin, CK_ULONG pin_length) {
  return entry_point("C_InitPIN", [&](Module& module) {
    module.session(session);
    if (!module.token().is_logged_in(User::kSecurityOfficer)) {
      throw Error(CKR_USER_NOT_LOGGED_IN, "the security officer must be logged in");
    }
    module.token().set_user_pin(input(pin, pin_length));
  });
}

CK_RV C_SetPIN(CK_SESSION_HANDLE session, unsigned char* old_pin, CK_ULONG old_length, unsigned char* new_pin,
               CK_ULONG new_length) {
  return entry_point("C_SetPIN", [&](Module& module) {
    if (!module.session(session).is_read_write()) {
      throw Error(CKR_SESSION_READ_ONLY, "a read-only session cannot change a PIN");
    }
    module.token().change_pin(input(old_pin, old_length), input(new_pin, new_length));
  });
}
