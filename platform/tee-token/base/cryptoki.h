// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

// Cryptoki's C names and the token's own, once for the whole module.
#include "tee_token/vendor_interface.h"
