// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Demonstrates a provisioning on a software token in a temporary folder; openssl is the backend and checks
// the results.

#include <stdlib.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "evidence.h"
#include "provisioning.h"

namespace {

/// Makes a new folder, changes to it and returns its path.
std::string enter_new_folder() {
  const char* const temporary = std::getenv("TMPDIR");
  std::string path = std::string(temporary != nullptr ? temporary : "/tmp") + "/provisioning-XXXXXX";
  if (::mkdtemp(&path[0]) == nullptr || ::chdir(path.c_str()) != 0) {
    throw std::runtime_error("cannot make the folder " + path);
  }
  return path;
}

/// The folder of this program, where tee-token and mutual-tls are too.
std::string program_folder() {
  char path[4096];
  const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
  const std::string program(path, length < 0 ? 0 : static_cast<std::size_t>(length));
  return program.substr(0, program.rfind('/'));
}

void set_environment(const std::string& folder) {
  ::setenv("TEE_TOKEN_DIR", (folder + "/token").c_str(), 1);
  // Records of failures that are part of the demonstration go to a file, not between its lines.
  ::setenv("ARA_LOG_SINK", ("file:" + folder + "/log").c_str(), 0);
  ::setenv("TEE_TOKEN_LOG", "off", 0);
}

}  // namespace

int main(int argc, char** argv) {
  bool keep = false, explained = false;
  for (int index = 1; index < argc; ++index) {
    const std::string option = argv[index];
    if (option != "--keep" && option != "--explain") {
      std::cerr << "usage: provisioning [--keep] [--explain]\n";
      return 2;
    }
    keep = keep || option == "--keep";
    explained = explained || option == "--explain";
  }
  std::string folder;
  try {
    const std::string programs = program_folder();
    folder = enter_new_folder();
    set_environment(folder);
    const int steps = provisioning::provision(programs, explained);
    std::cout << "all " << steps << " steps passed\n";
    if (keep) {
      std::cout << "kept the token; to look at it:\n"
                << "  export TEE_TOKEN_DIR=" << folder << "/token\n"
                << "  " << programs << "/tee-token list\n";
    } else {
      provisioning::run("rm -rf '" + folder + "'");
      std::cout << "try next: ./run demo --explain, or ./run demo --keep to look at the token;\n"
                   "README.md, \"A certificate of your own\", does the same with commands\n";
    }
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "provisioning: " << failure.what() << "\n";
    if (!folder.empty()) {
      std::cerr << "token and log were left in " << folder << "\n";
    }
    return 1;
  }
}
