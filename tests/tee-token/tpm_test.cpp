// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

// What differs when the keys are in a TPM.
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "admin_shell.h"
#include "token_test.h"

namespace token_test {
namespace {

using testing::HasSubstr;

const Value kP384 = {0x06, 0x05, 0x2B, 0x81, 0x04, 0x00, 0x22};

const char kLockout[] =
    "tpm2_dictionarylockout -s -n 1 -t 9999 -l 9999; tpm2_createprimary -c key -p good;"
    " ! tpm2_create -C key -P bad -u public -r private; tpm2_flushcontext -t";

Outcome admin_with_lines(const std::string& arguments) {
  return shell("TEE_TOKEN_LOG=failures '" TEE_TOKEN_ADMIN "' " + arguments);
}

/// TPMs emulated by swtpm, one at a time, at one socket. While it exists, new tokens are made on them, and
/// tpm2-tools use them.
class Swtpm {
 public:
  Swtpm() {
    ::setenv("TEE_TOKEN_KEYS", ("tpm:" + tcti()).c_str(), 1);
    ::setenv("TPM2TOOLS_TCTI", tcti().c_str(), 1);
    ::setenv("TSS2_LOG", "all+none", 1);
    start("tpm");
  }
  ~Swtpm() {
    stop();
    ::unsetenv("TEE_TOKEN_KEYS");
  }
  Swtpm(const Swtpm&) = delete;
  Swtpm& operator=(const Swtpm&) = delete;

  /// The TPM of this name, new or as it was stopped.
  void start(const std::string& name) {
    tpm("mkdir -p " + name + " && swtpm socket --tpm2 --tpmstate dir=$PWD/" + name +
        " --server type=unixio,path=$PWD/socket --ctrl type=unixio,path=$PWD/socket.ctrl"
        " --flags not-need-init,startup-clear --pid file=$PWD/pid --daemon");
  }
  void stop() { tpm("kill $(cat pid); while [ -e pid ]; do sleep 0.01; done"); }

  /// Runs commands of tpm2-tools in a folder of the TPM.
  void tpm(const std::string& commands) const {
    const std::string all = "cd '" + m_folder.path().string() + "' && (" + commands + ") >log 2>&1";
    EXPECT_EQ(std::system(all.c_str()), 0) << commands;
  }
  void expect_empty() const {
    tpm("tpm2_getcap handles-transient; tpm2_getcap handles-loaded-session"), tpm("! grep 0x log");
  }

 private:
  std::string tcti() const { return "swtpm:path=" + m_folder.path().string() + "/socket"; }

  test_support::TemporaryFolder m_folder;
};

class TpmTest : protected Swtpm, public TokenTest {
 protected:
  TpmTest() { EXPECT_EQ(login(), OK); }
  ~TpmTest() override { expect_empty(); }

