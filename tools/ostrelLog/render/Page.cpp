#include "ostrelLog/render/Page.hpp"

namespace logtool {

std::string pageData(const Json& value) {
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  for (std::size_t at = 0; (at = text.find('<', at)) != std::string::npos;) text.replace(at, 1, "\\u003c");
  return text;
}

PageFile::PageFile(const std::string& path) : file(path), result(file.open()) {}

void PageFile::add(const std::string& text) {
  if (result >= 0) result = file.write(text.data(), text.size());
}

std::optional<Fault> PageFile::finish() {
  if (result >= 0) result = file.close();
  if (result >= 0) result = file.keep();
  return faultOf(file.path, result);
}

}  // namespace logtool
