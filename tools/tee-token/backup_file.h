// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "store/device_folder.h"

namespace tee_token_admin {

/// The content of a file that is a token's store, as far as its first bytes tell. Throws UsageError.
std::string read_backup(const std::string& path);

/// Throws UsageError unless a backup may take the place of what is at `path`: nothing, or an older backup, in
/// a folder that is there and not the token's.
void require_place_for_backup(const std::string& path, const tee_token::DeviceFolder& token);

/// Replaces what is at `path`, when the new file is whole and durable. Throws UsageError.
void write_backup(const std::string& path, const std::string& content);

}  // namespace tee_token_admin