  static Template private_key(const Value& curve, const Value& scalar) {
    return Class(CKO_PRIVATE_KEY)
        .number(CKA_KEY_TYPE, CKK_EC)
        .add(CKA_EC_PARAMS, curve)
        .add(CKA_VALUE, scalar);
  }
  Answer generate_on(const Value& curve, Template private_half = Template()) {
    CK_MECHANISM mechanism = {CKM_EC_KEY_PAIR_GEN, nullptr, 0};
    Template public_half = Template().add(CKA_EC_PARAMS, curve);
    CK_OBJECT_HANDLE made = 0;
    return m_token->C_GenerateKeyPair(m_session, &mechanism, public_half.data(), public_half.size(),
                                      private_half.data(), private_half.size(), &made, &made);
  }
  /// Whether a signature of CKM_ECDSA over `digest` is one of the public key.
  bool signs(const Handles& pair, const Value& digest) {
    CK_MECHANISM mechanism = {CKM_ECDSA, nullptr, 0};
    CK_ULONG length = 64;
    Value signature(length);
    return m_token->C_SignInit(m_session, &mechanism, pair[1]) == CKR_OK &&
           m_token->C_Sign(m_session, bytes(digest), digest.size(), signature.data(), &length) == CKR_OK &&
           m_token->C_VerifyInit(m_session, &mechanism, pair[0]) == CKR_OK &&
           m_token->C_Verify(m_session, bytes(digest), digest.size(), signature.data(), length) == CKR_OK;
  }
  /// Whether a new program can log in, and its failure line.
  void expect_login(bool works, const std::string& line = "") {
    expect({"list", works ? 0 : 5, line}, admin_with_lines("list"));
    EXPECT_EQ(restart() == OK && login() == OK, works);
  }
};

TEST_F(TpmTest, SignsDigestsOfEachLengthAndKeepsNothingInTheTpm) {
  const Handles pair = generate();
  for (const std::size_t length : {1u, 20u, 32u, 48u, 64u}) {
    EXPECT_TRUE(signs(pair, Value(length, 0xA5))) << length;
    EXPECT_TRUE(signs(pair, Value(length, 0))) << length;
  }
  EXPECT_EQ(read(pair[1], CKA_VALUE), CKR_ATTRIBUTE_SENSITIVE);
  CK_OBJECT_HANDLE copied = 0;
  EXPECT_EQ(copy(pair[1], Template(), &copied), OK);
  EXPECT_TRUE(signs({pair[0], copied}, Value(32, 1)));
  expect_empty();
}

TEST_F(TpmTest, TakesOverAKeyThatWasMadeElsewhere) {
  CK_OBJECT_HANDLE key = 0;
  EXPECT_EQ(create(private_key(kP256, {1}), &key), OK) << "without its zeros";
  EXPECT_EQ(sign(key), OK) << "which the TPM does only when both halves match";
}

TEST_F(TpmTest, RefusesWhatATpmCannotDo) {
  const Template extractable = Template().flag(CKA_EXTRACTABLE, true).flag(CKA_SENSITIVE, false);
  EXPECT_EQ(generate_on(kP256), OK);
  EXPECT_EQ(generate_on(kP256, extractable), CKR_ATTRIBUTE_VALUE_INVALID);
  EXPECT_EQ(generate_on(kP384), CKR_CURVE_NOT_SUPPORTED);
  EXPECT_EQ(create(private_key(kP384, {1})), CKR_CURVE_NOT_SUPPORTED);
  EXPECT_EQ(create(private_key(kP256, {1}).flag(CKA_EXTRACTABLE, true)), CKR_ATTRIBUTE_VALUE_INVALID);
  EXPECT_EQ(create(private_key(kP256, {0})), CKR_ATTRIBUTE_VALUE_INVALID);
  CK_MECHANISM_INFO info{};
  EXPECT_EQ(answer(m_token->C_GetMechanismInfo(0, CKM_EC_KEY_PAIR_GEN, &info)), OK);
  EXPECT_EQ(info.ulMaxKeySize, 256u);
  expect({"init", 1, "device.key is not for 'software'"},
         admin_with_lines("init --force --keys software --so-pin-hex 6f666669636572"));
  expect({"init --force --keys software --tcti x", 1, "--tcti needs --keys tpm"});
  EXPECT_NE(generate()[0], 0u) << "and nothing was changed";
}

TEST_F(TpmTest, WorksInLockoutAndSaysWhenTheTpmIsFull) {
  const Handles pair = generate();
  tpm(kLockout);
  EXPECT_TRUE(signs(pair, Value(32, 1)));
  tpm("for name in 1 2 3; do tpm2_createprimary -Q -c $name; done");
  expect({"list", 5, "CKR_DEVICE_MEMORY"}, admin_with_lines("list"));
  tpm("tpm2_flushcontext -t");
  expect_login(true);
}

TEST_F(TpmTest, IsWorthNothingWithAnotherTpm) {
  const Handles pair = generate();
  stop(), start("other");
  expect_login(false, "this token belongs to another TPM");
  stop(), start("tpm");
  expect_login(true);
  EXPECT_TRUE(signs(pair, Value(32, 1)));
  tpm("tpm2_clear -c p");
  expect_login(false, "its TPM was cleared");
}

TEST_F(TpmTest, ATpmThatIsGoneInTheMiddleCostsNothing) {
  const Handles pair = generate();
  CK_MECHANISM mechanism = {CKM_ECDSA_SHA256, nullptr, 0};
  CK_ULONG length = 64;
  Value signature(length);
  EXPECT_EQ(answer(m_token->C_SignInit(m_session, &mechanism, pair[1])), OK);
  stop();
  EXPECT_EQ(answer(m_token->C_Sign(m_session, bytes(kP256), kP256.size(), signature.data(), &length)),
            CKR_DEVICE_ERROR);
  EXPECT_EQ(generate()[0], 0u);
  expect_login(false, "the TPM does not answer");
  start("tpm");
  expect_login(true);
  EXPECT_TRUE(signs(pair, Value(32, 1)));
  EXPECT_THAT(find(), testing::SizeIs(2));
}

TEST_F(TpmTest, UsesTheStorageRootKeyThatIsThere) {
  tpm("tpm2_createprimary -Q -c root && tpm2_evictcontrol -c root 0x81000001; tpm2_flushcontext -t");
  m_token->C_Finalize(nullptr);
  std::filesystem::remove_all(folder());
  m_token->C_Initialize(nullptr);
  EXPECT_TRUE(init_token() == OK && open() == OK && login_officer() == OK && init_pin(kPin) == OK);
  expect_login(true);
  EXPECT_TRUE(signs(generate(), Value(32, 1)));
  tpm(kLockout);
  expect_login(false, "the TPM is in lockout");
  tpm("tpm2_dictionarylockout -c");
  expect_login(true);
  tpm("tpm2_evictcontrol -c 0x81000001");
  expect_login(false, "this token belongs to another TPM");
}

TEST_F(TpmTest, TwoProcessesWaitForOneAnother) {
  const auto work = [this] {
    bool done = open() == OK && (login() == OK);
    for (int round = 0; done && round < 10; ++round) {
      const Handles pair = generate();
      done = signs(pair, Value(32, 1));
    }
    return done;
  };
  m_token->C_Finalize(nullptr);
  const pid_t other = ::fork();
  m_token->C_Initialize(nullptr);
  const bool done = work();
  if (other == 0) ::_exit(done ? 0 : 1);
  int status = -1;
  ::waitpid(other, &status, 0);
  EXPECT_TRUE(done);
  EXPECT_EQ(status, 0);
}

TEST_F(TpmTest, ADamagedDeviceKeyIsRefused) {
  const std::string content = content_of(file("device.key"));
  for (std::size_t at = 5; at < content.size(); at += 9) {
    std::string damaged = content;
    damaged[content.size() - at] = static_cast<char>(damaged[content.size() - at] ^ 0x40);
    for (const std::string& text : {damaged, content.substr(0, at), content + "x"}) {
      std::ofstream(file("device.key"), std::ios::trunc) << text;
      EXPECT_EQ(restart() == OK ? login() : Answer(CKR_DEVICE_ERROR), CKR_DEVICE_ERROR) << at;
    }
  }
}

}  // namespace
}  // namespace token_test
