// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include "cases.h"

namespace wrong_chains {
namespace {

std::string right(const Backend& b) { return b.chain(); }
std::string leaf_alone(const Backend& b) { return pem({b.leaf}); }
std::string root_missing(const Backend& b) { return pem({b.leaf, b.intermediate.certificate}); }
std::string gap(const Backend& b) { return pem({b.leaf, b.root.certificate}); }
std::string no_leaf(const Backend& b) { return pem({b.intermediate.certificate, b.root.certificate}); }

std::string reversed(const Backend& b) {
  return pem({b.root.certificate, b.intermediate.certificate, b.leaf});
}
std::string leaf_last(const Backend& b) {
  return pem({b.intermediate.certificate, b.root.certificate, b.leaf});
}
std::string leaf_twice(const Backend& b) { return pem({b.leaf}) + b.chain(); }
std::string root_twice(const Backend& b) { return b.chain() + pem({b.root.certificate}); }

std::string cross_signed(const Backend& b) {
  const Authority other = make_root("Other Root");
  return b.chain() + pem({certify_authority("Intermediate", b.intermediate.key, &other), other.certificate});
}

std::string unrelated(const Backend& b) {
  const Authority other_root = make_root("Other Root");
  const Authority other = make_intermediate("Other Intermediate", other_root);
  return pem({b.leaf, other.certificate, other_root.certificate});
}

Certificate other_leaf(const Backend& b) {
  const Key key = new_key();
  return b.issue([&](X509* leaf) { require(X509_set_pubkey(leaf, key.get()) == 1, "another key"); });
}
std::string two_leaves(const Backend& b) {
  return pem({b.leaf, other_leaf(b), b.intermediate.certificate, b.root.certificate});
}
std::string two_leaves_other_first(const Backend& b) { return pem({other_leaf(b)}) + b.chain(); }

std::string repeated_leaf(const Backend& b) { return repeated(1500, pem({b.leaf})); }

const std::vector<Case> kCases = {
    {"right", "leaf, intermediate, root", right, installed(3)},
    {"root-missing", "leaf, intermediate", root_missing, installed(2)},
    {"leaf-alone", "leaf", leaf_alone, installed(1), check::kVerifies},
    {"gap", "leaf, root", gap, installed(2), check::kVerifies},
    {"no-leaf", "intermediate, root", no_leaf, refused()},
    {"reversed", "root, intermediate, leaf", reversed, installed(3), check::kFirst},
    {"leaf-last", "intermediate, root, leaf", leaf_last, installed(3), check::kFirst},
    {"leaf-twice", "leaf, leaf, intermediate, root", leaf_twice, installed(4)},
    {"root-twice", "leaf, intermediate, root, root", root_twice, installed(4)},
    {"cross-signed", "the right chain, then the intermediate as another root certified it, and that root",
     cross_signed, installed(5)},
    {"unrelated", "leaf, intermediate and root of others", unrelated, installed(3), check::kVerifies},
    {"two-leaves", "leaf, leaf for another key, intermediate, root", two_leaves, installed(4)},
    {"two-leaves-other-first", "leaf for another key, leaf, intermediate, root", two_leaves_other_first,
     installed(4), check::kFirst},
    {"repeated", "leaf 1500 times, about 1 MiB", repeated_leaf, installed(1500), check::kLength},
};

}  // namespace

const std::vector<Case>& chain_cases() { return kCases; }

}  // namespace wrong_chains
