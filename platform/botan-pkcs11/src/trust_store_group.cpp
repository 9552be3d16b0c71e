// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/exceptn.h>
#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>
#include <tee_token/vendor_interface.h>

namespace Botan {
namespace PKCS11 {

namespace {

constexpr uint32_t kHandlesAtOnce = 100;
constexpr size_t kMostHandles = 10000;

constexpr auto kTrustStoreGroup = static_cast<ObjectClass>(TEE_CKO_TRUST_STORE_GROUP);
constexpr auto kClient = static_cast<AttributeType>(TEE_CKA_VENDOR_CLIENT_ID);
constexpr auto kGroup = static_cast<AttributeType>(TEE_CKA_VENDOR_TRUST_STORE_GROUP);

AttributeContainer group_search(const std::string& group, const std::string& client) {
  AttributeContainer sought(kTrustStoreGroup);
  sought.add_string(AttributeType::Label, group);
  sought.add_string(kClient, client);
  return sought;
}

CertificateProperties root_search(const std::string& group, const std::string& client) {
  CertificateProperties sought(CertificateType::X509);
  sought.set_trusted(true);
  sought.add_string(kClient, client);
  sought.add_string(kGroup, group);
  return sought;
}

/// All matching objects. The search has ended when a call returns fewer handles than requested. Throws
/// Invalid_State if it does not end.
std::vector<ObjectHandle> find_all(Session& session, const AttributeContainer& sought) {
  ObjectFinder finder(session, sought.attributes());
  std::vector<ObjectHandle> all, some;
  do {
    some = finder.find(kHandlesAtOnce);
    all.insert(all.end(), some.begin(), some.end());
    if (all.size() > kMostHandles) {
      throw Invalid_State("the token's search does not end");
    }
  } while (some.size() == kHandlesAtOnce);
  finder.finish();
  return all;
}

Lookup_Error unknown(const std::string& group, const std::string& client) {
  return Lookup_Error("there is no trust store group '" + group + "' for client '" + client + "'");
}

}  // namespace

PKCS11_TrustStoreGroup_Store::PKCS11_TrustStoreGroup_Store(Session& session, const std::string& group,
                                                           const std::string& client)
    : m_group(group), m_client(client), m_handles(find_all(session, group_search(group, client))) {
  if (m_handles.empty()) {
    throw unknown(group, client);
  }
}

PKCS11_TrustStoreGroup_Store::~PKCS11_TrustStoreGroup_Store() = default;

std::vector<X509_Certificate> PKCS11_TrustStoreGroup_Store::GetRootCertBundle(Session& session) {
  std::vector<X509_Certificate> roots;
  for (const ObjectHandle root : find_all(session, root_search(m_group, m_client))) {
    roots.push_back(PKCS11_X509_Certificate(session, root));
  }
  // The token deletes a group before its roots and never reuses a handle. So if the group still exists, no
  // root was missing.
  if (find_all(session, group_search(m_group, m_client)) != m_handles) {
    throw unknown(m_group, m_client);
  }
  return roots;
}

}  // namespace PKCS11
}  // namespace Botan
