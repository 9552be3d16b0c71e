// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <vector>

namespace bench {

double median(std::vector<double> values);

/// The median time of one call of `work` in microseconds, over `rounds` calls.
double median_microseconds(int rounds, const std::function<void()>& work);

}  // namespace bench
