// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <dlfcn.h>
#include <tss2/tss2_esys.h>
#include <tss2/tss2_mu.h>
#include <tss2/tss2_tctildr.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "base/files.h"
#include "base/without_sigpipe.h"
#include "crypto/ec_key.h"
#include "crypto/key_device.h"
#include "crypto/symmetric.h"

namespace tee_token {
namespace {

constexpr char kDamaged[] =
    "device.key or a key of the TPM is damaged; put a copy of the folder back, or make a new token in an "
    "empty folder";
constexpr char kFull[] =
    "the TPM has no memory left for an object or a session; use a resource manager (/dev/tpmrm0), or remove "
    "what other programs left there: tpm2_flushcontext -t; tpm2_flushcontext -l";

/// tpm2-tss, loaded when a token first needs it, and never unloaded.
struct Tss {
  static const Tss& get() {
    static const Tss& loaded = *new Tss;
    return loaded;
  }

 private:
  static void* loaded(const char* library) {
    const StandardStreamsTaken taken;
    void* const handle = ::dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
      throw Failure(CKR_DEVICE_ERROR,
                    std::string("the keys are in a TPM, and tpm2-tss cannot be loaded: ") + ::dlerror() +
                        "; run: apt-get install libtss2-esys-3.0.2-0 libtss2-tctildr0 libtss2-tcti-device0");
    }
    return handle;
  }

  // ESYS brings the library of the Tss2_MU functions.
  void* const m_esys = loaded("libtss2-esys.so.0");
  void* const m_tctildr = loaded("libtss2-tctildr.so.0");

  template <typename Function>
  Function* find(const char* name) const {
    void* const found = ::dlsym(m_esys, name);
    return reinterpret_cast<Function*>(found != nullptr ? found : ::dlsym(m_tctildr, name));
  }

 public:
#define TSS(name) decltype(::name)* const name = find<decltype(::name)>(#name);
  // clang-format off
  TSS(Tss2_TctiLdr_Initialize) TSS(Tss2_TctiLdr_Finalize) TSS(Esys_Initialize) TSS(Esys_Finalize) TSS(Esys_Free)
  TSS(Esys_GetCapability) TSS(Esys_TR_FromTPMPublic) TSS(Esys_TR_SetAuth) TSS(Esys_TRSess_SetAttributes)
  TSS(Esys_StartAuthSession) TSS(Esys_FlushContext) TSS(Esys_CreatePrimary) TSS(Esys_Create) TSS(Esys_Import)
  TSS(Esys_Load) TSS(Esys_Sign) TSS(Esys_Unseal)
  TSS(Tss2_MU_TPM2B_PUBLIC_Marshal) TSS(Tss2_MU_TPM2B_PUBLIC_Unmarshal)
  TSS(Tss2_MU_TPM2B_PRIVATE_Marshal) TSS(Tss2_MU_TPM2B_PRIVATE_Unmarshal) TSS(Tss2_MU_TPM2B_SENSITIVE_Marshal)
  // clang-format on
#undef TSS
};

// Answers of the TPM (TPM 2.0 Library, part 2, 6.6.3), without the number of a handle, parameter or session.
constexpr struct {
  const char* text;
  TSS2_RC codes[5];
} kMeanings[] = {
    {kFull,
     {TPM2_RC_OBJECT_MEMORY, TPM2_RC_OBJECT_HANDLES, TPM2_RC_SESSION_MEMORY, TPM2_RC_SESSION_HANDLES,
      TPM2_RC_MEMORY}},
    {"the TPM is busy; try again",
     {TPM2_RC_RETRY, TPM2_RC_YIELDED, TPM2_RC_TESTING, TPM2_RC_NV_RATE, TPM2_RC_NV_UNAVAILABLE}},
    {"the TPM is in lockout; wait, or run: tpm2_dictionarylockout -c", {TPM2_RC_LOCKOUT}},
    {"the TPM is in failure mode; restart the machine", {TPM2_RC_FAILURE}},
    {"the TPM was not started; run: tpm2_startup -c", {TPM2_RC_INITIALIZE}},
    {"the TPM's owner hierarchy or its storage root key has a password; the token needs one without",
     {TPM2_RC_BAD_AUTH, TPM2_RC_AUTH_FAIL}},
    {"this token belongs to another TPM, or its TPM was cleared; put a copy of the folder back on its own "
     "machine, or make a new token in an empty folder",
     {TPM2_RC_INTEGRITY, TPM2_RC_HANDLE}},
};

[[noreturn]] void fail(const char* step, TSS2_RC code) {
  const TSS2_RC layer = code & TSS2_RC_LAYER_MASK, error = code & ~TSS2_RC_LAYER_MASK;
  if (layer != TSS2_TPM_RC_LAYER && layer != TSS2_RESMGR_TPM_RC_LAYER) {
    if (error == TSS2_BASE_RC_MEMORY) {
      throw std::bad_alloc();
    }
    throw Failure(CKR_DEVICE_ERROR, std::string("the TPM does not answer (") + step +
                                        "); is it there, may this user use it (group tss), and does no other "
                                        "program hold it? tpm2-tss says more on stderr");
  }
  const TSS2_RC plain = (error & TPM2_RC_FMT1) != 0 ? error & (TPM2_RC_FMT1 | 0x3F) : error;
  for (const auto& [text, codes] : kMeanings) {
    if (std::find(std::begin(codes), std::end(codes), plain) != std::end(codes)) {
      throw Failure(text == kFull ? CKR_DEVICE_MEMORY : CKR_DEVICE_ERROR, text);
    }
  }
  char digits[16];
  std::snprintf(digits, sizeof digits, "0x%x", error);
  throw Failure(CKR_DEVICE_ERROR, std::string("the TPM refused ") + step + ": tpm2_rc_decode " + digits);
}

void require_tpm(const char* step, TSS2_RC code) {
  if (code != TSS2_RC_SUCCESS) {
    fail(step, code);
  }
}

/// What tpm2-tss allocates for a caller.
template <typename T>
struct Allocated {
  T* pointer = nullptr;

