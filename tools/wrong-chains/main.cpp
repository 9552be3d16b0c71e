// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Writes what backends that get it wrong would answer to a certificate request.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "cases.h"

namespace {

using namespace wrong_chains;
namespace fs = std::filesystem;

constexpr int kFailed = 1, kWrongUsage = 2;

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void list() {
  for (const Case& c : all_cases()) {
    std::cout << std::left << std::setw(24) << c.name << c.description << '\n';
  }
}

/// The cases of these names, or all of them.
std::vector<Case> chosen(const std::vector<std::string>& names) {
  std::vector<Case> found = names.empty() ? all_cases() : std::vector<Case>();
  for (const std::string& name : names) {
    const auto& all = all_cases();
    const auto same = std::find_if(all.begin(), all.end(), [&](const Case& c) { return c.name == name; });
    if (same == all.end()) {
      throw UsageError("there is no case '" + name + "'; --list shows all");
    }
    found.push_back(*same);
  }
  return found;
}

Backend backend_for(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream.is_open()) {
    throw std::runtime_error("cannot read " + file);
  }
  try {
    return Backend(std::string(std::istreambuf_iterator<char>(stream), {}));
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(file + ": " + error.what());
  }
}

void write(const fs::path& file, const std::string& bytes) {
  if (!(std::ofstream(file, std::ios::binary) << bytes).flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

void write_answers(const std::string& request, const fs::path& folder,
                   const std::vector<std::string>& names) {
  const std::vector<Case> cases = chosen(names);
  const Backend backend = backend_for(request);
  fs::create_directories(folder);
  for (const Case& c : cases) {
    write(folder / (std::string(c.name) + ".pem"), c.answer(backend));
  }
}

int fail(const std::exception& error, int code) {
  std::cerr << "wrong-chains: " << error.what() << std::endl;
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Writes what backends that get it wrong answer to a certificate request: FOLDER/NAME.pem a case.",
      "wrong-chains");
  std::string request, folder;
  std::vector<std::string> names;
  bool only_list = false;
  app.add_flag("--list", only_list, "Show the names of all cases, with what the answer is");
  app.add_option("REQUEST", request, "PKCS#10 request, DER or PEM");
  app.add_option("FOLDER", folder, "Where the answers go; made when it is not there");
  app.add_option("NAME", names, "Cases to write; all when none is named");
  try {
    app.parse(argc, argv);
    if (only_list) {
      list();
    } else if (folder.empty()) {
      throw UsageError("expected REQUEST FOLDER [NAME...]; --help tells more");
    } else {
      write_answers(request, folder, names);
    }
    return std::cout.flush() ? 0 : fail(std::runtime_error("cannot write to stdout"), kFailed);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongUsage;
  } catch (const UsageError& error) {
    return fail(error, kWrongUsage);
  } catch (const std::exception& error) {
    return fail(error, kFailed);
  }
}
