#include "provisioning.h"

#include <botan/exceptn.h>

#include "commands.h"
#include "evidence.h"

namespace provisioning {

using ozk::tee::ResultCode;

namespace {

const char kVin[] = "WXY00TEEDEMO00001";
const std::size_t kPreInstalled = 7;  // BASE key, five certificates, VIN
const std::size_t kTrusted = 7;       // three groups, three roots and one of another client

std::vector<std::uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::string count_of(std::size_t count, const char* what) { return std::to_string(count) + " " + what; }

}  // namespace

Provisioning::Provisioning(std::string tee_token)
    : m_tee_token(std::move(tee_token)), m_api(ozk::tee::ClientCertInitializerAPI::get_instance()) {}

std::string Provisioning::tee_token(const std::string& arguments) const {
  return run("'" + m_tee_token + "' " + arguments);
}

std::size_t Provisioning::objects_with(const std::string& text) const {
  const std::string all = tee_token("list");
  std::size_t count = 0;
  for (std::size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at) {
    ++count;
  }
  return count;
}

void Provisioning::make_the_token() {
  tee_token("init --label 'Demo device'");
  make_device_certificate("base", "Base device");
  tee_token("import-key 1_10 base.key");
  for (const char* label : {"1_11", "1_14", "1_15", "1_12", "1_13"}) {
    import_device_certificate(label);
  }
  tee_token(std::string("import-data 2_1 ") + kVin);
  require(objects_with("pre-installed") == kPreInstalled, "the token holds what was imported");
  report("token made", "BASE key, 5 certificates, VIN: " + count_of(kPreInstalled, "objects"));
}

void Provisioning::import_device_certificate(const std::string& label) const {
  const std::string name = "device_" + label;
  make_device_certificate(name, "Device certificate " + label);
  tee_token("import-cert " + label + " " + name + ".pem");
}

void Provisioning::read_what_is_pre_installed() {
  const std::string base = m_api->get_client_cert("BASE");
  const std::string expected =
      read_file("device_1_11.pem") + read_file("device_1_15.pem") + read_file("device_1_14.pem");
  const std::string zemp = m_api->get_client_cert("ZEMP");
  require(base == expected, "BASE gives certificates 1_11, 1_15, 1_14");
  require(zemp == read_file("device_1_13.pem") + read_file("device_1_12.pem"), "ZEMP gives 1_13, 1_12");
  require(m_api->get_zemp_vin() == kVin, "the VIN is the one imported");
  report("pre-installed read", "BASE 3 and ZEMP 2 certificates, VIN " + m_api->get_zemp_vin());
}

void Provisioning::read_trust_store_groups() {
  std::string roots;
  for (const char* name : {"root_b", "root_c", "root_a"}) {
    make_device_certificate(name, std::string("Trusted ") + name);
    roots += read_file(std::string(name) + ".pem");
  }
  write_file("roots.pem", roots);
  tee_token("add-trust-group backend roots.pem");
  tee_token("add-trust-group empty");
  tee_token("add-trust-group foreign root_a.pem --client OTHER_CLIENT");
  require(objects_with(" trusted ") == kTrusted, "the token holds three groups and their roots");

  require(m_api->get_root_cert_bundle("backend") == roots, "the roots are those given, in their order");
  report("trust group read", count_of(certificate_count(roots), "roots, the same as given to tee-token"));
  require(m_api->get_root_cert_bundle("empty").empty(), "a group without roots gives nothing");
  report("empty trust group", "gives nothing");
  require_unknown_group("nonesuch");
  require_unknown_group("foreign");
  report("unknown trust group", "is thrown; so is a group of another client");
}

void Provisioning::require_unknown_group(const std::string& group) const {
  bool thrown = false;
  try {
    m_api->get_root_cert_bundle(group);
  } catch (const Botan::Exception& error) {
    thrown = std::string(error.what()).find("'" + group + "'") != std::string::npos;
  }
  require(thrown, "the group " + group + " is unknown, and named");
}

void Provisioning::make_the_backend() {
  m_backend.reset(new Backend);
  report("CA made", "root and intermediate, by openssl");
}

void Provisioning::generate_and_request() {
  require(m_api->generate_private_key("LYR_CSR") == ResultCode::OK, "a key pair is generated");
  report("key pair generated", "on secp256r1, inside the token");

  const std::vector<std::uint8_t> request = m_api->generate_csr("demo-device-1", "LYR_CSR");
  write_file("request.der", request);
  // Its exit code does not tell.
  require(
      run("openssl req -inform DER -in request.der -verify -noout").find("verify OK") != std::string::npos,
      "the request's signature verifies");
  report("request made", count_of(request.size(), "bytes, verified by openssl, ") +
                             run("openssl req -inform DER -in request.der -noout -subject"));

  run("openssl req -inform DER -in request.der -noout -pubkey -out request.pub");
  require(m_api->get_public_key("LYR_CSR") == read_file("request.pub"),
          "the request carries the token's public key");
  report("public key exported", "the same as the request's");
}

void Provisioning::install() {
  const std::string chain = m_backend->certify("request.der");
  report("certificate issued", identity_of("issued.pem"));

  require(m_api->set_client_cert_and_move_key(chain, "LYR_CSR", "LYR") == ResultCode::OK,
          "the chain is installed");
  require(m_api->get_client_cert("LYR") == chain, "the token gives the chain that was installed");
  require(objects_with(" installed ") == 3 && objects_with(" temporary ") == 0,
          "one whole identity, nothing else");
  m_installed = chain;
  report("installed",
         count_of(certificate_count(chain), "certificates, key pair and chain permanent, no temporary left"));
}

void Provisioning::require_identity_works(const std::string& chain) const {
  require(m_api->get_client_cert("LYR") == chain, "the installed chain is the expected one");
  write_file("chain.pem", chain);
  run("openssl verify -CAfile root.pem -untrusted chain.pem chain.pem");
  run("openssl x509 -in chain.pem -noout -pubkey -out chain.pub");
  require(m_api->get_public_key("LYR") == read_file("chain.pub"), "key and certificate belong together");
  require_signature("chain.pub", "hello backend",
                    m_api->generate_signature("LYR", bytes("hello backend"), ""));
}

void Provisioning::use_what_is_installed() {
  require_identity_works(m_installed);
  report("chain verified", "by openssl verify up to the root; its key is the one in the token");
  report("LYR signature", "64 bytes, verified by openssl under the certificate's key");

  run("openssl pkey -in base.key -pubout -out base.pub");
  require_signature("base.pub", "hello base", m_api->generate_signature("BASE", bytes("hello base"), ""));
  report("BASE signature", "64 bytes, verified by openssl under the device's key");
}

void Provisioning::rotate() {
  const std::string old_chain = m_installed;
  require(m_api->generate_private_key("LYR_CSR") == ResultCode::OK, "a second key pair is generated");
  require_identity_works(old_chain);
  write_file("request.der", m_api->generate_csr("demo-device-1", "LYR_CSR"));
  m_installed = m_backend->certify("request.der");
  require(m_api->set_client_cert_and_move_key(m_installed, "LYR_CSR", "LYR") == ResultCode::OK,
          "the rotation");
  require_identity_works(m_installed);
  require(m_installed != old_chain && objects_with(" installed ") == 3,
          "the first identity is no longer there");
  report("rotated", identity_of("chain.pem") + "; the first is gone");
}

void Provisioning::refuse_a_chain_for_another_key() {
  require(m_api->generate_private_key("LYR_CSR") == ResultCode::OK, "a third key pair is generated");
  run("openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout other.key -subj /CN=other"
      " -outform DER -out other.der");
  const std::string wrong = m_backend->certify("other.der");
  require(m_api->set_client_cert_and_move_key(wrong, "LYR_CSR", "LYR") == ResultCode::CRYPTO_OP_ERROR,
          "a chain for another key is refused");
  require_identity_works(m_installed);
  report("wrong chain refused", "CRYPTO_OP_ERROR; the installed identity goes on signing");
}

void Provisioning::refuse_wrong_key_identifiers() {
  require(
      m_api->generate_private_key("lyr_csr") == ResultCode::INVALID_KEY_ID &&
          m_api->set_client_cert_and_move_key(m_installed, "LYR_CSR", "BASE") == ResultCode::INVALID_KEY_ID,
      "wrong key identifiers are named as such");
  require(m_api->generate_csr("demo-device-1", "LYR").empty() && m_api->get_public_key("BASE").empty() &&
              m_api->generate_signature("LYR_CSR", bytes("x"), "").empty() &&
              m_api->get_client_cert("LYR ").empty(),
          "wrong key identifiers give nothing");
  require_identity_works(m_installed);
  report("wrong identifiers", "INVALID_KEY_ID or nothing, and nothing changed");
}

void Provisioning::delete_the_identity() {
  require(m_api->set_client_cert_and_move_key("", "", "LYR") == ResultCode::OK, "the deletion");
  require(m_api->get_client_cert("LYR").empty() && m_api->generate_signature("LYR", bytes("x"), "").empty(),
          "no identity is left");
  const std::string objects = count_of(kPreInstalled + kTrusted, "objects");
  require(objects_with(" pre-installed ") == kPreInstalled && objects_with(" trusted ") == kTrusted &&
              objects_with("\n" + objects) == 1,
          "nothing is left but the pre-installed material and the trust store");
  report("deleted", objects + " left, all pre-installed or trusted");
}

}  // namespace provisioning
