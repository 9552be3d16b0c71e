// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "report.h"

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace bench {

void Report::begin(const std::string& title, const std::string& ratio) {
  m_title = title;
  std::printf("\n%-62s %s\n", title.c_str(), ratio.empty() ? "" : ("ratio to " + ratio).c_str());
}

void Report::add(const std::string& name, double value, const std::string& unit) {
  std::printf("  %-45s %9.*f %-5s\n", name.c_str(), value < 10 && unit != "calls" ? 2 : 0, value,
              unit.c_str());
  std::fflush(stdout);
  m_rows.push_back({m_title + ": " + name, value, unit});
}

void Report::add(const std::string& name, double value, const std::string& unit, double ratio) {
  std::printf("  %-45s %9.*f %-5s %6.3f\n", name.c_str(), value < 10 ? 2 : 0, value, unit.c_str(), ratio);
  std::fflush(stdout);
  m_rows.push_back({m_title + ": " + name, value, unit});
}

void Report::save(const std::string& file) const {
  nlohmann::ordered_json rows;
  for (const Row& row : m_rows) rows[row.name] = {{"value", row.value}, {"unit", row.unit}};
  std::ofstream out(file);
  out << rows.dump(2) << '\n';
  if (!out.flush()) throw std::runtime_error("cannot write " + file);
}

double Report::value_of(const std::string& name) const {
  for (const Row& row : m_rows) {
    if (row.name == name) return row.value;
  }
  throw std::logic_error("no row " + name);
}

void Report::compare(const std::string& file, const std::string& yardstick) const {
  std::ifstream in(file);
  const auto old = nlohmann::json::parse(in, nullptr, false);
  if (!old.is_object() || !old.contains(yardstick)) {
    throw std::runtime_error(file + " is not what --json has written");
  }
  const double scale = old[yardstick]["value"].get<double>() / value_of(yardstick);
  std::printf("\n%-68s ratio to %s\n", "each row; times as multiples of the first", file.c_str());
  for (const Row& row : m_rows) {
    if (!old.contains(row.name)) continue;
    const double before = old[row.name]["value"].get<double>();
    const double ratio = before == 0 ? 1 : row.value * (row.unit == "us" ? scale : 1) / before;
    std::printf("  %-66s %6.2f%s\n", row.name.c_str(), ratio, ratio > 1.1 ? "  warning: worse" : "");
  }
}

}  // namespace bench
