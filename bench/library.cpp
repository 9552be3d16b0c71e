// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "library.h"

#include <ozk/tee/client_cert_initializer_api.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "support/certificate_authority.h"

namespace bench {
namespace {

using ozk::tee::ClientCertInitializerAPI;
using ozk::tee::ResultCode;

void require(bool succeeded, const char* operation) {
  if (!succeeded) throw std::runtime_error(std::string(operation) + " failed");
}

ClientCertInitializerAPI& api() { return *ClientCertInitializerAPI::get_instance(); }

test_support::CertificateAuthority& authority() {
  static test_support::CertificateAuthority backend;
  return backend;
}

std::string g_chain;  // for the pending key pair

void generate_key() {
  require(api().generate_private_key("LYR_CSR") == ResultCode::OK, "generate_private_key");
}

std::vector<std::uint8_t> request() {
  const auto made = api().generate_csr("device", "LYR_CSR");
  require(!made.empty(), "generate_csr");
  return made;
}

void issue() { g_chain = test_support::pem({authority().issue(request()), authority().root()}); }

void install() {
  require(api().set_client_cert_and_move_key(g_chain, "LYR_CSR", "LYR") == ResultCode::OK,
          "set_client_cert_and_move_key");
}

void run(const std::string& command) {
  require(std::system((std::string(TEE_TOKEN_ADMIN) + " " + command + " >/dev/null").c_str()) == 0,
          "tee-token");
}

}  // namespace

void sign() { require(api().generate_signature("LYR", {1, 2, 3}, "").size() == 64, "generate_signature"); }

void install_identity() {
  const auto root = std::filesystem::temp_directory_path() / ("bench-root-" + std::to_string(::getpid()));
  std::ofstream(root) << authority().root().PEM_encode();
  run("add-trust-group --so-pin-hex 343037313832393300 backend " + root.string());
  std::filesystem::remove(root);
  run("import-data 2_1 WXY00TEEDEMO00001");
  generate_key();
  issue();
  install();
}

std::vector<Operation> operations() {
  const auto generate_and_issue = [] {
    generate_key();
    issue();
  };
  return {
      {"generate_private_key", nullptr, generate_key},
      {"generate_csr", nullptr, [] { request(); }},
      {"set_client_cert_and_move_key", generate_and_issue, install},
      {"get_client_cert", nullptr, [] { require(!api().get_client_cert("LYR").empty(), "get_client_cert"); }},
      {"get_public_key", nullptr, [] { require(!api().get_public_key("LYR").empty(), "get_public_key"); }},
      {"get_root_cert_bundle", nullptr,
       [] { require(!api().get_root_cert_bundle("backend").empty(), "get_root_cert_bundle"); }},
      {"get_zemp_vin", nullptr, [] { require(!api().get_zemp_vin().empty(), "get_zemp_vin"); }},
      {"generate_signature", nullptr, sign},
  };
}

}  // namespace bench
