// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "support/power_cut.h"

#include <algorithm>
#include <random>

namespace test_support {

namespace {

using Entries = TokenSnapshot::Entries;
using Numbers = std::map<std::string, std::size_t>;  // of files, by path

/// One change of a file, or of the names in a folder.
struct Effect {
  const SystemCall* call;
  bool is_name;
  std::size_t file;    // what is changed, or made
  std::string folder;  // whose name it is
  bool synced = false;
  std::size_t length = 0;  // of what is kept of a write
};

std::string folderOf(const std::string& path) { return path.substr(0, path.find_last_of('/')); }

void rename(Numbers& files, const SystemCall& call) {
  const auto renamed = files.find(call.path);
  if (renamed == files.end()) return;
  files[call.new_path] = renamed->second;
  files.erase(call.path);
}

/// The state of a disk while it runs.
class Disk {
 public:
  explicit Disk(const Entries& before) {
    for (const auto& entry : before) m_files.emplace(entry.first, m_last++);
  }

  void run(const SystemCall& call) {
    if (call.failed) return;
    if (call.creates || call.function == "mkdir") m_files[call.path] = m_last++;
    const std::size_t file = m_files[call.path];
    if (call.function == "fsync" || call.function == "fdatasync") return sync(file, call.path);
    const bool is_name =
        call.creates || call.function == "mkdir" || call.function == "unlink" || call.function == "rename";
    const bool is_content =
        call.function == "write" || call.function == "pwrite" || call.function == "ftruncate";
    if (is_name || is_content) m_effects.push_back({&call, is_name, file, folderOf(call.path)});
    if (call.function == "unlink") m_files.erase(call.path);
    if (call.function == "rename") rename(m_files, call);
  }

  std::vector<Effect> effects() const { return m_effects; }

 private:
  void sync(std::size_t file, const std::string& path) {
    for (Effect& effect : m_effects) {
      effect.synced = effect.synced || (effect.is_name ? effect.folder == path : effect.file == file);
    }
  }

  Numbers m_files;
  std::size_t m_last = 1;
  std::vector<Effect> m_effects;
};

/// Leaves the effects that outlive the power cut.
void lose(std::vector<Effect>& effects, Lost lost, unsigned seed) {
  std::minstd_rand random(seed + 1);
  bool names_end = false;
  const auto is_lost = [&](Effect& effect) {
    effect.length = effect.call->data.size();
    if (effect.synced || lost == Lost::kNothing) return false;
    if (lost != Lost::kSome) return lost == Lost::kAll || effect.is_name == (lost == Lost::kNames);
    if (effect.is_name) return names_end = names_end || random() % 2 == 0;
    const auto part = random() % 3;
    effect.length = effect.length * part / 2;
    return part == 0;
  };
  effects.erase(std::remove_if(effects.begin(), effects.end(), is_lost), effects.end());
}

void change(std::string& content, const Effect& effect) {
  const auto offset = static_cast<std::size_t>(effect.call->offset);
  if (effect.call->function == "ftruncate") return content.resize(offset);
  content.resize(std::max(content.size(), offset + effect.length));
  content.replace(offset, effect.length, effect.call->data, 0, effect.length);
}

/// What the effects make of `before`.
Entries rebuilt(const TokenSnapshot& before, const std::vector<Effect>& effects) {
  Numbers files;
  std::map<std::size_t, std::optional<std::string>> contents;
  for (const auto& [path, content] : before.entries()) {
    files.emplace(path, files.size() + 1);
    contents.emplace(files.size(), content);
  }
  for (const Effect& effect : effects) {
    const SystemCall& call = *effect.call;
    if (call.function == "unlink") {
      files.erase(call.path);
    } else if (call.function == "rename") {
      rename(files, call);
    } else if (effect.is_name) {
      files[call.path] = effect.file;
      if (call.function != "mkdir") contents[effect.file].emplace(contents[effect.file].value_or(""));
    } else {
      change(contents[effect.file].emplace(contents[effect.file].value_or("")), effect);
    }
  }
  Entries after;
  for (const auto& [path, file] : files) {
    const std::string folder = folderOf(path);
    if (folder == before.folder() || after.count(folder) != 0) after[path] = contents[file];
  }
  return after;
}

}  // namespace

TokenSnapshot after_power_cut(const TokenSnapshot& before, const std::vector<SystemCall>& calls,
                              std::size_t count, Lost lost, unsigned seed) {
  Disk disk(before.entries());
  for (std::size_t i = 0; i < count; ++i) disk.run(calls[i]);
  std::vector<Effect> effects = disk.effects();
  lose(effects, lost, seed);
  return {before.folder(), rebuilt(before, effects)};
}

}  // namespace test_support
