#pragma once

#include <botan/p11_object.h>
#include <botan/x509cert.h>

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

/// A session for what makes objects. At its end it removes what refused calls have left, which has no marks:
/// objects that came during the session, without label and content.
class ScratchSession : public TokenSession {
 public:
  /// The user is logged in.
  explicit ScratchSession(Trial& trial);
  /// Nobody is logged in yet.
  explicit ScratchSession(const Target& target);
  ~ScratchSession();
  ScratchSession(const ScratchSession&) = delete;
  ScratchSession& operator=(const ScratchSession&) = delete;

 private:
  void remove_remains();

  std::vector<Botan::PKCS11::ObjectHandle> m_before;
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
