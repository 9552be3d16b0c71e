// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_object.h>
#include <botan/x509cert.h>

#include <set>
#include <string>
#include <vector>

#include "identity_templates.h"
#include "module_trial.h"

namespace tee_token_admin {

// What a check of a module makes carries these marks, which the library never uses, and nothing else does. No
// other object is touched.

extern const IdentityMarks kScratchIdentity;
extern const IdentityMarks kScratchKeys;  // without vendor attributes
extern const char* const kScratchData;    // labels in text form
extern const char* const kScratchCertificate;
extern const char* const kScratchGroup;  // a trust store group

/// Removes at its end what calls that were refused have left, which has no marks: objects that came since it
/// began, without label and content. Begins after the login.
class RefusedRemains {
 public:
  explicit RefusedRemains(TokenSession& token);
  ~RefusedRemains();
  RefusedRemains(const RefusedRemains&) = delete;
  RefusedRemains& operator=(const RefusedRemains&) = delete;

 private:
  void remove();

  TokenSession& m_token;
  std::set<Botan::PKCS11::ObjectHandle> m_before;
};

/// The user's session, for what makes objects.
class ScratchSession : public UserSession {
 public:
  explicit ScratchSession(Trial& trial) : UserSession(trial), m_remains(*this) {}

 private:
  RefusedRemains m_remains;
};

/// A template that finds the objects of the label.
Botan::PKCS11::AttributeContainer labelled(const std::string& label);

/// Store an object under a scratch label and return its handle.
Botan::PKCS11::ObjectHandle make_data(TokenSession& token, const std::string& value);
Botan::PKCS11::ObjectHandle make_certificate(TokenSession& token, const Botan::X509_Certificate& certificate);

/// Destroys all that carries the marks; as security officer what is his. Ends the trial as wrong, and names
/// the objects, when some could not be destroyed.
Judgement clear_scratch_area(Trial& trial);

}  // namespace tee_token_admin
