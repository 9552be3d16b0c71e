// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <variant>
#include <vector>

#include "crypto/ec_key.h"
#include "crypto/mechanism.h"
#include "objects/new_object.h"
#include "store/token.h"

namespace tee_token {

/// A session: the calls for objects and keys. At most one operation is active in it. Members throw an Error
/// with the code that the standard gives for the call.
class Session {
 public:
  Session(CK_SESSION_HANDLE handle, bool read_write, Token& token)
      : m_handle(handle), m_read_write(read_write), m_token(token) {}

  bool is_read_write() const { return m_read_write; }
  Token& token() const { return m_token; }
  CK_SESSION_INFO info() const;
  /// Names the object in a failure line: `private key "LYR" (object 7)`. Only `object 7` when it is not
  /// visible or `code` means that the store cannot be read.
  std::string description_of(CK_OBJECT_HANDLE object, CK_RV code);

  // objects.cpp
  CK_OBJECT_HANDLE create(Attributes given);
  CK_OBJECT_HANDLE copy(CK_OBJECT_HANDLE object, const Attributes& changes);
  void destroy(CK_OBJECT_HANDLE object);
  void read_attributes(CK_OBJECT_HANDLE object, CK_ATTRIBUTE* first, CK_ULONG count);
  void set_attributes(CK_OBJECT_HANDLE object, const Attributes& changes);
  /// The size of its attributes in bytes.
  CK_ULONG size_of(CK_OBJECT_HANDLE object);

  struct KeyPair {
    CK_OBJECT_HANDLE public_key, private_key;
  };
  KeyPair generate(Attributes public_half, Attributes private_half);

  /// Throws CKR_SESSION_READ_ONLY for an object of the token in a read-only session.
  void require_may_write(Place place) const;

  // operations.cpp
  struct Search {
    Attributes wanted;
    CK_OBJECT_HANDLE last = 0;
  };
  struct Signature {
    const Login* login;  // a logout ends the operation
    Bytes ec_params, value;
    Message message;

    std::size_t length() const { return 2 * curve_of(ec_params).order_bytes; }
    Bytes sign(ByteView digest) const {
      return login->device->sign(ec_params, value, digest, login->master_key);
    }
  };
  struct Verification {
    EcPublicKey key;
    Message message;

    /// Throws CKR_SIGNATURE_LEN_RANGE or CKR_SIGNATURE_INVALID.
    void require_match(ByteView digest, ByteView signature) const;
  };
  struct Digest {
    Message message;
  };

  void begin_search(Attributes wanted);
  void begin_signature(const CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
  void begin_verification(const CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
  void begin_digest(const CK_MECHANISM* mechanism);

  /// The next objects of the active search, at most `limit`.
  std::vector<CK_OBJECT_HANDLE> continue_search(std::size_t limit);
  /// Throws the error of C_DigestKey: the token has no keys that can be digested.
  [[noreturn]] void refuse_to_digest(CK_OBJECT_HANDLE key);

  /// Ends the active operation, if there is one.
  void end_operation() { m_operation = std::monostate(); }

  /// Whether an operation other than a search is active.
  bool has_cryptographic_operation() const {
    return !std::holds_alternative<std::monostate>(m_operation) &&
           !std::holds_alternative<Search>(m_operation);
  }

  /// Runs `step` on the active operation, which must be of this kind, and ends the operation when `step`
  /// returns true. Any error ends it too, except CKR_BUFFER_TOO_SMALL (base, 5.8 to 5.12).
  template <typename Kind, typename Step>
  void continue_operation(Step step) {
    Kind& operation = active<Kind>();
    try {
      if (step(operation)) {
        end_operation();
      }
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
  void require_may_change(const Attributes& object) const;
  void require_may_destroy(CK_OBJECT_HANDLE object);
  Creator creator() const;
  Attributes usable_key(CK_OBJECT_HANDLE key, CK_OBJECT_CLASS object_class, CK_ATTRIBUTE_TYPE use);

  CK_SESSION_HANDLE m_handle;
  bool m_read_write;
  Token& m_token;
  Operation m_operation;
};

}  // namespace tee_token
