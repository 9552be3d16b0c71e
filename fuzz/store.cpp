// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// From a store that SQL has altered, or whose file is damaged, the token gives no value and uses no key but
// the stored one. An object that it reports as created in an altered store is there, beside all others.
#include <fuzzer/FuzzedDataProvider.h>
#include <sqlite3.h>

#include <algorithm>
#include <fstream>

#include "support/token_snapshot.h"
#include "tee-token/token_test.h"

using namespace token_test;

struct Store : TokenTest {
  void TestBody() override {}
  Store() {
    login();
    for (const char* const label : {"one", "two"}) {
      generate(Template().text(CKA_LABEL, label));
      create(data_object(label).flag(CKA_PRIVATE, true));
    }
  }

  void run(FuzzedDataProvider&& in) {
    static const std::vector<std::string> sound = state();
    static const test_support::TokenSnapshot whole(folder());
    whole.restore();
    sqlite3* store = nullptr;
    sqlite3_open(file("token.db").c_str(), &store);
    sqlite3_limit(store, SQLITE_LIMIT_ATTACHED, 0);  // alters no other file
    sqlite3_exec(store, in.ConsumeRandomLengthString().c_str(), nullptr, nullptr, nullptr);
    sqlite3_close(store);
    const bool is_damaged = in.remaining_bytes() > 0;
    while (in.remaining_bytes() > 0) {
      std::string bytes = content_of(file("token.db"));
      const auto at = [&] { return in.ConsumeIntegralInRange<std::size_t>(0, bytes.size()); };
      const std::size_t to = at(), from = at(), length = at();
      const std::string piece = in.ConsumeBool() ? bytes.substr(from, length) : in.ConsumeBytesAsString(8);
      std::ofstream(file("token.db")) << bytes.replace(to, piece.size(), piece);
    }
    for (const std::string& line : state()) {
      const auto is_part = [&](const std::string& own) { return own.compare(0, line.size(), line) == 0; };
      if (line.find("CKR_") != std::string::npos) continue;
      if (std::none_of(sound.begin(), sound.end(), is_part)) std::abort();
    }
    if (is_damaged || restart() != OK || login() != OK) return;
    CK_OBJECT_HANDLE made = 0;
    const std::size_t count = find().size();
    if (create(data_object("new"), &made) != OK) return;
    if (read(made, CKA_VALUE) != OK || find().size() != count + 1) std::abort();
  }
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Store target;
  return target.run({data, size}), 0;
}
