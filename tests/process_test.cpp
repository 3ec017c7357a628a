#include "process.hpp"

namespace caprion::test {

TEST(Process, EndsCleanlyInWhateverWay) {
  struct Case {
    const char* how;
    int times;
    const char* body;
  };
  stand_in::StandIn service;
  std::vector<Case> cases{{"return", 100, "[]"},
                          {"exit in a callback", 50, "[]"},
                          {"exit with a blocked callback", 5, "[]"},
                          {"closed descriptors", 3, "no JSON"}};
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // The sanitizers' own locks don't come through the fork of a process with threads.
  cases.push_back({"fork", 20, "[]"});
#endif
  for (const Case& c : cases) {
    service.setHandler([&](const auto&) { return stand_in::Answer{.body = c.body}; });
    for (int i = 0; i < c.times; ++i) {
      const auto run = runThrough(
          service, "LINGER=" + std::to_string(i * 200) + " " PROCESS_UNDER_TEST " " + shellQuoted(c.how));
      EXPECT_EQ(run.status, 0) << c.how << ", time " << i << "\n" << run.error;
      if (run.status != 0) break;
    }
  }
}

}  // namespace caprion::test
