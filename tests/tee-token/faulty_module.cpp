// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// libfaultymodule.so: the platform's token, with the fault that FAULTY_MODULE names.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "tee_token/vendor_interface.h"

namespace {

using Handle = CK_OBJECT_HANDLE;
using Session = CK_SESSION_HANDLE;

CK_FUNCTION_LIST real;    // the token's
CK_FUNCTION_LIST faulty;  // its copy, and what a fault has put in
TEE_FUNCTION_LIST real_vendor;
TEE_FUNCTION_LIST faulty_vendor;
bool has_vendor = true;

template <typename Function>
Function symbol(const char* name) {
  static void* const module = ::dlopen(TEE_TOKEN_MODULE, RTLD_NOW);
  return reinterpret_cast<Function>(::dlsym(module, name));
}

/// Does `instead` in the place of each signature.
template <void (*instead)()>
void at_signature() {
  faulty.C_SignInit = [](Session, CK_MECHANISM*, Handle) -> CK_RV {
    instead();
    return CKR_GENERAL_ERROR;
  };
}

void hang() {
  for (;;) {
    ::pause();
  }
}

void leave_files_open() {
  faulty.C_Initialize = [](void* arguments) {
    static_cast<void>(::open("/dev/null", O_RDONLY) + 1);
    return real.C_Initialize(arguments);
  };
}

void never_log_out() {
  faulty.C_Logout = [](Session) -> CK_RV { return CKR_OK; };
}

void let_all_logins_pass() {
  faulty.C_Login = [](Session session, CK_USER_TYPE user, unsigned char* pin, CK_ULONG length) {
    const CK_RV code = real.C_Login(session, user, pin, length);
    return code == CKR_USER_ALREADY_LOGGED_IN ? CKR_OK : code;
  };
}

/// Pins end with their first zero byte.
void take_text_for_a_pin() {
  faulty.C_Login = [](Session session, CK_USER_TYPE user, unsigned char* pin, CK_ULONG length) {
    return real.C_Login(session, user, pin, ::strnlen(reinterpret_cast<const char*>(pin), length));
  };
}

void take_short_pins() {
  faulty.C_GetTokenInfo = [](CK_SLOT_ID slot, CK_TOKEN_INFO* info) {
    const CK_RV code = real.C_GetTokenInfo(slot, info);
    info->ulMaxPinLen = 8;
    return code;
  };
}

void find_one_part() {
  static bool found = false;
  faulty.C_FindObjectsInit = [](Session session, CK_ATTRIBUTE* sought, CK_ULONG count) {
    found = false;
    return real.C_FindObjectsInit(session, sought, count);
  };
  faulty.C_FindObjects = [](Session session, Handle* objects, CK_ULONG room, CK_ULONG* count) {
    const CK_RV code = real.C_FindObjects(session, objects, room, count);
    *count = found ? 0 : *count;
    found = true;
    return code;
  };
}

void find_without_vendor_attributes() {
  faulty.C_FindObjectsInit = [](Session session, CK_ATTRIBUTE* sought, CK_ULONG count) {
    std::vector<CK_ATTRIBUTE> standard(sought, sought + count);
    standard.erase(std::remove_if(standard.begin(), standard.end(),
                                  [](const CK_ATTRIBUTE& each) { return each.type >= CKA_VENDOR_DEFINED; }),
                   standard.end());
    return real.C_FindObjectsInit(session, standard.data(), standard.size());
  };
}

/// Without the OCTET STRING.
void give_bare_points() {
  faulty.C_GetAttributeValue = [](Session session, Handle object, CK_ATTRIBUTE* wanted, CK_ULONG count) {
    unsigned char point[67];
    CK_ATTRIBUTE whole = {CKA_EC_POINT, point, sizeof point};
    if (wanted->type != CKA_EC_POINT || real.C_GetAttributeValue(session, object, &whole, 1) != CKR_OK) {
      return real.C_GetAttributeValue(session, object, wanted, count);
    }
    wanted->ulValueLen = sizeof point - 2;
    if (wanted->pValue != nullptr) {
      std::memcpy(wanted->pValue, point + 2, sizeof point - 2);
    }
    return CK_RV{CKR_OK};
  };
}

void give_private_keys_away() {
  faulty.C_GetAttributeValue = [](Session session, Handle object, CK_ATTRIBUTE* wanted, CK_ULONG count) {
    const CK_RV code = real.C_GetAttributeValue(session, object, wanted, count);
    if (code == CKR_ATTRIBUTE_SENSITIVE) {
      wanted->ulValueLen = 32;
    }
    return code == CKR_ATTRIBUTE_SENSITIVE ? CKR_OK : code;
  };
}

void change_values() {
  faulty.C_GetAttributeValue = [](Session session, Handle object, CK_ATTRIBUTE* wanted, CK_ULONG count) {
    const CK_RV code = real.C_GetAttributeValue(session, object, wanted, count);
    if (code == CKR_OK && wanted->type == CKA_VALUE && wanted->pValue != nullptr) {
      static_cast<unsigned char*>(wanted->pValue)[wanted->ulValueLen - 1] ^= 1;
    }
    return code;
  };
}

void sign_wrongly() {
  faulty.C_Sign = [](Session session, unsigned char* data, CK_ULONG size, unsigned char* result,
                     CK_ULONG* length) {
    const CK_RV code = real.C_Sign(session, data, size, result, length);
    if (code == CKR_OK && result != nullptr) {
      result[*length - 1] ^= 1;
    }
    return code;
  };
}

void destroy_nothing() {
  faulty.C_DestroyObject = [](Session, Handle) -> CK_RV { return CKR_OK; };
}

void have_no_interface() { has_vendor = false; }

/// `then` sees the answer, and what is the first of the installed objects, and of the added ones.
template <CK_RV (*then)(CK_RV code, Session session, Handle installed, Handle added)>
void install_and() {
  faulty_vendor.set_client_cert_and_move_key = [](Session session, const Handle* installed,
                                                  CK_ULONG installed_count, const Handle* added,
                                                  CK_ULONG added_count) {
    return then(
        real_vendor.set_client_cert_and_move_key(session, installed, installed_count, added, added_count),
        session, installed_count != 0 ? *installed : 0, *added);
  };
}

CK_RV accept(CK_RV, Session, Handle, Handle) { return CKR_OK; }
CK_RV destroy_added(CK_RV code, Session session, Handle, Handle added) {
  real.C_DestroyObject(session, added);
  return code;
}
CK_RV destroy_installed(CK_RV code, Session session, Handle installed, Handle) {
  real.C_DestroyObject(session, installed);
  return code;
}

void end() { ::_exit(0); }

const std::map<std::string, void (*)()> kFaults = {
    {"aborts", at_signature<std::abort>},
    {"ends", at_signature<end>},
    {"hangs", at_signature<hang>},
    {"leaves files open", leave_files_open},
    {"never logs out", never_log_out},
    {"lets all logins pass", let_all_logins_pass},
    {"takes text for a PIN", take_text_for_a_pin},
    {"finds one part", find_one_part},
    {"finds without vendor attributes", find_without_vendor_attributes},
    {"gives bare points", give_bare_points},
    {"gives private keys away", give_private_keys_away},
    {"signs wrongly", sign_wrongly},
    {"changes values", change_values},
    {"takes short PINs", take_short_pins},
    {"destroys nothing", destroy_nothing},
    {"has no interface", have_no_interface},
    {"accepts all installations", install_and<accept>},
    {"destroys what is added", install_and<destroy_added>},
    {"destroys what is installed", install_and<destroy_installed>},
};

CK_RV set_up() {
  CK_FUNCTION_LIST* token = nullptr;
  const CK_RV code = symbol<CK_C_GetFunctionList>("C_GetFunctionList")(&token);
  unsigned char name[] = TEE_INTERFACE_NAME;
  TEE_INTERFACE* vendor = nullptr;
  symbol<TEE_C_GetInterface>("C_GetInterface")(name, nullptr, &vendor, 0);
  real = faulty = *token;
  real_vendor = faulty_vendor = *static_cast<const TEE_FUNCTION_LIST*>(vendor->functions);
  kFaults.at(std::getenv("FAULTY_MODULE"))();
  return code;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

CK_RV C_GetFunctionList(CK_FUNCTION_LIST** list) {
  *list = &faulty;
  return set_up();
}

CK_RV C_GetInterface(unsigned char* name, CK_VERSION*, TEE_INTERFACE** interface, CK_FLAGS) {
  static TEE_INTERFACE given;
  const CK_RV code = set_up();
  given = {name, &faulty_vendor, 0};
  *interface = &given;
  return has_vendor ? code : CKR_ARGUMENTS_BAD;
}

}  // extern "C"
#pragma GCC visibility pop
