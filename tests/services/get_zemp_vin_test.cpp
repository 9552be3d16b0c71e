#include "api/product_test.h"

namespace ozk::tee {

TEST_F(ProductTest, TheVinComesByteForByteAndFromItsLabelAlone) {
  const std::string vin("WVWZZZ1JZXW000001\0", 18);
  const auto import = [](std::uint32_t index, const std::string& value) {
    test_support::UserSession session;
    test_support::importData(*session, {label(2, index)}, value);
  };
  import(2, "of another label");
  EXPECT_EQ(product->get_zemp_vin(), "");
  import(1, vin);
  import(1, "a second one");
  EXPECT_EQ(product->get_zemp_vin(), vin);
  EXPECT_THAT(log.take(), IsEmpty());
}

}  // namespace ozk::tee
