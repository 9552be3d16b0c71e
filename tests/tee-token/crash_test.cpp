// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <iostream>
#include <sstream>

#include "api/product_test.h"
#include "support/long_run.h"
#include "support/power_cut.h"
#include "support/spytoken.h"
#include "support/stored_file.h"
#include "support/system_calls.h"
#include "support/token_snapshot.h"
#include "token_state.h"

namespace ozk::tee {

using test_support::Fault;
using test_support::Interruption;
using test_support::Lost;
using test_support::spytoken;
using test_support::SystemCall;
using test_support::TokenSnapshot;
using ::testing::Contains;
using ::testing::IsSupersetOf;
using token_test::Class;
using token_test::Template;

namespace {

const Bytes kUserPin = token_test::kPin, kNewPin = {'n', 'e', 'w', '-', 'p', 'i', 'n'};
const Bytes kOfficerPin = {'s', 'o', '-', 'p', 'i', 'n'}, kWrongPin = {'w', 'r', 'o', 'n', 'g'};

/// The PIN as Cryptoki takes it.
unsigned char* bytes(const Bytes& pin) { return const_cast<unsigned char*>(pin.data()); }

using Session = CK_SESSION_HANDLE;

constexpr CK_USER_TYPE kNobody = 98, kLibrary = 99;

/// What is tried: one call of Cryptoki in a session of `user`, or one of the library.
struct Operation {
  const char* name;
  CK_USER_TYPE user;
  std::function<CK_RV(CK_SESSION_HANDLE)> act;
  CK_RV answer = CKR_OK;      // when nothing interferes
  bool counts_tries = false;  // that is what it is about
  bool is_synced = true;
  const char* folder = "";  // of the token, in that of the test
  bool may_leave = false;   // what it should have destroyed, though it reports success
};

/// One undisturbed run of an operation.
struct Course {
  /// The token between two token calls.
  struct Step {
    std::size_t calls;  // system calls until then
    std::string text;
  };

  std::optional<TokenSnapshot> before;
  std::vector<SystemCall> calls;
  std::vector<Step> steps;

  /// The state of the last token call that was over after so many system calls, and the one after it.
  std::vector<std::string> around(std::size_t count) const {
    std::size_t i = 0;
    while (i + 1 < steps.size() && steps[i + 1].calls <= count) ++i;
    return {steps[i].text, steps[std::min(i + 1, steps.size() - 1)].text};
  }

  std::vector<std::string> all() const {
    std::vector<std::string> texts;
    for (const Step& step : steps) texts.push_back(step.text);
    return texts;
  }
};

/// Says yes once in so many times, or always in a long run.
class OnceIn {
 public:
  explicit OnceIn(unsigned times) : m_times(test_support::isLongRun() ? 1 : times) {}
  bool operator()() { return m_turn++ % m_times == 0; }
  unsigned times() const { return m_times; }

 private:
  unsigned m_times, m_turn = 0;
};

#ifdef CCI_SANITIZED
constexpr unsigned kDeaths = 61, kFailures = 97, kCuts = 97, kProvisionings = 11;
#else
constexpr unsigned kDeaths = 9, kFailures = 13, kCuts = 11, kProvisionings = 5;
#endif

using Lines = std::vector<std::string>;

Lines lines_of(
    const std::string& text,
    const std::function<bool(const std::string&)>& is_wanted = [](const auto&) { return true; }) {
  std::istringstream stream(text);
  Lines lines;
  for (std::string line; std::getline(stream, line);) {
    if (is_wanted(line)) lines.push_back(line);
  }
  return lines;
}

/// The objects that serve now, by CKA_VENDOR_PERMANENT.
Lines installed_in(const std::string& state) {
  return lines_of(state, [](const auto& line) { return line.find(" 80001004=01") != std::string::npos; });
}

Lines in_each(const std::vector<std::string>& states) {
  return lines_of(states.front(), [&](const auto& line) {
    return std::all_of(states.begin(), states.end(), [&](const auto& state) {
      const Lines lines = lines_of(state);
      return std::find(lines.begin(), lines.end(), line) != lines.end();
    });
  });
}

void expect_known(const std::vector<std::string>& states, const std::string& line) {
  const std::string object_line = "\n" + line.substr(0, line.find(" without public key"));
  EXPECT_TRUE(std::any_of(states.begin(), states.end(), [&](const std::string& state) {
    return ("\n" + state).find(object_line) != std::string::npos;
  })) << line;
}

void expect_one_identity(const std::vector<std::string>& states, const std::string& found) {
  std::vector<Lines> identities;
  for (const std::string& state : states) identities.push_back(installed_in(state));
  EXPECT_THAT(identities, Contains(installed_in(found)));
}

bool is_write(const SystemCall& call) { return call.function == "write" || call.function == "pwrite"; }
bool is_read(const SystemCall& call) { return call.function == "read" || call.function == "pread"; }

}  // namespace

/// A token in the middle of a rotation, and all that can be done to it.
class CrashTest : public ProductTest {
 protected:
  CrashTest();

