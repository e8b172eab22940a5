#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::test {

// A folder of its own for one test, with a home, a support directory and a Trash beside it (HOME, XDG_DATA_HOME and
// VESK_SUPPORT_DIR point there while it lives). All of it goes away with the object.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }  // the folder for the test's files
  std::string supportDirectory() const { return base_ + "/support"; }
  std::string trash() const { return base_ + "/data/Trash"; }

  std::string at(std::string_view relative) const;
  // Writes a file with its missing folders, in place.
  void write(std::string_view relative, std::string_view text) const;
  std::string read(std::string_view relative) const;
  bool has(std::string_view relative) const;
  void setModified(std::string_view relative, long secondsSince1970) const;
  // All there is, the support directory and the Trash as well: the text of each file by its path, "" for a folder.
  std::map<std::string, std::string> contents() const;
  // Every file and folder below (folders end in "/"), hidden ones too, sorted.
  std::vector<std::string> everything() const;

 private:
  std::string base_;
  std::string path_;
};

// Likewise of one folder.
std::map<std::string, std::string> contentsOf(const std::string& folder);

}  // namespace vesk::test
