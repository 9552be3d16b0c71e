// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/attributes.h"

namespace tee_token {

/// Who creates or changes an object.
enum class Creator { kAnyone, kSecurityOfficer };

/// Checks the template of an object that a caller creates, and completes it by defaults. Throws the
/// standard's code for the first fault (PKCS #11 2.40 base, 4.1.1).
Attributes created_object(Attributes given, Creator creator);

/// The same for one half of a key pair that is going to be generated; the result has no key value yet.
Attributes generated_half(Attributes given, CK_OBJECT_CLASS object_class, Creator creator);

/// Sets CKA_TRUSTED, if `copy` has it, to false: trust is given to one object, not to its copies.
void withdraw_trust(Attributes& copy);

/// A copy of `source` with the template's changes, as C_CopyObject allows them.
Attributes copied_object(Attributes source, const Attributes& changes);

/// Throws unless C_SetAttributeValue may give the object `current` each value of `changes`.
void require_changeable(const Attributes& current, const Attributes& changes, Creator creator);

}  // namespace tee_token
