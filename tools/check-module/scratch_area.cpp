// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "scratch_area.h"

#include <botan/p11_x509.h>

#include <algorithm>
#include <functional>
#include <iterator>

#include "shared/object_attributes.h"
#include "shared/trust_group.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

const IdentityMarks kScratchIdentity = {"tee-token check-module", "CHECK", "255_2718281801", "255_2718281802",
                                        "255_2718281803"};
const IdentityMarks kScratchKeys = {"", "", kScratchIdentity.public_key, kScratchIdentity.private_key, ""};
const char* const kScratchData = "255_2718281804";
const char* const kScratchCertificate = "255_2718281805";
const char* const kScratchGroup = "tee-token check-module";

namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<Bytes> scratch_labels() {
  const std::string group = kScratchGroup;
  std::vector<Bytes> labels = {Bytes(group.begin(), group.end())};
  for (const std::string& label :
       {kScratchIdentity.public_key, kScratchIdentity.private_key, kScratchIdentity.chain,
        std::string(kScratchData), std::string(kScratchCertificate)}) {
    labels.push_back(encode_label(label));
  }
  return labels;
}

/// Calls `use` with all that carries the marks. The label is compared again: a module whose search knows no
/// labels finds what is others'.
void for_each_marked(TokenSession& token, const std::function<void(const Object&)>& use) {
  for (const Bytes& label : scratch_labels()) {
    AttributeContainer sought;
    sought.add_binary(AttributeType::Label, label);
    for (const ObjectHandle handle : token.find(sought)) {
      const Object object(token.session(), handle);
      if (value_of(object, CKA_LABEL) == label) {
        use(object);
      }
    }
  }
}

/// What is still there afterwards.
struct Remains {
  std::string text;
  bool officers = false;
};

constexpr int kPasses = 3;  // for modules that do not find all at once

void destroy_if_possible(const Object& object) {
  try {
    object.destroy();
  } catch (const PKCS11_ReturnError&) {
    // it is among what remains
  }
}

bool has_no_content(const Object& object) {
  constexpr CK_ATTRIBUTE_TYPE kContent[] = {CKA_LABEL,     CKA_ID,        CKA_VALUE,
                                            CKA_VALUE_LEN, CKA_EC_PARAMS, CKA_MODULUS};
  return std::all_of(std::begin(kContent), std::end(kContent),
                     [&](CK_ATTRIBUTE_TYPE type) { return value_of(object, type).empty(); });
}

Remains clear_as(const Target& target, UserType who) {
  TokenSession token(target);
  token.login(who);
  for (int pass = 0; pass < kPasses; ++pass) {
    for_each_marked(token, destroy_if_possible);
  }
  Remains remains;
  for_each_marked(token, [&](const Object& object) {
    remains.officers = remains.officers || is_officers(object);
    remains.text += (remains.text.empty() ? "object " : ", object ") + std::to_string(object.handle());
  });
  return remains;
}

}  // namespace

RefusedRemains::RefusedRemains(TokenSession& token) : m_token(token) {
  const std::vector<ObjectHandle> before = token.find(AttributeContainer());
  m_before.insert(before.begin(), before.end());
}

RefusedRemains::~RefusedRemains() {
  try {
    remove();
  } catch (const std::exception&) {
    // the clause has its judgement
  }
}

void RefusedRemains::remove() {
  for (const ObjectHandle handle : m_token.find(AttributeContainer())) {
    const Object object(m_token.session(), handle);
    if (m_before.count(handle) == 0 && has_no_content(object)) {
      object.destroy();
    }
  }
}

AttributeContainer labelled(const std::string& label) {
  AttributeContainer sought;
  sought.add_binary(AttributeType::Label, encode_label(label));
  return sought;
}

ObjectHandle make_data(TokenSession& token, const std::string& value) {
  DataObjectProperties object;
  object.set_token(true);
  object.set_private(true);
  object.add_binary(AttributeType::Label, encode_label(kScratchData));
  object.set_value(secure_string(value.begin(), value.end()));
  return Object(token.session(), object).handle();
}

ObjectHandle make_certificate(TokenSession& token, const Botan::X509_Certificate& certificate) {
  X509_CertificateProperties object(certificate);
  object.set_token(true);
  object.set_private(false);
  object.add_binary(AttributeType::Label, encode_label(kScratchCertificate));
  return Object(token.session(), object).handle();
}

Judgement clear_scratch_area(Trial& trial) {
  trial.step("destroying what was made");
  Remains remains = clear_as(trial.target(), UserType::User);
  if (remains.officers) {
    clear_as(trial.target(), UserType::SO);
    remains = clear_as(trial.target(), UserType::User);
  }
  trial.require(remains.text.empty(), "still there: " + remains.text);
  return {Verdict::kOk, ""};
}

}  // namespace tee_token_admin
