// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <utility>
#include <vector>

namespace bench {

/// The figures of a run: printed as they come, and kept for a later run.
class Report {
 public:
  /// Begins a table; `ratio` says to what the ratios of its rows are.
  void begin(const std::string& title, const std::string& ratio);
  void add(const std::string& name, double value, const std::string& unit);
  void add(const std::string& name, double value, const std::string& unit, double ratio);

  /// Throws std::runtime_error when the file cannot be written.
  void save(const std::string& file) const;
  /// Prints the ratio of each row to that of an earlier run; times are divided by that of `yardstick`, a row
  /// of both, before. Rows above 1.1 are marked. Throws std::runtime_error when the file cannot be read.
  void compare(const std::string& file, const std::string& yardstick) const;

 private:
  struct Row {
    std::string name;  // with the title of its table
    double value;
    std::string unit;
  };

  double value_of(const std::string& name) const;

  std::string m_title;
  std::vector<Row> m_rows;
};

/// Points of one line: the number of objects, and the time in microseconds.
struct Curve {
  std::string name;
  std::vector<std::pair<double, double>> points;
};

/// An SVG of the curves with logarithmic axes.
std::string plot_of(const std::vector<Curve>& curves);

}  // namespace bench
