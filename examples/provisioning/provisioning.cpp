// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "provisioning.h"

#include <botan/exceptn.h>
#include <ozk/tee/client_cert_initializer_api.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>

#include "backend.h"
#include "evidence.h"

namespace provisioning {

using ozk::tee::ResultCode;

namespace {

const char kVin[] = "WXY00TEEDEMO00001";
const std::size_t kPreInstalled = 7;  // BASE key, five certificates, VIN
const std::size_t kTrusted = 7;       // three groups, three roots and one of another client
const unsigned kKills = 8;
const char kBeginCertificate[] = "-----BEGIN CERTIFICATE-----";

std::string text(const std::vector<std::uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

std::string count_of(std::size_t count, const char* what) { return std::to_string(count) + " " + what; }

bool has_emulated_tpm() {
  const char* const keys = std::getenv("TEE_TOKEN_KEYS");
  return keys != nullptr && std::string(keys).rfind("tpm:swtpm:", 0) == 0;
}

/// The life of one device's client certificate, step by step.
class Provisioning {
 public:
  Provisioning(const std::string& programs, bool explained)
      : m_tee_token(programs + "/tee-token"),
        m_mutual_tls(programs + "/mutual-tls"),
        m_report(explained),
        m_api(ozk::tee::ClientCertInitializerAPI::get_instance()) {}

  int run_all() {
    make_the_token();
    read_what_is_pre_installed();
    make_the_backend();
    read_trust_store_groups();
    generate_and_request();
    install();
    use_what_is_installed();
    connect();
    rotate();
    connect();
    refuse_a_chain_for_another_key();
    connect();
    survive_kills_in_installations();
    rotate();
    refuse_wrong_key_identifiers();
    delete_the_identity();
    return m_report.steps();
  }

 private:
  std::string tee_token(const std::string& arguments) const {
    return run("'" + m_tee_token + "' " + arguments);
  }

  std::size_t objects_with(const std::string& text) const { return occurrences(text, tee_token("list")); }

  void make_the_token() {
    tee_token("init --label 'Demo device'");
    make_certificate("base", "Base device");
    tee_token("import-key 1_10 base.key");
    for (const char* label : {"1_11", "1_14", "1_15", "1_12", "1_13"}) {
      import_device_certificate(label);
    }
    tee_token(std::string("import-data 2_1 ") + kVin);
    require(objects_with("pre-installed") == kPreInstalled, "the token holds what was imported");
    m_report.step(
        "token made", "BASE key, 5 certificates, VIN: " + count_of(kPreInstalled, "objects"),
        "an SQLite file and a device key in a folder; tee-token imports what a factory would store");
    const bool on_tpm = tee_token("status").find("TPM 2.0") != std::string::npos;
    const std::string place = on_tpm ? "in a TPM 2.0" : "in the folder, sealed";
    m_report.step(
        "private keys live", place + (has_emulated_tpm() ? ", emulated by swtpm" : ""),
        "tee-token init --keys tpm makes a token on a TPM: the folder then has only what the TPM encrypted");
  }

  void import_device_certificate(const std::string& label) const {
    make_certificate("device_" + label, "Device certificate " + label);
    tee_token("import-cert " + label + " device_" + label + ".pem");
  }

  void read_what_is_pre_installed() {
    const auto pem = [](const std::string& label) { return read_file("device_" + label + ".pem"); };
    require(m_api->get_client_cert("BASE") == pem("1_11") + pem("1_15") + pem("1_14"),
            "BASE gives certificates 1_11, 1_15, 1_14");
    require(m_api->get_client_cert("ZEMP") == pem("1_13") + pem("1_12"), "ZEMP gives 1_13, 1_12");
    require(m_api->get_zemp_vin() == kVin, "the VIN is the one imported");
    m_report.step("pre-installed read", "BASE 3 and ZEMP 2 certificates, VIN " + m_api->get_zemp_vin(),
                  "get_client_cert(\"BASE\"), get_client_cert(\"ZEMP\") and get_zemp_vin() return what was "
                  "imported");
  }

  void read_trust_store_groups() {
    std::string roots;
    for (const std::string name : {"root_b", "root", "root_a"}) {
      if (name != "root") {  // that one is the backend's
        make_certificate(name, "Trusted " + name);
      }
      roots += read_file(name + ".pem");
    }
    write_file("roots.pem", roots);
    tee_token("add-trust-group backend roots.pem");
    tee_token("add-trust-group empty");
    tee_token("add-trust-group foreign root_a.pem --client OTHER_CLIENT");
    require(objects_with(" trusted ") == kTrusted, "the token holds three groups and their roots");

    require(m_api->get_root_cert_bundle("backend") == roots, "the roots are those given, in their order");
    m_report.step("trust group read",
                  count_of(occurrences(kBeginCertificate, roots), "roots, the same as given to tee-token"),
                  "get_root_cert_bundle() returns the trust anchors that the security officer stored");
    require(m_api->get_root_cert_bundle("empty").empty(), "a group without roots returns nothing");
    m_report.step("empty trust group", "returns nothing",
                  "the group is an object too, so an empty group differs from an unknown one");
    require_unknown_group("nonesuch");
    require_unknown_group("foreign");
    m_report.step("unknown trust group", "throws, and so does a group of another client",
                  "the Botan::Exception names the group; a client cannot find out whether another has it");
  }

  void require_unknown_group(const std::string& group) const {
    bool thrown = false;
    try {
      m_api->get_root_cert_bundle(group);
    } catch (const Botan::Exception& error) {
      thrown = std::string(error.what()).find("'" + group + "'") != std::string::npos;
    }
    require(thrown, "the group " + group + " is unknown, and named");
  }

  void make_the_backend() {
    make_authority();
    m_report.step("CA made", "root and intermediate, by openssl",
                  "root.pem signs intermediate.pem, which will sign the device's certificates");
  }

  void generate_and_request() {
    require(m_api->generate_private_key("LYR_CSR") == ResultCode::OK, "a key pair is generated");
    m_report.step(
        "key pair generated", "on secp256r1, inside the token",
        "generate_private_key(\"LYR_CSR\"): C_GenerateKeyPair; the private key never leaves the token");

    const std::vector<std::uint8_t> request = m_api->generate_csr("demo-device-1", "LYR_CSR");
    write_file("request.der", text(request));
    // The exit code is 0 also for a wrong signature.
    require(
        run("openssl req -inform DER -in request.der -verify -noout").find("verify OK") != std::string::npos,
        "the request's signature verifies");
    m_report.step("request made", count_of(request.size(), "bytes, its signature verified by openssl"),
                  "generate_csr() builds a PKCS#10 request that the token signs with CKM_ECDSA_SHA256");

    run("openssl req -inform DER -in request.der -noout -pubkey -out request.pub");
    require(m_api->get_public_key("LYR_CSR") == read_file("request.pub"),
            "the request carries the token's public key");
    m_report.step("public key exported", "the same as the request's",
                  "get_public_key(\"LYR_CSR\") and the request have the same key");
  }

  void install() {
    const std::string chain = certify("request.der");
    m_report.step("certificate issued", "serial " + serial_of("issued.pem"),
                  "openssl x509 -req, the backend's part");

    require(m_api->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR") == ResultCode::OK,
            "the chain is installed");
    require(m_api->get_client_cert("LYR") == chain, "the token gives the chain that was installed");
    require(objects_with(" installed ") == 3 && objects_with(" temporary ") == 0,
            "one whole identity, nothing else");
    m_installed = chain;
    m_report.step(
        "installed",
        count_of(occurrences(kBeginCertificate, chain), "certificates; key pair and chain are permanent"),
        "set_client_cert_and_move_key(): key pair and chain change places with the old ones in one "
        "transaction");
  }

  void require_identity_works(const std::string& chain) const {
    require(m_api->get_client_cert("LYR") == chain, "the installed chain is the expected one");
    write_file("chain.pem", chain);
    run("openssl verify -CAfile root.pem -untrusted chain.pem chain.pem");
    run("openssl x509 -in chain.pem -noout -pubkey -out chain.pub");
    require(m_api->get_public_key("LYR") == read_file("chain.pub"), "key and certificate belong together");
    require_signature("chain.pub", "hello backend",
                      m_api->generate_signature("LYR", bytes("hello backend"), ""));
  }

  void use_what_is_installed() {
    require_identity_works(m_installed);
    m_report.step("chain verified", "by openssl up to the root; its key is the token's",
                  "get_client_cert(\"LYR\") and get_public_key(\"LYR\") belong together");
    m_report.step("LYR signature", "64 bytes, verified by openssl with the certificate",
                  "generate_signature(\"LYR\"): r||s, made inside the token");

    run("openssl pkey -in base.key -pubout -out base.pub");
    require_signature("base.pub", "hello base", m_api->generate_signature("BASE", bytes("hello base"), ""));
    m_report.step("BASE signature", "64 bytes, verified by openssl with the device's key",
                  "the device's own key signs in the same way");
  }

  std::string new_chain() const {
    require(m_api->generate_private_key("LYR_CSR") == ResultCode::OK, "another key pair is generated");
    write_file("request.der", text(m_api->generate_csr("demo-device-1", "LYR_CSR")));
    return certify("request.der");
  }

  void rotate() {
    const std::string old_chain = m_installed, chain = new_chain();
    require_identity_works(old_chain);
    const auto begin = std::chrono::steady_clock::now();
    require(m_api->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR") == ResultCode::OK, "the rotation");
    m_installation_time = std::chrono::steady_clock::now() - begin;
    m_installed = chain;
    require_identity_works(m_installed);
    require(m_installed != old_chain && objects_with(" installed ") == 3,
            "the first identity is no longer there");
    m_report.step("rotated", "serial " + serial_of("chain.pem"),
                  "all of the above again; the old identity stays active until the new one is installed");
  }

  void refuse_a_chain_for_another_key() {
    require(m_api->generate_private_key("LYR_CSR") == ResultCode::OK, "a third key pair is generated");
    run("openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout other.key -outform DER -out "
        "other.der -subj /CN=other");
    const std::string wrong = certify("other.der");
    require(m_api->set_client_cert_and_move_key(wrong, "LYR_CSR", "LYR") == ResultCode::CRYPTO_OP_ERROR,
            "a chain for another key is refused");
    require_identity_works(m_installed);
    m_report.step("wrong chain refused", "CRYPTO_OP_ERROR; the installed identity stays active",
                  "the token compares the leaf's key with the temporary one before it changes anything");
  }

  void require_server_sees_installed() const {
    run("'" + m_mutual_tls + "' localhost " + m_server->port() +
        " backend >page 2>error || { cat error; false; }");
    write_file("chain.pem", m_api->get_client_cert("LYR"));
    require(serial_of("page") == serial_of("chain.pem"), "the server saw the installed certificate");
  }

  void connect() {
    if (m_server == nullptr) {
      m_server.reset(new Server);
    }
    require_server_sees_installed();
    m_report.step("TLS connection", "the server saw " + serial_of("page"),
                  "examples/mutual-tls: Botan's TLS 1.2, whose handshake generate_signature(\"LYR\") signs");
  }

  bool is_installed_after_kill(const std::string& chain, std::chrono::microseconds delay) const {
    const pid_t process = ::fork();
    if (process == 0) {
      m_api->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR");
      ::_exit(0);
    }
    ::usleep(static_cast<useconds_t>(delay.count()));
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
    if (has_emulated_tpm()) {  // which has no resource manager that would do this
      run("tpm2_flushcontext -t; tpm2_flushcontext -l");
    }
    return m_api->get_client_cert("LYR") == chain;
  }

  void survive_kills_in_installations() {
    const auto part = std::chrono::duration_cast<std::chrono::microseconds>(m_installation_time) / kKills;
    unsigned changed = 0;
    for (unsigned kill = 0; kill < kKills; ++kill) {
      const std::string chain = new_chain();
      if (is_installed_after_kill(chain, part * kill)) {
        m_installed = chain;
        ++changed;
      }
      require_identity_works(m_installed);
      require_server_sees_installed();
    }
    m_report.step("killed " + std::to_string(kKills) + " times",
                  "installing: " + std::to_string(kKills - changed) + " left the old identity, " +
                      std::to_string(changed) + " the new one",
                  "the server accepted each; a process is killed in set_client_cert_and_move_key(), each "
                  "time later; never half is installed");
  }

  void refuse_wrong_key_identifiers() {
    require(
        m_api->generate_private_key("lyr_csr") == ResultCode::INVALID_KEY_ID &&
            m_api->set_client_cert_and_move_key(m_installed, "LYR_CSR", "BASE") == ResultCode::INVALID_KEY_ID,
        "wrong key identifiers are reported as such");
    require(m_api->generate_csr("demo-device-1", "LYR").empty() && m_api->get_public_key("BASE").empty() &&
                m_api->generate_signature("LYR_CSR", bytes("x"), "").empty() &&
                m_api->get_client_cert("LYR ").empty(),
            "wrong key identifiers return nothing");
    require_identity_works(m_installed);
    m_report.step("wrong identifiers", "INVALID_KEY_ID or nothing, and nothing changed",
                  "key identifiers are compared byte for byte");
  }

  void delete_the_identity() {
    require(m_api->set_client_cert_and_move_key("", "", "LYR") == ResultCode::OK, "the deletion");
    require(m_api->get_client_cert("LYR").empty() && m_api->generate_signature("LYR", bytes("x"), "").empty(),
            "no identity is left");
    const std::string objects = count_of(kPreInstalled + kTrusted, "objects");
    require(objects_with(" pre-installed ") == kPreInstalled && objects_with(" trusted ") == kTrusted &&
                objects_with("\n" + objects) == 1,
            "nothing is left but the pre-installed material and the trust store");
    m_report.step(
        "deleted", objects + " left, all pre-installed or trusted",
        "set_client_cert_and_move_key(\"\", \"\", \"LYR\") destroys the installed key pair and chain alone");
  }

  std::string m_tee_token, m_mutual_tls;
  Report m_report;
  std::shared_ptr<ozk::tee::ClientCertInitializerAPI> m_api;
  std::unique_ptr<Server> m_server;
  std::string m_installed;  // the chain that is installed, PEM
  std::chrono::steady_clock::duration m_installation_time{};
};

}  // namespace

int provision(const std::string& programs, bool explained) {
  return Provisioning(programs, explained).run_all();
}

}  // namespace provisioning
