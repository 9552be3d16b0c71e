// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/p11_ecdsa.h>
#include <botan/p11_object.h>
#include <botan/x509cert.h>

#include <functional>
#include <string>
#include <vector>

#include "clause.h"
#include "tee/templates.h"

namespace tee_token_admin {

namespace library = ozk::tee;

using Handles = std::vector<Botan::PKCS11::ObjectHandle>;
using Template = Botan::PKCS11::AttributeContainer;

/// A session in which the user is logged in. The destructor destroys the objects with the trial's
/// mark.
class UserSession : public TokenSession {
 public:
  explicit UserSession(Trial& trial);
  ~UserSession();
  UserSession(const UserSession&) = delete;
  UserSession& operator=(const UserSession&) = delete;

 private:
  Mark m_mark;
};

/// The library's template with the mark in the place of its label, client and key identifier.
Template marked(const Template& of_library, const Mark& mark);

/// The library's template of a chain of these certificates.
Template chain_template(const Mark& mark, const std::vector<Botan::X509_Certificate>& certificates);

/// The template without the vendor's attributes.
Template without_vendor_attributes(const Template& all);

/// A template that finds all objects with the label.
Template labelled(const std::vector<std::uint8_t>& label);

// Each makes objects, which its template has to mark, and returns their handles.

/// Stores an object; `what` names it when the module refuses.
Botan::PKCS11::ObjectHandle create(Trial& trial, TokenSession& token, const std::string& what,
                                   const Template& object);
Botan::PKCS11::ObjectHandle create_data(Trial& trial, TokenSession& token, const std::string& value);
Botan::PKCS11::ObjectHandle create_certificate(Trial& trial, TokenSession& token,
                                               const Botan::X509_Certificate& certificate);
/// Generates a key pair; the public key's handle is the first.
Handles generate(Trial& trial, TokenSession& token);
/// The same without the vendor's attributes, for clauses that a token without these can meet.
Handles generate_standard(Trial& trial, TokenSession& token);

/// Destroys the objects with the mark, its trust store group too, and returns the handles of those that
/// remain.
Handles destroy_marked(TokenSession& token, const Mark& mark);

/// The module's return value of a call to the layer.
CK_RV return_value_of(const std::function<void()>& call);

/// Ends the trial as wrong unless each attribute of the template reads as it was given.
void require_attributes(const Trial& trial, TokenSession& token, Botan::PKCS11::ObjectHandle handle,
                        const Template& given);

/// The library's signature: r||s of the message's SHA-256, made by the token.
std::vector<std::uint8_t> signature_of(const Botan::PKCS11::PKCS11_ECDSA_PrivateKey& key,
                                       const std::vector<std::uint8_t>& message);

/// Whether the signature has 64 bytes and verifies; computed here, not by the token.
bool verifies(const Botan::EC_PublicKey& key, const std::vector<std::uint8_t>& message,
              const std::vector<std::uint8_t>& signature);

/// A backend's answer: the certificate of a key, and the root that issued it.
std::vector<Botan::X509_Certificate> certificates_for(const Botan::Private_Key& key);
/// The same for a new software key.
std::vector<Botan::X509_Certificate> certificates_for_another_key();

}  // namespace tee_token_admin