  Allocated() = default;
  Allocated(const Allocated&) = delete;
  Allocated& operator=(const Allocated&) = delete;
  ~Allocated() {
    if (pointer != nullptr) {
      ::explicit_bzero(pointer, sizeof *pointer);
      Tss::get().Esys_Free(pointer);
    }
  }
};

/// A TPM2B structure of these bytes, which have room in it.
template <typename T>
T sized(ByteView bytes) {
  T buffer{};
  buffer.size = static_cast<UINT16>(bytes.size);
  std::copy_n(bytes.data, bytes.size, reinterpret_cast<std::uint8_t*>(&buffer.size + 1));
  return buffer;
}

/// A key or a secret outside the TPM, encrypted under the storage root key of the TPM that made it.
struct Blobs {
  TPM2B_PUBLIC public_area{};
  TPM2B_PRIVATE private_area{};

  Blobs(const TPM2B_PUBLIC& made_public, const TPM2B_PRIVATE& made_private)
      : public_area(made_public), private_area(made_private) {}
  explicit Blobs(ByteView marshalled) {
    std::size_t at = 0;
    const Tss& tss = Tss::get();
    if (tss.Tss2_MU_TPM2B_PUBLIC_Unmarshal(marshalled.data, marshalled.size, &at, &public_area) !=
            TSS2_RC_SUCCESS ||
        tss.Tss2_MU_TPM2B_PRIVATE_Unmarshal(marshalled.data, marshalled.size, &at, &private_area) !=
            TSS2_RC_SUCCESS ||
        at != marshalled.size) {
      throw Failure(CKR_DEVICE_ERROR, kDamaged);
    }
  }