  std::vector<Operation> pin_operations();
  std::vector<Operation> object_operations();
  std::vector<Operation> library_operations();
  Course undisturbed(const Operation& operation);
  /// Runs it on the token as it was at the start.
  CK_RV run(const Operation& operation, const Interruption& interruption, Course* course = nullptr);
  CK_RV run_in_session(const Operation& operation, const Interruption& interruption, Course* course);
  CK_RV watched(const Operation& operation, CK_SESSION_HANDLE session, const Interruption& interruption,
                Course* course);
  bool dies(const Operation& operation, const Interruption& interruption);

  std::string text(const Operation& operation);
  void expect_whole(const Operation& operation, const std::vector<std::string>& allowed);
  void expect_objects_of(const Operation& operation, const Course& course, CK_RV code);
  void report(const char* what, const OnceIn& is_tried) const;
  /// Until one fails; with the number of the call, from 0.
  void for_each_call(const std::function<void(const Operation&, const Course&, std::size_t)>& work);
  void expect_session_goes_on(CK_SESSION_HANDLE session);
  void expect_token_goes_on(const std::string& text);
  void enter(const Operation& operation) const;

  CK_FUNCTION_LIST* spied = nullptr;
  const CK_FUNCTION_LIST* direct = nullptr;
  std::string next_chain;
  CK_OBJECT_HANDLE data = 0, made[2] = {};
  Template object =
      Class(CKO_DATA).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, true).text(CKA_VALUE, std::string(3000, 'v'));
  Template change = Template().text(CKA_LABEL, "renamed");
  Template half = Template().flag(CKA_TOKEN, true).add(CKA_EC_PARAMS, token_test::kP256);
  std::optional<TokenSnapshot> start;
  OnceIn is_provisioned{kProvisionings};
  unsigned points = 0, provisionings = 0;
};

CrashTest::CrashTest() {
  importBaseKey();
  provision("device-1");
  test_support::addTrustStoreGroup("group", "CCI_CLIENT", {authority.root()});
  next_chain = test_support::pem(requestChain("device-2"));
  {
    test_support::UserSession session;
    data = test_support::importData(*session, {label(2, 20)}, "vehicle");
  }
  direct = spytoken().module().cryptoki;
  reinterpret_cast<CK_C_GetFunctionList>(::dlsym(::dlopen(SPYTOKEN, RTLD_NOW), "C_GetFunctionList"))(&spied);
  // One wrong try, so that a counter that is set back can be told from one that is not.
  start.emplace(token.folder());
  EXPECT_EQ(run({"", kNobody, pin_operations().at(0).act}, {}), CKR_PIN_INCORRECT);
  start.emplace(token.folder());
}

