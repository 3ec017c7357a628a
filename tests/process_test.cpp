#include "process.hpp"

namespace caprion::test {

TEST(Process, EndsCleanlyInWhateverWay) {
  struct Case {
    const char* how;
    int times;
  };
  const stand_in::StandIn service("", [](const auto&) { return stand_in::Answer{.body = "[]"}; });
  for (const Case& c :
       {Case{"return", 100}, Case{"exit in a callback", 50}, Case{"exit with a blocked callback", 5}}) {
    for (int i = 0; i < c.times; ++i) {
      const auto run = runThrough(
          service, "LINGER=" + std::to_string(i * 200) + " " PROCESS_UNDER_TEST " " + shellQuoted(c.how));
      EXPECT_EQ(run.status, 0) << c.how << ", time " << i << "\n" << run.error;
      if (run.status != 0) break;
    }
  }
}

}  // namespace caprion::test
