// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "clause.h"

#include <botan/p11_trust_store_group.h>

#include "base/error.h"
#include "check_module.h"

namespace tee_token_admin {
namespace {

constexpr auto kEssential = Clause::Kind::kEssential;
constexpr auto kOrdinary = Clause::Kind::kOrdinary;
constexpr auto kForking = Clause::Kind::kForking;

const std::vector<Clause> kClauses = {
    {"load", "loads, and returns its function list",
     "Provide C_GetFunctionList of PKCS#11 2.40; ldd shows a shared library that is missing.", loads,
     kEssential},
    {"token", "the first token is initialised",
     "The library takes the first slot with a token; initialise that token and its user's PIN.",
     has_an_initialised_token, kEssential},
    {"login", "the user logs in",
     "Set the library's PIN for the user (nine bytes, the last one zero), or give another one with "
     "--pin-hex.",
     logs_the_user_in, kEssential},
    {"pin", "takes a PIN of nine bytes that ends with a zero byte",
     "Treat a PIN as bytes with a length, not as text that a zero byte ends, and allow nine bytes.",
     takes_the_librarys_pin},
    {"cycles", "100 times loaded, logged in, finalised and unloaded, and no file stays open",
     "Release everything in C_Finalize, and let C_Initialize work again: each operation of the library does "
     "both.",
     closes_all_files},
    {"login-rules",
     "private objects are visible to the user alone, and C_Logout and C_Finalize end the login",
     "Hide CKA_PRIVATE objects without login; return CKR_USER_ALREADY_LOGGED_IN from a second C_Login.",
     hides_private_objects_without_login},
    {"data", "stores data and certificates, and finds them by a five-byte label with a zero byte",
     "Take any bytes as CKA_LABEL: the library finds the VIN and the delivered certificates by it.",
     finds_by_label},
    {"vendor-attributes", "stores the attributes 0x80001002 to 0x80001005, returns them and finds by them",
     "Accept the four (bytes, bytes, CK_BBOOL, bytes) in templates, and compare them in searches.",
     stores_vendor_attributes},
    {"key-pair", "generates a P-256 pair with the library's two templates, and finds both halves",
     "Accept the templates with their vendor attributes in C_GenerateKeyPair, and keep each value as given.",
     generates_the_librarys_key_pair},
    {"ec-point", "returns CKA_EC_POINT as a DER OCTET STRING, and CKA_EC_PARAMS of both halves",
     "Return the uncompressed point in an OCTET STRING, and the curve's object identifier, of private keys "
     "too.",
     gives_the_point_in_der},
    {"private-key", "does not reveal the private key",
     "Keep CKA_SENSITIVE true and CKA_EXTRACTABLE false, as the template has them, and refuse CKA_VALUE.",
     hides_the_private_key},
    {"signature", "signs with CKM_ECDSA_SHA256; 64 bytes that verify, of messages of 0 to 1 MiB",
     "Offer CKM_ECDSA_SHA256: C_Sign has to hash the message and to return r||s, 32 bytes each.", signs},
    {"chain", "stores a chain of certificates, finds it as the library does and returns it",
     "Accept certificates of CKA_CERTIFICATE_TYPE 0x80001001, with any bytes as CKA_VALUE and CKA_ID.",
     stores_a_chain},
    {"many-results", "a search with 101 results returns them in two parts",
     "Return as many as C_FindObjects asks for, and the rest at the next call.", continues_a_search},
    {"trust-group", "keeps trust store groups (class 0x80001001), and the library reads their roots",
     "Let the security officer store objects of this class, and CKA_TRUSTED certificates with client and "
     "group.",
     keeps_trust_groups},
    {"second-process", "another process with an open session sees at once what is made and destroyed",
     "Read the store at each search; a copy from C_Initialize or C_Login is out of date after a rotation.",
     shows_changes_to_a_second_process, kForking},
    {"destroy", "C_DestroyObject removes keys that cannot be modified, data and certificates",
     "Destroy objects whose CKA_MODIFIABLE is false, too; afterwards neither search nor handle finds them.",
     destroys},
    {"interface", "has the vendor interface of the installation",
     "Provide C_GetInterface with the functions of tee_token/vendor_interface.h; "
     "set_client_cert_and_move_key needs it.",
     has_the_vendor_interface},
    {"installation",
     "installs an identity in one change, and a new one in its place",
     "In one transaction: copy the three added objects as permanent ones, destroy the installed ones, keep "
     "the added.",
     installs_identities,
     kOrdinary,
     {"key-pair", "signature", "chain", "destroy", "interface"}},
    {"refusals",
     "refuses a chain for another key and incomplete identities, and changes nothing then",
     "Check first that a pair and a chain with its certificate are added, and that all installed objects are "
     "named.",
     refuses_incomplete_identities,
     kOrdinary,
     {"installation"}},
    {"signature-speed",
     "time of a signature",
     "Each TLS handshake waits for one.",
     measures_a_signature,
     kOrdinary,
     {"signature"}},
    {"session-speed", "time of a session with login and search",
     "The library opens and closes one in each operation.", measures_a_session},
    {"clean-up", "all that was made could be destroyed",
     "Remove the objects: tee-token --module MODULE destroy --force HANDLE", cleans_up},
};

constexpr std::size_t kFirstLabelGroup = 200;

}  // namespace

const std::vector<Clause>& module_clauses() { return kClauses; }

std::vector<std::string> names_of_clauses() {
  std::vector<std::string> names;
  for (const Clause& clause : module_clauses()) {
    names.push_back(clause.name);
  }
  return names;
}

std::string Mark::text() const {
  return std::to_string(kFirstLabelGroup + clause) + "_" + std::to_string(check & ~0xFFU);
}

std::vector<std::uint8_t> Mark::label() const { return Botan::PKCS11::encode_label(text()); }

void Trial::require(bool holds, const std::string& found) const {
  if (!holds) {
    throw TrialEnd{{Verdict::kWrong, m_step + ": " + found}};
  }
}

Judgement Trial::judge(const std::function<Judgement(Trial&)>& attempt) {
  try {
    return attempt(*this);
  } catch (const TrialEnd& end) {
    return end.judgement;
  } catch (const Botan::PKCS11::PKCS11_ReturnError& error) {
    const auto code = static_cast<CK_RV>(error.get_return_value());
    return {Verdict::kMissing, m_step + ": " + tee_token::return_value_name(code), code};
  } catch (const std::exception& error) {
    return {Verdict::kWrong, m_step + ": " + error.what()};
  }
}

}  // namespace tee_token_admin
