#pragma once

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace kntest {

/// An empty folder that goes away with all it holds.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "kntest-XXXXXX").string();
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    _path = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  TemporaryFolder(TemporaryFolder const&) = delete;
  TemporaryFolder& operator=(TemporaryFolder const&) = delete;

  std::string file(std::string const& name) const { return (_path / name).string(); }
  std::size_t count() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(_path), {}));
  }

 private:
  std::filesystem::path _path;
};

}  // namespace kntest
