#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

/// A directory of the test's own, removed with all it holds at the end.
class TestFolder {
 public:
  TestFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "ostrelReplay-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    root = name;
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }

  /// Where `name` lies, or would lie, in the folder.
  std::string path(const std::string& name) const { return (root / name).string(); }

  /// Writes a file of these bytes and returns where it lies.
  std::string write(const std::string& name, const std::string& bytes) const {
    std::ofstream(root / name, std::ios::binary) << bytes;
    return path(name);
  }

  /// Makes a directory, its parents included, and returns where it lies.
  std::string makeDirectory(const std::string& name) const {
    std::filesystem::create_directories(root / name);
    return path(name);
  }

 private:
  std::filesystem::path root;
};

/// All bytes of a file; empty when there is no such file.
inline std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
