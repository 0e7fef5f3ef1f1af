#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace logtool {

/// Why something could not be done. Operations hand it back as a value; the verb decides what it means and
/// reports it.
struct Fault {
  std::string where;   ///< a file, an option or a stream
  std::string reason;  ///< text for a person
};

/// The fault that the result of an operation on the file stands for; none for a success.
std::optional<Fault> faultOf(const std::string& file, int result);

/// Whether both paths lead to the same existing file, through links or under several names.
bool isSameFile(const std::string& one, const std::string& other);

/// The fault of an output that would replace one of the files that are read; none otherwise.
std::optional<Fault> refuseOwnInput(const std::string& output, const std::vector<std::string>& inputs);

/// Writes "ostrelLog: WHERE: REASON" on standard error, in one line.
void report(const Fault& fault);

/// Flushes standard output. Returns false, after a report, when not everything could be written.
bool finishOutput();

/// The number with the noun, in the singular or the plural: "1 step", "2 steps".
std::string counted(std::uint64_t count, const std::string& noun);

/// Returns the text with every control character replaced by '?'. Names and paths in a log come from
/// outside; printed as they are, they could steer the terminal.
std::string printable(std::string text);

}  // namespace logtool