  Bytes marshalled() const {
    Bytes bytes(sizeof *this);
    std::size_t at = 0;
    const Tss& tss = Tss::get();
    tss.Tss2_MU_TPM2B_PUBLIC_Marshal(&public_area, bytes.data(), bytes.size(), &at);
    tss.Tss2_MU_TPM2B_PRIVATE_Marshal(&private_area, bytes.data(), bytes.size(), &at);
    bytes.resize(at);
    return bytes;
  }
};

// A NODA object does not count wrong tries, and works in lockout: its authorisation value cannot be guessed.
constexpr TPMA_OBJECT kMadeInTpm =
    TPMA_OBJECT_FIXEDTPM | TPMA_OBJECT_FIXEDPARENT | TPMA_OBJECT_SENSITIVEDATAORIGIN;
constexpr TPMA_OBJECT kUse = TPMA_OBJECT_USERWITHAUTH | TPMA_OBJECT_NODA;

constexpr TPMA_OBJECT kSigns = kUse | TPMA_OBJECT_SIGN_ENCRYPT;

TPM2B_PUBLIC ecc_area(TPMA_OBJECT attributes) {
  TPM2B_PUBLIC area{};
  area.publicArea.type = TPM2_ALG_ECC;
  area.publicArea.nameAlg = TPM2_ALG_SHA256;
  area.publicArea.objectAttributes = attributes;
  TPMS_ECC_PARMS& parameters = area.publicArea.parameters.eccDetail;
  parameters.symmetric.algorithm = TPM2_ALG_NULL;
  parameters.scheme.scheme = TPM2_ALG_NULL;
  parameters.curveID = TPM2_ECC_NIST_P256;
  parameters.kdf.scheme = TPM2_ALG_NULL;
  return area;
}

/// The storage root key's template (TCG TPM v2.0 Provisioning Guidance, 7.5.1, for ECC NIST P-256).
TPM2B_PUBLIC root_area() {
  TPM2B_PUBLIC area = ecc_area(kMadeInTpm | kUse | TPMA_OBJECT_RESTRICTED | TPMA_OBJECT_DECRYPT);
  TPMT_SYM_DEF_OBJECT& symmetric = area.publicArea.parameters.eccDetail.symmetric;
  symmetric.algorithm = TPM2_ALG_AES;
  symmetric.keyBits.aes = 128;
  symmetric.mode.aes = TPM2_ALG_CFB;
  area.publicArea.unique.ecc.x.size = area.publicArea.unique.ecc.y.size = 32;
  return area;
}

TPM2B_PUBLIC sealed_area() {
  TPM2B_PUBLIC area{};
  area.publicArea.type = TPM2_ALG_KEYEDHASH;
  area.publicArea.nameAlg = TPM2_ALG_SHA256;
  area.publicArea.objectAttributes = TPMA_OBJECT_FIXEDTPM | TPMA_OBJECT_FIXEDPARENT | kUse;
  area.publicArea.parameters.keyedHashDetail.scheme.scheme = TPM2_ALG_NULL;
  return area;
}

constexpr std::size_t kWidth = 32;  // of a coordinate, a digest, and each half of a signature
constexpr std::array<std::uint8_t, 3> kPointPrefix = {0x04, 0x41, 0x04};  // DER OCTET STRING, uncompressed

Bytes left_padded(ByteView number) {
  Bytes bytes(kWidth - std::min(number.size, kWidth));
  append(bytes, number);
  return bytes;
}

// A TPM may leave out zeros at the beginning.
Bytes padded(const TPM2B_ECC_PARAMETER& number) { return left_padded(ByteView(number.buffer, number.size)); }

constexpr TPM2_HANDLE kPersistentRoot = 0x81000001;
const TPM2B_DATA kNoData{};
const TPML_PCR_SELECTION kNoRegisters{};

/// A connection to the TPM for one operation. What the operation loads is flushed at its end, however it
/// ends.
class Connection {
 public:
  explicit Connection(const std::string& tcti) {
    m_loaded.reserve(3);  // root, object, session
    require_tpm("connecting", m_tss.Tss2_TctiLdr_Initialize(tcti.c_str(), &m_tcti));
    const TSS2_RC code = m_tss.Esys_Initialize(&m_esys, m_tcti, nullptr);
    if (code != TSS2_RC_SUCCESS) {
      m_tss.Tss2_TctiLdr_Finalize(&m_tcti);
      fail("connecting", code);
    }
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() {
    for (auto next = m_loaded.rbegin(); next != m_loaded.rend(); ++next) {
      m_tss.Esys_FlushContext(m_esys, *next);
    }
    m_tss.Esys_Finalize(&m_esys);
    m_tss.Tss2_TctiLdr_Finalize(&m_tcti);
  }

  bool has_persistent_root() {
    TPMI_YES_NO more = TPM2_NO;
    Allocated<TPMS_CAPABILITY_DATA> found;
    require_tpm("TPM2_GetCapability", m_tss.Esys_GetCapability(m_esys, kNone, kNone, kNone, TPM2_CAP_HANDLES,
                                                               kPersistentRoot, 1, &more, &found.pointer));
    const TPML_HANDLE& handles = found.pointer->data.handles;
    return handles.count == 1 && handles.handle[0] == kPersistentRoot;
  }

  /// Takes the storage root key: the persistent one, or a primary key of the standard template.
  void use_root(bool is_persistent) {
    if (is_persistent) {
      require_tpm("TPM2_ReadPublic",
                  m_tss.Esys_TR_FromTPMPublic(m_esys, kPersistentRoot, kNone, kNone, kNone, &m_root));
      return;
    }
    const TPM2B_SENSITIVE_CREATE no_password{};
    const TPM2B_PUBLIC area = root_area();
    require_tpm("TPM2_CreatePrimary",
                m_tss.Esys_CreatePrimary(m_esys, ESYS_TR_RH_OWNER, ESYS_TR_PASSWORD, kNone, kNone,
                                         &no_password, &area, &kNoData, &kNoRegisters, &m_root, nullptr,
                                         nullptr, nullptr, nullptr));
    m_loaded.push_back(m_root);
  }

  /// Makes a key, or seals `secret`. Each use will need `auth`.
  Blobs create(const TPM2B_PUBLIC& area, ByteView auth, ByteView secret) {
    const ESYS_TR session = open_session(TPMA_SESSION_DECRYPT);
    TPM2B_SENSITIVE_CREATE sensitive{};
    sensitive.sensitive.userAuth = sized<TPM2B_AUTH>(auth);
    sensitive.sensitive.data = sized<TPM2B_SENSITIVE_DATA>(secret);
    Allocated<TPM2B_PRIVATE> private_area;
    Allocated<TPM2B_PUBLIC> public_area;
    const TSS2_RC code =
        m_tss.Esys_Create(m_esys, m_root, session, kNone, kNone, &sensitive, &area, &kNoData, &kNoRegisters,
                          &private_area.pointer, &public_area.pointer, nullptr, nullptr, nullptr);
    ::explicit_bzero(&sensitive, sizeof sensitive);
    require_tpm("TPM2_Create", code);
    return {*public_area.pointer, *private_area.pointer};
  }

  /// Takes over a key that was made elsewhere, with this scalar.
  Blobs import(const TPM2B_PUBLIC& area, ByteView auth, ByteView scalar) {
    TPM2B_SENSITIVE sensitive{};
    sensitive.sensitiveArea.sensitiveType = TPM2_ALG_ECC;
    sensitive.sensitiveArea.authValue = sized<TPM2B_AUTH>(auth);
    sensitive.sensitiveArea.sensitive.ecc = sized<TPM2B_ECC_PARAMETER>(scalar);
    TPM2B_PRIVATE outside{};
    std::size_t length = 0;
    m_tss.Tss2_MU_TPM2B_SENSITIVE_Marshal(&sensitive, outside.buffer, sizeof outside.buffer, &length);
    outside.size = static_cast<UINT16>(length);
    const TPM2B_ENCRYPTED_SECRET no_seed{};
    const TPMT_SYM_DEF_OBJECT no_cipher{TPM2_ALG_NULL, {}, {}};
    Allocated<TPM2B_PRIVATE> private_area;
    const TSS2_RC code = m_tss.Esys_Import(m_esys, m_root, ESYS_TR_PASSWORD, kNone, kNone, &kNoData, &area,
                                           &outside, &no_seed, &no_cipher, &private_area.pointer);
    ::explicit_bzero(&sensitive, sizeof sensitive);
    ::explicit_bzero(&outside, sizeof outside);
    require_tpm("TPM2_Import", code);
    return {area, *private_area.pointer};
  }

  Bytes unseal(const Blobs& sealed) {
    const ESYS_TR object = load(sealed, Bytes()), session = open_session(TPMA_SESSION_ENCRYPT);
    Allocated<TPM2B_SENSITIVE_DATA> secret;
    require_tpm("TPM2_Unseal", m_tss.Esys_Unseal(m_esys, object, session, kNone, kNone, &secret.pointer));
    return ByteView(secret.pointer->buffer, secret.pointer->size).copy();
  }

  /// ECDSA over a digest as long as SHA-256's: r and s.
  Bytes sign(const Blobs& key, ByteView auth, ByteView digest) {
    const ESYS_TR object = load(key, auth), session = open_session(0);
    const auto given = sized<TPM2B_DIGEST>(digest);
    TPMT_SIG_SCHEME scheme{TPM2_ALG_ECDSA, {}};
    scheme.details.ecdsa.hashAlg = TPM2_ALG_SHA256;
    const TPMT_TK_HASHCHECK not_hashed_by_tpm{TPM2_ST_HASHCHECK, TPM2_RH_NULL, {}};
    Allocated<TPMT_SIGNATURE> signature;
    require_tpm("TPM2_Sign", m_tss.Esys_Sign(m_esys, object, session, kNone, kNone, &given, &scheme,
                                             &not_hashed_by_tpm, &signature.pointer));
    Bytes halves = padded(signature.pointer->signature.ecdsa.signatureR);
    append(halves, padded(signature.pointer->signature.ecdsa.signatureS));
    return halves;
  }

 private:
  static constexpr ESYS_TR kNone = ESYS_TR_NONE;

  ESYS_TR load(const Blobs& blobs, ByteView auth) {
    ESYS_TR object = kNone;
    require_tpm("TPM2_Load", m_tss.Esys_Load(m_esys, m_root, ESYS_TR_PASSWORD, kNone, kNone,
                                             &blobs.private_area, &blobs.public_area, &object));
    m_loaded.push_back(object);
    auto value = sized<TPM2B_AUTH>(auth);
    const TSS2_RC code = m_tss.Esys_TR_SetAuth(m_esys, object, &value);
    ::explicit_bzero(&value, sizeof value);
    require_tpm("the authorisation", code);
    return object;
  }

  /// A session whose secret only the TPM and this process know: with it, no authorisation value crosses the
  /// bus to the TPM, and the first parameter of a command (TPMA_SESSION_DECRYPT) or response (_ENCRYPT) is
  /// encrypted.
  ESYS_TR open_session(TPMA_SESSION attributes) {
    TPMT_SYM_DEF cipher{};
    cipher.algorithm = TPM2_ALG_AES;
    cipher.keyBits.aes = 128;
    cipher.mode.aes = TPM2_ALG_CFB;
    ESYS_TR session = kNone;
    require_tpm("TPM2_StartAuthSession",
                m_tss.Esys_StartAuthSession(m_esys, m_root, kNone, kNone, kNone, kNone, nullptr, TPM2_SE_HMAC,
                                            &cipher, TPM2_ALG_SHA256, &session));
    m_loaded.push_back(session);
    require_tpm("the session", m_tss.Esys_TRSess_SetAttributes(
                                   m_esys, session, attributes | TPMA_SESSION_CONTINUESESSION, 0xFF));
    return session;
  }

  const StandardStreamsTaken m_taken;  // a TCTI may open a socket for each command
  const WithoutSigpipe m_without_sigpipe;
  const Tss& m_tss = Tss::get();
  TSS2_TCTI_CONTEXT* m_tcti = nullptr;
  ESYS_CONTEXT* m_esys = nullptr;
  ESYS_TR m_root = kNone;
  std::vector<ESYS_TR> m_loaded;
};

/// Runs `operation`, again while other programs fill the TPM's memory, but no longer than 5 s.
template <typename Operation>
Bytes patiently(Operation operation) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (true) {
    try {
      return operation();
    } catch (const Failure& failure) {
      if (failure.code() != CKR_DEVICE_MEMORY || std::chrono::steady_clock::now() > deadline) {
        throw;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

/// A token whose device.key holds the kind, the TCTI configuration, a line feed, whether the storage root key
/// is persistent, and the device key, sealed.
class TpmDevice : public KeyDevice {
 public:
  explicit TpmDevice(const Bytes& file) {
    const auto end = std::find(file.begin(), file.end(), '\n');
    if (file.end() - end < 2) {
      throw Failure(CKR_DEVICE_ERROR, kDamaged);
    }
    m_tcti.assign(file.begin() + static_cast<std::ptrdiff_t>(std::strlen(kTpmKind)), end);
    m_has_persistent_root = end[1] != 0;
    m_sealed.assign(end + 2, file.end());
  }

  const char* model() const override { return "TPM 2.0"; }
  unsigned long most_bits() const override { return 256; }
  bool exports_keys() const override { return false; }

  Bytes device_key() const override {
    const Blobs sealed(m_sealed);
    return on_tpm([&](Connection& tpm) { return tpm.unseal(sealed); });
  }

  NewKey generate(const Bytes& ec_params, const Bytes& master_key) const override {
    require_curve(ec_params);
    const Bytes value = on_tpm([&](Connection& tpm) {
      return tpm.create(ecc_area(kMadeInTpm | kSigns), auth_of(master_key), Bytes()).marshalled();
    });
    return {value, ec_point(ec_params, value)};
  }

  Bytes import(const Bytes& ec_params, const Bytes& scalar, const Bytes& master_key) const override {
    require_curve(ec_params);
    const EcPrivateKey key(ec_params, scalar);
    const Bytes point = key.ec_point();
    TPM2B_PUBLIC area = ecc_area(kSigns);
    area.publicArea.unique.ecc.x = sized<TPM2B_ECC_PARAMETER>(ByteView(&point[kPointPrefix.size()], kWidth));
    area.publicArea.unique.ecc.y =
        sized<TPM2B_ECC_PARAMETER>(ByteView(&point[kPointPrefix.size() + kWidth], kWidth));
    return on_tpm(
        [&](Connection& tpm) { return tpm.import(area, auth_of(master_key), key.value()).marshalled(); });
  }

  Bytes ec_point(const Bytes&, const Bytes& value) const override {
    const TPMS_ECC_POINT point = Blobs(value).public_area.publicArea.unique.ecc;
    Bytes encoded(kPointPrefix.begin(), kPointPrefix.end());
    append(encoded, padded(point.x));
    append(encoded, padded(point.y));
    return encoded;
  }

  Bytes sign(const Bytes&, const Bytes& value, ByteView digest, const Bytes& master_key) const override {
    const Blobs key(value);
    // The leftmost bits of a longer digest are signed; a shorter one is the same number with zeros before it.
    const Bytes number = left_padded(ByteView(digest.data, std::min(digest.size, kWidth)));
    return on_tpm([&](Connection& tpm) { return tpm.sign(key, auth_of(master_key), number); });
  }

 private:
  static Bytes auth_of(const Bytes& master_key) {
    Bytes auth = derive_key(master_key, std::string("tee-token"), std::string("tee-token TPM key"));
    auth.back() |= 1;  // TPMs drop zeros at the end
    return auth;
  }

  static void require_curve(const Bytes& ec_params) {
    if (curve_of(ec_params).order_bytes != kWidth) {
      throw Error(CKR_CURVE_NOT_SUPPORTED, "in the TPM, keys are on secp256r1 alone");
    }
  }

  template <typename Operation>
  Bytes on_tpm(Operation operation) const {
    return patiently([&] {
      Connection tpm(m_tcti);
      tpm.use_root(m_has_persistent_root);
      return operation(tpm);
    });
  }

  std::string m_tcti;
  bool m_has_persistent_root;
  Bytes m_sealed;
};

}  // namespace

std::unique_ptr<const KeyDevice> tpm_device(const Bytes& device_key_file) {
  return std::make_unique<TpmDevice>(device_key_file);
}

Bytes new_tpm_device_key(const std::string& tcti) {
  return patiently([&] {
    Connection tpm(tcti);
    const bool has_persistent_root = tpm.has_persistent_root();
    tpm.use_root(has_persistent_root);
    Bytes content = ByteView(kTpmKind + tcti + "\n").copy();
    content.push_back(has_persistent_root ? 1 : 0);
    append(content, tpm.create(sealed_area(), Bytes(), random_bytes(kKeyLength)).marshalled());
    return content;
  });
}

}  // namespace tee_token
