// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace bench {

/// Points of one line: the number of objects, and the time in microseconds.
struct Curve {
  std::string name;
  std::vector<std::pair<double, double>> points;
};

/// An SVG of the curves with logarithmic axes.
std::string plot_of(const std::vector<Curve>& curves);

}  // namespace bench
