#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Time.h"
#include "core/diagrams/Diagram.h"
#include "core/vault/Vault.h"

// The diagrams in a vault: files with the ending ".canvas" anywhere among the notes. Paths are vault-relative, and
// every failure of Vault's own operations passes through.
namespace vesk {

inline constexpr std::string_view diagramEnding = ".canvas";

// The sentence for a file that holds no diagram; what is wrong with it may follow.
inline constexpr std::string_view unreadableDiagram =
    "This file isn't a diagram Vesk can read, so it was left as it is.";

struct DiagramFile {
  std::string path = {};
  std::string title = {};            // the file's name without its ending
  Timestamp modified = distantPast;  // distantPast, too, when it can't be read

  bool operator==(const DiagramFile&) const = default;
};

// The name of a diagram's file without its ending.
std::string diagramTitle(std::string_view path);

// The line of a note that shows the diagram: "![[Launch.canvas]]".
std::string diagramEmbed(std::string_view path);

// Every diagram of the vault, the newest first. Hidden files and folders are left out.
std::vector<DiagramFile> diagrams(const Vault& vault);

// The folder that new diagrams go to, given the folder of the resources: the one named "Diagrams" or "Diagramas" in
// it, else "Diagrams", which may have to be made.
std::string diagramFolder(const Vault& vault, const std::optional<std::string>& resources);

// The path that a title has in a folder; with a number from 2 where the name is taken. VaultError::invalidName.
std::string diagramPath(std::string_view title, std::string_view folder, int number = 1);

// The first path for that title that `take` accepts.
std::string firstDiagramPath(std::string_view title, std::string_view folder,
                             const std::function<bool(const std::string& path)>& take);

// The first path for that title that nothing has.
std::string nextDiagramPath(const Vault& vault, std::string_view title, std::string_view folder);

// Makes an empty diagram, and the folder where it is missing; returns its path.
std::string createDiagram(const Vault& vault, std::string_view title, std::string_view folder);

struct ReadDiagram {
  Diagram diagram = {};
  std::string text = {};  // exactly as it was read, for the next save
};

// Throws DiagramError for a file that holds none.
ReadDiagram readDiagram(const Vault& vault, std::string_view path);

// Writes the diagram and returns the text now in the file. VaultError::conflict, and nothing is written, when the file
// does not hold `expecting` any more.
std::string saveDiagram(const Vault& vault, const Diagram& diagram, std::string_view path, std::string_view expecting);

// Keeps a text that could not be saved in a new file beside the one at `path`; returns its path.
std::string saveDiagramCopy(const Vault& vault, std::string_view path, std::string_view text, std::string_view title);

// Renames a diagram's file within its folder, to the first such name that is free; returns its new path. Notes that
// show it under its old name are left alone.
std::string renameDiagram(const Vault& vault, std::string_view path, std::string_view title);

}  // namespace vesk
