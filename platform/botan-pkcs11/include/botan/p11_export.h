// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

/// Marks what libbotan-pkcs11 offers to other libraries; all else is hidden.
#define BOTAN_PKCS11_API __attribute__((visibility("default")))
