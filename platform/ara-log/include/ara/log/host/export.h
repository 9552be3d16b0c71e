// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

/// Marks what libara-log.so shows to others; all else in it is hidden.
#define ARA_LOG_EXPORT __attribute__((visibility("default")))
