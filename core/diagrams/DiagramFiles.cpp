#include "core/diagrams/DiagramFiles.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "core/vault/VaultError.h"

namespace vesk {

std::string diagramTitle(std::string_view path) {
  std::string_view name = lastComponent(path);
  if (name.ends_with(diagramEnding)) name.remove_suffix(diagramEnding.size());
  return std::string(name);
}

std::string diagramEmbed(std::string_view path) { return fmt::format("![[{}]]", lastComponent(path)); }

std::vector<DiagramFile> diagrams(const Vault& vault) {
  std::vector<DiagramFile> found;
  for (FileSummary& file : vault.files(diagramEnding)) {
    std::string title = diagramTitle(file.path);
    found.push_back({std::move(file.path), std::move(title), file.modified});
  }
  const auto isNewer = [](const DiagramFile& a, const DiagramFile& b) { return a.modified > b.modified; };
  std::stable_sort(found.begin(), found.end(), isNewer);
  return found;
}

std::string diagramFolder(const Vault& vault, const std::optional<std::string>& resources) {
  constexpr std::array<std::string_view, 2> names = {"Diagrams", "Diagramas"};
  const std::string parent = resources.value_or("Resources");
  for (const std::string_view name : names)
    if (std::string path = joinPath(parent, name); vault.lists(path)) return path;
  return joinPath(parent, names.front());
}

std::string diagramPath(std::string_view title, std::string_view folder, int number) {
  return Vault::filePath(title, folder, diagramEnding, number);
}

std::string firstDiagramPath(std::string_view title, std::string_view folder,
                             const std::function<bool(const std::string& path)>& take) {
  for (int number = 1;; ++number) {
    std::string path = diagramPath(title, folder, number);
    if (take(path)) return path;
  }
}

std::string nextDiagramPath(const Vault& vault, std::string_view title, std::string_view folder) {
  return firstDiagramPath(title, folder, [&](const std::string& path) { return !vault.exists(path); });
}

std::string createDiagram(const Vault& vault, std::string_view title, std::string_view folder) {
  const std::string text = Diagram().serialized();
  return firstDiagramPath(title, folder, [&](const std::string& path) { return vault.createFile(path, text); });
}

ReadDiagram readDiagram(const Vault& vault, std::string_view path) {
  ReadDiagram read{.text = vault.read(path)};
  try {
    read.diagram = Diagram::parse(read.text);
  } catch (const Error& error) {
    throw DiagramError(fmt::format("{} {}", unreadableDiagram, error.what()));
  }
  return read;
}

std::string saveDiagram(const Vault& vault, const Diagram& diagram, std::string_view path, std::string_view expecting) {
  std::string text = diagram.serialized();
  vault.rewrite(path, [&](const std::string& current) {
    if (current != expecting) throw VaultError::conflict();
    return text;
  });
  return text;
}

std::string saveDiagramCopy(const Vault& vault, std::string_view path, std::string_view text, std::string_view title) {
  return firstDiagramPath(title, parentPath(path),
                          [&](const std::string& copy) { return vault.createFile(copy, text); });
}

std::string renameDiagram(const Vault& vault, std::string_view path, std::string_view title) {
  return firstDiagramPath(title, parentPath(path), [&](const std::string& renamed) {
    if (vault.exists(renamed)) return false;
    try {
      vault.movePath(path, renamed);
      return true;
    } catch (const VaultError& error) {
      if (error.kind() == VaultError::Kind::nameTaken) return false;
      throw;
    }
  });
}

}  // namespace vesk
