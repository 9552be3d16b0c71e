// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "crypto/key_device.h"

#include <cstring>

#include "crypto/ec_key.h"
#include "crypto/symmetric.h"

namespace tee_token {
namespace {

/// The store seals the scalar itself, and device.key is the device key.
class SoftwareDevice : public KeyDevice {
 public:
  explicit SoftwareDevice(Bytes device_key) : m_device_key(std::move(device_key)) {}

  const char* model() const override { return "software"; }
  unsigned long most_bits() const override { return 521; }
  bool exports_keys() const override { return true; }
  Bytes device_key() const override { return m_device_key; }

  NewKey generate(const Bytes& ec_params, const Bytes&) const override {
    const EcPrivateKey key = EcPrivateKey::generate(ec_params);
    return {key.value(), key.ec_point()};
  }
  Bytes import(const Bytes&, const Bytes& scalar, const Bytes&) const override { return scalar; }
  Bytes ec_point(const Bytes& ec_params, const Bytes& value) const override {
    return EcPrivateKey(ec_params, value).ec_point();
  }
  Bytes sign(const Bytes& ec_params, const Bytes& value, ByteView digest, const Bytes&) const override {
    return EcPrivateKey(ec_params, value).sign(digest);
  }

 private:
  const Bytes m_device_key;
};

constexpr char kSoftware[] = "software";

// Without a TCTI, the TPM is behind the kernel's resource manager.
std::string full_name(const std::string& device) {
  return device == "tpm" ? std::string(kTpmKind) + "device:/dev/tpmrm0" : device;
}

bool begins_with(const Bytes& content, const std::string& text) {
  return content.size() >= text.size() && std::memcmp(content.data(), text.data(), text.size()) == 0;
}

void require_tpm_support() {
  if (tpm_device == nullptr) {
    throw Failure(CKR_DEVICE_ERROR, "this libteetoken.so was built without support for a TPM");
  }
}

}  // namespace

std::unique_ptr<const KeyDevice> KeyDevice::of(const Bytes& device_key_file) {
  if (begins_with(device_key_file, kTpmKind)) {
    require_tpm_support();
    return tpm_device(device_key_file);
  }
  if (device_key_file.size() != kKeyLength) {
    throw Failure(CKR_DEVICE_ERROR,
                  "device.key is damaged: it must hold 32 bytes; put a copy of the folder back, or make a "
                  "new token in an empty one");
  }
  return std::make_unique<SoftwareDevice>(device_key_file);
}

Bytes new_device_key(const std::string& device) {
  if (device.empty() || device == kSoftware) {
    return random_bytes(kKeyLength);
  }
  const std::string tpm = full_name(device);
  if (tpm.rfind(kTpmKind, 0) != 0) {
    throw Failure(CKR_ARGUMENTS_BAD,
                  "TEE_TOKEN_KEYS is '" + device + "'; it must be software, tpm or tpm:TCTI");
  }
  require_tpm_support();
  return new_tpm_device_key(tpm.substr(std::strlen(kTpmKind)));
}

bool is_on(const std::string& device, const Bytes& device_key_file) {
  return device == kSoftware ? !begins_with(device_key_file, kTpmKind)
                             : begins_with(device_key_file, full_name(device) + "\n");
}

}  // namespace tee_token
