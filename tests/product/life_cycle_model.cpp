// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "life_cycle_model.h"

namespace ozk::tee {

void LifeCycleModel::generate(const std::string& key) {
  temporary = {key, true, true};
  if (stray_chains > 0) --stray_chains;  // one a clean-up
}

ResultCode LifeCycleModel::install(const std::string& key) {
  if (!temporary.isWhole()) {
    // The chain takes the place of a key when it comes to destroying what was added; it and what stands
    // behind it stay.
    if (temporary.has_public) temporary = {};
    ++stray_chains;
    return ResultCode::CRYPTO_OP_ERROR;
  }
  const ModelPair added = temporary;
  temporary = {};
  if (!key.empty() && key != added.key) return ResultCode::CRYPTO_OP_ERROR;
  installed = added;
  has_chain = true;
  certified_key = key;
  return ResultCode::OK;
}

void LifeCycleModel::remove() {
  installed = {};
  has_chain = false;
  certified_key.clear();
}

}  // namespace ozk::tee
