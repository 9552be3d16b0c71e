// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <set>

#include "ozk/tee/client_cert_initializer_api.h"
#include "support/certificate_authority.h"
#include "support/system_calls.h"
#include "support/token_snapshot.h"
#include "tee-token/commands.h"
#include "token_test.h"

namespace token_test {
namespace {

using namespace test_support;
using ozk::tee::ClientCertInitializerAPI;
using ozk::tee::ResultCode;

enum class Caller { kNobody, kUser, kOfficer, kNoSession, kCommand, kLibrary };

struct Operation {
  std::string name;
  Caller caller;
  std::function<bool()> act;  // whether it ended as it does when nothing interferes
  const char* folder = "/token";
};

/// A token in the middle of a rotation.
class CrashTest : public TokenTest {
 protected:
  CrashTest() {
    ::unsetenv("TEE_PKCS11_MODULE");  // the one beside the layer
    ::setenv("ARA_LOG_LEVEL", "off", 1);
    product = ClientCertInitializerAPI::get_instance();
    EXPECT_EQ(login(), OK);
    EXPECT_EQ(create(data_object("VIN").flag(CKA_PRIVATE, true), &data), OK);
    m_token->C_Finalize(nullptr);
    EXPECT_EQ(product->set_client_cert_and_move_key(request_chain(), "LYR_CSR", "LYR"), ResultCode::OK);
    next_chain = request_chain();
    EXPECT_EQ(restart(), OK);
    EXPECT_EQ(login(kWrongPin), CKR_PIN_INCORRECT) << "so that a count that is set back shows";
    m_token->C_Finalize(nullptr);
    start.emplace(parent);
  }

  std::string request_chain() {
    EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
    return pem({authority.issue(product->generate_csr("device", "LYR_CSR")), authority.root()});
  }

  std::vector<Operation> operations() {
    const auto init = [this] { return init_token() == OK; };
    const auto set_pin = [this] {
      return m_token->C_SetPIN(m_session, bytes(kPin), kPin.size(), bytes(kNewPin), kNewPin.size()) == OK;
    };
    const Template large = data_object(std::string(9000, 'v')), label = Template().text(CKA_LABEL, "new");
    const auto generate_key = [this] { return product->generate_private_key("LYR_CSR") == ResultCode::OK; };
    const auto install_chain = [this] {
      return product->set_client_cert_and_move_key(next_chain, "LYR_CSR", "LYR") == ResultCode::OK;
    };
    const auto init_command = [] {
      return tee_token_admin::init({"", "", "6f666669636572"}, "", false), true;
    };
    return {
        {"tee-token init", Caller::kCommand, init_command},
        {"C_Login, wrong PIN", Caller::kNobody, [this] { return login(kWrongPin) == CKR_PIN_INCORRECT; }},
        {"C_InitToken in a new folder", Caller::kNoSession, init, "/new"},
        {"C_InitToken again", Caller::kNoSession, init},
        {"C_InitPIN", Caller::kOfficer, [this] { return init_pin(kNewPin) == OK; }},
        {"C_SetPIN", Caller::kUser, set_pin},
        {"C_CreateObject", Caller::kUser, [=] { return create(large) == OK; }},
        {"C_SetAttributeValue", Caller::kUser, [=] { return set(data, label) == OK; }},
        {"C_DestroyObject", Caller::kUser, [this] { return destroy(data) == OK; }},
        {"C_GenerateKeyPair", Caller::kUser, [this] { return generate()[0] != 0; }},
        {"generate_private_key", Caller::kLibrary, generate_key},
        {"set_client_cert_and_move_key", Caller::kLibrary, install_chain},
    };
  }

  bool run(const Operation& operation, const Interruption& interruption) {
    start->restore();
    const bool has_session = operation.caller < Caller::kNoSession;
    if (operation.caller == Caller::kNoSession) m_token->C_Initialize(nullptr);
    EXPECT_EQ(has_session ? restart() : OK, OK);
    EXPECT_EQ(operation.caller == Caller::kUser ? login() : OK, OK);
    EXPECT_EQ(operation.caller == Caller::kOfficer ? login_officer() : OK, OK);
    ::close(STDIN_FILENO);  // the number is free for the next file
    watch_system_calls(parent, interruption);
    bool is_done = false;
    try {
      is_done = operation.act();
    } catch (const std::exception&) {  // from the library
    }
    calls = stop_watching();
    CK_OBJECT_HANDLE made = 0;
    EXPECT_TRUE(!has_session || (create(data_object(""), &made) == OK && destroy(made) == OK)) << "unusable";
    m_token->C_Finalize(nullptr);
    return is_done;
  }

  /// Without the temporary objects that the library may leave, and removes later.
  std::string state_for(const Operation& operation) {
    const std::string tries = content_of(file("pin-tries"));
    const std::string temporary = std::to_string(TEE_CKA_VENDOR_PERMANENT) + "=" + '\0';
    std::string text = operation.caller == Caller::kNobody ? std::to_string(tries.at(0)) + " tries\n" : "";
    for (const std::string& line : state()) {
      const bool is_temporary = line.find(temporary) != std::string::npos;
      if (operation.caller != Caller::kLibrary || !is_temporary) text += line + "\n";
    }
    return text;
  }

