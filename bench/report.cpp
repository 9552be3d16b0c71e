// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "report.h"

#include <cmath>
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

namespace {

constexpr double kLeft = 90, kTop = 30, kWidth = 480, kHeight = 260;
constexpr double kMaxX = 4, kMinY = 1, kMaxY = 6;  // powers of ten; 1 object to 10,000, 10 us to 1 s
const char* const kColours[] = {"#0a58ca", "#b02a37"};

double x_of(double objects) { return kLeft + kWidth * std::log10(objects) / kMaxX; }
double y_of(double time) { return kTop + kHeight * (kMaxY - std::log10(time)) / (kMaxY - kMinY); }

template <typename... Values>
std::string print(const char* format, Values... values) {
  char text[400];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

std::string grid() {
  const char* const times[] = {"10 us", "100 us", "1 ms", "10 ms", "100 ms", "1 s"};
  const char* const counts[] = {"1", "10", "100", "1,000", "10,000"};
  std::string text;
  for (std::size_t i = 0; i < std::size(times); ++i) {
    const double y = y_of(std::pow(10, kMinY + static_cast<double>(i)));
    text += print("<path d=\"M%.0f %.0fh%.0f\" stroke=\"#ccc\"/>\n", kLeft, y, kWidth);
    text += print("<text x=\"%.0f\" y=\"%.0f\" text-anchor=\"end\">%s</text>\n", kLeft - 8, y + 5, times[i]);
  }
  for (std::size_t i = 0; i < std::size(counts); ++i) {
    const double x = x_of(std::pow(10, static_cast<double>(i)));
    text += print("<path d=\"M%.0f %.0fv%.0f\" stroke=\"#ccc\"/>\n", x, kTop, kHeight);
    text += print("<text x=\"%.0f\" y=\"%.0f\" text-anchor=\"middle\">%s</text>\n", x, kTop + kHeight + 20,
                  counts[i]);
  }
  return text + print("<text x=\"%.0f\" y=\"%.0f\" text-anchor=\"middle\">objects on the token</text>\n",
                      kLeft + kWidth / 2, kTop + kHeight + 42);
}

std::string line_of(const Curve& curve, const char* colour) {
  std::string text = print("<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"2\" points=\"", colour);
  for (const auto& [objects, time] : curve.points) text += print("%.1f,%.1f ", x_of(objects), y_of(time));
  text += "\"/>\n";
  for (const auto& [objects, time] : curve.points) {
    text +=
        print("<circle cx=\"%.1f\" cy=\"%.1f\" r=\"4\" fill=\"%s\"/>\n", x_of(objects), y_of(time), colour);
  }
  const auto& [objects, time] = curve.points.back();
  return text + print("<text x=\"%.0f\" y=\"%.0f\" fill=\"%s\">%s</text>\n", x_of(objects) + 10,
                      y_of(time) + 5, colour, curve.name.c_str());
}

}  // namespace

std::string plot_of(const std::vector<Curve>& curves) {
  // In two pieces each: a tool that looks for licence lines must not take these for the file's own.
  std::string text =
      "<!--\nSPDX-"
      "FileCopyrightText: 2026 the authors of client-cert-initializer\n"
      "SPDX-"
      "License-Identifier: Apache-2.0\nWritten by ./run bench.\n-->\n"
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 690 345\" width=\"690\" height=\"345\" "
      "font-family=\"sans-serif\" font-size=\"14\">\n<rect width=\"690\" height=\"345\" fill=\"#fff\"/>\n";
  text += print(
      "<text x=\"%.0f\" y=\"18\">time of one signature, from loading the token to unloading it</text>\n",
      kLeft);
  text += grid();
  for (std::size_t i = 0; i < curves.size(); ++i) text += line_of(curves[i], kColours[i % 2]);
  return text + "</svg>\n";
}

}  // namespace bench
