#include "service.hpp"

namespace caprion::test {

stand_in::StandIn& service() {
  static stand_in::StandIn server;
  return server;
}

}  // namespace caprion::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const auto& service = caprion::test::service();
  for (const char* name : {"https_proxy", "http_proxy"}) ::setenv(name, service.proxyURL().c_str(), 1);
  ::setenv("no_proxy", "127.0.0.1,direct.test", 1);  // for tests of direct connections
  ::setenv("SSL_CERT_FILE", service.authorityFile().c_str(), 1);
  return RUN_ALL_TESTS();
}
