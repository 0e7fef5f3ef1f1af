#include <gtest/gtest.h>

#include "logfile/TlmbReader.hpp"

namespace {

const telemetry::VarDesc X = {"x", TLM_VAR_INT32, 1, 4};
const std::string SECTION = "navdata";

/// A telemetry library that describes one section, and delivers its only sample while it is deleted.
class LateLibrary : public telemetry::BlackboxReaderItf {
 public:
  explicit LateLibrary(telemetry::BlackboxReaderItfCb* target) : callbacks(target) {}
  ~LateLibrary() override {
    const timespec time{};
    const int value = 7;
    callbacks->sampleBegin(3, &time, &value, sizeof(value));
    callbacks->sample(3, &time, 0, X, &value, sizeof(value));
    callbacks->sampleEnd(3);
    callbacks->sectionChanged(3, nullptr, 0);
  }
  int open(const std::string&) override { return callbacks->sectionChanged(3, nullptr, 0), 0; }
  int close() override { return 0; }
  int step() override { return -ENOENT; }
  const std::string& sectionNameOf(unsigned int, const void*, std::size_t) const override {
    return SECTION;
  }
  unsigned int varCount(unsigned int) const override { return 1; }
  const telemetry::VarDesc& varDesc(unsigned int, unsigned int) const override { return X; }

 private:
  telemetry::BlackboxReaderItfCb* callbacks;
};

TEST(TlmbReaderDeletion, TakesALastSampleOfTheLibrary) {
  int x = 0;
  DataRegistry registry;
  registry.reg("x", &x);
  registry.freeze();
  std::unique_ptr<LogFile::IReader> reader(TlmbReader::create(&registry));
  reader->open("log");
  reader.reset();
  EXPECT_EQ(x, 7);
}

}  // namespace

telemetry::BlackboxReaderItf* telemetry::BlackboxReaderItf::create(BlackboxReaderItfCb* callbacks) {
  return new LateLibrary(callbacks);
}
