#include "ostrelLog/Output.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "logfile/ErrorText.hpp"

namespace logtool {

std::optional<Fault> faultOf(const std::string& file, int result) {
  if (result >= 0) return std::nullopt;
  // The names of these errors would sound like a fault of the disk.
  if (result == -EINTR) return Fault{file, "interrupted, nothing is written"};
  if (result == -ENXIO) return Fault{file, "a pipe that nothing reads, or a missing device"};
  return Fault{file, errorText(result)};
}

bool isSameFile(const std::string& one, const std::string& other) {
  std::error_code isNone;  // a file that does not exist is not the same as any
  return std::filesystem::equivalent(one, other, isNone);
}

std::optional<Fault> refuseOwnInput(const std::string& output, const std::vector<std::string>& inputs) {
  const auto isOutput = [&output](const std::string& input) { return isSameFile(output, input); };
  if (std::none_of(inputs.begin(), inputs.end(), isOutput)) return std::nullopt;
  return Fault{output, "is read from, and is not overwritten"};
}

void report(const Fault& fault) {
  // Both may hold text from a log or a path, which may not steer the terminal or fake another line.
  std::cerr << "ostrelLog: " << printable(fault.where) << ": " << printable(fault.reason) << std::endl;
}

bool finishOutput() {
  // A full disk or a closed pipe often shows only when the buffer is written.
  std::cout.flush();
  if (std::cout.good()) return true;
  report({"standard output", "could not be written"});
  return false;
}

std::string counted(std::uint64_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string printable(std::string text) {
  // Bytes above 0x7F stay, since names may be UTF-8.
  const auto isControl = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < ' ' || byte == 0x7F;
  };
  std::replace_if(text.begin(), text.end(), isControl, '?');
  return text;
}

}  // namespace logtool
