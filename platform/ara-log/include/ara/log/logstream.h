// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

// The older spelling of the name.
#include <ara/log/log_stream.h>
