#include <botan/version.h>

#include <cstring>

#include "api/product_test.h"

namespace ozk::tee {

TEST(InstanceTest, IsOneObjectWhoseConstructionAloneIsLogged) {
  test_support::LogCapture log;
  const ClientCertInitializerTestAccess fresh;
  EXPECT_THAT(log.take(), ElementsAre(debug("Created an instance of CCI API Lib"),
                                      debug("Botan version: " + Botan::short_version_string())));
  const auto first = ClientCertInitializerAPI::get_instance();
  const auto owners = first.use_count();
  log.take();
  const auto second = ClientCertInitializerAPI::get_instance();
  EXPECT_EQ(first, second);
  EXPECT_EQ(first.use_count(), owners + 1);
  EXPECT_THAT(log.take(), IsEmpty());
}

// Applications call by slot number: a slot that moves breaks them without a word.
template <typename Method>
std::size_t slotOf(Method method) {
  std::size_t offset = 0;  // a pointer to a virtual member begins with its place in the table, in bytes
  std::memcpy(&offset, &method, sizeof(offset));
  return offset / sizeof(void*);
}

TEST(InstanceTest, OperationsKeepTheirSlotsAfterTheTwoDestructors) {
  using API = ClientCertInitializerAPI;
  EXPECT_EQ(slotOf(&API::generate_private_key), 2u);
  EXPECT_EQ(slotOf(&API::generate_csr), 3u);
  EXPECT_EQ(slotOf(&API::generate_signature), 4u);
  EXPECT_EQ(slotOf(&API::get_public_key), 5u);
  EXPECT_EQ(slotOf(&API::get_client_cert), 6u);
  EXPECT_EQ(slotOf(&API::set_client_cert_and_move_key), 7u);
  EXPECT_EQ(slotOf(&API::get_root_cert_bundle), 8u);
  EXPECT_EQ(slotOf(&API::get_zemp_vin), 9u);
}

}  // namespace ozk::tee
