#pragma once

#include <string>

#include "ostrelLog/Verb.hpp"
#include "ostrelLog/rescue/LogCopy.hpp"

namespace logtool {

/// What the verbs share that write a part of a log as a whole log.
class CopyVerb : public Verb {
 public:
  struct Options {
    std::string log;
    std::string newLog;
    Window window;
  };

  ExitStatus run() const override;
  ExitStatus failure() const override { return ExitStatus::NOT_SAVED; }

  Options options;

 protected:
  void addFiles(CLI::App& command);

  /// Refuses options that only make sense together; called when all of them are known.
  void checkOptions() const;

  /// Says more about a copy that was written.
  virtual void explain(const LogCopy& /*copy*/) const {}
};

}  // namespace logtool
