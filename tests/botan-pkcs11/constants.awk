# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# From p11-kit's header: asserts that each constant of PKCS#11 2.40 is an enumerator of the same value.
BEGIN {
  n = split("A AttributeType C CertificateType D KeyDerivation F Flag G MGF H HardwareType K KeyType M MechanismType " \
            "N Notification O ObjectClass R ReturnValue S SessionState U UserType", word, " ")
  for (i = 1; i < n; i += 2) enumeration["CK" word[i]] = word[i + 1]
  joined["CKR_OK"] = "OK"
  joined["CKU_SO"] = "SO"
  split("CKC_OPENPGP CKK_EC_EDWARDS CKM_EC_EDWARDS_KEY_PAIR_GEN CKM_EDDSA", later, " ")
  for (i in later) done[later[i]] = 1
  print "#include <botan/p11.h>\nusing namespace Botan::PKCS11;"
  # p11-kit's header has other values for these.
  split("EXCEEDED_MAX_ITERATIONS FIPS_SELF_TEST_FAILED LIBRARY_LOAD_FAILED PIN_TOO_WEAK PUBLIC_KEY_INVALID", wrong, " ")
  for (i = 1; i <= 5; ++i) expect("CKR_" wrong[i], 436 + i)
}

function expect(name, value, n, i, word, text) {
  if (done[name]++) return
  n = split(tolower(name), word, "_")
  for (i = 2; i <= n; ++i) text = text toupper(substr(word[i], 1, 1)) substr(word[i], 2)
  if (name in joined) text = joined[name]
  type = enumeration[substr(name, 1, 3)]
  printf "static_assert(%s::%s == static_cast<%s>(%s), \"\");\n", type, text, type, value
}

/^#define[ \t]+CK[A-Z]_/ && substr($2, 1, 3) in enumeration { expect($2, $2) }
