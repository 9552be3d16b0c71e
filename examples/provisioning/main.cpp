// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// A whole provisioning on a software token in a temporary folder, with openssl as the backend and as the
// judge.

#include <stdlib.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "commands.h"
#include "evidence.h"
#include "provisioning.h"

namespace {

using namespace provisioning;

/// A new folder, made the current one; removed when all is well, unless it is to be kept.
class WorkingFolder {
 public:
  WorkingFolder() {
    const char* const temporary = std::getenv("TMPDIR");
    m_path = std::string(temporary != nullptr ? temporary : "/tmp") + "/provisioning-XXXXXX";
    if (::mkdtemp(&m_path[0]) == nullptr || ::chdir(m_path.c_str()) != 0) {
      throw std::runtime_error("cannot make the folder " + m_path);
    }
  }

  void remove() const { run("rm -rf '" + m_path + "'"); }
  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
};

/// The folder of this program, where tee-token is too.
std::string program_folder() {
  char* const path = ::realpath("/proc/self/exe", nullptr);
  if (path == nullptr) {
    throw std::runtime_error("cannot find out where this program is");
  }
  const std::string program(path);
  std::free(path);
  return program.substr(0, program.rfind('/'));
}

void play(Provisioning& device) {
  device.make_the_token();
  device.read_what_is_pre_installed();
  device.make_the_backend();
  device.read_trust_store_groups();
  device.generate_and_request();
  device.install();
  device.use_what_is_installed();
  device.connect();
  device.rotate();
  device.connect();
  device.refuse_a_chain_for_another_key();
  device.connect();
  device.survive_kills_in_installations();
  device.rotate();
  device.refuse_wrong_key_identifiers();
  device.delete_the_identity();
}

void set_environment(const std::string& folder) {
  ::setenv("TEE_TOKEN_DIR", (folder + "/token").c_str(), 1);
  // The log of what is refused on purpose goes to a file, so that stdout tells the story.
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
  explain_steps(explained);
  std::string kept;
  try {
    const std::string programs = program_folder();
    const WorkingFolder folder;
    kept = folder.path();
    set_environment(kept);
    Provisioning device(programs);
    play(device);
    std::cout << "all " << steps_reported() << " steps held\n";
    if (keep) {
      std::cout << "kept; look at the token with: TEE_TOKEN_DIR=" << kept << "/token " << programs
                << "/tee-token list\n";
    } else {
      folder.remove();
    }
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "provisioning: " << failure.what() << "\n";
    if (!kept.empty()) {
      std::cerr << "token and log were left in " << kept << "\n";
    }
    return 1;
  }
}
