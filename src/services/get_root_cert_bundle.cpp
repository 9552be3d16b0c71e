#include <botan/exceptn.h>

#include "api/client_cert_initializer.h"

namespace ozk {
namespace tee {

std::string ClientCertInitializer::get_root_cert_bundle(std::string) {
  throw Botan::Not_Implemented("get_root_cert_bundle: root certificates of a trust store group");
}

}  // namespace tee
}  // namespace ozk