  /// What was reported as done outlives a power cut: all written files and changed names are synced, a file
  /// before it is renamed, and the journal before the store is written. Only the try of a right PIN is not.
  void expect_synced(const Operation& operation) {
    std::set<std::string> unsynced;
    for (const SystemCall& call : calls) {
      if (call.failed || !call.is_change()) continue;
      if (call.function == "fsync" || call.function == "fdatasync") {
        unsynced.erase(call.path);
      } else if (call.is_write() || call.function == "ftruncate") {
        EXPECT_TRUE(call.file > STDERR_FILENO || !call.is_write()) << "the program could write to it";
        EXPECT_FALSE(call.path == file("token.db") && unsynced.count(file("token.db-journal")) != 0);
        if (call.path != file("pin-tries") || operation.caller == Caller::kNobody) unsynced.insert(call.path);
      } else {
        EXPECT_FALSE(call.function == "rename" && unsynced.count(call.path) != 0) << call.path;
        if (call.function == "unlink") unsynced.erase(call.path);
        unsynced.insert(call.path.substr(0, call.path.find_last_of('/')));
      }
    }
    EXPECT_THAT(unsynced, testing::IsEmpty());
  }

  void try_fault(const Operation& operation, const Interruption& interruption) {
    const bool dies = interruption.error == 0, is_reported = !dies && run(operation, interruption);
    if (dies) {
      EXPECT_EXIT(run(operation, interruption), testing::KilledBySignal(SIGKILL), "");
    }
    const std::string found = state_for(operation);
    EXPECT_TRUE(found == after || (found == before && !is_reported)) << found;
    if (operation.caller == Caller::kLibrary) {
      EXPECT_EQ(product->set_client_cert_and_move_key(request_chain(), "LYR_CSR", "LYR"), ResultCode::OK);
      EXPECT_FALSE(product->generate_signature("LYR", {1}, "").empty());
    }
  }

  void try_all_faults(const Operation& operation) {
    const bool is_library = operation.caller == Caller::kLibrary;
    ::setenv("TEE_TOKEN_DIR", (parent + operation.folder).c_str(), 1);
    start->restore();
    before = state_for(operation);
    EXPECT_EQ(run(operation, {}), operation.caller != Caller::kCommand) << "which refuses";
    if (!is_library) expect_synced(operation);
    after = state_for(operation);
    const std::vector<SystemCall> undisturbed = calls;
    EXPECT_FALSE(undisturbed.empty());
    for (std::size_t i = 1; i <= undisturbed.size() && !HasFailure(); i += FAULT_STEP) {
      const SystemCall& call = undisturbed[i - 1];
      SCOPED_TRACE(operation.name + ", " + std::to_string(i) + ": " + call.function + " " + call.path);
      if (s_is_on_tpm && call.is_change()) try_fault(operation, {Fault::kDeath, i});
      if (s_is_on_tpm) continue;
      if (!is_library || call.is_change()) try_fault(operation, {Fault::kFailure, i, EIO});
      if (!is_library && !call.is_change()) try_fault(operation, {Fault::kFailure, i, EACCES});
      if (!call.is_change()) continue;
      try_fault(operation, {Fault::kFull, i, ENOSPC});
      try_fault(operation, {Fault::kDeath, i});
      if (call.is_write()) try_fault(operation, {Fault::kTornDeath, i});
    }
  }

  // Then only deaths are tried: a call takes longer, and other failures take the same ways as without a TPM.
  static inline const bool s_is_on_tpm = std::getenv("TEE_TOKEN_KEYS") != nullptr;
  const std::string parent = folder().substr(0, folder().find_last_of('/'));
  std::shared_ptr<ClientCertInitializerAPI> product;
  CertificateAuthority authority;
  std::string next_chain, before, after;
  CK_OBJECT_HANDLE data = 0;
  std::optional<TokenSnapshot> start;
  std::vector<SystemCall> calls;
};

// So that ending the process gives no free try.
TEST_F(CrashTest, ATryIsCountedBeforeThePinIsJudged) {
  const Operation right_login = {"C_Login", Caller::kNobody, [this] { return login() == OK; }};
  EXPECT_TRUE(run(right_login, {}));
  std::size_t last = calls.size();
  while (last > 0 && !calls[last - 1].is_write()) --last;  // it takes the count back
  EXPECT_EXIT(run(right_login, {Fault::kDeath, last}), testing::KilledBySignal(SIGKILL), "");
  EXPECT_EQ(content_of(file("pin-tries")).at(0), 2);
}

TEST_F(CrashTest, ADeathOrAFailureLeavesTheOldStateOrTheNewOne) {
  std::vector<Operation> all_but_the_installation = operations();
  all_but_the_installation.pop_back();
  for (const Operation& operation : all_but_the_installation) try_all_faults(operation);
}

TEST_F(CrashTest, ADeathOrAFailureInTheInstallationLeavesTheOldIdentityOrTheNewOne) {
  try_all_faults(operations().back());
}

}  // namespace
}  // namespace token_test
