// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "api/key_ids.h"

namespace ozk {
namespace tee {

const std::string kChainLabel = "10_102";
const std::string kLYRKeyId = "LYR";
const std::string kLYRCSRKeyId = "LYR_CSR";
const std::string kBASEKeyId = "BASE";
const std::string kZEMPKeyId = "ZEMP";
const std::vector<std::string> kZEMPCertIds = {"1_13", "1_12"};
const std::vector<std::string> kBASECertIds = {"1_11", "1_15", "1_14"};

}  // namespace tee
}  // namespace ozk
