#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// Renaming a tag, or merging it into another: "work" becomes "job", and with it "work/x" becomes "job/x".
class TagRename {
 public:
  // Both without "#". VaultError::invalidName when `newTag` can't stand in a text as a tag.
  TagRename(std::string_view oldTag, std::string_view newTag);

  // True when one of the tags is renamed.
  bool concerns(const std::vector<std::string>& tags) const;

  // A note's whole text with the tag renamed in its front matter and its prose. Code is left alone.
  std::string appliedTo(std::string_view text) const;

 private:
  // The tag's new name; nullopt when it keeps its own.
  std::optional<std::string> renamed(std::string_view tag) const;
  std::string inProse(std::string_view body) const;

  std::string old_;
  std::string new_;
};

}  // namespace vesk
