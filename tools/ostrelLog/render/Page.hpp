#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "logfile/OutputFile.hpp"
#include "ostrelLog/Output.hpp"
#include "ostrelLog/render/Json.hpp"

namespace logtool {

/// The value as the text of a page's data. No name in it can end the element that holds the data; bytes
/// that are no text become U+FFFD.
std::string pageData(const Json& value);

/// A page for a browser, which is written piece by piece and appears under its name when it is whole.
class PageFile {
 public:
  explicit PageFile(const std::string& path);

  /// Appends to the page. After a fault this does nothing: finish() tells of it.
  void add(const std::string& text);
  /// The same for the fixed parts of a page, as the build puts them together.
  template <std::size_t N>
  void add(const char* const (&pieces)[N]) {
    for (const char* piece : pieces) add(std::string(piece));
  }

  /// Puts the page in its place; the first fault when there was one, and then the page is not written.
  std::optional<Fault> finish();

 private:
  OutputFile file;
  int result;  // of the last operation, or of the first one that failed
};

}  // namespace logtool
