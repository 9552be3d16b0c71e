// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/base64.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "api/product_test.h"
#include "support/stored_file.h"
#include "wrong-chains/cases.h"

namespace ozk::tee {

using wrong_chains::Case;
using wrong_chains::Verdict;

std::string withoutWhiteSpace(std::string text) {
  const auto is_space = [](unsigned char c) { return std::isspace(c) != 0; };
  text.erase(std::remove_if(text.begin(), text.end(), is_space), text.end());
  return text;
}

class WrongChainsTest : public ProductTest {
 protected:
  std::string request() {
    EXPECT_EQ(product->generate_private_key("LYR_CSR"), ResultCode::OK);
    const Bytes der = product->generate_csr("device-1", "LYR_CSR");
    return std::string(der.begin(), der.end());
  }

  /// Has the answer of a case installed over the identity that is there; what is there afterwards must be
  /// whole.
  Verdict install(const Case& c) {
    const auto before = identity();
    const std::string answer = c.answer(wrong_chains::Backend(request()));
    const std::string requested_key = product->get_public_key("LYR_CSR");
    log.take();
    const ResultCode result = product->set_client_cert_and_move_key(answer, "LYR_CSR", "LYR");
    const std::size_t records = undecoded();
    const auto after = identity();
    EXPECT_EQ(temporaries(), 0u);
    EXPECT_TRUE(signsWithInstalledKey());
    if (result == ResultCode::OK) {
      EXPECT_EQ(after.second, requested_key);
      return wrong_chains::installed(certificatesFrom(answer, after.first), records);
    }
    EXPECT_EQ(result, ResultCode::CRYPTO_OP_ERROR);
    EXPECT_EQ(after, before);
    return wrong_chains::refused(records);
  }

 private:
  /// Certificates and public key of what is installed.
  std::pair<std::string, std::string> identity() {
    return {product->get_client_cert("LYR"), product->get_public_key("LYR")};
  }

  std::size_t undecoded() {
    const auto lines = log.take();
    const auto record = error("ClientCertInitializer::getCertificates: failed to decode certificate");
    return static_cast<std::size_t>(std::count(lines.begin(), lines.end(), record));
  }

  /// How many certificates are installed; they must stand in the answer, PEM or DER, in this order.
  std::size_t certificatesFrom(const std::string& answer, const std::string& installed) {
    test_support::UserSession session;
    const auto certificates = access.certificatesIn(*session, installed);
    const std::string text = withoutWhiteSpace(answer);
    std::size_t in_text = 0, in_bytes = 0;
    for (const auto& certificate : certificates) {
      const auto der = certificate.BER_encode();
      const std::string base64 = Botan::base64_encode(der);
      in_text = text.find(base64, in_text);
      in_bytes = answer.find(std::string(der.begin(), der.end()), in_bytes);
      EXPECT_TRUE(in_text != std::string::npos || in_bytes != std::string::npos);
      in_text += in_text == std::string::npos ? 0 : base64.size();
      in_bytes += in_bytes == std::string::npos ? 0 : der.size();
    }
    return certificates.size();
  }
};

const char kIntroduction[] = R"(# Answers that are not the right chain

What `set_client_cert_and_move_key` makes of what backends send. This page is written by a test that installs each
case over another identity; `build/bin/wrong-chains REQUEST FOLDER` writes the cases for a request of your own.

- installed: `OK`. The new key and the certificates that could be read are the identity.
- **empty chain installed**: `OK`, too. The new key is the identity, without a certificate; the one before is gone.
- refused: `CRYPTO_OP_ERROR`. The identity before serves on. The new key pair is gone: begin again with
  `generate_private_key`.
- Records: how often the log has "failed to decode certificate". Damage that reaches to the end of the answer has
  none.

The library keeps what it can read, and the token refuses a chain of which no certificate has the new key. Neither
looks at dates, issuers, signatures or purposes, or asks for a certificate at all. So check before the call what the
last column names. With the answer in `chain.pem`, the request in `request.pem` and your root in `root.pem`:

