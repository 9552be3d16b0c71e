// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// Measures library and token side by side with SoftHSM2, in one run. Compare the ratios: times differ from
// machine to machine.

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <thread>

#include "library.h"
#include "measure.h"
#include "raw_token.h"
#include "report.h"

namespace bench {
namespace {

namespace fs = std::filesystem;
using Kind = RawToken::Kind;

constexpr char kFew[] = "SoftHSM2, 2 objects", kSequence[] = "one signature, from C_Initialize to C_Finalize";

constexpr std::size_t kSizes[] = {2, 10, 100, 1000, 10000};

/// The tokens, each with a key pair, so that a token with 10 objects has 8 others.
class Tokens {
 public:
  Tokens() {
    std::string pattern = (fs::temp_directory_path() / "bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make " + pattern);
    m_folder = pattern;
  }
  ~Tokens() { fs::remove_all(m_folder); }
  Tokens(const Tokens&) = delete;
  Tokens& operator=(const Tokens&) = delete;

  const RawToken& with(Kind kind, std::size_t objects) {
    const auto made = m_made.find({kind, objects});
    if (made != m_made.end()) return made->second;
    const fs::path folder = m_folder / std::to_string(m_made.size());
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::owner_all);
    return m_made.try_emplace({kind, objects}, kind, folder, objects - 2).first->second;
  }
  fs::path file(const std::string& name) const { return m_folder / name; }

