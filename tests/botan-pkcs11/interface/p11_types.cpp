// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_types.h>

#include "declared.h"

using namespace Botan::PKCS11;

template struct Class<Module, kMoves + kFinal>;
template struct Class<Slot, kCopies + kMoves + kFinal>;
template struct Class<Session, kMoves + kFinal>;
static_assert(!std::is_constructible<Session, Slot&, int>::value, "0 could mean a handle as well as false");

template struct Converts<Module, const std::string&>;
template struct Converts<Module, const std::string&, C_InitializeArgs>;
template struct Converts<Slot, Module&, SlotId>;
template struct Converts<Session, Slot&, bool>;
template struct Converts<Session, Slot&, Flags, VoidPtr, Notify>;
template struct Converts<Session, Slot&, SessionHandle>;

void module(Module& module) {
  has<Module, void(C_InitializeArgs)>({&Module::reload});
  has<Module, LowLevel*() const>({&Module::operator->});
  has<Module, Info() const>({&Module::get_info});
  module.reload();
}

void slot() {
  has<Slot, Module&() const>({&Slot::module});
  has<Slot, SlotId() const>({&Slot::slot_id});
  has<std::vector<SlotId>(Module&, bool)>(Slot::get_available_slots);
  has<Slot, SlotInfo() const>({&Slot::get_slot_info});
  has<Slot, std::vector<MechanismType>() const>({&Slot::get_mechanism_list});
  has<Slot, MechanismInfo(MechanismType) const>({&Slot::get_mechanism_info});
  has<Slot, TokenInfo() const>({&Slot::get_token_info});
  has<Slot, void(const std::string&, const secure_string&) const>({&Slot::initialize});
}

void session() {
  has<Session, SessionHandle()>({&Session::release});
  has<Session, void(UserType, const secure_string&)>({&Session::login});
  has<Session, void()>({&Session::logoff});
  has<Session, SessionInfo() const>({&Session::get_info});
  has<Session, void(const secure_string&, const secure_string&) const>({&Session::set_pin});
  has<Session, void(const secure_string&)>({&Session::init_pin});
  has<Session, const Slot&() const>({&Session::slot});
  has<Session, SessionHandle() const>({&Session::handle});
  has<Session, Module&() const>({&Session::module});
}
