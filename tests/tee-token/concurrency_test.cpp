// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <dlfcn.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "token_test.h"

namespace token_test {
namespace {

/// Another process. It begins its work when it is told to, and `left` gives what the work returned.
class Process {
 public:
  /// `prepare` is done at once, `work` after `go`.
  Process(const std::function<void()>& prepare, const std::function<int()>& work) {
    EXPECT_EQ(::pipe2(m_start, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(m_ready, O_CLOEXEC), 0);
    m_id = ::fork();
    if (m_id == 0) {
      ::close(m_start[1]);
      prepare();
      char byte = 0;
      const bool told = ::write(m_ready[1], "", 1) == 1 && ::read(m_start[0], &byte, 1) == 1;
      ::_exit(told ? work() : 99);
    }
    char byte = 0;
    EXPECT_EQ(::read(m_ready[0], &byte, 1), 1);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() {
    for (const int file : {m_start[0], m_start[1], m_ready[0], m_ready[1]}) {
      ::close(file);
    }
  }

  void go() { EXPECT_EQ(::write(m_start[1], "", 1), 1); }
  bool is_running() { return m_is_running && !has_left(WNOHANG); }
  int left() {
    if (m_is_running) {
      has_left(0);
    }
    return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1;
  }

 private:
  bool has_left(int how_to_wait) {
    m_is_running = ::waitpid(m_id, &m_status, how_to_wait) == 0;
    return !m_is_running;
  }

  pid_t m_id = 0;
  int m_status = -1;
  bool m_is_running = true;
  int m_start[2] = {}, m_ready[2] = {};
};

class ConcurrencyTest : public TokenTest {
 protected:
  ConcurrencyTest() {
    const auto get_interface = reinterpret_cast<TEE_C_GetInterface>(module_symbol("C_GetInterface"));
    unsigned char name[] = TEE_INTERFACE_NAME;
    TEE_INTERFACE* interface = nullptr;
    EXPECT_EQ(answer(get_interface(name, nullptr, &interface, 0)), OK);
    m_vendor = static_cast<TEE_FUNCTION_LIST*>(interface->functions);
    EXPECT_EQ(login(), OK);
  }

  /// What every process begins with.
  void begin() {
    m_token->C_Initialize(nullptr);
    open();
    login();
  }

  Handles new_parts() {
    const Template marks = Template()
                               .text(TEE_CKA_VENDOR_CLIENT_ID, "CCI_CLIENT")
                               .text(TEE_CKA_VENDOR_KEY_ID, "LYR")
                               .flag(TEE_CKA_VENDOR_PERMANENT, false);
    Handles parts = generate(marks);
    parts.push_back(0);
    EXPECT_EQ(create(Template(marks)
                         .number(CKA_CLASS, CKO_CERTIFICATE)
                         .number(CKA_CERTIFICATE_TYPE, TEE_CKC_CERTIFICATE_CHAIN)
                         .flag(CKA_TOKEN, true)
                         .add(CKA_VALUE, {}),
                     &parts[2]),
              OK);
    return parts;
  }

  CK_RV install(const Handles& installed, const Handles& added) {
    return m_vendor->set_client_cert_and_move_key(m_session, installed.data(), installed.size(), added.data(),
                                                  added.size());
  }

  /// What one call finds.
  Handles installed() {
    Handles found(9);
    CK_ULONG count = 0;
    Template permanent = Template().flag(TEE_CKA_VENDOR_PERMANENT, true);
    m_token->C_FindObjectsInit(m_session, permanent.data(), permanent.size());
    m_token->C_FindObjects(m_session, found.data(), found.size(), &count);
    m_token->C_FindObjectsFinal(m_session);
    found.resize(count);
    return found;
  }

  /// Objects that are made in one transaction have numbers in a row.
  static bool is_one_set(const Handles& found) {
    return found.size() == 3 && found[1] == found[0] + 1 && found[2] == found[0] + 2;
  }

  /// 0 when ten sets were seen one after the other, 1 when a mixture was.
  int watch_sets() {
    Handles last;
    for (int sets = 0; sets < 10;) {
      const Handles found = installed();
      if (!is_one_set(found)) {
        return 1;
      }
      sets += found != last ? 1 : 0;
      last = found;
    }
    return 0;
  }

  TEE_FUNCTION_LIST* m_vendor = nullptr;
};

TEST_F(ConcurrencyTest, OfTwoRotationsAtOnceOneWinsAndTheOtherIsTold) {
  ASSERT_EQ(install({}, new_parts()), CKR_OK);
  for (int round = 0; round < 10; ++round) {
    const Handles parts[] = {new_parts(), new_parts()};
    Handles seen;
    int next = 0;
    const auto prepare = [&] {
      begin();
      seen = installed();
    };
    const auto rotate = [&] {
      const CK_RV code = install(seen, parts[next]);
      return code == CKR_OK ? 1 : code == CKR_OBJECT_HANDLE_INVALID ? 2 : 3;
    };
    Process first(prepare, rotate);
    next = 1;
    Process second(prepare, rotate);
    first.go();
    second.go();
    EXPECT_EQ(first.left() + second.left(), 1 + 2);
    EXPECT_TRUE(is_one_set(installed()));
  }
}

TEST_F(ConcurrencyTest, AReaderSeesTheOldSetOrTheNewOneInEachCall) {
  ASSERT_EQ(install({}, new_parts()), CKR_OK);
  Process reader([&] { begin(); }, [&] { return watch_sets(); });
  reader.go();
  while (reader.is_running()) {
    ASSERT_EQ(install(installed(), new_parts()), CKR_OK);
  }
  EXPECT_EQ(reader.left(), 0);
}

TEST_F(ConcurrencyTest, WaitsForOthersEndWithTheReason) {
  const std::string log = folder() + "/../log";
  Process caller([&] { m_token->C_Initialize(nullptr), open(); },
                 [&] { return login() == answer(CKR_DEVICE_ERROR) ? 0 : 1; });
  ::setenv("TEE_TOKEN_LOG", ("file:" + log).c_str(), 1);
  const int counters = ::open(file("pin-tries").c_str(), O_RDWR | O_CLOEXEC);
  struct flock whole {};
  whole.l_type = F_WRLCK;
  ASSERT_EQ(::fcntl(counters, F_OFD_SETLK, &whole), 0);
  sqlite3* store = nullptr;
  ASSERT_EQ(sqlite3_open(file("token.db").c_str(), &store), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(store, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);

  caller.go();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), answer(CKR_DEVICE_ERROR));
  EXPECT_EQ(caller.left(), 0);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(waited > std::chrono::seconds(4) && waited < std::chrono::seconds(15));
  sqlite3_close(store);
  ::close(counters);
  ::setenv("TEE_TOKEN_LOG", "off", 1);
  std::ifstream lines(log);
  const std::string said(std::istreambuf_iterator<char>(lines), {});
  EXPECT_THAT(said, testing::HasSubstr("another process has held the store for more than 5 s"));
  EXPECT_EQ(create(Class(CKO_DATA).flag(CKA_TOKEN, true)), OK);
}

TEST_F(ConcurrencyTest, LoadingItAThousandTimesCostsNoMemoryAndNoFile) {
  const auto files = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  const auto pages = [] {
    long size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident;
  };
  ASSERT_EQ(answer(m_token->C_Finalize(nullptr)), OK);
  const auto load = [&](int times) {
    for (int i = 0; i < times; ++i) {
      void* const module = ::dlopen(TEE_TOKEN_MODULE, RTLD_NOW);
      begin();
      installed();
      m_token->C_Finalize(nullptr);
      ::dlclose(module);
    }
  };
  load(100);
  const auto files_before = files();
  const long pages_before = pages();
  load(1000);
  EXPECT_EQ(files(), files_before);
#ifndef CCI_SANITIZED  // it keeps what was freed
  EXPECT_LT(pages() - pages_before, 50);
#else
  static_cast<void>(pages_before);
#endif
}

}  // namespace
}  // namespace token_test
