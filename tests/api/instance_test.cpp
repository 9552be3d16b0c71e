// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#include <botan/version.h>

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

}  // namespace ozk::tee
