// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <botan/compiler.h>
#include <botan/p11_types.h>

BOTAN_DEPRECATED_HEADER(p11_slot.h)
