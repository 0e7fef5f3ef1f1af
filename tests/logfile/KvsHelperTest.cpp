#include <gmock/gmock.h>

#include <cerrno>

#include "logfile/KvsHelper.hpp"
#include "logfile/ServiceProbe.hpp"
#include "support/LogProbe.hpp"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class KvsHelperTest : public testing::Test {
 protected:
  KvsHelperTest() {
    helper.waitAck(kvs_ctx_start(helper.ctx));
    services.takeCalls();
    takeLogLines();
  }

  /// The waits for the answer to a request that has this result.
  std::vector<std::string> waits(int requested = 0) {
    helper.waitAck(requested);
    return services.takeCalls();
  }

  ServiceProbe services;
  KvsHelper helper;
};

TEST_F(KvsHelperTest, WaitsForAnAnswerOnlyAsLongAsThereIsNone) {
  services.pending = 1;
  EXPECT_THAT(waits(), ElementsAre("wait 5000"));
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

TEST_F(KvsHelperTest, OtherEventsDoNotProlongTheWait) {
  services.otherEvents = 2;
  EXPECT_THAT(waits(), ElementsAre("wait 5000", "wait 3000", "wait 1000"));
}

TEST_F(KvsHelperTest, WaitsAreShortAfterOneWithoutAnswerUntilThereIsOne) {
  EXPECT_THAT(waits(), ElementsAre("wait 5000"));
  EXPECT_THAT(waits(), ElementsAre("wait 50"));
  services.pending = 1;
  EXPECT_THAT(waits(), ElementsAre("wait 50"));
  EXPECT_THAT(waits(), ElementsAre("wait 5000"));
  const char* const line = "<4>No answer from the settings service : Connection timed out";
  EXPECT_THAT(takeLogLines(), ElementsAre(line, line, line));
}

TEST_F(KvsHelperTest, LoopThatFailsEndsTheWaitWithItsReason) {
  services.results["wait 5000"] = -EBADF;
  EXPECT_THAT(waits(), ElementsAre("wait 5000"));
  EXPECT_THAT(takeLogLines(), ElementsAre("<4>No answer from the settings service : Bad file descriptor"));
}

TEST_F(KvsHelperTest, RefusedRequestOnlyLooksForAnAnswerThatIsThere) {
  EXPECT_THAT(waits(-EIO), ElementsAre("wait 0"));
  EXPECT_THAT(waits(), ElementsAre("wait 5000"));
}

TEST(KvsHelper, WithoutAContextNothingIsWaitedFor) {
  ServiceProbe services;
  services.results["client"] = -1;
  takeLogLines();
  KvsHelper().waitAck();
  EXPECT_THAT(services.takeCalls(), ElementsAre("client", "loop destroyed"));
  EXPECT_THAT(takeLogLines(), ElementsAre("<4>Could not create KVS context"));
}

TEST(KvsHelper, ContextThatItsLoopRefusesIsNotUsed) {
  ServiceProbe services;
  services.results["register"] = -EBUSY;
  KvsHelper();
  EXPECT_THAT(services.takeCalls(),
              ElementsAre("client", "register", "client destroyed", "loop destroyed"));
}

}  // namespace
