#include "token_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "file_descriptor.h"
#include "held_store.h"
#include "sealing.h"
#include "token_access.h"

namespace tee_token_admin {
namespace {

using tee_token::Bytes;
using tee_token::ByteView;
using tee_token::DeviceFolder;

// A backup: the words, a salt, a mark that tells the device, then the sealed counters and store.
const std::string kMagic = "tee-token backup 1\n";
constexpr std::size_t kSaltLength = 32, kTriesLength = 2;
const std::size_t kHeaderLength = kMagic.size() + kSaltLength + tee_token::kKeyLength;

Bytes derived(const DeviceFolder& folder, const Bytes& salt, const std::string& use) {
  return tee_token::derive_key(folder.device_key(), salt, "tee-token backup " + use);
}

void append(Bytes& bytes, ByteView more) { bytes.insert(bytes.end(), more.data, more.data + more.size); }

Bytes read_tries(const DeviceFolder& folder) {
  const auto file = tee_token::open_private_file(folder.file("pin-tries"), O_RDONLY);
  Bytes tries(kTriesLength);
  if (::read(file.get(), tries.data(), tries.size()) != static_cast<ssize_t>(tries.size())) {
    throw UsageError(folder.file("pin-tries") + " is damaged; tee-token check tells more");
  }
  return tries;
}

bool is_there(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

}  // namespace

TokenCopy copy_of(const DeviceFolder& folder) {
  return {read_tries(folder), image_of_store(folder.file("token.db"))};
}

Bytes sealed(const TokenCopy& copy, const DeviceFolder& folder) {
  const Bytes salt = tee_token::random_bytes(kSaltLength);
  Bytes file = ByteView(kMagic).copy();
  append(file, salt);
  append(file, derived(folder, salt, "device"));
  Bytes content = copy.tries;
  append(content, copy.store);
  append(file, tee_token::seal(derived(folder, salt, "content"), content, file));
  return file;
}

bool is_backup(ByteView file) {
  return file.size > kHeaderLength && std::equal(kMagic.begin(), kMagic.end(), file.data);
}

TokenCopy unsealed(ByteView file, const DeviceFolder& folder) {
  if (!is_backup(file)) {
    throw UsageError("this is no backup of a token; tee-token backup makes one");
  }
  const Bytes salt = ByteView(file.data + kMagic.size(), kSaltLength).copy();
  const Bytes mark = ByteView(file.data + kMagic.size() + kSaltLength, tee_token::kKeyLength).copy();
  if (mark != derived(folder, salt, "device")) {
    throw UsageError("this is a backup of another device, or of this one with another device.key");
  }
  const auto content =
      tee_token::unseal(derived(folder, salt, "content"),
                        {file.data + kHeaderLength, file.size - kHeaderLength}, {file.data, kHeaderLength});
  if (!content || content->size() <= kTriesLength) {
    throw UsageError("this backup is damaged or was altered; use another one");
  }
  const auto store = content->begin() + kTriesLength;
  return {Bytes(content->begin(), store), Bytes(store, content->end())};
}

void put_in_place(const TokenCopy& copy, const DeviceFolder& folder) {
  const HeldStore replaced(folder.file("token.db"));
  if (!is_there(folder.file("pin-tries"))) {
    tee_token::write_private_file(folder.file("pin-tries"), copy.tries);
  }
  tee_token::write_private_file(folder.file("token.db"),
                                with_numbers_above(copy.store, replaced.last_number()));
}

}  // namespace tee_token_admin