std::vector<Operation> CrashTest::pin_operations() {
  const auto login = [this](CK_USER_TYPE user, const Bytes& pin) {
    return [=](Session s) { return spied->C_Login(s, user, bytes(pin), pin.size()); };
  };
  const auto set_pin = [this](const Bytes& old_pin) {
    return [=](Session s) {
      return spied->C_SetPIN(s, bytes(old_pin), old_pin.size(), bytes(kNewPin), kNewPin.size());
    };
  };
  const auto init_token = [this](Session s) {
    if (s != 0) direct->C_CloseSession(s);
    unsigned char name[33] = "a new token                     ";
    return spied->C_InitToken(0, bytes(kOfficerPin), kOfficerPin.size(), name);
  };
  return {
      {"C_Login with a wrong PIN", kNobody, login(CKU_USER, kWrongPin), CKR_PIN_INCORRECT, true},
      {"C_Login", kNobody, login(CKU_USER, kUserPin), CKR_OK, true, false},
      {"C_InitToken", kNobody, init_token, CKR_OK, false, true, "/new"},
      {"C_InitToken again", kNobody, init_token},
      {"C_InitPIN", CKU_SO,
       [this](Session s) { return spied->C_InitPIN(s, bytes(kNewPin), kNewPin.size()); }},
      {"C_SetPIN of the user", CKU_USER, set_pin(kUserPin)},
      {"C_SetPIN of the officer", CKU_SO, set_pin(kOfficerPin)},
  };
}

std::vector<Operation> CrashTest::object_operations() {
  const auto generate = [this](Session s) {
    CK_MECHANISM mechanism = {CKM_EC_KEY_PAIR_GEN, nullptr, 0};
    return spied->C_GenerateKeyPair(s, &mechanism, half.data(), 2, half.data(), 1, &made[0], &made[1]);
  };
  return {
      {"C_CreateObject", CKU_USER,
       [this](Session s) { return spied->C_CreateObject(s, object.data(), object.size(), made); }},
      {"C_CopyObject", CKU_USER,
       [this](Session s) { return spied->C_CopyObject(s, data, change.data(), change.size(), made); }},
      {"C_DestroyObject", CKU_USER, [this](Session s) { return spied->C_DestroyObject(s, data); }},
      {"C_SetAttributeValue", CKU_USER,
       [this](Session s) { return spied->C_SetAttributeValue(s, data, change.data(), change.size()); }},
      {"C_GenerateKeyPair", CKU_USER, generate},
  };
}

std::vector<Operation> CrashTest::library_operations() {
  const auto answer = [](const std::function<ResultCode()>& call) {
    return [=](Session) -> CK_RV {
      try {
        return call() == ResultCode::OK ? CKR_OK : CKR_FUNCTION_FAILED;
      } catch (const Botan::Exception&) {
        return CKR_FUNCTION_FAILED;
      }
    };
  };
  return {
      {"generate_private_key", kLibrary, answer([this] { return product->generate_private_key("LYR_CSR"); }),
       CKR_OK, false, true, "", true},
      {"set_client_cert_and_move_key", kLibrary,
       answer([this] { return product->set_client_cert_and_move_key(next_chain, "LYR_CSR", "LYR"); })},
      {"set_client_cert_and_move_key that deletes", kLibrary,
       answer([this] { return product->set_client_cert_and_move_key("", "", "LYR"); }), CKR_OK, false, true,
       "", true},
  };
}

void CrashTest::enter(const Operation& operation) const {
  ::setenv("TEE_TOKEN_DIR", (token.folder().string() + operation.folder).c_str(), 1);
}

CK_RV CrashTest::run(const Operation& operation, const Interruption& interruption, Course* course) {
  start->restore();
  enter(operation);
  return operation.user == kLibrary ? watched(operation, 0, interruption, course)
                                    : run_in_session(operation, interruption, course);
}

CK_RV CrashTest::run_in_session(const Operation& operation, const Interruption& interruption,
                                Course* course) {
  direct->C_Initialize(nullptr);
  CK_SESSION_HANDLE session = 0;
  direct->C_OpenSession(0, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &session);
  if (operation.user != kNobody) {
    const Bytes& pin = operation.user == CKU_SO ? kOfficerPin : kUserPin;
    EXPECT_EQ(direct->C_Login(session, operation.user, bytes(pin), pin.size()), CKR_OK);
  }
  const CK_RV code = watched(operation, session, interruption, course);
  if (operation.user != kNobody) expect_session_goes_on(session);
  direct->C_Finalize(nullptr);
  return code;
}

