// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "base/attributes.h"
#include "base/files.h"
#include "store/device_folder.h"
#include "store/token_record.h"

namespace tee_token {

/// Tells whether the store of a token has changed.
class StoreWatch {
 public:
  /// Identity, owner and mode of folder and store, size and times of the store, and the number of committed
  /// changes that SQLite keeps in its header: equal only as long as nothing changes.
  using Stamp = std::array<std::int64_t, 14>;

  /// The stamp of the store in `folder`; nothing when it cannot be found out.
  std::optional<Stamp> stamp_of(const DeviceFolder& folder);

 private:
  // Not opened for each stamp: closing it would release the locks that this process has on the file.
  std::optional<FileDescriptor> m_store;
};

/// The answers to the last few questions.
template <typename Question, typename Answer>
class Answers {
 public:
  /// Null when the answer is not known.
  const Answer* find(const Question& question) const {
    for (const auto& [known, answer] : m_known) {
      if (known == question) {
        return &answer;
      }
    }
    return nullptr;
  }

  void add(Question question, Answer answer) {
    constexpr std::size_t kMost = 32;
    if (m_known.size() == kMost) {
      m_known.clear();
    }
    m_known.emplace_back(std::move(question), std::move(answer));
  }

 private:
  std::vector<std::pair<Question, Answer>> m_known;
};

/// What was read of a store with this stamp. It outlives C_Finalize: opening the store again
/// would take most of the time of a program that signs now and then. It has nothing that is not in the store,
/// and values of private objects sealed as there.
struct ReadCache {
  struct Search {
    Attributes wanted;
    CK_OBJECT_HANDLE after;
    std::size_t limit;
    bool is_user;  // logged in: private objects are visible

    bool operator==(const Search& other) const;
  };

  /// The one of this process. Hold the module's lock.
  static std::optional<ReadCache>& of_process();

  StoreWatch::Stamp stamp;
  TokenRecord record;
  Answers<CK_OBJECT_HANDLE, Attributes> objects{};
  Answers<Search, std::vector<CK_OBJECT_HANDLE>> searches{};
};

}  // namespace tee_token
