// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <variant>
#include <vector>

#include "crypto/ec_key.h"
#include "crypto/mechanism.h"
#include "objects/new_object.h"
#include "session/caller_memory.h"
#include "store/token.h"

namespace tee_token {

/// A session: what an application does with objects and keys. At most one operation is active in it.
/// Throws the Error that the standard gives for the call.
class Session {
 public:
  Session(CK_SESSION_HANDLE handle, bool read_write, Token& token)
      : m_handle(handle), m_read_write(read_write), m_token(token) {}

  bool is_read_write() const { return m_read_write; }
  CK_SESSION_INFO info() const;
  /// The object for a failure line: `private key "LYR" (object 7)`. Only its number when it is not visible,
  /// or when `code` says that the store cannot be read.
  std::string description_of(CK_OBJECT_HANDLE object, CK_RV code);

  // objects.cpp
  CK_OBJECT_HANDLE create(Attributes given);
  CK_OBJECT_HANDLE copy(CK_OBJECT_HANDLE object, const Attributes& changes);
  void destroy(CK_OBJECT_HANDLE object);
  void read_attributes(CK_OBJECT_HANDLE object, CK_ATTRIBUTE* first, CK_ULONG count);
  void set_attributes(CK_OBJECT_HANDLE object, const Attributes& changes);
  /// The size of its attributes in bytes.
  CK_ULONG size_of(CK_OBJECT_HANDLE object);

  // key_pairs.cpp
  struct KeyPair {
    CK_OBJECT_HANDLE public_key, private_key;
  };
  KeyPair generate(Attributes public_half, Attributes private_half);
  /// The vendor interface's set_client_cert_and_move_key.
  void install(const std::vector<CK_OBJECT_HANDLE>& installed, const std::vector<CK_OBJECT_HANDLE>& added);

  // operations.cpp
  void begin_search(Attributes wanted);
  std::vector<CK_OBJECT_HANDLE> continue_search(std::size_t limit);
  void end_search();

  void begin_signature(const CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
  void sign(ByteView data, OutputBuffer signature);
  void add_to_signature(ByteView part);
  void end_signature(OutputBuffer signature);

  void begin_verification(const CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
  void verify(ByteView data, ByteView signature);
  void add_to_verification(ByteView part);
  void end_verification(ByteView signature);

  void begin_digest(const CK_MECHANISM* mechanism);
  void digest(ByteView data, OutputBuffer digest);
  void add_to_digest(ByteView part);
  /// Throws: no key of this token can be digested.
  [[noreturn]] void add_key_to_digest(CK_OBJECT_HANDLE key);
  void end_digest(OutputBuffer digest);

  struct Search {
    Attributes wanted;
    CK_OBJECT_HANDLE last;
  };
  struct Signature {
    EcPrivateKey key;
    Message message;
  };
  struct Verification {
    EcPublicKey key;
    Message message;
  };
  struct Digest {
    Message message;
  };

  /// Ends the active operation, if there is one.
  void end_operation() { m_operation = std::monostate(); }

  /// Whether a cryptographic operation is active; a search is none.
  bool has_cryptographic_operation() const {
    return !std::holds_alternative<std::monostate>(m_operation) &&
           !std::holds_alternative<Search>(m_operation);
  }

  /// Runs one step of the active operation, which must be of this kind. Any error ends the operation, except
  /// CKR_BUFFER_TOO_SMALL (base, 5.8 to 5.12).
  template <typename Kind, typename Step>
  void continue_operation(Step step) {
    active<Kind>();
    try {
      step();
    } catch (const Error& error) {
      if (error.code() != CKR_BUFFER_TOO_SMALL) {
        end_operation();
      }
      throw;
    } catch (...) {
      end_operation();
      throw;
    }
  }

 private:
  using Operation = std::variant<std::monostate, Search, Signature, Verification, Digest>;

  template <typename Kind>
  Kind& active() {
    Kind* const operation = std::get_if<Kind>(&m_operation);
    if (operation == nullptr) {
      throw Error(CKR_OPERATION_NOT_INITIALIZED, "no such operation is active");
    }
    return *operation;
  }

  void require_idle() const;
  void require_may_write(Place place) const;
  void require_may_change(const Attributes& object) const;
  void require_may_destroy(CK_OBJECT_HANDLE object);
  Creator creator() const;
  Attributes usable_key(CK_OBJECT_HANDLE key, CK_OBJECT_CLASS object_class, CK_ATTRIBUTE_TYPE use);
  void require_verifies(ByteView digest, ByteView signature);

  CK_SESSION_HANDLE m_handle;
  bool m_read_write;
  Token& m_token;
  Operation m_operation;
};

}  // namespace tee_token
