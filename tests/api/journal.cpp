// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/journal.h"

#include <botan/exceptn.h>

#include <iomanip>
#include <sstream>

#include "support/spytoken.h"

namespace ozk::tee {

namespace {

std::string hexOfText(const std::string& text) { return hexOf({text.begin(), text.end()}); }

std::string entryOf(const test_support::SpiedCall& call) {
  if (call.code == CKR_OK) return call.text + (call.results.empty() ? "" : " ->" + call.results);
  std::ostringstream text;
  text << call.text << " = 0x" << std::hex << call.code;
  return text.str();
}

std::string entryOf(const test_support::LogLine& line) {
  switch (line.level) {
    case ara::log::LogLevel::kDebug:
      return debugged(line.text);
    case ara::log::LogLevel::kError:
      return failed(line.text);
    default:
      return "a level that the library does not use: " + line.text;
  }
}

Journal counted(const std::string& function, const Template& sought, const Handles& found,
                const std::string& text) {
  return searched(sought, found) +
         Journal{debugged("ClientCertInitializer::" + function + text + number(found.size()))} + finished();
}

}  // namespace

std::string hexOf(const Bytes& bytes) {
  std::ostringstream hex;
  hex << std::hex << std::setfill('0');
  for (const auto byte : bytes) hex << std::setw(2) << +byte;
  return hex.str();
}

std::string number(unsigned long value) { return std::to_string(value); }

Journal operator+(Journal first, const Journal& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

std::string debugged(const std::string& text) { return "debug: " + text; }
std::string failed(const std::string& text) { return "error: " + text; }

std::string attribute(unsigned long type, const std::string& hex) {
  std::ostringstream text;
  text << std::hex << type << '=' << hex;
  return text.str();
}

std::string objectClass(unsigned value) {
  return attribute(CKA_CLASS, hexOf({static_cast<std::uint8_t>(value), 0, 0, 0, 0, 0, 0, 0}));
}
std::string labelled(const std::string& hex) { return attribute(CKA_LABEL, hex); }
std::string permanent(bool value) { return attribute(0x80001004, value ? "01" : "00"); }
std::string client() { return attribute(0x80001003, hexOfText("CCI_CLIENT")); }
std::string keyId() { return attribute(0x80001002, hexOfText("LYR")); }

std::string shown(const Template& attributes) {
  std::string text;
  for (const std::string& each : attributes) text += (text.empty() ? "" : " ") + each;
  return "[" + text + "]";
}

Journal opened() {
  return {"C_GetFunctionList",    "C_Initialize 2",         "C_GetSlotList 1 -> 1",
          "C_GetSlotList 1 -> 0", "C_OpenSession 0 6 -> 1", "C_Login 1 1 9"};
}

Journal closed() { return {"C_Logout 1", "C_CloseSession 1", "C_Finalize"}; }

Journal searched(const Template& sought, const Handles& found) {
  std::string handles;
  for (const Handle each : found) handles += " " + number(each);
  return {"C_FindObjectsInit 1 " + shown(sought),
          "C_FindObjects 1 100" + (found.empty() ? "" : " ->" + handles)};
}

Journal finished() { return {"C_FindObjectsFinal 1"}; }

Journal read(Handle object, unsigned long type, unsigned long length) {
  const std::string call =
      "C_GetAttributeValue 1 " + number(object) + " [" + attribute(type, "") + "] -> " + number(length);
  return {call, call};
}

Journal openedPublicKey(Handle object) {
  return read(object, CKA_EC_PARAMS, 10) + read(object, CKA_EC_POINT, 67);
}
Journal openedPrivateKey(Handle object) { return read(object, CKA_EC_PARAMS, 10); }
Journal destroyed(Handle object) { return {"C_DestroyObject 1 " + number(object)}; }

Journal lookedUpPublicKey(bool installed, const Handles& found) {
  const std::string name = "getLYRPublicKeyHandle";
  const std::string text = "ClientCertInitializer::" + name + " : ";
  return Journal{debugged(text + "==>"),
                 debugged(text + (installed ? "Search Permanent Pub key" : "Search LYR"))} +
         counted(
             name,
             {labelled("0a64000000"), objectClass(CKO_PUBLIC_KEY), client(), keyId(), permanent(installed)},
             found, " : count of public key found = ") +
         Journal{debugged(text + "<==")};
}

Journal lookedUpPrivateKey(bool installed, const Handles& found) {
  return counted("getLYRPrivateKeyHandle",
                 {objectClass(CKO_PRIVATE_KEY), client(), keyId(), permanent(installed)}, found,
                 " : count of private key found = ");
}

Journal lookedUpBaseKey(const Handles& found) {
  return searched({objectClass(CKO_PRIVATE_KEY), labelled("010a000000")}, found) + finished() +
         Journal{debugged("After Private Key finding, Private count = " + number(found.size()))};
}

Journal lookedUpChain(bool installed, const Handles& found) {
  return Journal{debugged("ClientCertInitializer::getLYRCertificateChainHandle")} +
         counted("getLYRCertificateChainHandle",
                 {objectClass(CKO_CERTIFICATE), keyId(), client(), permanent(installed)}, found,
                 " : No of chain objects found = ");
}

JournalTest::JournalTest() {
  log.observe([this](const test_support::LogLine& line) { m_journal.push_back(entryOf(line)); });
  test_support::spytoken().observer = [this](const test_support::SpiedCall& call) {
    m_journal.push_back(entryOf(call));
  };
}

JournalTest::~JournalTest() { test_support::spytoken().observer = nullptr; }

void JournalTest::expect(const std::function<void()>& operation, const Journal& expected) {
  m_journal.clear();
  try {
    operation();
  } catch (const Botan::Exception& error) {
    m_journal.push_back(std::string("thrown: ") + error.what());
  }
  const auto at = [](const Journal& journal, std::size_t i) {
    return i < journal.size() ? journal[i] : std::string("(the end)");
  };
  std::size_t same = 0;
  while (same < expected.size() && at(m_journal, same) == expected[same]) ++same;
  EXPECT_EQ(at(m_journal, same), at(expected, same))
      << "entry " << same << (same == 0 ? "" : ", after " + at(expected, same - 1));
}

void JournalTest::expectInSession(const std::function<void()>& operation, const Journal& expected,
                                  const std::string& thrown) {
  expect(operation,
         opened() + expected + closed() + (thrown.empty() ? Journal() : Journal{"thrown: " + thrown}));
}

}  // namespace ozk::tee
