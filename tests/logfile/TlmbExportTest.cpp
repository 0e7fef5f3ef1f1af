#include <gmock/gmock.h>

#include <cerrno>

#include "logfile/ReplayExport.hpp"
#include "logfile/ServiceProbe.hpp"
#include "logfile/TlmbExport.hpp"
#include "support/LogProbe.hpp"
#include "support/Row.hpp"

using testing::ElementsAre;

namespace {

class TlmbExportTest : public testing::Test {
 protected:
  TlmbExportTest() { takeLogLines(); }

  /// A new export, whose calls are forgotten.
  std::unique_ptr<TlmbExport> make() {
    auto made = std::make_unique<TlmbExport>(LogFile::CONTENTS_CONTINUOUS);
    services.takeCalls();
    return made;
  }

  ServiceProbe services;
};

TEST_F(TlmbExportTest, EventsHaveNoStream) {
  const TlmbExport exporter(LogFile::CONTENTS_EVENTS);
  EXPECT_EQ(services.calls[2], "watch logname");
}

struct Output : Row {
  const char *path, *name, *directory;
};
class OutputPath : public TlmbExportTest, public testing::WithParamInterface<Output> {};

TEST_P(OutputPath, BecomesNameAndDirectory) {
  const auto exporter = make();
  EXPECT_EQ(exporter->open(GetParam().path), 0);
  EXPECT_THAT(services.calls, ElementsAre(std::string("set logname=") + GetParam().name, "wait 5000",
                                          std::string("set logdir=") + GetParam().directory, "wait 5000",
                                          "set enabled=true", "wait 5000"));
}

const Output OUTPUTS[] = {
    {"InADirectory", "/data/run/out.tlmb", "out.tlmb", "/data/run"},
    {"WithoutDirectory", "out.tlmb", "out.tlmb", "."},
    {"InTheRoot", "/out.tlmb", "out.tlmb", ""},
    {"DirectoryAlone", "dir/", "", "dir"},
};
INSTANTIATE_ROWS(OutputPath, OUTPUTS);

TEST_F(TlmbExportTest, HolderClosesItsExportBeforeDestroyingIt) {
  struct Closing : TlmbExport {
    Closing(ServiceProbe& probe) : TlmbExport(LogFile::CONTENTS_CONTINUOUS), services(probe) {}
    int close() override { return services.calls.push_back("close"), TlmbExport::close(); }
    ServiceProbe& services;
  };
  {
    ReplayExport holder;
    holder.exporter = std::make_unique<Closing>(services);
    services.takeCalls();
  }
  EXPECT_THAT(std::vector<std::string>(services.calls.begin(), services.calls.begin() + 2),
              ElementsAre("close", "cleanup"));
}

TEST_F(TlmbExportTest, RefusedRequestsAreWarnings) {
  services.results = {{"init navdata-replay 360000 500", -ENODEV},
                      {"watch filter", -ENOMEM},
                      {"start", -EIO},
                      {"set enabled=false", -ENOSPC},
                      {"set logdir=.", -EACCES}};
  make()->open("out");
  EXPECT_THAT(takeLogLines(), ElementsAre("<4>Could not init Ostrel tlmb log : No such device",
                                          "<4>Could not subscribe : Cannot allocate memory",
                                          "<4>Could not start : Input/output error",
                                          "<4>Could not set : No space left on device",
                                          "<4>Could not set : Permission denied"));
}

}  // namespace
