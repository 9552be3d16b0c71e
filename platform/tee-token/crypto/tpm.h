// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "crypto/key_device.h"

namespace tee_token {

/// Content of device.key that begins so is a TPM's.
constexpr char kTpmKind[] = "tpm:";

/// KeyDevice::of, and `new_device_key`, for keys in a TPM 2.0. Both are null in a build without TPM.
[[gnu::weak]] std::unique_ptr<const KeyDevice> tpm_device(const Bytes& device_key_file);
[[gnu::weak]] Bytes new_tpm_device_key(const std::string& tcti);

}  // namespace tee_token
