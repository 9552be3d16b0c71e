// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Compares one operation of the library with the same PKCS#11 calls on SoftHSM2, and the token's steps on a
// large token with those on a small one, in the same run.

#include <ozk/tee/client_cert_initializer_api.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "raw_token.h"

namespace {

using namespace bench;
namespace fs = std::filesystem;

constexpr char kSoftHsm[] = "/usr/lib/softhsm/libsofthsm2.so";
constexpr int kRounds = 400;

class Folder {
 public:
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "bench-XXXXXX").string();
    if (::mkdtemp(&pattern[0]) == nullptr) {
      throw std::runtime_error("cannot make a folder like " + pattern);
    }
    m_path = pattern;
  }
  ~Folder() { fs::remove_all(m_path); }
  fs::path make(const std::string& name) const {
    fs::create_directory(m_path / name);
    fs::permissions(m_path / name, fs::perms::owner_all);
    return m_path / name;
  }

 private:
  fs::path m_path;
};

void use_soft_hsm(const fs::path& folder) {
  std::ofstream(folder / "conf") << "directories.tokendir = " << folder.string() << "\nlog.level = ERROR\n";
  ::setenv("SOFTHSM2_CONF", (folder / "conf").c_str(), 1);
}

void row(const char* what, double time, double ratio) {
  std::printf("%-58s %8.0f us   %6.3f\n", what, time, ratio);
}

void line(const char* what, double time, double peer) { row(what, time, time / peer); }

double raw(const char* module, std::size_t objects, int rounds) {
  const RawToken token(module, objects);
  return median_microseconds(rounds, [&] { token.sign_once(); });
}

/// The time of a step must not depend on the number of objects on the token. The tokens are measured in
/// turns, so that other load on the machine affects both.
void compare_sizes(const Folder& folder) {
  const auto use = [](const fs::path& path) { ::setenv("TEE_TOKEN_DIR", path.c_str(), 1); };
  const fs::path paths[] = {folder.make("ten"), folder.make("ten-thousand")};
  use(paths[0]);
  const RawToken small(TEE_TOKEN_MODULE, 10);
  use(paths[1]);
  const RawToken large(TEE_TOKEN_MODULE, 10000);
  const char* const names[] = {"tee-token, C_Initialize and C_Finalize", "tee-token, C_Login and C_Logout",
                               "tee-token, search for one object"};
  std::vector<double> times[std::size(names)], ratios[std::size(names)];
  for (int turn = 0; turn < 20; ++turn) {
    use(paths[0]);
    const RawToken::Steps of_small = small.time_steps(kRounds / 10);
    use(paths[1]);
    const RawToken::Steps of_large = large.time_steps(kRounds / 10);
    for (std::size_t step = 0; step < std::size(names); ++step) {
      times[step].push_back(of_large[step]);
      ratios[step].push_back(of_large[step] / of_small[step]);
    }
  }
  std::printf("\n%-58s %11s   %s\n", "median of one step, with 10,000 objects", "time",
              "ratio to 10 objects");
  for (std::size_t step = 0; step < std::size(names); ++step) {
    row(names[step], median(times[step]), median(ratios[step]));
  }
}

void measure(const Folder& folder) {
  std::printf("%-58s %11s   %s\n", "median of one call", "time", "ratio to SoftHSM2");
  use_soft_hsm(folder.make("softhsm-few"));
  const double few = raw(kSoftHsm, 0, kRounds);
  line("SoftHSM2, load-login-find-sign-unload, 2 objects", few, few);
  ::setenv("TEE_TOKEN_DIR", folder.make("few").c_str(), 1);
  line("tee-token, the same", raw(TEE_TOKEN_MODULE, 0, kRounds), few);
  const auto api = ozk::tee::ClientCertInitializerAPI::get_instance();
  line("library: refused request (session only)",
       median_microseconds(kRounds, [&] { api->generate_signature("none", {}, ""); }), few);
  api->generate_private_key("LYR_CSR");
  api->set_client_cert_and_move_key("", "LYR_CSR", "LYR");
  line("library: generate_signature(\"LYR\")",
       median_microseconds(kRounds,
                           [&] {
                             if (api->generate_signature("LYR", {1, 2, 3}, "").size() != 64) {
                               throw std::runtime_error("no signature");
                             }
                           }),
       few);
  use_soft_hsm(folder.make("softhsm-many"));
  const double many = raw(kSoftHsm, 1000, 10);
  line("SoftHSM2, load-login-find-sign-unload, 1,000 more objects", many, many);
  ::setenv("TEE_TOKEN_DIR", folder.make("many").c_str(), 1);
  line("tee-token, the same", raw(TEE_TOKEN_MODULE, 1000, kRounds), many);
}

}  // namespace

int main() {
  try {
    const Folder folder;
    measure(folder);
    compare_sizes(folder);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench: %s\n", failure.what());
    return 1;
  }
}
