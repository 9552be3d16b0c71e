# SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
# SPDX-License-Identifier: Apache-2.0
# From p11-kit's header: that each constant of PKCS #11 2.40 is an enumerator of the same value. The words of its
# name are joined, and it is in the enumeration that its prefix stands for.
BEGIN {
  prefixes = "A AttributeType C CertificateType D KeyDerivation F Flag G MGF H HardwareType K KeyType " \
             "M MechanismType N Notification O ObjectClass R ReturnValue S SessionState U UserType"
  n = split(prefixes, word, " ")
  for (i = 1; i < n; i += 2) enumeration["CK" word[i]] = word[i + 1]
  joined["CKR_OK"] = "OK"
  joined["CKU_SO"] = "SO"
  # Those that are not of 2.40, and those that p11.cpp has, because here they are wrong.
  split("CKC_OPENPGP CKK_EC_EDWARDS CKM_EC_EDWARDS_KEY_PAIR_GEN CKM_EDDSA CKR_EXCEEDED_MAX_ITERATIONS " \
        "CKR_FIPS_SELF_TEST_FAILED CKR_LIBRARY_LOAD_FAILED CKR_PIN_TOO_WEAK CKR_PUBLIC_KEY_INVALID", left_out, " ")
  for (i in left_out) done[left_out[i]] = 1
  print "#include <botan/p11.h>\nusing namespace Botan::PKCS11;"
}

function enumerator(name, n, i, word, text) {
  if (name in joined) return joined[name]
  n = split(tolower(name), word, "_")
  for (i = 2; i <= n; ++i) text = text toupper(substr(word[i], 1, 1)) substr(word[i], 2)
  return text
}

/^#define[ \t]+CK[A-Z]_/ && substr($2, 1, 3) in enumeration && !done[$2]++ {
  type = enumeration[substr($2, 1, 3)]
  printf "static_assert(%s::%s == static_cast<%s>(%s), \"\");\n", type, enumerator($2), type, $2
}
