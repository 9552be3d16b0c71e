// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>

#include "cci_test.h"

namespace cci_test {
namespace {

using SurfaceTest = CciTest;

// Runs the commands of a page in one shell and compares what they print with what the page shows. Others may
// run the same page, so the port is another one; and a slow machine takes more than a second to listen.
const char kReplay[] = R"(
rm -rf token *.key *.pem
sed -n '/^    \$ /,/^ \{0,3\}\([^ ]\|$\)/p' "$page" | sed -n 's/^    //p' |
  sed "s/\b4433\b/$((20000 + $$ % 10000))/; s/sleep 1$/until grep -qs ACCEPT server.log; do sleep 0.1; done/" >shown
while IFS= read -r line <&3; do
  case $line in '$ '*) printf '%s\n' "$line"; eval "${line#??}" ;; esac
done 3<shown >printed 2>&1
constant() {
  sed -E 's/([0-9A-F]{2}:){31}[0-9A-F]{2}|[0-9a-f]{128}|[0-9a-f]{38,40}|[0-9-]{10}T[0-9:]{8}Z|[0-9]+ days/#/g' "$1" |
    grep .
}
diff <(constant shown) <(constant printed) && test $(grep -c '^\$' shown) -gt 9 || echo differs)";

TEST_F(SurfaceTest, ThePagesShowWhatTheirCommandsPrint) {
  EXPECT_EQ(text("page='" CCI_PROJECT_FOLDER "/docs/cci.md'" + std::string(kReplay)), "");
  if (!std::filesystem::exists("/usr/lib/softhsm/libsofthsm2.so")) GTEST_SKIP() << "README.md uses SoftHSM2";
  EXPECT_EQ(text("page='" CCI_PROJECT_FOLDER "/README.md'" + std::string(kReplay)), "");
}

TEST_F(SurfaceTest, BashCompletesTheCommandsAndOptionsOfTheHelp) {
  EXPECT_EQ(text(R"(. ')" CCI_PROJECT_FOLDER R"(/tools/cci/completion/cci'
offered() { COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _cci; printf '%s\n' "${COMPREPLY[@]}" | grep -v ^-h | sort; }
commands=$(cci --help | sed -n 's/^  \([a-z][-a-z]*\) .*/\1/p')
diff <(sort <<<"$commands") <(offered cci '' | grep ^[a-z])
for command in $commands; do
  diff <(cci $command --help | grep -o -- '--[a-z][-a-z0-9]*' | sort -u) <(offered cci $command --)
done
wc -w <<<"$commands")"),
            "11\n");
}

}  // namespace
}  // namespace cci_test
