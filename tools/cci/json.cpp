// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "json.h"

#include <nlohmann/json.hpp>

#include "chain.h"

namespace cci {
namespace {

using Json = nlohmann::ordered_json;

// Names and VINs may hold any bytes.
std::string text_of_json(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json key_object(const std::string& pem) { return {{"public_key", pem}, {"sha256", fingerprint_of_key(pem)}}; }

Json certificate_object(const Botan::X509_Certificate& certificate) {
  const CertificateFacts facts = facts_of(certificate);
  return {
      {"subject", facts.subject},          {"issuer", facts.issuer},       {"serial", facts.serial},
      {"not_before", facts.not_before},    {"not_after", facts.not_after}, {"days_left", facts.days_left},
      {"valid_now", facts.is_valid_now()}, {"sha256", facts.sha256},       {"pem", certificate.PEM_encode()}};
}

Json certificate_array(const Certificates& certificates) {
  Json array = Json::array();
  for (const auto& certificate : certificates) array.push_back(certificate_object(certificate));
  return array;
}

}  // namespace

bool is_utf8(const std::string& text) try {
  return !Json(text).dump().empty();
} catch (const Json::exception&) {
  return false;
}

std::string json_of(std::initializer_list<Field> fields) {
  Json object;
  for (const Field& field : fields) {
    std::visit([&](const auto& value) { object[field.first] = value; }, field.second);
  }
  return text_of_json(object);
}

std::string json_of_key(const std::string& key_pem) { return text_of_json(key_object(key_pem)); }

std::string json_of_certificates(const Certificates& certificates) {
  return text_of_json({{"certificates", certificate_array(certificates)}});
}

std::string json_of_signature(const std::string& key, SignatureForm form, const std::string& text) {
  return json_of({{"key", key},
                  {"algorithm", "ECDSA with SHA-256"},
                  {"form", form == SignatureForm::kDer ? "DER" : "r||s"},
                  {form == SignatureForm::kBase64 ? "base64" : "hex", text}});
}

std::string json_of_identity(const Identity& identity, const std::optional<std::string>& need) {
  Json installed, pending;
  if (identity.is_installed()) {
    installed = identity.key ? key_object(*identity.key) : Json::object();
    installed["key_matches"] = identity.key_matches;
    if (!identity.chain.empty()) installed["days_left"] = validity_of(identity.chain).facts.days_left;
    installed["certificates"] = certificate_array(identity.chain);
  }
  if (identity.pending_key) pending = key_object(*identity.pending_key);
  Json result = {{"installed", installed}, {"pending", pending}};
  if (need) {
    result["needs_provisioning"] = !need->empty();
    result["reason"] = *need;
  }
  return text_of_json(result);
}

std::string json_of_failure(const Failure& failure) {
  Json object = {{"error", failure.what()}, {"exit_code", static_cast<int>(failure.exit())}};
  if (!failure.state().empty()) object["state"] = failure.state();
  return text_of_json(object);
}

}  // namespace cci
