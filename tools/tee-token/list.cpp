// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/ec_group.h>
#include <botan/hex.h>
#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>
#include <botan/x509_dn.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <tuple>
#include <utility>

#include "commands.h"
#include "shared/error_line.h"
#include "shared/shown_text.h"
#include "shared/token_access.h"

namespace tee_token_admin {

using shown_text::counted;
using shown_text::shown;

using namespace Botan::PKCS11;

namespace {

using Json = nlohmann::ordered_json;

/// The serial number is in the JSON output alone.
std::string describe(Json& line, const Botan::X509_Certificate& certificate) {
  line["serial"] = Botan::hex_encode(certificate.serial_number(), false);
  return certificate.subject_dn().to_string();
}

std::string describe_chain(Json& line, Session& session, ObjectHandle handle) {
  const auto chain = PKCS11_TSG_CertficateChain(session, handle).getx509CertificateChain();
  return chain.empty() ? "no certificates"
                       : describe(line, chain.front()) + " (" + counted(chain.size(), "certificate") + ")";
}

std::string describe_key(const Object& object) {
  return Botan::EC_Group(value_of(object, CKA_EC_PARAMS)).get_curve_oid().to_formatted_string();
}

/// The object's class and details.
std::pair<const char*, std::string> describe(Json& line, TokenSession& token, const Object& object) {
  switch (number_of(object, CKA_CLASS)) {
    case CKO_DATA:
      return {"data", counted(value_of(object, CKA_VALUE).size(), "byte")};
    case CKO_PUBLIC_KEY:
      return {"public key", describe_key(object)};
    case CKO_PRIVATE_KEY:
      return {"private key", describe_key(object)};
    case CKO_CERTIFICATE:
      if (number_of(object, CKA_CERTIFICATE_TYPE) == TEE_CKC_CERTIFICATE_CHAIN) {
        return {"chain", describe_chain(line, token.session(), object.handle())};
      }
      return {"certificate", describe(line, PKCS11_X509_Certificate(token.session(), object.handle()))};
    case TEE_CKO_TRUST_STORE_GROUP:
      return {"trust group", counted(roots_of(token, trust_group_of(object)).size(), "root")};
    default:
      return {"other", ""};
  }
}

/// A group's identifier is text; other labels are a group and an index.
std::string shown_label(const Object& object) {
  return is_trust_group(object) ? trust_group_of(object).identifier : label_text(value_of(object, CKA_LABEL));
}

const char* state_of(const Object& object, const std::string& client) {
  return is_officers(object)                         ? "trusted"
         : client.empty()                            ? "pre-installed"
         : is_true(object, TEE_CKA_VENDOR_PERMANENT) ? "installed"
                                                     : "temporary";
}

/// Fills in what can be read of the object.
void describe_object(Json& line, TokenSession& token, const Object& object) {
  const std::string client = text_of(object, TEE_CKA_VENDOR_CLIENT_ID);
  line["label"] = shown_label(object);
  line["state"] = state_of(object, client);
  line["client"] = client;
  line["key_id"] = text_of(object, TEE_CKA_VENDOR_KEY_ID);
  line["group"] = text_of(object, TEE_CKA_VENDOR_TRUST_STORE_GROUP);
  std::tie(line["class"], line["details"]) = describe(line, token, object);
}

/// An object that another program destroys meanwhile is left out; one that cannot be read has the reason as
/// details.
Json describe_objects(TokenSession& token) {
  Json objects = Json::array();
  for (const ObjectHandle handle : token.find(AttributeContainer())) {
    Json line = {{"handle", handle}, {"class", "unreadable"}, {"label", ""},   {"state", ""}, {"client", ""},
                 {"key_id", ""},     {"group", ""},           {"details", ""}, {"serial", ""}};
    try {
      describe_object(line, token, Object(token.session(), handle));
    } catch (const Botan::Exception& error) {
      if (is_absence(error)) {
        continue;
      }
      line["details"] = reason_of(error);
    }
    objects.push_back(line);
  }
  return objects;
}

/// Padded to the width; a longer text gets one blank.
std::string column(const std::string& text, std::size_t width) {
  return text + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

void print_columns(const std::string& handle, const std::string& object_class, const std::string& label,
                   const std::string& state, const std::string& owner, const std::string& details) {
  const std::string line = std::string(handle.size() < 6 ? 6 - handle.size() : 0, ' ') + handle + "  " +
                           column(object_class, 12) + column(label, 8) + column(state, 14) +
                           column(owner, 15) + details;
  std::cout << shown_text::shortened(line, 80) << "\n";
}

void print_line(const Json& object) {
  const auto text = [&](const char* name) { return shown(object.at(name).get<std::string>()); };
  const std::string label = text("label").empty() ? text("group") : text("label");
  const std::string key_id = text("key_id").empty() ? "" : "/" + text("key_id");
  const std::string owner = text("client").empty() ? "-" : text("client") + key_id;
  print_columns(std::to_string(object.at("handle").get<ObjectHandle>()), text("class"), label, text("state"),
                owner, text("details"));
}

}  // namespace

void list(const Target& target, bool json) {
  TokenSession user(target);
  user.login(UserType::User);
  const Json objects = describe_objects(user);
  if (json) {
    // Labels and names may be any bytes.
    std::cout << objects.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    return;
  }
  if (!objects.empty()) {
    print_columns("handle", "class", "label", "state", "owner", "details");
  }
  for (const Json& object : objects) {
    print_line(object);
  }
  std::cout << counted(objects.size(), "object") << "\n";
}

}  // namespace tee_token_admin