CK_RV CrashTest::watched(const Operation& operation, CK_SESSION_HANDLE session,
                         const Interruption& interruption, Course* course) {
  if (course != nullptr) {
    course->before.emplace(token.folder());
    course->steps = {{0, ""}};
    spytoken().observer = [course](const auto&) {
      course->steps.push_back({test_support::system_calls().size(), ""});
    };
  }
  test_support::watch_system_calls(token.folder(), interruption);
  const CK_RV code = operation.act(session);
  std::vector<SystemCall> calls = test_support::stop_watching();
  spytoken().observer = nullptr;
  if (course != nullptr) {
    if (course->steps.size() == 1) course->steps.push_back({calls.size(), ""});  // it made no token call
    course->calls = std::move(calls);
  }
  return code;
}

Course CrashTest::undisturbed(const Operation& operation) {
  Course course;
  EXPECT_EQ(run(operation, {}, &course), operation.answer);
  EXPECT_FALSE(course.calls.empty());
  const auto at = [&](std::size_t count) {
    return test_support::after_power_cut(*course.before, course.calls, count, Lost::kNothing);
  };
  if (operation.user == kNobody || operation.user == kLibrary) {
    EXPECT_TRUE(at(course.calls.size()).entries() == TokenSnapshot(token.folder()).entries())
        << "the calls that were seen do not explain what is there";
  }
  for (auto& step : course.steps) {
    at(step.calls).restore();
    step.text = text(operation);
  }
  return course;
}

void CrashTest::for_each_call(const std::function<void(const Operation&, const Course&, std::size_t)>& work) {
  for (const auto& operations : {pin_operations(), object_operations(), library_operations()}) {
    for (const Operation& operation : operations) {
      const Course course = undisturbed(operation);
      for (std::size_t i = 0; i < course.calls.size() && !HasFailure(); ++i) {
        SCOPED_TRACE(std::string(operation.name) + ", call " + std::to_string(i + 1) + ": " +
                     course.calls[i].function + " " + course.calls[i].path);
        work(operation, course, i);
      }
    }
  }
}

