// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <openssl/x509v3.h>

#include <algorithm>

#include "cases.h"

namespace wrong_chains {
namespace {

const std::string kBegin = "-----BEGIN CERTIFICATE-----\n";
const std::string kEnd = "-----END CERTIFICATE-----\n";

/// The right chain, with something done to its text.
template <std::string (*edit)(const std::string&)>
std::string text(const Backend& b) {
  return edit(b.chain());
}

std::string crlf(const std::string& chain) { return replaced(chain, "\n", "\r\n"); }
std::string cr(const std::string& chain) { return replaced(chain, "\n", "\r"); }
std::string no_final_newline(const std::string& chain) { return chain.substr(0, chain.size() - 1); }
std::string glued(const std::string& chain) { return replaced(chain, "-----\n-----", "----------"); }
std::string bom(const std::string& chain) { return "\xEF\xBB\xBF" + chain; }
std::string blank_lines(const std::string& chain) { return replaced(chain, "\n", "\n\n"); }
std::string indented(const std::string& chain) { return "  " + replaced(chain, "\n", "\n  "); }
std::string trailing_blanks(const std::string& chain) { return replaced(chain, "\n", " \t\n"); }
std::string trailing_junk(const std::string& chain) { return chain + "0 errors, the end\n"; }
std::string quoted(const std::string& chain) { return "> " + replaced(chain, "\n", "\n> "); }

std::string utf16(const std::string& chain) {
  std::string wide = "\xFF\xFE";
  for (const char character : chain) {
    wide += {character, '\0'};
  }
  return wide;
}

std::string lower_case(const std::string& chain) {
  return replaced(replaced(chain, "BEGIN CERTIFICATE", "begin certificate"), "END CERTIFICATE",
                  "end certificate");
}
std::string x509_label(const std::string& chain) { return replaced(chain, "CERTIF", "X509 CERTIF"); }
std::string trusted_label(const std::string& chain) { return replaced(chain, "CERTIF", "TRUSTED CERTIF"); }
std::string other_end(const std::string& chain) { return replaced_once(chain, kEnd, "-----END CERT-----\n"); }
std::string four_dashes(const std::string& chain) { return replaced(chain, "-----", "----"); }
std::string six_dashes(const std::string& chain) { return replaced(chain, "-----", "------"); }

std::string no_end(const std::string& chain) { return replaced_once(chain, kEnd, ""); }
std::string no_begin(const std::string& chain) { return replaced_once(chain, kBegin, ""); }
std::string cut_in_leaf(const std::string& chain) { return chain.substr(0, chain.find(kEnd) - 64); }
std::string cut_in_root(const std::string& chain) { return chain.substr(0, chain.size() - 128); }
std::string lines_missing(const std::string& chain) {
  constexpr std::size_t kLine = 64 + 1;
  return std::string(chain).erase(kBegin.size(), 2 * kLine);
}
std::string bad_character(const std::string& chain) { return replaced_once(chain, kBegin, kBegin + "*"); }
std::string url_safe(const std::string& chain) {
  std::string damaged = chain;
  std::replace(damaged.begin(), damaged.end(), '+', '-');
  std::replace(damaged.begin(), damaged.end(), '/', '_');
  // Reading begins anew soon after a dash, and would take a 0 for the first byte of DER, now and then.
  for (auto dash = damaged.find('-'); dash != std::string::npos; dash = damaged.find('-', dash + 1)) {
    const auto end = damaged.begin() + static_cast<std::ptrdiff_t>(std::min(dash + 8, damaged.size()));
    std::replace(damaged.begin() + static_cast<std::ptrdiff_t>(dash), end, '0', '1');
  }
  return damaged;
}

std::string wide(const Backend& b) {
  return pem({b.leaf, b.intermediate.certificate, b.root.certificate}, 76);
}
std::string one_line(const Backend& b) {
  return pem({b.leaf, b.intermediate.certificate, b.root.certificate}, 1 << 20);
}

std::string printed(const Certificate& certificate) {
  const Stream stream = owned(BIO_new(BIO_s_mem()), BIO_free_all, "a stream");
  require(X509_print(stream.get(), certificate.get()) == 1, "printing a certificate");
  char* start = nullptr;
  const auto length = BIO_get_mem_data(stream.get(), &start);
  return std::string(start, static_cast<std::size_t>(length)) + pem({certificate});
}
std::string text_around(const Backend& b) {
  return printed(b.leaf) + printed(b.intermediate.certificate) + printed(b.root.certificate);
}

const std::vector<Case> kCases = {
    {"crlf", "lines end in CR LF", text<crlf>, installed(3)},
    {"cr", "lines end in CR", text<cr>, installed(3)},
    {"no-final-newline", "the last line does not end", text<no_final_newline>, installed(3)},
    {"glued", "no line break between the certificates", text<glued>, installed(3)},
    {"blank-lines", "each line followed by a blank one", text<blank_lines>, installed(3)},
    {"indented", "lines begin with two blanks", text<indented>, installed(3)},
    {"trailing-blanks", "lines end in blank and tab", text<trailing_blanks>, installed(3)},
    {"wide", "lines of 76 characters", wide, installed(3)},
    {"one-line", "the base64 of each certificate in one line", one_line, installed(3)},
    {"text-around", "each certificate after its fields in clear, as from openssl x509 -text", text_around,
     installed(3)},
    {"trailing-junk", "words after the last certificate", text<trailing_junk>, installed(3)},
    {"bom", "begins with the byte order mark of UTF-8", text<bom>, installed(3)},
    {"utf-16", "UTF-16", text<utf16>, installed(0), check::kNotEmpty},
    {"quoted", "lines begin with > and a blank, as in an answered mail", text<quoted>, installed(0, 3),
     check::kNotEmpty},
    {"x509-label", "label X509 CERTIFICATE", text<x509_label>, installed(3)},
    {"trusted-label", "label TRUSTED CERTIFICATE", text<trusted_label>, installed(0, 3), check::kNotEmpty},
    {"lower-case", "begin certificate, end certificate", text<lower_case>, installed(0), check::kNotEmpty},
    {"four-dashes", "four dashes in the place of five", text<four_dashes>, installed(0), check::kNotEmpty},
    {"six-dashes", "six dashes in the place of five", text<six_dashes>, installed(0), check::kNotEmpty},
    {"no-begin", "the leaf's BEGIN line is missing", text<no_begin>, refused()},
    {"no-end", "the leaf's END line is missing", text<no_end>, refused(1)},
    {"other-end", "the leaf's END line has another label", text<other_end>, refused(1)},
    {"cut-in-leaf", "ends within the leaf", text<cut_in_leaf>, installed(0), check::kNotEmpty},
    {"cut-in-root", "ends within the root", text<cut_in_root>, installed(2), check::kAllRead},
    {"lines-missing", "two lines of the leaf's base64 are missing", text<lines_missing>, refused(1)},
    {"bad-character", "a star in the leaf's base64", text<bad_character>, refused(1)},
    {"url-safe", "the base64 of URLs, with - and _", text<url_safe>, installed(0, 3), check::kNotEmpty},
};

}  // namespace

const std::vector<Case>& text_cases() { return kCases; }

}  // namespace wrong_chains
