// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "base/attribute_table.h"

#include <sstream>

#include "support/stored_file.h"

namespace token_test {
namespace {

using namespace tee_token;

const char* text_of(Layout layout) {
  const char* const names[] = {"flag", "number", "numbers", "date", "bytes"};
  return names[static_cast<int>(layout)];
}

std::string text_of(Default fallback, Classes classes) {
  const bool of_data = (classes & bit_of(CKO_DATA)) != 0;
  const char* const names[] = {"absent",
                               "false",
                               "true",
                               "true of a private key, else false",
                               "0",
                               "unavailable",
                               "empty",
                               "none: must be given",
                               of_data ? "none: must be given (data: empty); found by a generation"
                                       : "none: must be given; found by a generation",
                               "of a key: derived, else empty"};
  return names[static_cast<int>(fallback)];
}

const char* text_of(Setter setter) {
  const char* const names[] = {"at creation",
                               "anytime",
                               "anytime; of a certificate at creation",
                               "anytime, but not back to false",
                               "anytime, but not back to true",
                               "true: officer",
                               "nobody: false at creation",
                               "nobody"};
  return names[static_cast<int>(setter)];
}

std::string text_of(Classes classes) {
  if (classes == 31) {
    return "all";
  }
  std::string text;
  for (const CK_OBJECT_CLASS each :
       {CKO_DATA, CKO_CERTIFICATE, CKO_PUBLIC_KEY, CKO_PRIVATE_KEY, TEE_CKO_TRUST_STORE_GROUP}) {
    if ((classes & bit_of(each)) != 0) {
      text += (text.empty() ? "" : ", ") + std::string(name_of_class(each));
    }
  }
  return text;
}

std::string document() {
  std::ostringstream page;
  page << "# Attributes\n\nWritten by `./run accept` from the token's table (`platform/tee-token/base/"
          "attribute_table.cpp`); other attributes answer\n`CKR_ATTRIBUTE_TYPE_INVALID`. All can be read but "
          "the "
          "`CKA_VALUE` of a private key that is `CKA_SENSITIVE` or not\n`CKA_EXTRACTABLE`. Besides: an X.509 "
          "certificate needs a `CKA_SUBJECT`, a trust store group a `CKA_VENDOR_CLIENT_ID`; a copy\nmay have "
          "another "
          "`CKA_TOKEN`, `CKA_PRIVATE`, `CKA_MODIFIABLE` and `CKA_DESTROYABLE`.\n\n"
          "| attribute | objects | value | without it in the template | who sets it, when "
          "|\n|---|---|---|---|---|\n";
  for (const AttributeRule& rule : AttributeRules()) {
    const std::string name = rule.name;
    page << "| `" << name.substr(name.find("CKA_")) << "` | " << text_of(rule.classes) << " | "
         << text_of(rule.layout) << " | " << text_of(rule.fallback, rule.classes) << " | "
         << text_of(rule.setter) << " |\n";
  }
  return page.str();
}

TEST(AttributeTableTest, IsWhatTheDocumentSays) {
  test_support::expectPage("docs/attributes.md", document());
}

}  // namespace
}  // namespace token_test
