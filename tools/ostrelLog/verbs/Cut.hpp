#pragma once

#include "ostrelLog/verbs/CopyVerb.hpp"

namespace logtool {

/// `ostrelLog cut`: writes the records of some steps as a log of their own.
class Cut final : public CopyVerb {
 public:
  CLI::App* addTo(CLI::App& program) override;

 private:
  void explain(const LogCopy& copy) const override;
};

}  // namespace logtool
