#pragma once

#include "ostrelLog/verbs/CopyVerb.hpp"

namespace logtool {

/// `ostrelLog recover`: writes what can be trusted of a cut or damaged log as a whole one.
class Recover final : public CopyVerb {
 public:
  CLI::App* addTo(CLI::App& program) override;
};

}  // namespace logtool
