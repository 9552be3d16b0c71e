// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ara/log/host/sink.h>

#include <memory>

namespace ara::log::host {

/// The sink that hands records to the DLT daemon; a process has one, as libdlt has one connection. The first
/// record opens it.
std::shared_ptr<Sink> DltSinkOfProcess();

}  // namespace ara::log::host
