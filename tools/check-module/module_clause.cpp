// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "module_clause.h"

#include "check_module.h"

#include "module_trials.h"
#include "scratch_area.h"

namespace tee_token_admin {
namespace {

constexpr auto kEssential = Clause::Kind::kEssential;
constexpr auto kReading = Clause::Kind::kReading;
constexpr auto kMaking = Clause::Kind::kMaking;

const std::vector<Clause> kClauses = {
    {"load",
     kEssential,
     {},
     try_load,
     "loads, and gives its function list",
     "The file has to be a PKCS#11 2.40 module with C_GetFunctionList whose libraries are found; ldd shows "
     "them."},
    {"token",
     kEssential,
     {},
     try_token,
     "the first slot with a token has one that is initialised",
     "The library takes the first slot with a token; initialise that token and its user's PIN."},
    {"login",
     kEssential,
     {},
     try_login,
     "the user logs in",
     "The library logs in with one fixed PIN, nine bytes with a zero byte at the end; initialise the user "
     "with it, or give another one for this check with --pin-hex."},
    {"pin",
     kReading,
     {},
     try_pin,
     "takes a PIN of nine bytes that ends with a zero byte",
     "PINs are bytes with a length (C_InitPIN, C_Login), not text that a zero byte ends, and up to nine of "
     "them have to be allowed."},
    {"cycles",
     kReading,
     {},
     try_cycles,
     "100 times loaded, logged in, finalised and unloaded, and no file stays open",
     "The library does so for each operation: C_Finalize has to give everything back, and C_Initialize has "
     "to work again in the same process."},
    {"login-rules",
     kMaking,
     {},
     try_login_rules,
     "private objects are there for the user alone, and a login ends with C_Logout and C_Finalize",
     "Follow the standard's rules for sessions: CKA_PRIVATE objects are neither found nor read without "
     "login; a second C_Login answers CKR_USER_ALREADY_LOGGED_IN."},
    {"data",
     kMaking,
     {},
     try_data,
     "stores data and certificates, and finds them by a five-byte label with zero bytes",
     "CKA_LABEL is bytes of any value; the vehicle's number and its delivered certificates are found by it."},
    {"vendor-attributes",
     kMaking,
     {},
     try_vendor_attributes,
     "stores the attributes 0x80001002 to 0x80001005, gives them back and finds by them",
     "Accept the four in templates, store them with the object and compare them in searches: the library "
     "marks its objects by key identifier, client and state (bytes, bytes, CK_BBOOL), trust groups by "
     "0x80001005."},
    {"key-pair",
     kMaking,
     {},
     try_key_pair,
     "generates a P-256 pair with the library's two templates, and finds both halves",
     "C_GenerateKeyPair with CKM_EC_KEY_PAIR_GEN has to take the library's templates whole, vendor "
     "attributes with them, and to keep each attribute as it is given."},
    {"ec-point",
     kMaking,
     {},
     try_ec_point,
     "gives CKA_EC_POINT as a DER OCTET STRING, and CKA_EC_PARAMS of both halves",
     "The point is a DER OCTET STRING around the uncompressed point, the curve its object identifier; the "
     "library reads CKA_EC_PARAMS of private keys, too."},
    {"private-key",
     kMaking,
     {},
     try_private_key,
     "keeps the private key to itself",
     "CKA_SENSITIVE and not CKA_EXTRACTABLE, as the template has it: CKA_VALUE is not given away."},
    {"signature",
     kMaking,
     {},
     try_signature,
     "signs with CKM_ECDSA_SHA256; 64 bytes that verify, of messages of 0 to 1 MiB",
     "Offer CKM_ECDSA_SHA256: C_Sign has to hash the message and to answer r||s, 32 bytes each."},
    {"chain",
     kMaking,
     {},
     try_chain,
     "stores a chain of certificates, finds it as the library does and gives it back",
     "Accept CKO_CERTIFICATE with the vendor's CKA_CERTIFICATE_TYPE 0x80001001; its CKA_VALUE is any bytes "
     "(DER certificates one after another), its CKA_ID four."},
    {"many-results",
     kMaking,
     {},
     try_many_results,
     "a search with 101 results gives them in two parts",
     "C_FindObjects gives as many as are asked for, and the rest at the next call."},
    {"trust-group",
     kMaking,
     {},
     try_trust_group,
     "keeps trust store groups (class 0x80001001), and the library reads their roots",
     "Let the security officer store objects of class 0x80001001 (CKA_LABEL and client) and certificates "
     "with CKA_TRUSTED, client and group."},
    {"second-process",
     kMaking,
     {},
     try_second_process,
     "another process with an open session sees at once what is made and destroyed",
     "Look at the store at each search; a copy from C_Initialize or C_Login is out of date after a "
     "rotation."},
    {"destroy",
     kMaking,
     {},
     try_destroy,
     "C_DestroyObject removes keys that cannot be modified, data and certificates",
     "CKA_MODIFIABLE does not hinder it; afterwards neither searches nor handles know the object."},
    {"interface",
     kReading,
     {},
     try_interface,
     "has the vendor interface of the installation",
     "Export C_GetInterface, and give the functions of tee_token/vendor_interface.h for the name there. "
     "Without it, set_client_cert_and_move_key fails with CRYPTO_OP_ERROR."},
    {"installation",
     kMaking,
     {"key-pair", "signature", "chain", "destroy", "interface"},
     try_installation,
     "installs an identity in one change, and a new one in its place",
     "Make permanent copies of the three added objects, destroy the installed ones, leave the added ones "
     "alone, all in one transaction."},
    {"refusals",
     kMaking,
     {"installation"},
     try_refusals,
     "refuses a chain for another key and identities that are not whole, and changes nothing then",
     "Check before changing: added are one public key, its private key and a chain with its certificate; "
     "installed are all permanent objects of this client and key identifier."},
    {"signature-speed",
     kMaking,
     {"signature"},
     measure_signature,
     "signs, and in what time",
     "Each TLS handshake waits for one."},
    {"session-speed",
     kReading,
     {},
     measure_session,
     "logs in, searches and lets go, and in what time",
     "The library begins and ends one for each operation."},
    {"clean-up",
     kReading,
     {},
     clear_scratch_area,
     "all that was made could be destroyed",
     "Remove by hand what has the client 'tee-token check-module' or one of the labels 255_2718281801 to "
     "255_2718281805."},
};

}  // namespace

const std::vector<Clause>& module_clauses() { return kClauses; }

std::vector<std::string> names_of_clauses() {
  std::vector<std::string> names;
  for (const Clause& clause : module_clauses()) {
    names.push_back(clause.name);
  }
  return names;
}

}  // namespace tee_token_admin