    openssl verify -purpose sslclient -auth_level 2 -CAfile root.pem -untrusted chain.pem chain.pem
    openssl x509 -in chain.pem -noout -pubkey -subject      gives the same as
    openssl req -in request.pem -noout -pubkey -subject
    grep -c BEGIN chain.pem                                 and as many END, as you expect

These find all but the serial numbers, the end date, and `trusted-label`, which openssl reads. They also stop at
`cr`, `glued`, `blank-lines` and `indented`, which openssl does not read, and at `der-chain`, which has no BEGIN. (The
program makes a new root each time: it is the last certificate of `right.pem`.)

| case | answer | verdict | certificates | records | check before |
|---|---|---|---|---|---|
)";

std::string rowOf(const Case& c, const Verdict& v) {
  const std::string verdict = !v.installed         ? "refused"
                              : v.certificates > 0 ? "installed"
                                                   : "**empty chain installed**";
  const std::string cells[] = {std::string("`") + c.name + "`",
                               c.description,
                               verdict,
                               v.installed ? std::to_string(v.certificates) : "",
                               std::to_string(v.records),
                               c.check};
  std::string row = "|";
  for (const auto& cell : cells) row += cell.empty() ? " |" : " " + cell + " |";
  return row + "\n";
}

TEST_F(WrongChainsTest, EachAnswerIsInstalledWholeOrChangesNothing) {
  std::string page = kIntroduction;
  provision("before");
  for (const Case& c : wrong_chains::all_cases()) {
    SCOPED_TRACE(c.name);
    if (!c.verdict.installed) provision("before");
    const Verdict verdict = install(c);
    EXPECT_EQ(verdict.installed, c.verdict.installed);
    EXPECT_EQ(verdict.certificates, c.verdict.certificates);
    EXPECT_EQ(verdict.records, c.verdict.records);
    page += rowOf(c, verdict);
  }
  std::cout << "counted: " << wrong_chains::all_cases().size() << " answers of backends judged\n";
  test_support::expectPage("docs/chains.md", page);
}

TEST_F(WrongChainsTest, TheProgramWritesTheAnswersAndRefusesWhatIsNoRequest) {
  const test_support::TemporaryFolder folder;
  const auto file = [&](const std::string& name) { return (folder.path() / name).string(); };
  const auto read = [](const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
  };
  const auto run = [&](const std::string& arguments) {
    const int status =
        std::system(("'" WRONG_CHAINS "' " + arguments + " >" + file("out") + " 2>&1").c_str());
    return WEXITSTATUS(status);
  };
  const std::string der = request();
  std::ofstream(file("request"), std::ios::binary) << der;
  std::string forged = der;
  forged[forged.find("device-1")] = 'D';
  std::ofstream(file("forged"), std::ios::binary) << forged;

  EXPECT_EQ(run(file("request") + " " + file("some") + " right html"), 0) << read(file("out"));
  EXPECT_EQ(product->set_client_cert_and_move_key(read(file("some/right.pem")), "LYR_CSR", "LYR"),
            ResultCode::OK);
  EXPECT_THAT(read(file("some/html.pem")), ::testing::StartsWith("<!DOCTYPE html>"));
  EXPECT_FALSE(std::filesystem::exists(file("some/json.pem")));
  EXPECT_EQ(run("--list"), 0);
  EXPECT_THAT(read(file("out")), ::testing::HasSubstr("\nexpired                 the leaf has expired\n"));

  const struct {
    std::string arguments;
    int code;
    std::string message;
  } errors[] = {{file("request"), 2, "expected REQUEST FOLDER"},
                {file("request") + " " + file("none") + " wrong", 2, "there is no case 'wrong'"},
                {file("absent") + " " + file("none"), 1, "cannot read " + file("absent")},
                {file("out") + " " + file("none"), 1, "not a PKCS#10 request"},
                {file("forged") + " " + file("none"), 1, "not signed by the key that it carries"},
                {file("request") + " " + file("forged"), 1, file("forged")}};
  for (const auto& error : errors) {
    EXPECT_EQ(run(error.arguments), error.code) << error.arguments;
    EXPECT_THAT(read(file("out")), ::testing::HasSubstr(error.message));
  }
  EXPECT_FALSE(std::filesystem::exists(file("none")));
}

}  // namespace ozk::tee
