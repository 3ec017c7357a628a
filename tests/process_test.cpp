#include "process.hpp"

#include "service.hpp"

namespace caprion::test {

TEST(Process, EndsCleanlyInWhateverWay) {
  service().setHandler(always({.body = "[]"}));
  for (const auto& [how, times] :
       {std::pair("return", 100), {"exit in a callback", 50}, {"exit with a blocked callback", 5}}) {
    for (int i = 0; i < times; ++i) {
      const std::string settings = "LINGER=" + std::to_string(i * 200) + " " PROCESS_UNDER_TEST " ";
      const auto run = runThrough(service(), settings + shellQuoted(how));
      ASSERT_EQ(run.status, 0) << how << ", time " << i << "\n" << run.error;
    }
  }
}

}  // namespace caprion::test
