// Folders and files for tests that look at what is left in one.

#ifndef CFGTREE_TESTS_TEMPFOLDER_H
#define CFGTREE_TESTS_TEMPFOLDER_H

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "ChildProcess.h"

// A folder of this test's own, deleted with the object.
class TempFolder {
 public:
  explicit TempFolder(const std::string& name) : m_place("folder-" + name, "") {
    std::filesystem::remove(m_place.Path());
    std::filesystem::create_directory(m_place.Path());
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_place.Path(), ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string operator/(const std::string& name) const { return m_place.Path() + "/" + name; }
  const std::string& Path() const { return m_place.Path(); }

  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_place.Path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  TempFile m_place;
};

inline void WriteBytes(const std::string& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  ASSERT_TRUE(file.flush()) << path;
}

#endif  // CFGTREE_TESTS_TEMPFOLDER_H
