#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# Tests the tests: breaks the library and the token's critical code in one place at a time, and lists the places where
# no test fails. Usage: tools/mutants.sh [N]: N places (default 80), spread evenly over all; "all" takes each.
# Works on a copy of the tracked files in build-mutants/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
wanted=${1:-80}
[[ $wanted == all || $wanted =~ ^[1-9][0-9]*$ ]] || { echo "usage: mutants.sh [N|all]" >&2; exit 2; }
copy=$PWD/build-mutants/source

# The quick test programs, then those that take long.
library_tests=('^product-tests\.' '^(wrong-chains|life-cycle|failures)-tests\.')
token_tests=('^(tee-token|tee-token-module|product)-tests\.' '^(crash|wrong-chains|life-cycle|failures)-tests\.')

# mutated FILE: prints each mutant as LINE, TAB, what is done, TAB, the new line. A mutant is a change of one place: a
# comparison turned, a branch taken always or never, a constant changed, a call dropped.
mutated() {
  awk '
    function emit(what, text) { if (text != $0) printf "%d\t%s\t%s\n", FNR, what, text }
    # swap(FROM, TO): a mutant for each place where FROM stands in code.
    function swap(from, to, what,   at, start) {
      for (start = 1; (at = index(substr(code, start), from)) > 0; start += at + length(from) - 1)
        emit(what, substr($0, 1, start + at - 2) to substr($0, start + at - 1 + length(from)))
    }
    # The place of the parenthesis that closes the one at START, in this line; else 0.
    function closing(start,   i, depth) {
      for (i = start; i <= length(code); i++) {
        depth += substr(code, i, 1) == "("
        if (substr(code, i, 1) == ")" && --depth == 0) return i
      }
      return 0
    }
    /^ *(\/\/|#|using |namespace |case |}|static_assert)/ { next }
    {
      code = $0
      # Texts and comments are blanked, at their length, so that nothing is found in them.
      while (match(code, /"([^"\\]|\\.)*"/)) {
        blank = sprintf("%" RLENGTH "s", ""); gsub(/ /, "_", blank)
        code = substr(code, 1, RSTART - 1) blank substr(code, RSTART + RLENGTH)
      }
      sub(/ *\/\/.*/, "", code)
      swap(" == ", " != ", "comparison"); swap(" != ", " == ", "comparison")
      swap(" < ", " >= ", "comparison"); swap(" > ", " <= ", "comparison")
      swap(" <= ", " > ", "comparison"); swap(" >= ", " < ", "comparison")
      swap(" && ", " || ", "condition"); swap(" || ", " && ", "condition")
      swap("true", "false", "constant"); swap("false", "true", "constant")
      if ($0 !~ /"|_string|what\(\)/) { swap(" + ", " - ", "constant"); swap(" - ", " + ", "constant") }
      for (rest = code; match(rest, /[^A-Za-z_0-9.\x27][0-9]+[^0-9A-Za-z_.\x27]/);) {
        at = length(code) - length(rest) + RSTART
        number = substr(code, at + 1, RLENGTH - 2)
        emit("constant", substr($0, 1, at) (number + 1) substr($0, at + 1 + length(number)))
        rest = substr(rest, RSTART + RLENGTH - 1)
      }
      if ((at = index(code, "if (")) > 0 && (end = closing(at + 3)) > 0 && substr(code, at, end - at) !~ /;| = /) {
        emit("branch always", substr($0, 1, at + 3) "true" substr($0, end))
        emit("branch never", substr($0, 1, at + 3) "false" substr($0, end))
      }
      if (before ~ /[;{}]$|^$/ && code ~ /^ +[A-Za-z_:.>()\[\]-]+\(.*\);$/ && code !~ /^ +(return|throw|if|for|while|else) ?/) {
        match($0, /^ +/); emit("call dropped", substr($0, 1, RLENGTH) ";")
      }
      before = code
    }' "$1"
}

# passes REGEX...: the copy, as it is, builds and passes the tests that match; 2: it does not build.
passes() {
  local tests
  cmake --build "$copy/build" --target "${targets[@]}" >build-mutants/build.log 2>&1 || return 2
  for tests; do
    ctest --test-dir "$copy/build" --tests-regex "$tests" --stop-on-failure --timeout 120 -j "$(nproc)" \
      --no-tests=error >build-mutants/tests.log 2>&1 || return 1
  done
}

mkdir -p "$copy"
git ls-files -z | xargs -0 cp --parents -pu -t "$copy"
[[ -f $copy/build/build.ninja ]] || cmake -S "$copy" --preset release -DCMAKE_CXX_FLAGS=-w >build-mutants/configure.log
targets=(teetoken tests/product/all tests/tee-token/all)
echo "==> building, and running the tests on the code as it is"
passes "${token_tests[@]}" || { tail -n 20 build-mutants/{build,tests}.log; echo "mutants.sh: the tests fail" >&2; exit 1; }

git ls-files -- 'src/*.cpp' 'src/*.h' 'platform/tee-token/store/*.cpp' platform/tee-token/{objects/installation,crypto/symmetric}.cpp |
  while read -r file; do mutated "$file" | sed "s|^|$file\t|"; done >build-mutants/all.tsv
total=$(wc -l <build-mutants/all.tsv)
[[ $wanted != all ]] || wanted=$total
echo "==> $wanted of $total mutants"
tried=0 survived=0 broken=0 file=
trap '[[ -z $file ]] || cp "$file" "$copy/$file"' EXIT
while IFS=$'\t' read -r -u 3 file line what text; do
  tests=("${token_tests[@]}")
  [[ $file == platform/* ]] || tests=("${library_tests[@]}")
  MUTANT=$text awk -v line="$line" 'FNR == line { print ENVIRON["MUTANT"]; next } { print }' "$file" >"$copy/$file"
  outcome=0
  passes "${tests[@]}" || outcome=$?
  cp "$file" "$copy/$file"
  case $outcome in
    0) survived=$((survived + 1)); printf 'survived: %s:%d: %s: %s\n' "$file" "$line" "$what" "${text#"${text%%[! ]*}"}" ;;
    2) broken=$((broken + 1)) ;;
  esac
  tried=$((tried + 1))
done 3< <(awk -v wanted="$wanted" -v total="$total" 'int(NR * wanted / total) > int((NR - 1) * wanted / total)' build-mutants/all.tsv)
echo "==> $tried mutants: $((tried - survived - broken)) noticed, $broken did not compile, $survived survived"
