// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Gets a page from a server that demands a client certificate; certificate and key are in the token.

#include <botan/auto_rng.h>
#include <botan/tls_client.h>
#include <botan/tls_session_manager.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <map>
#include <system_error>

#include "token_identity.h"

namespace {

using namespace mutual_tls;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

class Socket {
 public:
  Socket(const std::string& host, const std::string& port) {
    addrinfo hints = {}, *found = nullptr;
    hints.ai_socktype = SOCK_STREAM;
    const int failure = ::getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
    if (failure != 0) {
      throw std::runtime_error(host + " port " + port + ": " + ::gai_strerror(failure));
    }
    for (const addrinfo* address = found; address != nullptr && !connect(*address);) {
      address = address->ai_next;
    }
    ::freeaddrinfo(found);
    if (m_file < 0) {
      fail(host + " port " + port);
    }
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() { ::close(m_file); }

  void send(const std::uint8_t* data, std::size_t size) const {
    while (size > 0) {
      const ssize_t sent = ::send(m_file, data, size, MSG_NOSIGNAL);
      if (sent < 0) {
        fail("sending");
      }
      data += sent;
      size -= static_cast<std::size_t>(sent);
    }
  }
  /// Returns 0 at the end of the connection.
  std::size_t receive(std::uint8_t* data, std::size_t room) const {
    const ssize_t received = ::recv(m_file, data, room, 0);
    if (received < 0) {
      fail("receiving");
    }
    return static_cast<std::size_t>(received);
  }

 private:
  bool connect(const addrinfo& address) {
    m_file = ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
    if (m_file >= 0 && ::connect(m_file, address.ai_addr, address.ai_addrlen) == 0) {
      return true;
    }
    const int reason = errno;
    ::close(m_file);
    m_file = -1;
    errno = reason;
    return false;
  }

  int m_file = -1;
};

/// Writes what it receives to stdout.
class Connection final : public TokenCallbacks {
 public:
  Connection(Api& api, const Socket& socket) : TokenCallbacks(api), m_socket(socket) {}

  void tls_emit_data(const std::uint8_t* data, std::size_t size) override { m_socket.send(data, size); }
  void tls_record_received(std::uint64_t, const std::uint8_t* data, std::size_t size) override {
    std::cout.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  void tls_alert(Botan::TLS::Alert alert) override {
    if (alert.is_fatal()) {
      throw std::runtime_error("the server ended the connection: " + alert.type_string());
    }
  }
  bool tls_session_established(const Botan::TLS::Session&) override { return false; }

 private:
  const Socket& m_socket;
};

void ask(const std::string& host, const std::string& port, const std::string& group,
         const std::string& path) {
  const std::shared_ptr<Api> api = Api::get_instance();
  TokenCredentials credentials(*api, group);
  const Socket socket(host, port);
  Connection connection(*api, socket);
  Botan::AutoSeeded_RNG rng;
  Botan::TLS::Session_Manager_Noop no_sessions;  // each connection signs with the key installed now
  const TokenPolicy policy;
  // The server information makes Botan check the certificate for the host name.
  Botan::TLS::Client client(connection, no_sessions, credentials, policy, rng, {host, 443});
  const std::string request = "GET " + path + " HTTP/1.0\r\nHost: " + host + "\r\n\r\n";
  bool asked = false;
  std::uint8_t data[4096];
  for (std::size_t size = 0; !client.is_closed() && (size = socket.receive(data, sizeof data)) > 0;) {
    client.received_data(data, size);
    if (client.is_active() && !asked) {
      client.send(request);
      asked = true;
    }
  }
  if (!asked) {
    throw std::runtime_error("the server closed the connection during the handshake");
  }
}

/// The name of the token's return value, and what to do; the exception has the number alone.
std::string text_of(const Botan::Exception& failure) {
  static const std::map<int, const char*> kReturnValues = {
      {0x30, "CKR_DEVICE_ERROR: the token cannot be used; run: tee-token check"},
      {0xA0, "CKR_PIN_INCORRECT: wrong user PIN; run: tee-token reset-pin --platform-pin"},
      {0xA4, "CKR_PIN_LOCKED: too many wrong PINs; run: tee-token reset-pin --platform-pin"},
      {0xE1, "CKR_TOKEN_NOT_RECOGNIZED: the token is not initialised; run: tee-token init"},
  };
  const bool is_tokens = failure.error_type() == Botan::ErrorType::Pkcs11Error;
  const auto found = kReturnValues.find(is_tokens ? failure.error_code() : 0);
  return found == kReturnValues.end() ? failure.what() : found->second;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) {
    std::cerr << "usage: mutual-tls HOST PORT TRUST-STORE-GROUP [PATH]\n";
    return 2;
  }
  try {
    ask(argv[1], argv[2], argv[3], argc == 5 ? argv[4] : "/");
    return std::cout.flush() ? 0 : 1;
  } catch (const Botan::Exception& failure) {
    std::cerr << "mutual-tls: " << text_of(failure) << "\n";
  } catch (const std::exception& failure) {
    std::cerr << "mutual-tls: " << failure.what() << "\n";
  }
  return 1;
}
