// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <iostream>

#include "base/error.h"
#include "command_line.h"
#include "shared/error_line.h"

namespace {

using namespace tee_token_admin;

int fail(const std::string& line, int code) {
  std::cerr << line << std::endl;
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  const FailureLines lines;
  CommandLine command_line;
  try {
    const int code = command_line.run(argc, argv);
    return std::cout.flush() ? code : fail("tee-token: cannot write to stdout", kFailed);
  } catch (const CLI::ParseError& error) {
    return command_line.explain(error) ? 0 : kWrongUsage;
  } catch (const Botan::PKCS11::PKCS11_ReturnError& error) {
    const auto code = static_cast<CK_RV>(error.get_return_value());
    return fail(error_line(code, lines), exit_code_of(code));
  } catch (const tee_token::Error& error) {
    return fail(std::string("tee-token: ") + error.what(), exit_code_of(error.code()));
  } catch (const std::exception& error) {
    return fail(std::string("tee-token: ") + error.what(), kFailed);
  }
}
