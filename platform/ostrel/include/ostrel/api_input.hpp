#pragma once

#include <memory>
#include <string>
#include <vector>

class DataRegistry;

namespace Api {

/// One call of the library's API whose arguments can be set from outside and which can then be made.
///
/// The input owns its argument storage and an argument registry over it (unnamed, frozen from construction,
/// entries named after the arguments). Nothing of either is reached through this class: see registerArgs().
class InputBase {
 public:
  explicit InputBase(std::string apiName);
  InputBase(const InputBase&) = delete;
  InputBase& operator=(const InputBase&) = delete;
  virtual ~InputBase();

  /// Registers exactly one entry in `registry`, named after the API. The variable it is bound to is an
  /// object whose second pointer-sized field points to the argument registry; what type the entry claims
  /// for it means nothing. The input must outlive every use of that entry. Called once, at set-up.
  virtual void registerArgs(DataRegistry& registry) = 0;

  /// Makes the call with the argument values currently held.
  ///
  ///   0        made
  ///   -EPERM   the inputs were not created for a replay; nothing is done or logged
  ///   -ENODEV  logged, but there is no library instance to call
  virtual int apply() = 0;

  const std::string name;  ///< the API's name
};

/// All API inputs of the library, in a sequence that stays the same for this object's lifetime.
class Input {
 public:
  /// `replayed` tells that the calls come from a recorded flight; otherwise the inputs describe the API but
  /// refuse to call it.
  explicit Input(bool replayed);
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  /// Releases every input.
  ~Input();

  std::vector<InputBase*>::const_iterator begin() const { return inputs.begin(); }
  std::vector<InputBase*>::const_iterator end() const { return inputs.end(); }

 private:
  std::vector<std::unique_ptr<InputBase>> owned;
  std::vector<InputBase*> inputs;
};

}  // namespace Api
