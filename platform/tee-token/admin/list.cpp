#include <botan/ec_group.h>
#include <botan/hex.h>
#include <botan/p11_trust_store_group.h>
#include <botan/p11_x509.h>
#include <botan/x509_dn.h>

#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>

#include "commands.h"
#include "label.h"
#include "tee_token/vendor_interface.h"

namespace tee_token_admin {

using namespace Botan::PKCS11;

namespace {

using Json = nlohmann::ordered_json;

/// The value of an attribute; empty when the object has none, or none that is given away.
std::vector<std::uint8_t> value_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  try {
    return Botan::unlock(object.get_attribute_value(static_cast<AttributeType>(type)));
  } catch (const PKCS11_ReturnError& error) {
    if (error.get_return_value() != ReturnValue::AttributeTypeInvalid &&
        error.get_return_value() != ReturnValue::AttributeSensitive) {
      throw;
    }
    return {};
  }
}

std::string text_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  const std::vector<std::uint8_t> value = value_of(object, type);
  return std::string(value.begin(), value.end());
}

CK_ULONG number_of(const Object& object, CK_ATTRIBUTE_TYPE type) {
  const std::vector<std::uint8_t> value = value_of(object, type);
  CK_ULONG number = CK_UNAVAILABLE_INFORMATION;
  if (value.size() == sizeof number) {
    std::memcpy(&number, value.data(), sizeof number);
  }
  return number;
}

bool is_true(const Object& object, CK_ATTRIBUTE_TYPE type) {
  return value_of(object, type) == std::vector<std::uint8_t>{CK_TRUE};
}

std::string describe(const Botan::X509_Certificate& certificate) {
  return certificate.subject_dn().to_string() + ", serial " +
         Botan::hex_encode(certificate.serial_number(), false);
}

std::string describe_chain(Session& session, ObjectHandle handle) {
  const auto chain = PKCS11_TSG_CertficateChain(session, handle).getx509CertificateChain();
  return chain.empty() ? "no certificates"
                       : describe(chain.front()) + " (" + std::to_string(chain.size()) + " certificates)";
}

std::string describe_key(const Object& object) {
  return Botan::EC_Group(value_of(object, CKA_EC_PARAMS)).get_curve_oid().to_formatted_string();
}

struct Described {
  const char* object_class;
  std::string details;
};

Described describe(Session& session, const Object& object) {
  switch (number_of(object, CKA_CLASS)) {
    case CKO_DATA:
      return {"data", std::to_string(value_of(object, CKA_VALUE).size()) + " bytes"};
    case CKO_PUBLIC_KEY:
      return {"public key", describe_key(object)};
    case CKO_PRIVATE_KEY:
      return {"private key", describe_key(object)};
    case CKO_CERTIFICATE:
      if (number_of(object, CKA_CERTIFICATE_TYPE) == TEE_CKC_CERTIFICATE_CHAIN) {
        return {"chain", describe_chain(session, object.handle())};
      }
      return {"certificate", describe(PKCS11_X509_Certificate(session, object.handle()))};
    default:
      return {"other", ""};
  }
}

Json describe_object(Session& session, ObjectHandle handle) {
  const Object object(session, handle);
  Described described{"unreadable", ""};
  try {
    described = describe(session, object);
  } catch (const Botan::Exception& exception) {
    described.details = exception.what();  // shown in its line: the others are to be seen all the same
  }
  const std::string client = text_of(object, TEE_CKA_VENDOR_CLIENT_ID);
  const char* const state = client.empty()                              ? "pre-installed"
                            : is_true(object, TEE_CKA_VENDOR_PERMANENT) ? "installed"
                                                                        : "temporary";
  return {{"handle", handle},
          {"class", described.object_class},
          {"label", label_text(value_of(object, CKA_LABEL))},
          {"state", state},
          {"client", client},
          {"key_id", text_of(object, TEE_CKA_VENDOR_KEY_ID)},
          {"details", described.details}};
}

void print_line(const Json& object) {
  const auto text = [&](const char* name) { return object.at(name).get<std::string>(); };
  const std::string owner = text("client").empty() ? "-" : text("client") + "/" + text("key_id");
  std::cout << std::right << std::setw(6) << object.at("handle").get<ObjectHandle>() << "  " << std::left
            << std::setw(12) << text("class") << std::setw(8) << text("label") << std::setw(14)
            << text("state") << std::setw(16) << owner << text("details") << "\n";
}

}  // namespace

void list(const Target& target, bool json) {
  UserSession user(target);
  Json objects = Json::array();
  for (const ObjectHandle handle : user.find(AttributeContainer())) {
    objects.push_back(describe_object(user.session(), handle));
  }
  if (json) {
    // Labels and names may hold any bytes.
    std::cout << objects.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
    return;
  }
  for (const Json& object : objects) {
    print_line(object);
  }
  std::cout << objects.size() << " objects\n";
}

}  // namespace tee_token_admin
