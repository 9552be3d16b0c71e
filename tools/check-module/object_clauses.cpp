// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>

#include <algorithm>

#include "marked_objects.h"
#include "shared/token_access.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

constexpr std::uint32_t kAtOnce = 100;  // the library asks for so many

/// A vendor attribute with the value that is stored, and another one.
struct VendorAttribute {
  const char* name;
  AttributeType type;
  std::string value, other;
};

const VendorAttribute kVendorAttributes[] = {
    {"0x80001002", kKeyId, "key", "other"},
    {"0x80001003", kClientId, "client", "other"},
    {"0x80001004", kPermanent, std::string(1, '\0'), std::string(1, '\1')},
    {"0x80001005", kTrustStoreGroup, "group", "other"},
};

void require_search(Trial& trial, TokenSession& token, const VendorAttribute& attribute) {
  for (const std::string& value : {attribute.value, attribute.other}) {
    Template sought = labelled(trial.mark().label());
    sought.add_string(attribute.type, value);
    trial.step(std::string("a search for ") + (value == attribute.value ? "" : "another value of ") +
               attribute.name);
    const std::size_t found = token.find(sought).size();
    trial.require(found == (value == attribute.value ? 1 : 0), "finds " + std::to_string(found) + " objects");
  }
}

/// Destroys what the clauses of the check have left, and names what remains.
std::string destroy_all(const Trial& trial, UserType who) {
  TokenSession token(trial.target());
  token.login(who);
  std::string left;
  for (std::size_t clause = 0; clause < module_clauses().size(); ++clause) {
    for (const ObjectHandle handle : destroy_marked(token, {trial.mark().check, clause})) {
      left += (left.empty() ? "object " : ", object ") + std::to_string(handle);
    }
  }
  return left;
}

}  // namespace

Judgement finds_by_label(Trial& trial) {
  UserSession user(trial);
  const Botan::X509_Certificate root = certificates_for_another_key().back();
  const ObjectHandle data = create_data(trial, user, "VIN");
  const ObjectHandle certificate = create_certificate(trial, user, root);
  trial.step("the library's search for data");
  trial.require(user.find(marked(library::vinSearch(), trial.mark())) == Handles{data}, "does not find it");
  trial.require(text_of(Object(user.session(), data), CKA_VALUE) == "VIN", "finds another value");
  trial.step("the library's search for a certificate");
  trial.require(user.find(marked(library::certificateSearch("1_11"), trial.mark())) == Handles{certificate},
                "does not find it");
  trial.require(PKCS11_X509_Certificate(user.session(), certificate) == root, "finds another value");
  return {};
}

Judgement stores_vendor_attributes(Trial& trial) {
  UserSession user(trial);
  X509_CertificateProperties object(certificates_for_another_key().back());
  object.set_token(true);
  object.set_private(false);
  object.add_binary(AttributeType::Label, trial.mark().label());
  for (const VendorAttribute& attribute : kVendorAttributes) {
    object.add_string(attribute.type, attribute.value);
  }
  const ObjectHandle certificate = create(trial, user, "a certificate with the four", object);
  trial.step("C_GetAttributeValue");
  require_attributes(trial, user, certificate, object);
  for (const VendorAttribute& attribute : kVendorAttributes) {
    require_search(trial, user, attribute);
  }
  return {};
}

Judgement stores_a_chain(Trial& trial) {
  UserSession user(trial);
  const auto certificates = certificates_for_another_key();
  const Template object = chain_template(trial.mark(), certificates);
  const ObjectHandle chain = create(trial, user, "a chain", object);
  trial.step("C_GetAttributeValue");
  require_attributes(trial, user, chain, object);
  trial.step("the library's search for the chain");
  trial.require(user.find(marked(library::lyrCertificateChainSearch(false), trial.mark())) == Handles{chain},
                "does not find it");
  trial.require(PKCS11_TSG_CertficateChain(user.session(), chain).getx509CertificateChain() == certificates,
                "finds other certificates");
  return {};
}

Judgement continues_a_search(Trial& trial) {
  UserSession user(trial);
  for (std::uint32_t i = 0; i <= kAtOnce; ++i) {
    create_data(trial, user, std::to_string(i));
  }
  ObjectFinder finder(user.session(), labelled(trial.mark().label()).attributes());
  for (const std::size_t wanted : {std::size_t{kAtOnce}, std::size_t{1}, std::size_t{0}}) {
    const std::size_t found = finder.find(kAtOnce).size();
    trial.step("C_FindObjects");
    trial.require(found == wanted, std::to_string(found) + " results instead of " + std::to_string(wanted));
  }
  return {};
}

Judgement destroys(Trial& trial) {
  UserSession user(trial);
  Handles objects = generate_standard(trial, user);
  objects.push_back(create_data(trial, user, "data"));
  objects.push_back(create_certificate(trial, user, certificates_for_another_key().back()));
  for (const ObjectHandle object : objects) {
    trial.step("C_DestroyObject");
    Object(user.session(), object).destroy();
    trial.step("after C_DestroyObject");
    const Handles found = user.find(labelled(trial.mark().label()));
    trial.require(std::count(found.begin(), found.end(), object) == 0, "it is still found");
    const CK_RV code =
        return_value_of([&] { Object(user.session(), object).get_attribute_value(AttributeType::Class); });
    trial.require(code != CKR_OK, "it can still be read");
  }
  return {};
}

Judgement cleans_up(Trial& trial) {
  trial.step("destroying what was made");
  std::string left = destroy_all(trial, UserType::User);
  if (!left.empty()) {  // trust store groups are the security officer's
    destroy_all(trial, UserType::SO);
    left = destroy_all(trial, UserType::User);
  }
  trial.require(left.empty(), "still there: " + left);
  return {};
}

}  // namespace tee_token_admin
