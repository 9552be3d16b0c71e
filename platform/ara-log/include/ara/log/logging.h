// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/common.h>
#include <ara/log/log_stream.h>
#include <ara/log/logger.h>