/// Has a process do it that dies; whether it came to that.
bool CrashTest::dies(const Operation& operation, const Interruption& interruption) {
  const pid_t child = ::fork();
  if (child == 0) {
    run(operation, interruption);
    ::_exit(0);
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

std::string CrashTest::text(const Operation& operation) {
  enter(operation);
  const std::string tries = operation.counts_tries ? token_test::tries_text(*direct) : "";
  const std::string token_text =
      token_test::token_text(*direct, {kUserPin, kNewPin}, {kOfficerPin, kNewPin}, data);
  return tries + token_text;
}

void CrashTest::expect_whole(const Operation& operation, const std::vector<std::string>& allowed) {
  const std::string found = text(operation);
  if (std::count(allowed.begin(), allowed.end(), found) == 0) {
    ADD_FAILURE() << "neither the old state, line " << test_support::firstDifference(allowed.front(), found)
                  << "\nnor the new one, line " << test_support::firstDifference(allowed.back(), found);
  }
  expect_token_goes_on(found);
  ++points;
}

/// After a failure the library goes on, and may remove objects one by one; but those that are there are
/// whole, and those that it leaves alone are there.
void CrashTest::expect_objects_of(const Operation& operation, const Course& course, CK_RV code) {
  const std::string found = text(operation);
  const std::vector<std::string> states = course.all();
  for (const std::string& line : lines_of(found)) expect_known(states, line);
  EXPECT_THAT(lines_of(found), IsSupersetOf(in_each(states)));
  if (!installed_in(states.back()).empty()) expect_one_identity(states, found);
  if (code == CKR_OK) {
    EXPECT_THAT(lines_of(found), IsSupersetOf(lines_of(states.back())));
    EXPECT_TRUE(operation.may_leave || found == states.back()) << "reported as done:\n" << found;
  }
  expect_token_goes_on(found);
  ++points;
}

void CrashTest::expect_session_goes_on(CK_SESSION_HANDLE session) {
  Template passing = Class(CKO_DATA).flag(CKA_TOKEN, true);
  CK_OBJECT_HANDLE handle = 0;
  EXPECT_EQ(direct->C_CreateObject(session, passing.data(), passing.size(), &handle), CKR_OK);
  EXPECT_EQ(direct->C_DestroyObject(session, handle), CKR_OK);
}

/// The next provisioning succeeds where the platform's PIN still opens the token, or else its next
/// initialisation.
void CrashTest::expect_token_goes_on(const std::string& text) {
  if (!is_provisioned()) return;
  ++provisionings;
  if (text.find("user: PIN 0") != std::string::npos) {
    const std::string installed = product->get_client_cert("LYR");
    const std::string key = publicKeyIfAny("LYR");
    EXPECT_TRUE(installed.empty() || key.empty() || certifiedKey(installed) == key);
    provision("device-3");
    EXPECT_TRUE(signsWithInstalledKey());
  } else if (text.find("officer: PIN 1") == std::string::npos) {
    direct->C_Initialize(nullptr);
    unsigned char name[33] = "the next one                    ";
    EXPECT_EQ(direct->C_InitToken(0, bytes(kOfficerPin), kOfficerPin.size(), name), CKR_OK);
    direct->C_Finalize(nullptr);
  }
}

void CrashTest::report(const char* what, const OnceIn& is_tried) const {
  constexpr unsigned kLeast = 1000;
  EXPECT_GE(points, kLeast / is_tried.times()) << "of " << what;
  std::cout << "counted: " << points << ' ' << what << ", " << provisionings << " provisionings after them\n";
}

TEST_F(CrashTest, ADeathAtAnySystemCallLeavesTheOldStateOrTheNewOne) {
  OnceIn is_tried(kDeaths);
  for_each_call([&](const Operation& operation, const Course& course, std::size_t i) {
    if (is_read(course.calls[i])) return;  // dying there is dying before the next
    for (const Fault fault : {Fault::kDeath, Fault::kTornDeath}) {
      if ((fault == Fault::kTornDeath && !is_write(course.calls[i])) || !is_tried()) continue;
      EXPECT_TRUE(dies(operation, {fault, i + 1}));
      expect_whole(operation, course.around(i));
    }
  });
  report("deaths at system calls", is_tried);
}

TEST_F(CrashTest, AFailureOfAnySystemCallLeavesTheOldStateOrTheNewOneAndIsReported) {
  OnceIn is_tried(kFailures);
  for_each_call([&](const Operation& operation, const Course& course, std::size_t i) {
    for (const Interruption& failure :
         {Interruption{Fault::kFailure, i + 1, EIO}, Interruption{Fault::kFailure, i + 1, ENOSPC},
          Interruption{Fault::kFailures, i + 1, EIO}, Interruption{Fault::kFailures, i + 1, ENOSPC}}) {
      if (!is_tried()) continue;
      const CK_RV code = run(operation, failure);
      const std::string &first = course.steps.front().text, &last = course.steps.back().text;
      if (operation.user == kLibrary) {
        expect_objects_of(operation, course, code);
      } else {
        expect_whole(operation, {code == operation.answer ? last : first, last});
      }
    }
  });
  report("failures of system calls", is_tried);
}

TEST_F(CrashTest, APowerCutLeavesTheOldStateOrTheNewOneAndWhatWasReportedStays) {
  OnceIn is_tried(kCuts);
  const unsigned seeds = test_support::isLongRun() ? 4 : 1;
  for_each_call([&](const Operation& operation, const Course& course, std::size_t i) {
    const auto cut = [&](std::size_t count, Lost lost, unsigned seed) {
      test_support::after_power_cut(*course.before, course.calls, count, lost, seed).restore();
      expect_whole(operation, operation.is_synced ? course.around(count) : course.all());
    };
    for (const Lost lost : {Lost::kAll, Lost::kContents, Lost::kNames}) {
      if (is_tried()) cut(i, lost, 0);
    }
    for (unsigned seed = 0; seed < seeds; ++seed) {
      if (is_tried()) cut(i, Lost::kSome, unsigned(i) * seeds + seed);
    }
    if (i + 1 == course.calls.size()) cut(i + 1, Lost::kAll, 0);
  });
  report("power cuts", is_tried);
}

}  // namespace ozk::tee
