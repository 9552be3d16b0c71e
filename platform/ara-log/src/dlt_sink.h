// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

namespace ara::log::host {

/// The sink that hands records to the DLT daemon. A process has one, as libdlt keeps one connection; it is
/// opened by the first record.
std::shared_ptr<Sink> DltSinkOfProcess();

}  // namespace ara::log::host
