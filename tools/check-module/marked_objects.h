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

namespace tee_token_admin {

using Handles = std::vector<Botan::PKCS11::ObjectHandle>;
using Template = Botan::PKCS11::AttributeContainer;

/// A session in which the user is logged in. Its end destroys the objects with the trial's mark.
class UserSession : public TokenSession {
 public:
  explicit UserSession(Trial& trial);
  ~UserSession();
  UserSession(const UserSession&) = delete;
  UserSession& operator=(const UserSession&) = delete;

 private:
  Mark m_mark;
};

// The library's templates, with the mark in the place of its label, client and key identifier. Searches are
// for installed objects (`permanent`), or temporary ones.
Template public_key_template(const Mark& mark);
Template private_key_template(const Mark& mark);
Template chain_template(const Mark& mark, const std::vector<std::uint8_t>& chain);
Template public_key_search(const Mark& mark, bool permanent);
Template private_key_search(const Mark& mark, bool permanent);
Template chain_search(const Mark& mark, bool permanent);
Template data_search(const Mark& mark);
Template certificate_search(const Mark& mark);

/// The template without the vendor's attributes, for clauses that a token without these can meet.
Template without_vendor_attributes(const Template& all);

/// Finds all objects with the mark's label.
Handles find_marked(TokenSession& token, const Mark& mark);

// Each makes objects with the mark's label and returns their handles.
Botan::PKCS11::ObjectHandle create(TokenSession& token, const Template& object);
Botan::PKCS11::ObjectHandle create_data(TokenSession& token, const Mark& mark, const std::string& value);
Botan::PKCS11::ObjectHandle create_certificate(TokenSession& token, const Mark& mark,
                                               const Botan::X509_Certificate& certificate);
/// The public key's handle is the first.
Handles generate(TokenSession& token, const Template& public_key, const Template& private_key);
/// The same without vendor attributes.
Handles generate_standard(TokenSession& token, const Mark& mark);

/// Destroys the objects with the mark, its trust store group too, and returns the handles of those that
/// remain.
Handles destroy_marked(TokenSession& token, const Mark& mark);

/// Ends the trial as wrong unless each attribute of the template reads as it was given.
void require_attributes(const Trial& trial, TokenSession& token, Botan::PKCS11::ObjectHandle handle,
                        const Template& given);

/// The library's signature: r||s of the message's SHA-256, made by the token.
std::vector<std::uint8_t> signature_of(const Botan::PKCS11::PKCS11_ECDSA_PrivateKey& key,
                                       const std::vector<std::uint8_t>& message);

/// Whether it is one, of 64 bytes; computed here, not by the token.
bool verifies(const Botan::EC_PublicKey& key, const std::vector<std::uint8_t>& message,
              const std::vector<std::uint8_t>& signature);

/// A backend's answer: the certificate of a key, and the root that issued it.
std::vector<Botan::X509_Certificate> certificates_for(const Botan::Private_Key& key);
/// The same for a new software key.
std::vector<Botan::X509_Certificate> certificates_for_another_key();

/// The certificates in DER, back to back.
std::vector<std::uint8_t> back_to_back(const std::vector<Botan::X509_Certificate>& certificates);

}  // namespace tee_token_admin