 private:
  fs::path m_folder;
  std::map<std::pair<Kind, std::size_t>, RawToken> m_made;
};

std::string name_of(Kind kind, std::size_t objects) {
  std::string count = std::to_string(objects);
  if (count.size() > 3) count.insert(count.size() - 3, ",");
  return (kind == Kind::kOurs ? "tee-token, " : "SoftHSM2, ") + count + " objects";
}

Series sequence_on(const RawToken& token, const std::string& name, int calls) {
  return {name, [&token] { token.use(); }, nullptr, [&token] { token.sign_once(); }, calls};
}

std::vector<Curve> compare_sequences(Tokens& tokens, Report& report) {
  std::vector<Series> all;
  std::vector<Curve> curves = {{"SoftHSM2", {}}, {"tee-token", {}}};
  for (const Kind kind : {Kind::kSoftHsm, Kind::kOurs}) {
    for (const std::size_t objects : kSizes) {
      const bool is_slow = kind == Kind::kSoftHsm && objects >= 1000;
      all.push_back(sequence_on(tokens.with(kind, objects), name_of(kind, objects), is_slow ? 1 : 20));
    }
  }
  const std::vector<double> times = take_turns(all, 10);
  report.begin(kSequence, kFew);
  for (std::size_t i = 0; i < all.size(); ++i) {
    report.add(all[i].name, times[i], "us", times[i] / times[0]);
    const std::size_t half = all.size() / 2;
    curves[i / half].points.emplace_back(static_cast<double>(kSizes[i % half]), times[i]);
  }
  return curves;
}

std::vector<double> median_steps(const RawToken& token) {
  std::vector<std::vector<double>> times(RawToken::kSteps.size());
  for (int round = 0; round < 100; ++round) {
    const RawToken::Times one = token.sign_once();
    for (std::size_t step = 0; step < one.size(); ++step) times[step].push_back(one[step]);
  }
  std::vector<double> medians;
  for (const auto& each : times) medians.push_back(median(each));
  return medians;
}

/// The time of a step must not depend on the number of objects.
void compare_steps(Tokens& tokens, Report& report) {
  std::vector<std::vector<double>> found[3];
  const std::pair<Kind, std::size_t> chosen[] = {
      {Kind::kOurs, 10}, {Kind::kOurs, 10000}, {Kind::kSoftHsm, 10}};
  for (int turn = 0; turn < 7; ++turn) {
    for (std::size_t i = 0; i < std::size(chosen); ++i) {
      const RawToken& token = tokens.with(chosen[i].first, chosen[i].second);
      token.use();
      found[i].push_back(median_steps(token));
    }
  }
  const auto time_of = [&](std::size_t token, std::size_t step) {
    std::vector<double> of_turns;
    for (const auto& turn : found[token]) of_turns.push_back(turn[step]);
    return median(of_turns);
  };
  report.begin("the steps of it, SoftHSM2, 10 objects", "");
  for (std::size_t i = 0; i < RawToken::kSteps.size(); ++i) {
    report.add(RawToken::kSteps[i], time_of(2, i), "us");
  }
  report.begin("the steps of it, tee-token, 10,000 objects", "10 objects");
  for (std::size_t i = 0; i < RawToken::kSteps.size(); ++i) {
    report.add(RawToken::kSteps[i], time_of(1, i), "us", time_of(1, i) / time_of(0, i));
  }
}

void compare_operations(Tokens& tokens, Report& report) {
  const RawToken &small = tokens.with(Kind::kOurs, 10), &large = tokens.with(Kind::kOurs, 10000);
  const RawToken& foreign = tokens.with(Kind::kSoftHsm, 2);
  std::vector<Series> all = {sequence_on(foreign, kFew, 10)};
  for (const RawToken* const token : {&small, &large}) {
    token->use();
    install_identity();
    for (const Operation& each : operations()) {
      all.push_back({each.name, [token] { token->use(); }, each.prepare, each.call});
    }
  }
  const std::vector<double> times = take_turns(all, 20);
  const std::size_t count = all.size() / 2;
  report.begin("operations of the library, 10 objects", "SoftHSM2's signature");
  for (std::size_t i = 1; i <= count; ++i) report.add(all[i].name, times[i], "us", times[i] / times[0]);
  report.begin("operations of the library, 10,000 objects", "10 objects");
  for (std::size_t i = 1; i <= count; ++i) {
    report.add(all[i].name, times[i + count], "us", times[i + count] / times[i]);
  }
  small.use();
  report.begin("system calls of an operation", "");
  int syncs = 0;
  for (const Operation& each : operations()) {
    const SystemCalls calls = system_calls_of(each.prepare, each.call);
    report.add(each.name, calls.all, "calls");
    syncs += calls.syncs;
    if (calls.syncs != 0) report.add(each.name + ", syncs", calls.syncs, "calls");
  }
  report.add("a whole provisioning, syncs", syncs, "calls");
}

/// `keys` is TEE_TOKEN_KEYS for a token on a TPM.
void compare_tpm(Tokens& tokens, const std::string& keys, Report& report) {
  const RawToken& software = tokens.with(Kind::kOurs, 10);
  ::setenv("TEE_TOKEN_KEYS", keys.c_str(), 1);
  const RawToken& on_tpm = tokens.with(Kind::kOurs, 11);  // no other has this number
  ::unsetenv("TEE_TOKEN_KEYS");
  on_tpm.use();
  install_identity();
  std::vector<Series> all;
  for (const RawToken* const token : {&software, &on_tpm}) {
    for (const Operation& each : operations()) {
      all.push_back({each.name, [token] { token->use(); }, each.prepare, each.call});
    }
  }
  const std::vector<double> times = take_turns(all, 10);
  const std::size_t count = all.size() / 2;
  report.begin("operations of the library, keys in swtpm", "keys in software");
  for (std::size_t i = 0; i < count; ++i) {
    report.add(all[i].name, times[i + count], "us", times[i + count] / times[i]);
  }
}

/// A durable change against one that SoftHSM2 does not sync.
void compare_generation(Tokens& tokens, Report& report) {
  const RawToken& foreign = tokens.with(Kind::kSoftHsm, 2);
  std::vector<double> theirs, ours;
  for (int turn = 0; turn < 10; ++turn) {
    foreign.use();
    for (int i = 0; i < 3; ++i) theirs.push_back(foreign.generate_once());
    tokens.with(Kind::kOurs, 10).use();
    for (int i = 0; i < 10; ++i) ours.push_back(microseconds_of(operations().front().call));
  }
  report.begin("a new key pair", "SoftHSM2");
  report.add("SoftHSM2, C_GenerateKeyPair, not synced", median(theirs), "us", 1);
  report.add("generate_private_key, clean-up, durable", median(ours), "us", median(ours) / median(theirs));
}

void compare_parallel(Report& report) {
  constexpr int kSignatures = 400;
  const auto sign_some = [](int count) {
    for (int i = 0; i < count; ++i) sign();
  };
  report.begin("a signature of several, wall-clock", "one thread");
  const double alone = microseconds_of([&] { sign_some(kSignatures); }) / kSignatures;
  const auto add = [&](const char* name, const std::function<void()>& work) {
    const double time = microseconds_of(work) / kSignatures;
    report.add(name, time, "us", time / alone);
  };
  report.add("1 thread", alone, "us", 1);
  add("4 threads", [&] {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(sign_some, kSignatures / 4);
    for (std::thread& each : threads) each.join();
  });
  add("1 process", [&] { in_children(1, [&] { sign_some(kSignatures); }); });
  add("4 processes", [&] { in_children(4, [&] { sign_some(kSignatures / 4); }); });
}

/// Runs a program without a shell, its output thrown away.
void run(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  int status = -1;
  if (::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0 ||
      ::waitpid(child, &status, 0) != child || status != 0) {
    throw std::runtime_error(words[0] + " failed");
  }
  ::posix_spawn_file_actions_destroy(&actions);
}

void compare_processes(Tokens& tokens, Report& report) {
  const std::string input = tokens.file("input").string();
  std::ofstream(input) << std::string(32, 'x');
  const RawToken &ours = tokens.with(Kind::kOurs, 10), &few = tokens.with(Kind::kSoftHsm, 2),
                 &many = tokens.with(Kind::kSoftHsm, 1000);
  const auto cci = [&] { run({CCI, "sign", input}); };
  const auto tool = [&] {
    run({"pkcs11-tool", "--module", "/usr/lib/softhsm/libsofthsm2.so", "--login", "--pin", "40718293",
         "--sign", "--mechanism", "ECDSA", "--label", "to sign with", "--input-file", input});
  };
  const std::vector<double> times = take_turns({{"", [&] { few.use(); }, nullptr, tool, 5},
                                                {"", [&] { ours.use(); }, nullptr, cci, 5},
                                                {"", [&] { many.use(); }, nullptr, tool, 1}},
                                               10);
  report.begin("a signature, whole process", "the first");
  report.add("pkcs11-tool --sign on SoftHSM2, 2 objects", times[0], "us", 1);
  report.add("cci sign", times[1], "us", times[1] / times[0]);
  report.add("pkcs11-tool --sign on SoftHSM2, 1,000 objects", times[2], "us", times[2] / times[0]);
}

/// What a new process prints that signs so often: its peak memory in kB, and the time of its first signature.
void sign_and_tell(int count) {
  const double first = microseconds_of(sign);
  for (int i = 1; i < count; ++i) sign();
  struct rusage usage {};
  ::getrusage(RUSAGE_SELF, &usage);
  std::printf("%ld %f\n", usage.ru_maxrss, first);
}

struct OfProcess {
  double peak, first;
};

OfProcess process_that_signs(int count) {
  const std::string self = fs::read_symlink("/proc/self/exe").string();
  const std::unique_ptr<FILE, int (*)(FILE*)> output(
      ::popen((self + " --sign " + std::to_string(count)).c_str(), "re"), ::pclose);
  char line[100] = "";
  char* rest = line;
  if (output == nullptr || std::fgets(line, sizeof line, output.get()) == nullptr) {
    throw std::runtime_error("a process that signs failed");
  }
  const double peak = std::strtod(line, &rest);
  return {peak, std::strtod(rest, nullptr)};
}

void measure_process(Report& report) {
  const double early = process_that_signs(1000).peak, late = process_that_signs(100000).peak;
  report.begin("peak memory of a process", "1,000 signatures");
  report.add("1,000 signatures", early, "kB", 1);
  report.add("100,000 signatures", late, "kB", late / early);
  std::vector<double> first;
  for (int i = 0; i < 20; ++i) first.push_back(process_that_signs(1).first);
  report.begin("generate_signature, first of a process", "");
  report.add("generate_signature, first of a process", median(first), "us");
}

void measure_sizes(Tokens& tokens, Report& report) {
  report.begin("libraries, stripped", "");
  for (const char* const name :
       {"libclientcertinitializer.so.1", "libbotan-pkcs11.so", "libara-log.so", "libteetoken.so"}) {
    const fs::path stripped = tokens.file("stripped");
    run({"strip", "-o", stripped.string(), std::string(LIBRARIES "/") + name});
    report.add(name, static_cast<double>(fs::file_size(stripped)) / 1024, "kB");
  }
}

/// The value of an option of the command line; empty without it.
std::string option(int count, char** words, const char* name) {
  for (int i = 1; i + 1 < count; ++i) {
    if (std::strcmp(words[i], name) == 0) return words[i + 1];
  }
  return "";
}

void measure(int count, char** words) {
  const char* const given = std::getenv("TEE_TOKEN_KEYS");
  const std::string keys_in_tpm = given == nullptr ? "" : given;
  ::unsetenv("TEE_TOKEN_KEYS");
  Tokens tokens;
  Report report;
  const std::vector<Curve> curves = compare_sequences(tokens, report);
  compare_steps(tokens, report);
  compare_operations(tokens, report);
  if (!keys_in_tpm.empty()) compare_tpm(tokens, keys_in_tpm, report);
  compare_processes(tokens, report);
  compare_generation(tokens, report);
  compare_parallel(report);
  measure_process(report);
  measure_sizes(tokens, report);
  const std::string json = option(count, words, "--json"), old = option(count, words, "--compare");
  const std::string plot = option(count, words, "--plot");
  if (!json.empty()) report.save(json);
  if (!plot.empty()) std::ofstream(plot) << plot_of(curves);
  if (!old.empty()) report.compare(old, std::string(kSequence) + ": " + kFew);
}

}  // namespace
}  // namespace bench

int main(int count, char** words) {
  try {
    const std::string signatures = bench::option(count, words, "--sign");
    if (!signatures.empty()) {
      bench::sign_and_tell(std::stoi(signatures));
    } else {
      bench::measure(count, words);
    }
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench: %s\n", failure.what());
    return 1;
  }
}
