// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "base/bytes.h"

namespace tee_token {

/// Where a token's private keys and its device key live: in the token's files, or in a TPM 2.0. The store
/// keeps of a private key what the device returned as its CKA_VALUE, and gives that back for each use.
class KeyDevice {
 public:
  struct NewKey {
    Bytes value;     // CKA_VALUE of the private key, to be stored
    Bytes ec_point;  // CKA_EC_POINT of the public key
  };

  /// The device of the token whose device.key has this content. Throws a Failure (CKR_DEVICE_ERROR) when it
  /// is none that `new_device_key` made.
  static std::unique_ptr<const KeyDevice> of(const Bytes& device_key_file);

  virtual ~KeyDevice() = default;

  /// CK_TOKEN_INFO's model.
  virtual const char* model() const = 0;
  /// The length of the longest private keys, in bits.
  virtual unsigned long most_bits() const = 0;
  /// Whether a private key may be CKA_EXTRACTABLE.
  virtual bool exports_keys() const = 0;

  /// The device-unique key, of `kKeyLength` bytes.
  virtual Bytes device_key() const = 0;

  /// The members below are for private keys on the curve of `ec_params`. `master_key` is that of a login,
  /// without which the device uses none of them. They throw CKR_CURVE_NOT_SUPPORTED, and a Failure when the
  /// device fails.
  virtual NewKey generate(const Bytes& ec_params, const Bytes& master_key) const = 0;
  /// The CKA_VALUE to store for a key that was made elsewhere; `scalar` is big-endian and in [1, n-1].
  virtual Bytes import(const Bytes& ec_params, const Bytes& scalar, const Bytes& master_key) const = 0;
  virtual Bytes ec_point(const Bytes& ec_params, const Bytes& value) const = 0;
  /// ECDSA over `digest` (truncated to the order's length): r and s, each as long as the order.
  virtual Bytes sign(const Bytes& ec_params, const Bytes& value, ByteView digest,
                     const Bytes& master_key) const = 0;
};

/// The content of device.key for a new token. `device` is "software", "tpm" or "tpm:TCTI" (the TPM that the
/// TCTI configuration of tpm2-tss names). Throws a Failure: CKR_ARGUMENTS_BAD for another name.
Bytes new_device_key(const std::string& device);

/// Whether a token whose device.key has this content is on the device that `device` names.
bool is_on(const std::string& device, const Bytes& device_key_file);

/// Content of device.key that begins so is a TPM's.
constexpr char kTpmKind[] = "tpm:";

/// KeyDevice::of, and `new_device_key`, for keys in a TPM 2.0 (tpm.cpp). Both are null in a build without
/// TPM.
[[gnu::weak]] std::unique_ptr<const KeyDevice> tpm_device(const Bytes& device_key_file);
[[gnu::weak]] Bytes new_tpm_device_key(const std::string& tcti);

}  // namespace tee_token
