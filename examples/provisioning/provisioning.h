// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ozk/tee/client_cert_initializer_api.h>

#include <chrono>
#include <memory>
#include <string>

#include "backend.h"
#include "server.h"

namespace provisioning {

/// The life of one device's client certificate, scene by scene. A scene throws at the first thing that is not
/// so. The working folder is the current one; the token is that of TEE_TOKEN_DIR.
class Provisioning {
 public:
  /// `programs`: the folder where tee-token and mutual-tls are.
  explicit Provisioning(const std::string& programs);

  void make_the_token();
  void read_what_is_pre_installed();
  void read_trust_store_groups();
  void make_the_backend();
  void generate_and_request();
  void install();
  void use_what_is_installed();
  void connect();
  void rotate();
  void refuse_a_chain_for_another_key();
  void survive_kills_in_installations();
  void refuse_wrong_key_identifiers();
  void delete_the_identity();

 private:
  std::string tee_token(const std::string& arguments) const;
  void import_device_certificate(const std::string& label) const;
  void require_unknown_group(const std::string& group) const;
  std::size_t objects_with(const std::string& text) const;
  void require_identity_works(const std::string& chain) const;

  std::string new_chain() const;
  std::string serial_seen_by_server() const;
  void require_server_sees_installed() const;
  bool is_installed_after_kill(const std::string& chain, std::chrono::microseconds delay) const;

  std::string m_tee_token, m_mutual_tls;
  std::shared_ptr<ozk::tee::ClientCertInitializerAPI> m_api;
  std::unique_ptr<Backend> m_backend;
  std::unique_ptr<Server> m_server;
  std::string m_installed;  // the chain that is installed, PEM
  std::chrono::steady_clock::duration m_installation_time{};
};

}  // namespace provisioning
