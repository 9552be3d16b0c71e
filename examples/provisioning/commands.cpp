// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "commands.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace provisioning {

std::string run(const std::string& command) {
  std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) {
    throw std::runtime_error("cannot run: " + command);
  }
  std::string output;
  char part[4096];
  for (std::size_t length = 0; (length = std::fread(part, 1, sizeof part, pipe)) > 0;) {
    output.append(part, length);
  }
  if (::pclose(pipe) != 0) {
    throw std::runtime_error("failed: " + command + "\n" + output);
  }
  if (!output.empty() && output.back() == '\n') {
    output.pop_back();
  }
  return output;
}

void write_file(const std::string& name, const std::string& content) {
  std::ofstream file(name, std::ios::binary);
  if (!file.write(content.data(), static_cast<std::streamsize>(content.size())).flush()) {
    throw std::runtime_error("cannot write " + name);
  }
}

void write_file(const std::string& name, const std::vector<std::uint8_t>& content) {
  write_file(name, std::string(content.begin(), content.end()));
}

std::string read_file(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + name);
  }
  return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace provisioning
