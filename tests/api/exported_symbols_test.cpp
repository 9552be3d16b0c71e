#include <gmock/gmock.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<std::string> exportedSymbols() {
  const std::unique_ptr<FILE, int (*)(FILE*)> nm(
      ::popen("nm -D -C --defined-only --format=just-symbols " CCI_LIBRARY, "r"), ::pclose);
  std::vector<std::string> symbols;
  char line[512];
  while (std::fgets(line, sizeof(line), nm.get()) != nullptr) {
    symbols.emplace_back(line);
    symbols.back().pop_back();  // the line's end
  }
  return symbols;
}

// What leaks out of a library binds to others' symbols of the same name, and cannot be taken back.
TEST(ExportedSymbolsTest, AreTheInterfaceAloneUnderItsVersion) {
  const std::string api = "ozk::tee::ClientCertInitializerAPI";
  const std::string version = "@@CLIENTCERTINITIALIZER_1";
  const std::string destructor = api + "::~ClientCertInitializerAPI()" + version;
  const std::string session = "TEESession::TEESession::TEESession(bool)" + version;
  EXPECT_THAT(exportedSymbols(),
              ::testing::UnorderedElementsAre("CLIENTCERTINITIALIZER_1", api + "::get_instance()" + version,
                                              destructor, destructor, destructor, session, session,
                                              "vtable for " + api + version, "typeinfo for " + api + version,
                                              "typeinfo name for " + api + version));
}

}  // namespace
